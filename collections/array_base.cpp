// ArrayBase.
//
// Cells are moved by CellSequence with memmove; this file adds what looks
// through the pointers: ownership, cloning, ordering and searching.
#include "CommonVcZq/collections/array_base.h"

#include <string.h>

#include <utility>

ArrayBase::ArrayBase(int initialSize, int expansionSize, int deleteElements)
    : CellSequence(sizeof(CollectionElement *), initialSize, expansionSize, deleteElements, nullptr), compareMode(0) {}

ArrayBase::ArrayBase(const ArrayBase &other) : CellSequence(other, 0), compareMode(other.compareMode) {
    try {
        Assign(other, nullptr);
    } catch (...) {
        // The destructor of a partly built array does not run: the clones
        // made so far go here.
        Clear();
        throw;
    }
}

ArrayBase::~ArrayBase() {
    Clear();
}

void ArrayBase::Assign(const ArrayBase &other, const void *context) {
    if (&other == this)
        return;
    Clear();
    CellSequence::Assign(other, 0);
    const int32_t n = other.count;
    EnsureNumCells(n);
    for (int32_t i = 0; i < n; ++i) {
        *GetCellPtr(i) = other[i].CreateClone(context);
        ++count;
    }
}

CollectionElement *ArrayBase::Insert(CollectionElement *e, int pos) {
    *static_cast<CollectionElement **>(InsertCell(nullptr, pos)) = e;
    return e;
}

void ArrayBase::Insert(const ArrayBase &other, int pos, const void *context) {
    // Taken before the gap opens, so that an array inserted into itself
    // clones its elements as they were: those from `pos` on have moved up by
    // `n` cells.
    const int32_t n = other.count;
    const int32_t tailLength = count - pos;
    const int32_t movedFrom = &other == this ? pos : n;
    CellSequence::Insert(other, pos, 1);
    int32_t filled = 0;
    try {
        for (; filled < n; ++filled) {
            const int32_t source = filled < movedFrom ? filled : filled + n;
            *GetCellPtr(pos + filled) = other[source].CreateClone(context);
            ++count;
        }
    } catch (...) {
        // Close the rest of the gap so that the busy cells stay contiguous.
        if (tailLength > 0)
            memmove(GetCellPtr(pos + filled), GetCellPtr(pos + n), GetRangeSize(tailLength));
        throw;
    }
}

CollectionElement *ArrayBase::InsertInSortedArray(CollectionElement *e) {
    int index = -1;
    if (count > 0)
        BinaryFindClosestGreater(*e, &index);
    return Insert(e, index < 0 ? count : index);
}

CollectionElement *ArrayBase::AddUnique(CollectionElement *e) {
    CollectionElement *equal = nullptr;
    if (count > 0 && (!markedAsSorted || BinaryFindEqual(*e)))
        equal = LinearFindEqual(*e);
    if (!equal)
        return InsertInSortedArray(e);
    // The caller handed `e` over; when an equal element is already stored
    // an owning array has no use for it.  The stored element itself is
    // never deleted.
    if (deleteElements && e && e != equal)
        delete e;
    return equal;
}

void ArrayBase::Absorb(ArrayBase &other, int pos) {
    if (&other != this)
        CellSequence::Absorb(other, pos);
}

void ArrayBase::AbsorbAndSort(ArrayBase &other) {
    Absorb(other, count);
    Sort();
}

void ArrayBase::CutRange(int pos, int n, int deleteThem) {
    if (deleteThem && n > 0) {
        CollectionElement **cell = GetCellPtr(pos);
        for (int32_t i = 0; i < n; ++i)
            delete cell[i];  // a null cell deletes nothing
    }
    CutCells(pos, n);
}

CollectionElement *ArrayBase::CutDetach(int i) {
    CollectionElement *e = GetCell(i);
    CutRange(i, 1, 0);
    return e;
}

void ArrayBase::Clear() {
    if (deleteElements)
        DeleteAll(1);
    else
        FreeMemory();
}

void ArrayBase::DeleteAll(int freeBlock) {
    // The count falls before each deletion, so an element's destructor
    // never sees itself or a deleted element in the array.
    while (count > 0) {
        CollectionElement *e = GetCell(--count);
        delete e;
    }
    if (freeBlock)
        FreeMemory();
}

int ArrayBase::HasMember(const CollectionElement *e) const {
    for (int32_t i = 0; i < count; ++i)
        if (GetCell(i) == e)
            return 1;
    return 0;
}

void ArrayBase::Sort() {
    if (count >= 2)
        QuickSort(GetCellPtr(0), GetCellPtr(count - 1));
}

void ArrayBase::QuickSort(CollectionElement **left, CollectionElement **right) {
    // Offsets from `left` rather than pointers, since j may step to just
    // before the first cell.  The right part is sorted by the loop and only
    // the left part recurses.  Each scan fetches the element it will compare
    // a few cells on, so that the memory of a large array's elements is on
    // its way before the calls need it; the calls are the same.
    constexpr ptrdiff_t kAhead = 8;
    for (;;) {
        const ptrdiff_t last = right - left;
        const CollectionElement *pivot = left[last / 2];
        ptrdiff_t i = 0, j = last;
        do {
            // The pivot element stops both scans, or an element swapped
            // across it.
            for (;; ++i) {
                if (i + kAhead <= last)
                    __builtin_prefetch(left[i + kAhead]);
                if (left[i]->Compare(*pivot, compareMode) >= 0)
                    break;
            }
            for (;; --j) {
                if (j >= kAhead)
                    __builtin_prefetch(left[j - kAhead]);
                if (left[j]->Compare(*pivot, compareMode) <= 0)
                    break;
            }
            if (i > j)
                break;
            if (i != j)
                std::swap(left[i], left[j]);
            ++i;
            --j;
        } while (i <= j);
        if (j > 0)
            QuickSort(left, left + j);
        if (i >= last)
            return;
        left += i;
    }
}

int ArrayBase::IsSorted() const {
    for (int32_t i = 1; i < count; ++i)
        if (GetCell(i - 1)->Compare(*GetCell(i), compareMode) > 0)
            return 0;
    return 1;
}

int ArrayBase::IsSortedBackwards() const {
    for (int32_t i = 1; i < count; ++i)
        if (GetCell(i - 1)->Compare(*GetCell(i), compareMode) < 0)
            return 0;
    return 1;
}

void ArrayBase::ForEach(void (*fn)(CollectionElement &, void *), void *argument) {
    if (count == 0)
        return;
    CollectionElement **cell = GetCellPtr(0);
    for (int32_t i = 0; i < count; ++i)
        fn(*cell[i], argument);
}

CollectionElement *ArrayBase::FindFirstThat(int (*test)(const CollectionElement &, const void *),
                                            const void *argument, int *index) const {
    int32_t i = 0;
    while (i < count && !test(*GetCell(i), argument))
        ++i;
    return Found(i < count ? i : -1, index);
}

CollectionElement *ArrayBase::FindLastThat(int (*test)(const CollectionElement &, const void *), const void *argument,
                                           int *index) const {
    int32_t i = count - 1;
    while (i >= 0 && !test(*GetCell(i), argument))
        --i;
    return Found(i, index);
}

CollectionElement *ArrayBase::Found(int pos, int *index) const {
    if (index)
        *index = pos;
    return pos < 0 ? nullptr : GetCell(pos);
}

// The binary searches share one halving: while the range low..high is not
// empty, compare the key with its middle; an equal element ends the search
// at once.  When none is equal, `low` ends at the first element greater than
// the key and `high` at the last smaller one.

int32_t ArrayBase::Halve(const CollectionElement &key, int32_t &low, int32_t &high) const {
    low = 0;
    high = count - 1;
    while (low <= high) {
        const int32_t mid = (low + high) >> 1;
        const int32_t order = key.Compare(*GetCell(mid), compareMode);
        if (order == 0)
            return mid;
        if (order < 0)
            high = mid - 1;
        else
            low = mid + 1;
    }
    return -1;
}

CollectionElement *ArrayBase::BinaryFindEqual(const CollectionElement &key, int *index) const {
    int32_t low, high;
    return Found(Halve(key, low, high), index);
}

CollectionElement *ArrayBase::BinaryFindEqualOrGreater(const CollectionElement &key, int *index) const {
    int32_t low, high;
    const int32_t equal = Halve(key, low, high);
    return Found(equal >= 0 ? equal : low < count ? low : -1, index);
}

CollectionElement *ArrayBase::BinaryFindClosestGreater(const CollectionElement &key, int *index) const {
    // Equal elements count as smaller, so the halving runs on to the first
    // element greater than the key.
    int32_t low = 0, high = count - 1;
    while (low <= high) {
        const int32_t mid = (low + high) >> 1;
        if (key.Compare(*GetCell(mid), compareMode) < 0)
            high = mid - 1;
        else
            low = mid + 1;
    }
    return Found(low < count ? low : -1, index);
}

CollectionElement *ArrayBase::BinaryFindEqualOrSmaller(const CollectionElement &key, int *index) const {
    int32_t low, high;
    const int32_t equal = Halve(key, low, high);
    return Found(equal >= 0 ? equal : high, index);
}

CollectionElement *ArrayBase::BinaryFindClosestSmaller(const CollectionElement &key, int *index) const {
    // Equal elements count as greater, so the halving runs on to the last
    // element smaller than the key.
    int32_t low = 0, high = count - 1;
    while (low <= high) {
        const int32_t mid = (low + high) >> 1;
        if (key.Compare(*GetCell(mid), compareMode) > 0)
            low = mid + 1;
        else
            high = mid - 1;
    }
    return Found(high, index);
}

// The linear searches replace their best so far only by a strictly better
// element, so among equal ones the first found stays.

CollectionElement *ArrayBase::LinearFindEqual(const CollectionElement &key, int *index) const {
    for (int32_t i = 0; i < count; ++i)
        if (key.Compare(*GetCell(i), compareMode) == 0)
            return Found(i, index);
    return Found(-1, index);
}

CollectionElement *ArrayBase::LinearFindSmallest(int *index) const {
    int32_t best = count > 0 ? 0 : -1;
    for (int32_t i = 1; i < count; ++i)
        if (GetCell(i)->Compare(*GetCell(best), compareMode) < 0)
            best = i;
    return Found(best, index);
}

CollectionElement *ArrayBase::LinearFindGreatest(int *index) const {
    int32_t best = count > 0 ? 0 : -1;
    for (int32_t i = 1; i < count; ++i)
        if (GetCell(i)->Compare(*GetCell(best), compareMode) > 0)
            best = i;
    return Found(best, index);
}

// The element nearest to `key` on one side of it (`side` below 0: the
// smaller side, above 0: the greater), with the element as the receiver of
// Compare.  Nearer means greater on the smaller side and smaller on the
// greater side.  With `stopAtEqual` the first element equal to `key` ends
// the walk and is the result.  -1 when nothing qualifies.
int32_t ArrayBase::LinearFindClosest(const CollectionElement &key, int side, int stopAtEqual) const {
    int32_t best = -1;
    for (int32_t i = 0; i < count; ++i) {
        const CollectionElement *e = GetCell(i);
        const int32_t order = e->Compare(key, compareMode);
        if (order == 0 && stopAtEqual)
            return i;
        if (side < 0 ? order >= 0 : order <= 0)
            continue;
        if (best < 0 || (side < 0 ? e->Compare(*GetCell(best), compareMode) > 0
                                  : e->Compare(*GetCell(best), compareMode) < 0))
            best = i;
    }
    return best;
}

CollectionElement *ArrayBase::LinearFindClosestSmaller(const CollectionElement &key, int *index) const {
    return Found(LinearFindClosest(key, -1, 0), index);
}

CollectionElement *ArrayBase::LinearFindClosestGreater(const CollectionElement &key, int *index) const {
    return Found(LinearFindClosest(key, 1, 0), index);
}

CollectionElement *ArrayBase::LinearFindEqualOrSmaller(const CollectionElement &key, int *index) const {
    return Found(LinearFindClosest(key, -1, 1), index);
}

CollectionElement *ArrayBase::LinearFindEqualOrGreater(const CollectionElement &key, int *index) const {
    return Found(LinearFindClosest(key, 1, 1), index);
}

int AreEqual(const ArrayBase &a, const ArrayBase &b, int mode) {
    if (&a == &b)
        return 1;
    if (a.GetCount() != b.GetCount())
        return 0;
    for (int32_t i = 0; i < a.GetCount(); ++i)
        if (a[i].Compare(b[i], mode) != 0)
            return 0;
    return 1;
}
