// CellSequence.
//
// Cells move with memmove and copy as whole runs; no loop runs cell by cell
// on insertion or removal.  The byte functions are not called with a count
// of 0, as the block may then be null.
#include "CommonVcZq/collections/cell_sequence.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "CommonVcZq/qx_vc/qx_heap.h"
#include "CommonVcZq/tools/randomizer.h"

namespace {

// `n` rounded up to a multiple of `quantum`; an exact multiple stays.
int32_t RoundUp(int32_t n, int32_t quantum) {
    const int32_t rest = n % quantum;
    return rest ? n + (quantum - rest) : n;
}

}  // namespace

CellSequence::CellSequence(int cellSize, int initialSize, int expansionSize, int deleteElements, QX_Heap *heap)
    : Collection(deleteElements),
      cells(nullptr),
      numCells(0),
      expansionSize(expansionSize),
      initialSize(initialSize),
      cellSize(cellSize),
      heap(heap ? heap : &QX_Heap::GetDefault()) {}

CellSequence::CellSequence(const CellSequence &other, int copyContents)
    : Collection(other),
      cells(nullptr),
      numCells(0),
      expansionSize(other.expansionSize),
      initialSize(other.initialSize),
      cellSize(other.cellSize),
      heap(other.heap) {
    if (copyContents && other.cells) {
        ResizeCellBuffer(other.numCells, 0);
        memcpy(cells, other.cells, Bytes(other.numCells));
        count = other.count;
    }
}

CellSequence::~CellSequence() {
    FreeMemory();
}

void CellSequence::Assign(const CellSequence &other, int copyContents) {
    if (&other == this)
        return;
    Collection::operator=(other);
    initialSize = other.initialSize;
    expansionSize = other.expansionSize;
    cellSize = other.cellSize;
    FreeMemory();
    if (!copyContents || !other.cells)
        return;
    try {
        ResizeCellBuffer(other.numCells, 0);
        memcpy(cells, other.cells, Bytes(other.numCells));
        count = other.count;
    } catch (...) {
        // The sequence ends without a block and without busy cells, never as
        // a partial copy of the source.
        FreeMemory();
        count = 0;
        throw;
    }
}

void CellSequence::Insert(const CellSequence &other, int pos, int reserveOnly) {
    const int32_t n = other.count;
    EnsureNumCells(count + n, 0);
    if (n == 0)
        return;
    if (count > pos)
        memmove(GetCellPtr(pos + n), GetCellPtr(pos), Bytes(count - pos));
    if (!reserveOnly) {
        memcpy(GetCellPtr(pos), other.cells, Bytes(n));
        count += n;
    }
}

void CellSequence::Absorb(CellSequence &other, int pos) {
    Insert(other, pos, 0);
    other.FreeMemory();
}

void *CellSequence::InsertCell(const void *source, int pos) {
    EnsureNumCells(count + 1, 1);
    void *cell = GetCellPtr(pos);
    if (count > pos)
        memmove(GetCellPtr(pos + 1), cell, Bytes(count - pos));
    if (source)
        memcpy(cell, source, Bytes(1));
    ++count;
    return cell;
}

void *CellSequence::FillCell(int pos, const void *source) {
    void *cell = GetCellPtr(pos);
    memcpy(cell, source, Bytes(1));
    return cell;
}

void CellSequence::CutCells(int pos, int n) {
    count -= n;
    if (count != 0 && count > pos)
        memmove(GetCellPtr(pos), GetCellPtr(pos + n), Bytes(count - pos));
}

void CellSequence::ClearAll() {
    if (cells && count > 0)
        memset(cells, 0, Bytes(count));
}

void CellSequence::FreeMemory() {
    if (!cells)
        return;
    QX_Heap::FreeMem(cells);
    cells = nullptr;
    numCells = 0;
    count = 0;
}

void CellSequence::AllocateBusyCells(int n) {
    if (n == 0)
        return;
    EnsureNumCells(n, 0);
    count = n;
}

void CellSequence::OptimizeSize() {
    if (count == 0) {
        FreeMemory();
    } else if (cells) {
        cells = static_cast<char *>(heap->ReAlloc(cells, static_cast<uint32_t>(Bytes(count)), 0));
        numCells = count;
    }
}

void CellSequence::Reverse() {
    for (int32_t i = 0, j = count - 1; i < j; ++i, --j)
        std::swap_ranges(cells + Bytes(i), cells + Bytes(i + 1), cells + Bytes(j));
}

void CellSequence::Shuffle(int seed) {
    const int32_t last = count - 1;
    if (last <= 0)
        return;
    Randomizer randomizer(seed);
    for (int32_t i = 0; i < last; ++i) {
        const int32_t j = static_cast<int32_t>(randomizer.Get(static_cast<uint32_t>(count - i)));
        if (j != last - i)
            std::swap_ranges(cells + Bytes(j), cells + Bytes(j + 1), cells + Bytes(last - i));
    }
}

void CellSequence::Sort(int (*compare)(const void *, const void *)) {
    if (count > 1)
        qsort(cells, static_cast<size_t>(count), static_cast<size_t>(cellSize), compare);
}

void CellSequence::EnsureNumCells(int n, int roundUp) {
    if (numCells < n)
        ResizeCellBuffer(n, roundUp);
}

void CellSequence::ResizeCellBuffer(int n, int roundUp) {
    const bool rounding = roundUp && expansionSize > 0;
    if (!cells) {
        const int32_t capacity = rounding && n ? RoundUp(n, expansionSize) : n;
        cells = static_cast<char *>(heap->Alloc(static_cast<uint32_t>(Bytes(capacity)), 0));
        numCells = capacity;
    } else if (n > numCells) {
        const int32_t growth = rounding ? RoundUp(n - numCells, expansionSize) : n - numCells;
        cells = static_cast<char *>(heap->ExpandBy(cells, static_cast<uint32_t>(Bytes(growth)), 0));
        numCells += growth;
    }
}

int operator==(const CellSequence &a, const CellSequence &b) {
    const int32_t n = a.GetNumBusyCells();
    if (n != b.GetNumBusyCells())
        return 0;
    return n <= 0 || memcmp(a.GetFirstCell(), b.GetFirstCell(), static_cast<size_t>(a.GetRangeSize(n))) == 0;
}
