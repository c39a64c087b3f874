// Tests of Randomizer and RangeInt32.
#include "CommonVcZq/tools/randomizer.h"

#include <gtest/gtest.h>

#include <stdint.h>
#include <string.h>

#include <chrono>
#include <set>
#include <thread>
#include <vector>

#include "CommonVcZq/qx_vc/qx_heap.h"
#include "CommonVcZq/text/string.h"

namespace {

// Get(kWhole) shows the state itself, for every state below 2^32 - 1.
constexpr uint32_t kWhole = 0xFFFFFFFFu;

// The seeds whose first draw gives `state`, by running the recurrence
// backwards: for each quotient q = s / 127773 the seed is
// (state + q * 2147483647) / 16807 modulo 2^32, if its quotient is q.
std::vector<uint32_t> SeedsBehind(uint32_t state) {
    uint32_t inverse = 16807u;  // Newton's iteration for 1 / 16807 modulo 2^32
    for (int i = 0; i < 5; ++i)
        inverse *= 2u - 16807u * inverse;
    std::vector<uint32_t> seeds;
    for (uint32_t q = 0; q <= kWhole / 127773u; ++q)
        if ((state + q * 2147483647u) * inverse / 127773u == q)
            seeds.push_back((state + q * 2147483647u) * inverse);
    return seeds;
}

TEST(Randomizer, FollowsTheFixedSequenceIncludingWrappedStates) {
    Randomizer r(1);
    EXPECT_EQ(16807u % 1000, r.Get(1000));  // the state modulo the bound
    for (uint32_t state : {282475249u, 1622650073u, 984943658u, 1144108930u})
        EXPECT_EQ(state, r(kWhole));
    // Beyond 2^31: the modulus is not added back.
    EXPECT_EQ(4294950489u, Randomizer(2147483646).Get(kWhole));

    // Unique indexes shuffle from the end.  From seed 1 the draws are
    // 16807 % 4 = 3, 282475249 % 3 = 1 and 1622650073 % 2 = 1: exchanges with
    // cells 3, 2 and 1 in turn.
    int *four = Randomizer(1).CreateArrayOfUniqueUnsortedIndexes(4);  // a block of the default heap
    EXPECT_EQ(&QX_Heap::GetDefault(), QX_Heap::GetHeapOf(four));
    EXPECT_EQ(4 * sizeof(int), QX_Heap::GetBlockSize(four));
    EXPECT_EQ((std::vector<int>{0, 2, 1, 3}), std::vector<int>(four, four + 4));
    QX_Heap::FreeMem(four);
}

TEST(Randomizer, SeedZeroTakesTheTickCountWithTheLowestBitSet) {
    // Two clock-seeded generators lead back to odd seeds as far apart as the
    // milliseconds between their seedings, measured here on a clock of our
    // own around each; a slow machine widens the window, never breaks it.
    // The slack covers the tick count's coarse steps on Windows (15.6 ms).
    using Clock = std::chrono::steady_clock;
    const auto ms = [](Clock::time_point a, Clock::time_point b) {
        return std::chrono::duration<double, std::milli>(b - a).count();
    };
    const auto t0 = Clock::now();
    Randomizer early(0);
    const auto t1 = Clock::now();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    Randomizer late(5);
    const auto t2 = Clock::now();
    late.SetSeed(0);
    const auto t3 = Clock::now();
    const double lowest = ms(t1, t2) - 32, highest = ms(t0, t3) + 32;
    bool found = false;
    for (uint32_t e : SeedsBehind(early.Get(kWhole)))
        for (uint32_t l : SeedsBehind(late.Get(kWhole)))
            found = found || ((e & l & 1) && l - e >= lowest && l - e <= highest);
    EXPECT_TRUE(found);
}

TEST(Randomizer, DerivedDrawsFollowGet) {
    Randomizer r(99), twin(99);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(0u, r.Get(0));  // draws nothing
        EXPECT_EQ(10 + twin.Get(11), r.GetInRange(10, 20));
        const uint32_t first = twin.Get(50);
        EXPECT_EQ(twin.Get(first + 1), r.GetLog(50));
        EXPECT_EQ(twin.Get(7) == 0, r.TrueEvery(7));
        EXPECT_EQ(twin.Get(10) < 3, r.TrueEvery(3, 10));
    }

    // SetString clears the target and draws the length, then each character.
    String s("old");
    EXPECT_EQ(3u, strspn(r.SetString(s, 3, 3), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"));
    for (int i = 0; i < 4; ++i)  // Get(1) for the length, one draw a character
        twin.Get(kWhole);
    EXPECT_TRUE(r.SetString(s, 4, 3, "ab").IsEmpty());  // empty, and no draw
    int one = -1;
    r.CreateArrayOfUniqueUnsortedIndexes(1, &one);  // no draw either
    EXPECT_EQ(0, one);
    EXPECT_EQ(twin.Get(kWhole), r.Get(kWhole));

    std::set<uint32_t> lengths;
    for (int i = 0; i < 200; ++i)
        lengths.insert(static_cast<uint32_t>(strspn(r.SetString(s, 2, 6, "xy"), "xy")));
    EXPECT_EQ((std::set<uint32_t>{2, 3, 4, 5, 6}), lengths);
}

TEST(RangeInt32, SizeSetOperatorsAndExclusion) {
    RangeInt32 r(5, 3);
    EXPECT_EQ(-1, r.GetSize());
    r.Normalize();
    EXPECT_EQ(RangeInt32(3, 5), r);
    EXPECT_EQ(0, RangeInt32(INT32_MIN, INT32_MAX).GetSize());  // 2^32 points wrap
    const RangeInt32 low(1, 3), high(5, 7);
    EXPECT_EQ(RangeInt32(5, 3), low & high);
    EXPECT_EQ(RangeInt32(1, 7), low | high);
    EXPECT_EQ(1, low.OverlapsWith(RangeInt32(3, 5)));  // meeting at one bound
    EXPECT_EQ(0, low.OverlapsWith(RangeInt32(4, 5)));
    int32_t below = -5, above = 15;
    RangeInt32(0, 10).Validate(below);
    RangeInt32(0, 10).Validate(above);
    EXPECT_EQ(0, below);
    EXPECT_EQ(10, above);

    // a and b, then what ExcludeIntersection makes of them.
    RangeInt32 cases[][4] = {
        {{1, 5}, {3, 9}, {1, 2}, {6, 9}},
        {{3, 9}, {1, 5}, {1, 2}, {6, 9}},
        {{2, 8}, {2, 8}, {2, 1}, {9, 8}},  // equal bounds: that side is empty
        {{1, 3}, {4, 6}, {1, 3}, {4, 6}},  // disjoint: unchanged
        {{INT32_MIN, 0}, {INT32_MIN, INT32_MAX}, {1, 0}, {1, INT32_MAX}},
        {{0, INT32_MAX}, {5, INT32_MAX}, {0, 4}, {1, 0}},
    };
    for (RangeInt32 *c : cases) {
        ExcludeIntersection(c[0], c[1]);
        EXPECT_EQ(c[2], c[0]);
        EXPECT_EQ(c[3], c[1]);
    }
}

}  // namespace
