// CellSequence: a growable block of fixed-size cells.
//
// The storage under the library's arrays.  A cell is `cellSize` bytes that
// the sequence copies, moves and zeroes but never interprets, so it deletes
// no element: what the cells point to belongs to the caller or to the
// container built on top.  The busy cells are 0 to count - 1, contiguous
// from the start of the block; cells behind them hold whatever they held,
// and new cells are not zeroed.
//
// Memory.  The block comes from a QX_Heap (by default the default heap) and
// belongs to the sequence.  A new sequence has no block; the first
// operation that needs room makes one.  Growth is by a fixed quantum, never
// by doubling: only InsertCell rounds, growing by a multiple of
// `expansionSize` cells (0: by exactly what is needed), and every other
// operation takes exactly what it needs.  With expansionSize 20, filling
// cell by cell gives capacities 20, 40, 60; after EnsureNumCells(35) the
// next InsertCell gives 55.  A grown block goes through QX_Heap::ExpandBy,
// which keeps slack behind it, so growing by small quanta stays cheap.
// Only OptimizeSize, FreeMemory and Assign give memory back.
//
// No member tests an index or a count: the caller keeps positions within 0
// to count, cut ranges within the busy cells, and `source` pointers outside
// this sequence's block.  An exhausted heap raises its failure (the "Out of
// memory" Exception) through any member that allocates, and the sequence
// stays as it was.  A sequence is used by one thread at a time.
#ifndef CVZ_COLLECTIONS_CELL_SEQUENCE_H
#define CVZ_COLLECTIONS_CELL_SEQUENCE_H

#include <stddef.h>
#include <stdint.h>

#include "CommonVcZq/collections/collection.h"
#include "CommonVcZq/frame/api.h"

class QX_Heap;

class CVZ_API CellSequence : public Collection {
public:
    // Allocates nothing.  `initialSize` is kept and copied along but decides
    // no allocation.  A null `heap` means QX_Heap::GetDefault().
    CellSequence(int cellSize, int initialSize, int expansionSize, int deleteElements, QX_Heap *heap = nullptr);
    // Copies the flags, sizes and heap.  With `copyContents` non-zero it
    // takes a block of the source's capacity, copies all of its cells and
    // takes the source's count; otherwise it starts without a block.
    CellSequence(const CellSequence &other, int copyContents = 1);
    ~CellSequence() override;

    // Makes this a copy of `other` (nothing when it is this object): the
    // flags, initialSize, expansionSize and cellSize are taken, the heap
    // stays, and the block is released.  With `copyContents` non-zero a
    // block of `other`'s capacity comes from this sequence's heap with all of
    // its cells, and `other`'s count.  If that allocation fails the sequence
    // is left without a block, count 0, and the failure passes on.
    void Assign(const CellSequence &other, int copyContents);
    CellSequence &operator=(const CellSequence &other) {
        Assign(other, 1);
        return *this;
    }

    // Inserting.  `other` has this sequence's cell size and is another
    // object.
    //
    // Opens a gap of other.count cells at `pos`.  With `reserveOnly` 0 the
    // gap receives other's busy cells and the count rises by other.count;
    // otherwise the gap stays open, the count unchanged, for the caller to
    // fill and count cell by cell.
    void Insert(const CellSequence &other, int pos, int reserveOnly);
    void Append(const CellSequence &other) { Insert(other, count, 0); }
    CellSequence &operator+=(const CellSequence &other) {
        Insert(other, count, 0);
        return *this;
    }
    // Insert(other, pos, 0), then other.FreeMemory(): the cells move over
    // and `other` ends empty, without a block.
    void Absorb(CellSequence &other, int pos);
    // Opens cell `pos`, growing by the quantum when full, and copies
    // `cellSize` bytes from `source` into it; a null `source` leaves the
    // cell for the caller to fill.  Raises the count; returns the cell.
    void *InsertCell(const void *source, int pos);
    // Copies `cellSize` bytes over cell `pos`; the count stays.  Returns the
    // cell.
    void *FillCell(int pos, const void *source);

    // Removing.  Capacity stays.
    //
    // Removes `n` cells at `pos`; the cells behind move down.
    void CutCells(int pos, int n);
    // Zeroes the busy cells; the count stays.
    void ClearAll();
    // Releases the block: no cells, count 0.  Without a block, nothing
    // happens (the count stays).
    void FreeMemory();

    // Capacity.
    //
    // At least `n` cells, exactly: no rounding.
    void EnsureNumCells(int n) { EnsureNumCells(n, 0); }
    // Makes `n` cells busy (n 0: nothing happens), keeping what they hold.
    void AllocateBusyCells(int n);
    // Shrinks the block to the busy cells; with none, as FreeMemory.
    void OptimizeSize();

    // Order.
    //
    // Reverses the order of the busy cells.
    void Reverse();
    // A Fisher-Yates shuffle from the end, drawing from a Randomizer seeded
    // with `seed` (0: from the clock).  The same seed gives the same
    // permutation; fewer than two cells make no draw.
    void Shuffle(int seed);
    // Sorts the busy cells with qsort and `compare`.
    void Sort(int (*compare)(const void *, const void *));

    // Reading.
    int32_t GetNumCells() const { return numCells; }
    int32_t GetNumBusyCells() const { return count; }
    int IsFull() const { return count == numCells; }
    int HasAllocatedMemory() const { return cells != nullptr; }
    void *GetFirstCell() const { return cells; }
    void *GetCellPtr(int pos) const { return cells + static_cast<ptrdiff_t>(pos) * cellSize; }
    // The bytes of `n` cells.
    int GetRangeSize(int n) const { return n * cellSize; }
    QX_Heap *GetHeap() const { return heap; }
    // The growth quantum of InsertCell, in cells; 0: grow by one cell.
    void SetExpansionSize(int quantum) { expansionSize = quantum; }

    // Raw changes of the count, with no other effect: the caller keeps the
    // count within the capacity.
    void SetNumBusyCells(int n) { count = n; }
    void IncNumBusyCells() { ++count; }
    void DecNumBusyCells() { --count; }

protected:
    char *cells;            // the block; null when there is none
    int32_t numCells;       // capacity in cells; 0 without a block
    int32_t expansionSize;  // growth quantum of InsertCell, in cells
    int32_t initialSize;    // kept and copied; no allocation depends on it
    int32_t cellSize;       // bytes a cell
    QX_Heap *heap;          // allocator of the block; never null

private:
    // Capacity at least `n`; with `roundUp` the growth is rounded up to a
    // multiple of expansionSize.
    void EnsureNumCells(int n, int roundUp);
    // Grows the block to hold `n` cells (never shrinks).
    void ResizeCellBuffer(int n, int roundUp);
    // Bytes of `n` cells, for the heap and for copies.
    size_t Bytes(int n) const { return static_cast<size_t>(n) * static_cast<size_t>(cellSize); }
};

// 1 when the busy cells of `a` and `b` are equal byte for byte (the cell
// size of `a` counts), 0 when they differ or the counts do; capacity plays
// no part.  Two empty sequences are equal.
CVZ_API int operator==(const CellSequence &a, const CellSequence &b);

#endif
