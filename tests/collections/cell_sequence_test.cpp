// Tests of CellSequence, the flags of the collection base, and GetPowerOf2.
#include "CommonVcZq/collections/cell_sequence.h"

#include <gtest/gtest.h>

#include <stdint.h>

#include <algorithm>
#include <vector>

#include "CommonVcZq/qx_vc/qx_heap.h"
#include "CommonVcZq/tools/randomizer.h"

namespace {

// Cells of three ints, so that every move must carry whole cells.
struct Cell {
    int32_t a, b, c;
};

CellSequence Cells(int expansionSize, QX_Heap *heap = nullptr) {
    return CellSequence(sizeof(Cell), 0, expansionSize, 0, heap);
}

void Push(CellSequence &s, std::vector<int32_t> values, int pos = -1) {
    for (int32_t v : values) {
        const Cell cell = {v, -v, v * 3};
        s.InsertCell(&cell, pos < 0 ? s.GetCount() : pos++);
    }
}

// The first field of each busy cell, checking that the cell is whole.
std::vector<int32_t> Values(const CellSequence &s) {
    std::vector<int32_t> values;
    for (int i = 0; i < s.GetCount(); ++i) {
        const Cell *cell = static_cast<const Cell *>(s.GetCellPtr(i));
        EXPECT_TRUE(cell->b == -cell->a && cell->c == cell->a * 3) << "cell " << i;
        values.push_back(cell->a);
    }
    return values;
}

// The capacity, checked against the block: it holds exactly that.
int Capacity(const CellSequence &s) {
    EXPECT_EQ(s.GetNumCells() * sizeof(Cell), QX_Heap::GetBlockSize(s.GetFirstCell()));
    return s.GetNumCells();
}

TEST(CellSequence, GrowthByTheQuantumShuffleSortAndGivingMemoryBack) {
    CellSequence s = Cells(20);
    EXPECT_EQ(0, s.HasAllocatedMemory());
    for (int32_t i = 0; i < 41; ++i) {
        Push(s, {i});
        EXPECT_EQ((i / 20 + 1) * 20, Capacity(s));
    }
    // Shuffle draws as CreateArrayOfUniqueUnsortedIndexes does.
    s.Shuffle(77);
    std::vector<int32_t> expected(41);
    Randomizer(77).CreateArrayOfUniqueUnsortedIndexes(41, expected.data());
    EXPECT_EQ(expected, Values(s));
    s.Sort([](const void *a, const void *b) {
        return static_cast<const Cell *>(a)->a - static_cast<const Cell *>(b)->a;
    });
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(expected, Values(s));

    s.CutCells(2, 39);
    s.ClearAll();
    EXPECT_EQ(0, static_cast<const Cell *>(s.GetCellPtr(1))->c);
    EXPECT_EQ(6, static_cast<const Cell *>(s.GetCellPtr(2))->c);  // beyond the count
    s.OptimizeSize();
    EXPECT_EQ(2, Capacity(s));
    s.SetNumBusyCells(0);
    s.OptimizeSize();  // nothing busy: the block goes
    EXPECT_EQ(0, s.HasAllocatedMemory());
    s.EnsureNumCells(35);
    EXPECT_EQ(35, Capacity(s));
    s.AllocateBusyCells(35);
    Push(s, {0});
    EXPECT_EQ(55, Capacity(s));  // the growth is rounded, not the total
    s.AllocateBusyCells(0);
    EXPECT_EQ(36, s.GetCount());
    s.FreeMemory();
    s.IncNumBusyCells();
    s.FreeMemory();  // no block: the count stays
    EXPECT_EQ(1, s.GetCount());
}

TEST(CellSequence, InsertFillCutAbsorbAndReverseMoveWholeCells) {
    CellSequence s = Cells(4), other = Cells(0);
    Push(s, {2, 4});
    Push(s, {1}, 0);
    Push(s, {3}, 2);
    *static_cast<Cell *>(s.InsertCell(nullptr, s.GetCount())) = {5, -5, 15};
    const Cell nine = {9, -9, 27};
    EXPECT_EQ(s.GetCellPtr(0), s.FillCell(0, &nine));
    EXPECT_EQ((std::vector<int32_t>{9, 2, 3, 4, 5}), Values(s));
    s.CutCells(1, 2);
    s.CutCells(2, 1);
    EXPECT_EQ((std::vector<int32_t>{9, 4}), Values(s));

    Push(other, {7, 8});
    EXPECT_EQ(2, Capacity(other));  // no quantum: exactly what is needed
    s.Insert(other, 1, 0);
    s += other;
    s.Insert(other, 1, 1);  // a gap the caller fills and counts
    EXPECT_EQ(6, s.GetCount());
    s.FillCell(1, other.GetCellPtr(1));
    s.FillCell(2, other.GetCellPtr(0));
    s.SetNumBusyCells(8);
    EXPECT_EQ((std::vector<int32_t>{9, 8, 7, 7, 8, 4, 7, 8}), Values(s));
    s.Absorb(other, 0);
    EXPECT_EQ((std::vector<int32_t>{7, 8, 9, 8, 7, 7, 8, 4, 7, 8}), Values(s));
    EXPECT_EQ(0, other.HasAllocatedMemory() + other.GetCount());

    s.Reverse();
    EXPECT_EQ((std::vector<int32_t>{8, 7, 4, 8, 7, 7, 8, 9, 8, 7}), Values(s));
}

TEST(CellSequence, CopiesTakeFlagsAndCapacityAssignKeepsItsHeap) {
    QX_Heap own(1, "Cells");
    CellSequence source(sizeof(Cell), 3, 6, 7, &own);
    source.MarkAsSorted(2);
    Push(source, {1, 2});

    CellSequence copy(source), shell(source, 0);
    EXPECT_EQ(&own, QX_Heap::GetHeapOf(copy.GetFirstCell()));
    EXPECT_EQ(1, copy.IsMarkedAsSorted());
    EXPECT_EQ(6, Capacity(copy));
    EXPECT_EQ(0, shell.HasAllocatedMemory());
    Push(shell, {1});
    EXPECT_EQ(6, Capacity(shell));  // the quantum came along

    CellSequence target(4, 0, 0, 0, nullptr);
    target.AllocateBusyCells(9);
    target = source;
    target.Assign(target, 1);
    EXPECT_EQ(&QX_Heap::GetDefault(), QX_Heap::GetHeapOf(target.GetFirstCell()));
    EXPECT_EQ(1, target.ShouldDeleteElements());
    EXPECT_EQ(6, Capacity(target));
    EXPECT_EQ((std::vector<int32_t>{1, 2}), Values(target));
    target.Assign(source, 0);
    EXPECT_EQ(0, target.HasAllocatedMemory() + target.GetCount());

    // Equality looks at the busy cells only.
    EXPECT_TRUE(Cells(0) == Cells(5));
    copy.EnsureNumCells(50);
    EXPECT_TRUE(copy == source);
    static_cast<Cell *>(copy.GetCellPtr(1))->c = 0;
    EXPECT_FALSE(copy == source);
}

TEST(GetPowerOf2, ExponentsOfExactPowersOnly) {
    for (int exponent = 0; exponent < 32; ++exponent) {
        EXPECT_EQ(exponent, GetPowerOf2(1u << exponent));
        EXPECT_EQ(-1, GetPowerOf2((1u << exponent) | 3));
    }
    EXPECT_EQ(-1, GetPowerOf2(0));
}

}  // namespace
