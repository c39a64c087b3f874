// Tests of the checksums: published check values, and agreement with the
// bit-by-bit definition at every length and alignment that takes its own
// path through the fast loop.
#include "CommonVcZq/tools/checksums.h"

#include <gtest/gtest.h>

#include <stdint.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

// A reflected CRC one bit at a time, straight from its definition.  Both
// CRCs end with an exclusive or by their start value.
uint32_t BitwiseCrc(const uint8_t *p, uint32_t length, uint32_t polynomial, uint32_t start) {
    uint32_t c = start;
    for (uint32_t i = 0; i < length; ++i) {
        c ^= p[i];
        for (int bit = 0; bit < 8; ++bit)
            c = (c & 1) ? (c >> 1) ^ polynomial : c >> 1;
    }
    return c ^ start;
}

TEST(Checksums, CheckValuesAndTheDefinitionAtEveryLengthAndAlignment) {
    EXPECT_EQ(0xBB3D, ComputeCrc16("123456789", 9));
    EXPECT_EQ(0xCBF43926u, ComputeCrc32("123456789", 9));
    EXPECT_EQ(0u, ComputeCrc16(nullptr, 0) | ComputeCrc32(nullptr, 0));  // an empty block may be null

    std::vector<uint8_t> bytes(4000);
    std::generate(bytes.begin(), bytes.end(), std::mt19937(2463534242u));  // the low byte of each draw
    for (const uint8_t *p = bytes.data(); p < bytes.data() + 8; ++p)
        for (uint32_t n = 0; n + 8 <= bytes.size(); n += n < 300 ? 1 : 997) {
            ASSERT_EQ(BitwiseCrc(p, n, 0xEDB88320u, 0xFFFFFFFFu), ComputeCrc32(p, n)) << p - bytes.data() << ", " << n;
            ASSERT_EQ(BitwiseCrc(p, n, 0xA001, 0), ComputeCrc16(p, n)) << p - bytes.data() << ", " << n;
        }
}

}  // namespace
