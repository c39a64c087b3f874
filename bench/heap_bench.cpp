// QX_Heap beside the C runtime's malloc, free and realloc, in the same run.
//
//  - Alloc and FreeMem of one small block, against malloc and free: the price
//    of the header and the counts.
//  - Growing a block in steps to 64 KB, the way String::Insert (exact sizes,
//    1 byte more each time) and CellSequence (a fixed quantum) grow theirs,
//    against realloc to the same sizes.  "Two" grows two blocks in turn, so
//    that neither can simply extend into free memory behind it.  With glibc
//    the slack takes the two blocks past its trim threshold (128 KB), so each
//    iteration also gives the heap's top back to the system and faults it in
//    again; MALLOC_TRIM_THRESHOLD_=268435456 shows the case without that.
#include "CommonVcZq/qx_vc/qx_heap.h"

#include <benchmark/benchmark.h>

#include <cstdlib>

namespace {

constexpr uint32_t kGrowTo = 64 * 1024;

void QxAllocFree(benchmark::State &state) {
    QX_Heap &heap = QX_Heap::GetDefault();
    const uint32_t size = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        void *block = heap.Alloc(size);
        benchmark::DoNotOptimize(block);
        QX_Heap::FreeMem(block);
    }
}

void MallocFree(benchmark::State &state) {
    const size_t size = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        void *block = std::malloc(size);
        benchmark::DoNotOptimize(block);
        std::free(block);
    }
}

// Many live blocks of mixed small sizes, freed in another order than made.
void QxAllocFreeMixed(benchmark::State &state) {
    QX_Heap &heap = QX_Heap::GetDefault();
    void *blocks[256];
    for (auto _ : state) {
        for (unsigned i = 0; i < 256; ++i)
            blocks[i] = heap.Alloc(8 + (i * 37) % 120);
        benchmark::DoNotOptimize(blocks);
        for (unsigned i = 0; i < 256; ++i)
            QX_Heap::FreeMem(blocks[(i * 97) % 256]);
    }
    state.SetItemsProcessed(state.iterations() * 256);
}

void MallocFreeMixed(benchmark::State &state) {
    void *blocks[256];
    for (auto _ : state) {
        for (unsigned i = 0; i < 256; ++i)
            blocks[i] = std::malloc(8 + (i * 37) % 120);
        benchmark::DoNotOptimize(blocks);
        for (unsigned i = 0; i < 256; ++i)
            std::free(blocks[(i * 97) % 256]);
    }
    state.SetItemsProcessed(state.iterations() * 256);
}

void QxReAllocGrow(benchmark::State &state) {
    QX_Heap &heap = QX_Heap::GetDefault();
    const uint32_t step = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        void *block = heap.Alloc(step);
        for (uint32_t size = 2 * step; size <= kGrowTo; size += step)
            block = heap.ReAlloc(block, size);
        benchmark::DoNotOptimize(block);
        QX_Heap::FreeMem(block);
    }
    state.SetItemsProcessed(state.iterations() * (kGrowTo / step));
}

void QxExpandByGrow(benchmark::State &state) {
    QX_Heap &heap = QX_Heap::GetDefault();
    const uint32_t step = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        void *block = heap.Alloc(step);
        for (uint32_t size = 2 * step; size <= kGrowTo; size += step)
            block = heap.ExpandBy(block, step);
        benchmark::DoNotOptimize(block);
        QX_Heap::FreeMem(block);
    }
    state.SetItemsProcessed(state.iterations() * (kGrowTo / step));
}

void ReallocGrow(benchmark::State &state) {
    const size_t step = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        void *block = std::malloc(step);
        for (size_t size = 2 * step; size <= kGrowTo; size += step)
            block = std::realloc(block, size);
        benchmark::DoNotOptimize(block);
        std::free(block);
    }
    state.SetItemsProcessed(state.iterations() * (kGrowTo / step));
}

void QxReAllocGrowTwo(benchmark::State &state) {
    QX_Heap &heap = QX_Heap::GetDefault();
    const uint32_t step = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        void *a = heap.Alloc(step);
        void *b = heap.Alloc(step);
        for (uint32_t size = 2 * step; size <= kGrowTo; size += step) {
            a = heap.ReAlloc(a, size);
            b = heap.ReAlloc(b, size);
        }
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        QX_Heap::FreeMem(a);
        QX_Heap::FreeMem(b);
    }
    state.SetItemsProcessed(state.iterations() * 2 * (kGrowTo / step));
}

void ReallocGrowTwo(benchmark::State &state) {
    const size_t step = static_cast<size_t>(state.range(0));
    for (auto _ : state) {
        void *a = std::malloc(step);
        void *b = std::malloc(step);
        for (size_t size = 2 * step; size <= kGrowTo; size += step) {
            a = std::realloc(a, size);
            b = std::realloc(b, size);
        }
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        std::free(a);
        std::free(b);
    }
    state.SetItemsProcessed(state.iterations() * 2 * (kGrowTo / step));
}

}  // namespace

BENCHMARK(QxAllocFree)->Arg(16)->Arg(64)->Arg(256)->ThreadRange(1, 2);
BENCHMARK(MallocFree)->Arg(16)->Arg(64)->Arg(256)->ThreadRange(1, 2);
BENCHMARK(QxAllocFreeMixed);
BENCHMARK(MallocFreeMixed);
BENCHMARK(QxReAllocGrow)->Arg(1)->Arg(16);
BENCHMARK(QxExpandByGrow)->Arg(1)->Arg(16);
BENCHMARK(ReallocGrow)->Arg(1)->Arg(16);
BENCHMARK(QxReAllocGrowTwo)->Arg(1)->Arg(16);
BENCHMARK(ReallocGrowTwo)->Arg(1)->Arg(16);

BENCHMARK_MAIN();
