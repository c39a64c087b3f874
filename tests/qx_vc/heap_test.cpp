// Tests of QX_Heap: counts, ownership and contents, growth cost, threads,
// exhaustion and the end observer.
#include "qx_vc/qx_heap.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <future>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

// Larger than any block can be, header included: refused on every target
// without touching the machine's memory.
constexpr uint32_t kImpossibleSize = 0xFFFFFFF0u;

void Fill(void *block, uint32_t from, uint32_t to, int seed) {
    for (uint32_t i = from; i < to; ++i)
        static_cast<uint8_t *>(block)[i] = uint8_t(seed + i * 7);
}

// Whether [0, to) still holds what Fill wrote.
bool Holds(const void *block, uint32_t to, int seed) {
    for (uint32_t i = 0; i < to; ++i)
        if (static_cast<const uint8_t *>(block)[i] != uint8_t(seed + i * 7))
            return false;
    return true;
}

TEST(QxHeap, CountsOwnershipAndContentsFollowEveryOperation) {
    QX_Heap heap(1, "Counting"), other(1, std::string(200, 'n').c_str());
    void *a = heap.Alloc(1000), *b = heap.AllocMem(20), *c = other.ReAlloc(nullptr, 8);
    Fill(a, 0, 1000, 3);
    a = heap.ReAlloc(a, 1 << 20);  // far enough to move on any allocator
    EXPECT_TRUE(Holds(a, 1000, 3));
    a = heap.ReAlloc(a, (1 << 20) + 1);  // within the slack, which is not counted
    a = heap.ReAlloc(a, 40);
    EXPECT_TRUE(Holds(a, 40, 3));
    b = heap.ExpandBy(b, 12);
    Fill(b, 0, 32, 5);                     // the whole new size is writable
    void *d = heap.ExpandBy(nullptr, 16);  // a null block makes a new one
    EXPECT_EQ(heap.GetBlockCount(), 3u);
    EXPECT_EQ(heap.GetByteCount(), 88u);
    EXPECT_EQ(QX_Heap::GetHeapOf(d), &heap);
    EXPECT_EQ(QX_Heap::GetHeapOf(c), &other);

    for (void *block : {a, b, c, d, static_cast<void *>(nullptr)})
        QX_Heap::FreeMem(block);
    EXPECT_EQ(heap.GetBlockCount() + other.GetBlockCount(), 0u);
    EXPECT_EQ(heap.GetByteCount() + other.GetByteCount(), 0u);
    EXPECT_EQ(std::string(other.GetName()).find_first_not_of('n'), std::string::npos);  // cut, whole
}

// Growing a byte at a time must move a block only a logarithmic number of
// times.  Three blocks grow side by side, as strings built together do, so
// that the runtime cannot simply extend each into free memory behind it:
// only the heap's own slack keeps them in place.
TEST(QxHeap, StepwiseGrowthMovesRarely) {
    QX_Heap heap(1, "Growth");
    constexpr uint32_t kTarget = 1u << 20;
    void *blocks[3] = {heap.Alloc(0), heap.Alloc(0), heap.Alloc(0)};
    int moves[3] = {};
    for (uint32_t size = 0; size < kTarget; ++size) {
        for (int k = 0; k < 3; ++k) {
            void *before = blocks[k];
            blocks[k] = k ? heap.ExpandBy(blocks[k], 1) : heap.ReAlloc(blocks[k], size + 1);
            Fill(blocks[k], size, size + 1, k);
            moves[k] += blocks[k] != before;
        }
    }
    EXPECT_EQ(heap.GetByteCount(), 3ull * kTarget);
    for (int k = 0; k < 3; ++k) {
        EXPECT_LE(moves[k], 48) << "block " << k;
        EXPECT_TRUE(Holds(blocks[k], kTarget, k));
        QX_Heap::FreeMem(blocks[k]);
    }
}

#if !defined(_WIN32)
// Frees its block as its thread ends, after the heap's own bookkeeping for
// that thread has ended (when it is built first).  Not on Windows: there the
// toolchain tears down a thread's thread-local storage before it runs the
// thread-local destructors, which then find their objects gone.
thread_local struct FreedAtThreadEnd {
    void *block = nullptr;
    ~FreedAtThreadEnd() { QX_Heap::FreeMem(block); }
} freedAtThreadEnd;
#endif

// Eighty threads at once: more than the heap has slots to count in, so that
// some share the spare one.  Each counts a block before all go on, and frees
// it as it ends; meanwhile all make, grow, shrink, check and free blocks side
// by side, and leave some for the test's thread to free.
TEST(QxHeap, ThreadsShareOneHeap) {
    QX_Heap heap(1, "Shared");
    constexpr int kThreads = 80;
    void *left[kThreads][32] = {};
    std::atomic<int> ready{0}, damaged{0};
    std::promise<void> counted;
    std::shared_future<void> go = counted.get_future().share();
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, go, t] {
#if defined(_WIN32)
            void *last = heap.ExpandBy(heap.Alloc(t), 5);
#else
            void *&last = freedAtThreadEnd.block;  // built before the heap first counts here
            last = heap.ExpandBy(heap.Alloc(t), 5);
#endif
            ++ready;
            go.wait();
            // Every block meets each step in turn, since 32 and 3 are coprime.
            for (uint32_t round = 0; round < 4000; ++round) {
                void *&block = left[t][round % 32];
                uint32_t size = QX_Heap::GetBlockSize(block), extra = round % 64;
                if (!block) {
                    Fill(block = heap.Alloc(3 * extra), 0, 3 * extra, t);
                } else if (round % 3 == 0) {
                    Fill(block = heap.ExpandBy(block, extra), size, size + extra, t);
                } else if (round % 3 == 1) {
                    block = heap.ReAlloc(block, size / 2);
                } else {
                    damaged += !Holds(block, size, t);
                    QX_Heap::FreeMem(block);
                    block = nullptr;
                }
            }
#if defined(_WIN32)
            QX_Heap::FreeMem(last);
#endif
        });
    }
    while (ready < kThreads)
        std::this_thread::yield();
    EXPECT_EQ(heap.GetBlockCount(), uint32_t(kThreads));
    EXPECT_EQ(heap.GetByteCount(), 3560u);  // t + 5 bytes each
    counted.set_value();
    for (auto &thread : threads)
        thread.join();
    for (auto &own : left)
        for (void *block : own)
            QX_Heap::FreeMem(block);
    EXPECT_EQ(damaged, 0);
    EXPECT_EQ(heap.GetBlockCount(), 0u);
    EXPECT_EQ(heap.GetByteCount(), 0u);
}

int handlerCalls;

TEST(QxHeap, ExhaustionGoesThroughTheNewHandler) {
    QX_Heap heap(1, "Exhaustion");
    void *block = heap.Alloc(64);
    Fill(block, 0, 64, 1);
    std::new_handler previous = std::set_new_handler(nullptr);
    EXPECT_THROW(heap.Alloc(kImpossibleSize), std::bad_alloc);
    EXPECT_THROW(heap.ExpandBy(block, 0xFFFFFFFFu), std::bad_alloc);  // past 32 bits
    ExecuteStandardNewHandler();                                       // none: nothing happens

    // Run again and again, as by operator new, until the handler throws on
    // its third call; AllocMem gives null instead, and leaves it alone.
    handlerCalls = 0;
    std::set_new_handler([] {
        if (++handlerCalls % 3 == 0)
            throw std::runtime_error("out of memory");
    });
    EXPECT_THROW(heap.ReAlloc(nullptr, kImpossibleSize), std::runtime_error);
    EXPECT_THROW(heap.ExpandBy(block, kImpossibleSize), std::runtime_error);
    EXPECT_EQ(heap.AllocMem(kImpossibleSize), nullptr);
    EXPECT_EQ(handlerCalls, 6);
    ExecuteStandardNewHandler();
    EXPECT_EQ(handlerCalls, 7);
    std::set_new_handler(previous);

    // The failed calls changed neither the block nor the counts.
    EXPECT_TRUE(Holds(block, 64, 1));
    EXPECT_EQ(heap.GetBlockCount(), 1u);
    EXPECT_EQ(heap.GetByteCount(), 64u);
    QX_Heap::FreeMem(block);
}

// Sees the heap it watches for as that ends (other heaps of the process end
// too), and frees what was left there while the heap stands.
const QX_Heap *watched;
void *leftover;
uint64_t endBytes;

TEST(QxHeap, EndObserverSeesTheHeapAsItEnds) {
    QX_Heap::SetEndObserver([](const QX_Heap &heap) {
        if (&heap == watched) {
            endBytes += heap.GetByteCount();  // added up: a second call would show
            QX_Heap::FreeMem(leftover);
        }
    });
    {
        QX_Heap heap(1, "Ending");
        watched = &heap;
        leftover = heap.ExpandBy(heap.Alloc(10), 5);
        QX_Heap::FreeMem(heap.Alloc(1000));
    }
    QX_Heap::SetEndObserver(nullptr);
    EXPECT_EQ(endBytes, 15u);
}

}  // namespace
