// Tests of the checksums: published check values, and agreement with the
// bit-by-bit definition at every length and alignment that takes its own
// path through the fast loop.
#include "tools/checksums.h"

#include <gtest/gtest.h>

#include <stdint.h>

#include <vector>

namespace {

// A reflected CRC one bit at a time, straight from its definition.  Both
// CRCs end with an exclusive or by their start value.
uint32_t BitwiseCrc(const uint8_t *p, size_t length, uint32_t polynomial, uint32_t start) {
    uint32_t c = start;
    for (size_t i = 0; i < length; ++i) {
        c ^= p[i];
        for (int bit = 0; bit < 8; ++bit)
            c = (c & 1) ? (c >> 1) ^ polynomial : c >> 1;
    }
    return c ^ start;
}

TEST(Checksums, CheckValues) {
    EXPECT_EQ(0xBB3D, ComputeCrc16("123456789", 9));
    EXPECT_EQ(0x9738, ComputeCrc16("abc", 3));
    EXPECT_EQ(0xCBF43926u, ComputeCrc32("123456789", 9));
    EXPECT_EQ(0x352441C2u, ComputeCrc32("abc", 3));
    EXPECT_EQ(0, ComputeCrc16(nullptr, 0));
    EXPECT_EQ(0u, ComputeCrc32(nullptr, 0));
}

TEST(Checksums, AgreeWithTheDefinitionAtEveryLengthAndAlignment) {
    std::vector<uint8_t> bytes(4000);
    uint32_t x = 2463534242u;
    for (uint8_t &byte : bytes) {
        x ^= x << 13, x ^= x >> 17, x ^= x << 5;
        byte = static_cast<uint8_t>(x >> 24);
    }
    for (size_t offset = 0; offset < 8; ++offset)
        for (size_t length = 0; offset + length <= bytes.size(); length += length < 300 ? 1 : 997) {
            const uint8_t *p = bytes.data() + offset;
            ASSERT_EQ(BitwiseCrc(p, length, 0xEDB88320u, 0xFFFFFFFFu), ComputeCrc32(p, static_cast<uint32_t>(length)))
                << "offset " << offset << ", length " << length;
            ASSERT_EQ(BitwiseCrc(p, length, 0xA001, 0), ComputeCrc16(p, static_cast<uint32_t>(length)))
                << "offset " << offset << ", length " << length;
        }
}

}  // namespace
