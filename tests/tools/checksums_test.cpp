// Tests of the checksums: published check values, agreement with the
// bit-by-bit definition at every length and alignment that takes its own
// path through the fast loop, and every processor path of this machine
// against the table method.
#include "CommonVcZq/tools/checksums.h"

#include "tools/crc_fold.h"

#include <gtest/gtest.h>

#include <stdint.h>
#include <stdio.h>

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

// The table method's results on random stretches of a few megabytes, at
// every alignment and at lengths around each folding step, and then each
// path that this processor has on the same stretches.
TEST(Checksums, EveryProcessorPathEqualsTheTableMethod) {
    const CrcPath chosen = GetCrcPath();
    std::vector<uint8_t> bytes(3 << 20);
    std::mt19937 random(12345);
    std::generate(bytes.begin(), bytes.end(), random);
    struct Stretch {
        uint32_t offset, length;
        uint16_t crc16;
        uint32_t crc32;
    };
    std::vector<Stretch> stretches;
    for (uint32_t offset = 0; offset < 64; ++offset) {
        for (uint32_t length = 0; length <= 1100; length += 1 + length / 64)
            stretches.push_back({offset, length, 0, 0});
        stretches.push_back({offset, 64 + static_cast<uint32_t>(random() % 8192), 0, 0});
    }
    for (uint32_t length : {1u << 20, (3u << 20) - 64 - 17})
        stretches.push_back({static_cast<uint32_t>(random() % 64), length, 0, 0});

    ASSERT_TRUE(SetCrcPathForTesting(CrcPath::Table));
    for (Stretch &s : stretches) {
        s.crc16 = ComputeCrc16(bytes.data() + s.offset, s.length);
        s.crc32 = ComputeCrc32(bytes.data() + s.offset, s.length);
    }
    EXPECT_EQ(BitwiseCrc(bytes.data() + 5, 1 << 20, 0xEDB88320u, 0xFFFFFFFFu), ComputeCrc32(bytes.data() + 5, 1 << 20));

    int paths = 0;
    for (CrcPath path : {CrcPath::Pclmul, CrcPath::Vpclmul}) {
        if (!SetCrcPathForTesting(path))
            continue;
        ++paths;
        for (const Stretch &s : stretches) {
            ASSERT_EQ(s.crc16, ComputeCrc16(bytes.data() + s.offset, s.length))
                << static_cast<int>(path) << ": " << s.offset << ", " << s.length;
            ASSERT_EQ(s.crc32, ComputeCrc32(bytes.data() + s.offset, s.length))
                << static_cast<int>(path) << ": " << s.offset << ", " << s.length;
        }
    }
    // The first use chose the best path of this processor.
    EXPECT_TRUE(CrcPathAvailable(chosen));
    EXPECT_TRUE(chosen == CrcPath::Vpclmul || !CrcPathAvailable(CrcPath::Vpclmul));
    EXPECT_TRUE(chosen != CrcPath::Table || !CrcPathAvailable(CrcPath::Pclmul));
    EXPECT_TRUE(CrcPathAvailable(CrcPath::Table));
    SetCrcPathForTesting(chosen);
    printf("paths beside the table method on this processor: %d\n", paths);
}

}  // namespace
