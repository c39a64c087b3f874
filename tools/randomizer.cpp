// Randomizer and RangeInt32.
#include "CommonVcZq/tools/randomizer.h"

#include <string.h>

#include <algorithm>
#include <utility>

#include "platform/win32.h"
#include "CommonVcZq/qx_vc/qx_heap.h"
#include "CommonVcZq/text/string.h"

namespace {

const char kDefaultAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

// Bounds arithmetic wraps in 32 bits instead of overflowing, so that sizes
// and moves stay defined at the ends of the int32_t range.
int32_t WrappingAdd(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

int32_t WrappingSub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

// The parts beside an intersection.  When both bounds of a side are equal
// the part is empty: inverted by one, or at the ends of the 32-bit range,
// where that bound does not exist, the canonical empty range.
RangeInt32 FromUpToBelow(int32_t from, int32_t end) {
    return end == INT32_MIN ? RangeInt32(1, 0) : RangeInt32(from, end - 1);
}

RangeInt32 FromAboveUpTo(int32_t start, int32_t to) {
    return start == INT32_MAX ? RangeInt32(1, 0) : RangeInt32(start + 1, to);
}

}  // namespace

// --------------------------------------------------------------- Randomizer

Randomizer::Randomizer(int seed) {
    SetSeed(seed);
}

void Randomizer::SetSeed(int seed) {
    state = seed ? static_cast<uint32_t>(seed) : (GetTickCount() | 1u);
}

uint32_t Randomizer::Get(uint32_t n) {
    if (n == 0)
        return 0;
    // Schrage's constants without the correction step: in unsigned 32-bit
    // arithmetic a "negative" result wraps and the sequence goes on from it.
    uint32_t s = state;
    s = 16807u * s - (s / 127773u) * 2147483647u;
    if (s == 0)
        s = 2147483647u;
    state = s;
    return s % n;
}

uint32_t Randomizer::GetInRange(uint32_t low, uint32_t high) {
    return low + Get(high - low + 1);
}

uint32_t Randomizer::GetLog(uint32_t n) {
    return Get(Get(n) + 1);
}

int Randomizer::TrueEvery(uint32_t n) {
    return Get(n) == 0;
}

int Randomizer::TrueEvery(uint32_t times, uint32_t n) {
    return Get(n) < times;
}

String &Randomizer::SetString(String &target, int minLength, int maxLength, const char *alphabet) {
    if (!alphabet)
        alphabet = kDefaultAlphabet;
    target.Clear();
    if (maxLength < minLength)
        return target;
    const uint32_t spread = static_cast<uint32_t>(maxLength) - static_cast<uint32_t>(minLength) + 1;
    const int length = static_cast<int>(static_cast<uint32_t>(minLength) + Get(spread));
    if (length <= 0)
        return target;
    const uint32_t alphabetLength = static_cast<uint32_t>(strlen(alphabet));
    target.EnsureBufferSize(static_cast<uint32_t>(length));
    for (int i = 0; i < length; ++i)
        target += alphabet[Get(alphabetLength)];
    return target;
}

int *Randomizer::CreateArrayOfUniqueUnsortedIndexes(int n, int *array) {
    if (!array)
        array = static_cast<int *>(QX_Heap::GetDefault().Alloc(static_cast<uint32_t>(n) * sizeof(int), 0));
    for (int i = 0; i < n; ++i)
        array[i] = i;
    const int last = n - 1;
    for (int i = 0; i < last; ++i) {
        const uint32_t j = Get(static_cast<uint32_t>(n - i));
        std::swap(array[j], array[last - i]);
    }
    return array;
}

// --------------------------------------------------------------- RangeInt32

int32_t RangeInt32::GetSize() const {
    return WrappingAdd(WrappingSub(right, left), 1);
}

void RangeInt32::Normalize() {
    if (right < left)
        std::swap(left, right);
}

RangeInt32 RangeInt32::operator&(const RangeInt32 &other) const {
    return RangeInt32(std::max(left, other.left), std::min(right, other.right));
}

RangeInt32 &RangeInt32::operator&=(const RangeInt32 &other) {
    return *this = *this & other;
}

RangeInt32 RangeInt32::operator|(const RangeInt32 &other) const {
    return RangeInt32(std::min(left, other.left), std::max(right, other.right));
}

RangeInt32 &RangeInt32::operator|=(const RangeInt32 &other) {
    return *this = *this | other;
}

RangeInt32 &RangeInt32::operator+=(int32_t n) {
    left = WrappingAdd(left, n);
    right = WrappingAdd(right, n);
    return *this;
}

RangeInt32 &RangeInt32::operator-=(int32_t n) {
    left = WrappingSub(left, n);
    right = WrappingSub(right, n);
    return *this;
}

void RangeInt32::Validate(int32_t &value) const {
    if (value < left)
        value = left;
    else if (value > right)
        value = right;
}

RangeInt32 GetIntersection(const RangeInt32 &a, const RangeInt32 &b) {
    return a & b;
}

void ExcludeIntersection(RangeInt32 &a, RangeInt32 &b) {
    if (a.right < b.left || b.right < a.left)
        return;
    const RangeInt32 leftPart = FromUpToBelow(std::min(a.left, b.left), std::max(a.left, b.left));
    const RangeInt32 rightPart = FromAboveUpTo(std::min(a.right, b.right), std::max(a.right, b.right));
    a = leftPart;
    b = rightPart;
}
