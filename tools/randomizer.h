// Randomizer and RangeInt32: two small value types.
//
// Randomizer is the library's pseudo-random generator.  Its sequence is fixed
// for a given seed on every platform, so that a shuffle or a generated name
// can be repeated: each draw runs the Lehmer recurrence
//
//     state = 16807 * state - (state / 127773) * 2147483647
//
// in unsigned 32-bit arithmetic that wraps, with a result of 0 replaced by
// 2147483647, and returns state modulo the bound asked for.  The step that
// would bring a negative value back by adding the modulus is left out on
// purpose, so the state may reach 2^31 and above and goes on from there.
// From seed 1 the states are 16807, 282475249, 1622650073, ...
//
// A Randomizer takes no lock.  The library's shared one, made at load and
// seeded from the clock, is used by one thread at a time or under the
// caller's own lock; other generators are local objects.
//
// RangeInt32 is a closed interval of 32-bit integers.  A range whose right
// bound is below its left is inverted and stands for the empty range; only
// Normalize exchanges the bounds, no other member reorders them.
#ifndef CVZ_TOOLS_RANDOMIZER_H
#define CVZ_TOOLS_RANDOMIZER_H

#include <stdint.h>

#include "CommonVcZq/frame/api.h"

class String;

class CVZ_API Randomizer {
public:
    // As SetSeed(seed).
    explicit Randomizer(int seed = 0);

    // Starts the sequence from `seed`.  0 takes the tick count (milliseconds
    // since the system started) with its lowest bit set, so the state is
    // never 0.
    void SetSeed(int seed);

    // The next value of the sequence, from 0 to n - 1.  n 0 gives 0 and
    // leaves the sequence where it is.
    uint32_t Get(uint32_t n);
    uint32_t operator()(uint32_t n) { return Get(n); }

    // A value from `low` to `high`, both included: low + Get(high - low + 1).
    uint32_t GetInRange(uint32_t low, uint32_t high);

    // A value from 0 to n - 1 with small values more likely: Get(Get(n) + 1).
    uint32_t GetLog(uint32_t n);

    // 1 about once in `n` calls (when Get(n) is 0), else 0.
    int TrueEvery(uint32_t n);
    // 1 about `times` in `n` calls (when Get(n) is below `times`), else 0.
    int TrueEvery(uint32_t times, uint32_t n);

    // Fills `target` with minLength + Get(maxLength - minLength + 1)
    // characters, each drawn from `alphabet` (null: A-Z, a-z and 0-9).  The
    // length is drawn first, then one draw a character.  With maxLength below
    // minLength the target is left empty and nothing is drawn.
    String &SetString(String &target, int minLength, int maxLength, const char *alphabet = nullptr);

    // Fills `array` with 0 to n - 1 in an order shuffled from the end
    // (Fisher-Yates, the same draws as CellSequence::Shuffle).  A null
    // `array` means a new block of n ints from QX_Heap::GetDefault(), which
    // the caller releases with QX_Heap::FreeMem.  Returns the array.
    int *CreateArrayOfUniqueUnsortedIndexes(int n, int *array = nullptr);

    // A copy goes on with the same sequence.
    Randomizer(const Randomizer &other) = default;
    Randomizer &operator=(const Randomizer &other) = default;

private:
    uint32_t state;  // the last value of the sequence, or the seed before the first draw
};

class CVZ_API RangeInt32 {
public:
    // Leaves both bounds unset.
    RangeInt32() {}
    RangeInt32(int32_t left, int32_t right) : left(left), right(right) {}

    // The bounds are stored as given, without normalising.
    void Set(int32_t newLeft, int32_t newRight) {
        left = newLeft;
        right = newRight;
    }
    void SetLeft(int32_t value) { left = value; }
    void SetRight(int32_t value) { right = value; }

    // right - left + 1: 0 or negative for an inverted range.  Bounds
    // arithmetic here and below wraps in 32 bits.
    int32_t GetSize() const;
    int IsValid() const { return right >= left; }
    // Makes this the canonical empty range, 1 to 0.
    void Invalidate() {
        left = 1;
        right = 0;
    }
    // Exchanges the bounds of an inverted range.
    void Normalize();

    int operator==(const RangeInt32 &other) const { return left == other.left && right == other.right; }
    int operator!=(const RangeInt32 &other) const { return !(*this == other); }

    // The intersection: the greater left and the smaller right.  Disjoint
    // ranges give an inverted result.
    RangeInt32 operator&(const RangeInt32 &other) const;
    RangeInt32 &operator&=(const RangeInt32 &other);
    // The hull: the smaller left and the greater right, which also covers a
    // gap between the two.
    RangeInt32 operator|(const RangeInt32 &other) const;
    RangeInt32 &operator|=(const RangeInt32 &other);

    // Move both bounds.
    RangeInt32 &operator+=(int32_t n);
    RangeInt32 &operator-=(int32_t n);

    int ContainsPoint(int32_t p) const { return left <= p && p <= right; }
    // 1 when `other` lies inside this range, equal bounds included.
    int ContainsEntirely(const RangeInt32 &other) const { return left <= other.left && other.right <= right; }
    // 1 when the ranges share a point; ranges that meet at one bound overlap.
    int OverlapsWith(const RangeInt32 &other) const { return left <= other.right && other.left <= right; }

    // Clamps `value` into the range: up to left when below it, else down to
    // right when above it.
    void Validate(int32_t &value) const;

    int32_t left;   // lower bound, included
    int32_t right;  // upper bound, included
};

// a & b.
CVZ_API RangeInt32 GetIntersection(const RangeInt32 &a, const RangeInt32 &b);

// Replaces two overlapping ranges by what lies left and right of their
// intersection: `a` becomes the smaller left up to the greater left - 1,
// `b` the smaller right + 1 up to the greater right.  A side where both
// bounds are equal comes out inverted (empty).  Ranges that do not overlap
// are left as they are.
CVZ_API void ExcludeIntersection(RangeInt32 &a, RangeInt32 &b);

#endif
