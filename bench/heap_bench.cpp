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
//  - Churn: 65,536 steps over a ring of 4,096 live blocks of 16 to 256
//    bytes, each step freeing the oldest block and making one in its place,
//    on one thread and on two at once (each with a ring of its own), against
//    malloc and free and, when mimalloc is installed, mi_malloc and mi_free.
//    mimalloc is reached through dlopen with its symbols kept local: linked
//    into the program, its malloc would replace the C runtime's peer.
#include "CommonVcZq/qx_vc/qx_heap.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

#if defined(CVZ_MIMALLOC_SONAME)
#include <dlfcn.h>
#endif

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

// The churn's steps: the size of each new block, the same for every run.
constexpr int kRing = 4096;
constexpr int kSteps = 65536;

const std::vector<uint32_t> &ChurnSizes() {
    static const std::vector<uint32_t> sizes = [] {
        std::vector<uint32_t> v(kSteps + kRing);
        uint32_t x = 12345;
        for (auto &size : v) {
            x = x * 1103515245u + 12345u;
            size = 16 + (x >> 8) % 241;
        }
        return v;
    }();
    return sizes;
}

template <class Alloc, class Free>
void Churn(benchmark::State &state, Alloc alloc, Free release) {
    const std::vector<uint32_t> &sizes = ChurnSizes();
    std::vector<void *> ring(kRing);
    for (int i = 0; i < kRing; ++i)
        ring[i] = alloc(sizes[kSteps + i]);
    for (auto _ : state) {
        for (int step = 0; step < kSteps; ++step) {
            void *&slot = ring[step & (kRing - 1)];
            release(slot);
            slot = alloc(sizes[step]);
        }
        benchmark::DoNotOptimize(ring.data());
    }
    for (void *block : ring)
        release(block);
    state.SetItemsProcessed(state.iterations() * kSteps);
}

void QxChurn(benchmark::State &state) {
    QX_Heap &heap = QX_Heap::GetDefault();
    Churn(state, [&heap](uint32_t size) { return heap.Alloc(size); }, [](void *block) { QX_Heap::FreeMem(block); });
}

void MallocChurn(benchmark::State &state) {
    Churn(state, [](uint32_t size) { return std::malloc(size); }, [](void *block) { std::free(block); });
}

#if defined(CVZ_MIMALLOC_SONAME)
struct MiMalloc {
    void *(*malloc)(size_t) = nullptr;
    void (*free)(void *) = nullptr;
    MiMalloc() {
        if (void *library = dlopen(CVZ_MIMALLOC_SONAME, RTLD_NOW | RTLD_LOCAL)) {
            malloc = reinterpret_cast<void *(*)(size_t)>(dlsym(library, "mi_malloc"));
            free = reinterpret_cast<void (*)(void *)>(dlsym(library, "mi_free"));
        }
    }
};

void MiMallocChurn(benchmark::State &state) {
    static const MiMalloc mi;
    if (!mi.malloc || !mi.free) {
        state.SkipWithError("mimalloc cannot be loaded");
        return;
    }
    Churn(state, [](uint32_t size) { return mi.malloc(size); }, [](void *block) { mi.free(block); });
}
#endif

}  // namespace

BENCHMARK(QxChurn)->ThreadRange(1, 2)->Unit(benchmark::kMicrosecond);
BENCHMARK(MallocChurn)->ThreadRange(1, 2)->Unit(benchmark::kMicrosecond);
#if defined(CVZ_MIMALLOC_SONAME)
BENCHMARK(MiMallocChurn)->ThreadRange(1, 2)->Unit(benchmark::kMicrosecond);
#endif
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
