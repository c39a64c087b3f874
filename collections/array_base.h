// ArrayBase: an array of pointers to CollectionElement; ArrayInPlace<T>: an
// array of T values held in the cells themselves.
//
// ArrayBase is a CellSequence whose cells are one pointer wide.  Its
// elements are generic through CollectionElement: Compare orders them,
// CreateClone copies them.  Every Compare call receives the array's compare
// mode unchanged.
//
// Ownership is a flag, not a type.  An owning array (the default) deletes
// its elements in the destructor, Clear, Assign and AddUnique; the other
// members delete or keep the same way whatever the flag says:
//
//   destructor, Clear()        deleted when owning; block released
//   DeleteAll(1)               always deleted; block released
//   DeleteAll(0)               always deleted; block kept, count 0
//   CutDelete, CutRange(.., 1) always deleted; block kept
//   CutDetach, CutRange(.., 0), Pop
//                              handed to the caller; block kept
//   Assign, operator=          as Clear, then clones of the source
//   Absorb, AbsorbAndSort      the source's pointers move over, uncloned;
//                              the source's block is released
//
// DeleteAll and CutRange skip null cells.  Searching, sorting, IsSorted and
// AreEqual call through the pointers, so they need an array without null
// cells.  A CreateClone that gives null leaves a null cell.
//
// Sorting.  Sort is a quicksort (Hoare partition around the middle element,
// not stable).  It needs Compare to be a consistent order under which an
// element compared with itself gives 0; the default Compare, which always
// gives -1, would make it run off the array.  Neither Sort nor any insertion
// touches the `markedAsSorted` flag: that is the caller's declaration
// through MarkAsSorted, copied by copy construction and Assign, and read by
// AddUnique alone, which then trusts it for a binary search.
//
// Searching.  The binary searches need an array sorted ascending under the
// compare mode and ask `key.Compare(element, mode)`: the key is the
// receiver.  The linear searches take any order; LinearFindEqual also asks
// the key, while the other linear searches ask `element.Compare(key, mode)`
// (the difference shows with an asymmetric Compare).  Among equal elements
// a linear search keeps the first one found.  Every search that takes
// `index` stores there the index of its result, or -1 when it gives null;
// an empty array gives null.
//
// No member tests an index: Insert takes 0 to count, the others a busy
// cell, and GetFirst, GetLast and Pop a non-empty array.  Inserting an
// array into itself (Insert, Append or += with the same array) is allowed:
// the clones are taken of the elements as they stood before the call.
// Absorbing an array into itself does nothing.  An array is used by one
// thread at a time.
//
// ArrayInPlace<T> holds T values in cells of sizeof(T) bytes: Add
// copy-constructs a value into a new last cell, Clear destroys the values
// in ascending order and releases the block, and the destructor clears.
// Copies copy-construct each value.  The byte-level members inherited from
// CellSequence (InsertCell, CutCells, Reverse, Shuffle, Sort, Absorb) move
// values as raw bytes, which suits only a T that may be relocated so, such
// as String; its byte copies (Insert, FillCell) construct nothing.
#ifndef CVZ_COLLECTIONS_ARRAY_BASE_H
#define CVZ_COLLECTIONS_ARRAY_BASE_H

#include <stdint.h>

#include <new>

#include "CommonVcZq/collections/cell_sequence.h"
#include "CommonVcZq/collections/collection.h"
#include "CommonVcZq/frame/api.h"

class CVZ_API ArrayBase : public CellSequence {
public:
    // Allocates nothing; the first Add takes `expansionSize` cells.  A
    // non-zero `deleteElements` makes the array own its elements.  The
    // compare mode is 0.
    explicit ArrayBase(int initialSize = 20, int expansionSize = 20, int deleteElements = 1);
    // A deep copy through CreateClone, with `other`'s flags and compare mode.
    ArrayBase(const ArrayBase &other);
    // Clear().
    ~ArrayBase() override;

    // Makes this array a deep copy of `other` (nothing when it is this
    // array): empties it as Clear does, takes `other`'s flags and sizes, and
    // stores other[i].CreateClone(context) for each element in order.  The
    // compare mode stays this array's own.
    void Assign(const ArrayBase &other, const void *context);
    ArrayBase &operator=(const ArrayBase &other) {
        Assign(other, nullptr);
        return *this;
    }

    void SetCompareMode(int mode) { compareMode = mode; }
    int GetCompareMode() const { return compareMode; }

    // Adding.  The single-element members return `e`.
    //
    // Stores `e` at `pos` (0 to count), growing by the expansion quantum.
    CollectionElement *Insert(CollectionElement *e, int pos);
    CollectionElement *Add(CollectionElement *e) { return Insert(e, count); }
    CollectionElement *Append(CollectionElement *e) { return Insert(e, count); }
    CollectionElement *Push(CollectionElement *e) { return Insert(e, count); }
    CollectionElement *Prepend(CollectionElement *e) { return Insert(e, 0); }
    ArrayBase &operator+=(CollectionElement *e) {
        Insert(e, count);
        return *this;
    }
    // Removes and returns the last element; the array must not be empty.
    CollectionElement *Pop() { return GetCell(--count); }

    // Inserts clones of `other`'s elements at `pos`, in order, made with
    // CreateClone(context).  If a CreateClone throws, the clones made so far
    // stay and the elements behind `pos` close up behind them.
    void Insert(const ArrayBase &other, int pos, const void *context = nullptr);
    void Append(const ArrayBase &other, const void *context = nullptr) { Insert(other, count, context); }
    ArrayBase &operator+=(const ArrayBase &other) {
        Insert(other, count, nullptr);
        return *this;
    }

    // Inserts `e` behind the elements that are not greater than it, in an
    // array sorted ascending, so equal elements keep their order of arrival.
    // Returns `e`.
    CollectionElement *InsertInSortedArray(CollectionElement *e);
    // Adds `e` unless an equal element is stored, and returns the element
    // that now stands for `e`: `e` itself, or the first equal element found
    // (by a binary search when the array is marked as sorted, then a linear
    // one).  In the second case an owning array deletes `e` unless it is
    // that very element, so the caller must use the result, not `e`.  A new
    // element goes in through InsertInSortedArray.
    CollectionElement *AddUnique(CollectionElement *e);

    // Moves `other`'s pointers in at `pos` without cloning; `other` ends
    // empty and without a block, and no element is deleted.
    void Absorb(ArrayBase &other, int pos);
    // Absorb(other, count), then Sort().
    void AbsorbAndSort(ArrayBase &other);

    // Removing.
    //
    // Removes `n` cells at `pos`; with `deleteThem` non-zero their elements
    // are deleted first, in ascending order, skipping null cells.
    void CutRange(int pos, int n, int deleteThem);
    // Removes cell `i` and returns its element, which is not deleted.
    CollectionElement *CutDetach(int i);
    // Removes cell `i` and deletes its element.
    void CutDelete(int i) { CutRange(i, 1, 1); }
    // An owning array deletes its elements; either way the block goes.
    void Clear();
    // Deletes every element, from the last cell to the first, skipping null
    // cells, whatever the ownership flag.  Releases the block when
    // `freeBlock` is non-zero.
    void DeleteAll(int freeBlock);

    // Reading.  No index is tested.
    CollectionElement &operator[](int i) const { return *GetCell(i); }
    CollectionElement *GetFirst() const { return GetCell(0); }
    CollectionElement *GetLast() const { return GetCell(count - 1); }
    // 1 when the pointer `e` itself is stored.
    int HasMember(const CollectionElement *e) const;

    // Order.  Reverse and Shuffle(seed) are CellSequence's.
    //
    // Sorts ascending under the compare mode; see the top of this file.
    void Sort();
    // 1 when no element compares greater than the one after it.
    int IsSorted() const;
    // 1 when no element compares smaller than the one after it.
    int IsSortedBackwards() const;

    // Callbacks.
    //
    // Calls `fn` for each element, first to last.  The count is read again
    // after each call, so `fn` may remove elements (the one after a removed
    // element is then skipped), but must not make the block move.
    void ForEach(void (*fn)(CollectionElement &, void *), void *argument);
    // The first (last) element for which `test` gives non-zero, or null.
    CollectionElement *FindFirstThat(int (*test)(const CollectionElement &, const void *), const void *argument,
                                     int *index = nullptr) const;
    CollectionElement *FindLastThat(int (*test)(const CollectionElement &, const void *), const void *argument,
                                    int *index = nullptr) const;

    // Binary searches, on an array sorted ascending.
    //
    // An element equal to `key`: the first one the halving meets, which with
    // duplicates is not necessarily the first of them.
    CollectionElement *BinaryFindEqual(const CollectionElement &key, int *index = nullptr) const;
    // An equal element as above, else the smallest one greater than `key`.
    CollectionElement *BinaryFindEqualOrGreater(const CollectionElement &key, int *index = nullptr) const;
    // The first element strictly greater than `key`.
    CollectionElement *BinaryFindClosestGreater(const CollectionElement &key, int *index = nullptr) const;
    // An equal element as above, else the last of the greatest ones smaller
    // than `key`.
    CollectionElement *BinaryFindEqualOrSmaller(const CollectionElement &key, int *index = nullptr) const;
    // The last element strictly smaller than `key`.
    CollectionElement *BinaryFindClosestSmaller(const CollectionElement &key, int *index = nullptr) const;

    // Linear searches, on any order, scanning from the first element.
    //
    // The first element equal to `key`.
    CollectionElement *LinearFindEqual(const CollectionElement &key, int *index = nullptr) const;
    // The first of the smallest (greatest) elements.
    CollectionElement *LinearFindSmallest(int *index = nullptr) const;
    CollectionElement *LinearFindGreatest(int *index = nullptr) const;
    // The greatest of the elements strictly smaller than `key`.
    CollectionElement *LinearFindClosestSmaller(const CollectionElement &key, int *index = nullptr) const;
    // The smallest of the elements strictly greater than `key`.
    CollectionElement *LinearFindClosestGreater(const CollectionElement &key, int *index = nullptr) const;
    // The first element equal to `key`, else as LinearFindClosestSmaller.
    CollectionElement *LinearFindEqualOrSmaller(const CollectionElement &key, int *index = nullptr) const;
    // The first element equal to `key`, else as LinearFindClosestGreater.
    CollectionElement *LinearFindEqualOrGreater(const CollectionElement &key, int *index = nullptr) const;

private:
    // The address of cell `pos`.
    CollectionElement **GetCellPtr(int pos) const {
        return static_cast<CollectionElement **>(CellSequence::GetCellPtr(pos));
    }
    CollectionElement *GetCell(int pos) const { return *GetCellPtr(pos); }
    // Sorts the cells from `left` to `right`, both included.
    void QuickSort(CollectionElement **left, CollectionElement **right);
    // The element at `pos`, also stored in `index`; -1 gives null.
    CollectionElement *Found(int pos, int *index) const;
    // The halving of the binary searches, with `key` as the receiver: the
    // index of the first equal element it hits, or -1 with `low` on the
    // first element greater than the key and `high` on the last smaller one.
    int32_t Halve(const CollectionElement &key, int32_t &low, int32_t &high) const;
    // The index of the element nearest to `key` on the side `side` names
    // (below 0: smaller), or of the first equal one with `stopAtEqual`.
    int32_t LinearFindClosest(const CollectionElement &key, int side, int stopAtEqual) const;

    int32_t compareMode;  // handed to every Compare call
};

// 1 when `a` and `b` are the same array, or have the same count and each
// a[i].Compare(b[i], mode) gives 0; else 0.  The arrays' own compare modes
// play no part.
CVZ_API int AreEqual(const ArrayBase &a, const ArrayBase &b, int mode);

template <class T>
class ArrayInPlace : public CellSequence {
public:
    // Allocates nothing; the block grows by `expansionSize` values.
    explicit ArrayInPlace(int expansionSize = 20, QX_Heap *heap = nullptr)
        : CellSequence(sizeof(T), 0, expansionSize, 0, heap) {}
    // Copy-constructs each of `other`'s values, on `other`'s heap.
    ArrayInPlace(const ArrayInPlace &other) : CellSequence(other, 0) {
        try {
            CopyValues(other);
        } catch (...) {
            Clear();
            throw;
        }
    }
    ArrayInPlace &operator=(const ArrayInPlace &other) {
        if (&other != this) {
            Clear();
            CopyValues(other);
        }
        return *this;
    }
    ~ArrayInPlace() override { Clear(); }

    // Destroys the values in ascending order, then releases the block.
    void Clear() {
        for (int32_t i = 0; i < count; ++i)
            Cell(i)->~T();
        count = 0;
        FreeMemory();
    }

    // Copy-constructs `value` into a new last cell and returns it.  `value`
    // may be one of this array's own values.
    T &Add(const T &value) {
        if (IsFull() && count > 0 && Cell(0) <= &value && &value < Cell(count)) {
            const T copy(value);  // growing may move the block under `value`
            return Add(copy);
        }
        T *cell = static_cast<T *>(InsertCell(nullptr, count));
        try {
            return *::new (cell) T(value);
        } catch (...) {
            DecNumBusyCells();
            throw;
        }
    }
    ArrayInPlace &operator+=(const T &value) {
        Add(value);
        return *this;
    }

    T &operator[](int i) { return *Cell(i); }
    const T &operator[](int i) const { return *Cell(i); }
    T *begin() { return Cell(0); }
    T *end() { return Cell(count); }
    const T *begin() const { return Cell(0); }
    const T *end() const { return Cell(count); }

private:
    T *Cell(int i) const { return static_cast<T *>(GetFirstCell()) + i; }
    void CopyValues(const ArrayInPlace &other) {
        EnsureNumCells(other.count);
        for (int32_t i = 0; i < other.count; ++i)
            Add(other[i]);
    }
};

#endif
