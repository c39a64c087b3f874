// Tests of QX_Heap: counts, ownership and contents, exhaustion and the end
// observer; growth cost; threads.
#include "CommonVcZq/qx_vc/qx_heap.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>

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

// The end observer's view of the heap it sees end, and the block it frees
// there while the heap stands.
uint64_t endBytes;
void *leftover;
int handlerCalls;

// Exhaustion runs the new handler, again and again as operator new does,
// and throws std::bad_alloc when there is none; AllocMem gives null instead,
// and leaves the handler alone.  A failed call changes neither the block nor
// the counts.  The end observer sees the heap as it ends, once.
TEST(QxHeap, CountsContentsExhaustionAndTheEnd) {
    endBytes = handlerCalls = 0;  // for a repeated run
    QX_Heap::SetEndObserver([](const QX_Heap &heap) {
        endBytes += heap.GetByteCount();  // added up: a second call would show
        QX_Heap::FreeMem(leftover);
    });
    {
        QX_Heap heap(1, std::string(200, 'n').c_str());
        EXPECT_EQ(std::string(heap.GetName()), std::string(39, 'n')) << "cut to fit 40 bytes with its zero";
        void *a = heap.Alloc(40), *b = heap.AllocMem(20);
        b = heap.ExpandBy(b, 12);
        Fill(b, 0, 32, 5);                      // the whole new size is writable
        leftover = heap.ExpandBy(nullptr, 16);  // a null block makes a new one

        std::new_handler previous = std::set_new_handler(nullptr);
        EXPECT_THROW(heap.ExpandBy(b, 0xFFFFFFFFu), std::bad_alloc);  // past 32 bits
        ExecuteStandardNewHandler();                                  // none: nothing happens
        std::set_new_handler([] {
            if (++handlerCalls % 3 == 0)
                throw std::runtime_error("out of memory");
        });
        EXPECT_THROW(heap.ReAlloc(nullptr, kImpossibleSize), std::runtime_error);
        EXPECT_THROW(heap.ExpandBy(b, kImpossibleSize), std::runtime_error);
        EXPECT_EQ(heap.AllocMem(kImpossibleSize), nullptr);
        EXPECT_EQ(handlerCalls, 6);
        ExecuteStandardNewHandler();
        EXPECT_EQ(handlerCalls, 7);
        std::set_new_handler(previous);

        EXPECT_TRUE(Holds(b, 32, 5));
        EXPECT_EQ(heap.GetBlockCount(), 3u);
        EXPECT_EQ(heap.GetByteCount(), 88u);
        for (void *block : {a, b, static_cast<void *>(nullptr)})
            QX_Heap::FreeMem(block);
    }
    QX_Heap::SetEndObserver(nullptr);
    EXPECT_EQ(endBytes, 16u);
}

// Growing a byte at a time must move a block only a logarithmic number of
// times.  Three blocks grow side by side, as strings built together do, so
// that the runtime cannot simply extend each into free memory behind it:
// only the heap's own slack keeps them in place.  The threads' test checks
// that contents survive growth.
TEST(QxHeap, StepwiseGrowthMovesRarely) {
    QX_Heap heap(1, "Growth");
    constexpr uint32_t kTarget = 1u << 20;
    void *blocks[3] = {heap.Alloc(0), heap.Alloc(0), heap.Alloc(0)};
    int moves[3] = {};
    for (uint32_t size = 0; size < kTarget; ++size)
        for (int k = 0; k < 3; ++k) {
            void *before = blocks[k];
            blocks[k] = k ? heap.ExpandBy(blocks[k], 1) : heap.ReAlloc(blocks[k], size + 1);
            moves[k] += blocks[k] != before;
        }
    EXPECT_EQ(heap.GetByteCount(), 3ull * kTarget);
    for (int k = 0; k < 3; ++k) {
        EXPECT_LE(moves[k], 48) << "block " << k;
        QX_Heap::FreeMem(blocks[k]);
    }
}

// Random growth and shrinking of a few blocks, most of it within the room a
// block has (ReAlloc's inline part) and some past it (the store resizes):
// sizes, contents and the heap's counts stay exact throughout.
TEST(QxHeap, GrowthInPlaceAndByMovingCountAlike) {
    QX_Heap heap(1, "Random growth");
    constexpr int kBlocks = 16;
    void *blocks[kBlocks] = {};
    uint32_t sizes[kBlocks] = {};
    uint32_t seed = 1;
    auto next = [&seed](uint32_t bound) {
        seed = seed * 1103515245u + 12345u;
        return (seed >> 8) % bound;
    };
    for (int step = 0; step < 50000; ++step) {
        const int k = static_cast<int>(next(kBlocks));
        const uint32_t grow = next(8) ? next(4) : next(3000);  // mostly a few bytes
        uint32_t size = sizes[k] + grow;
        if (next(20) == 0)
            size = next(sizes[k] + 1);  // now and then smaller
        blocks[k] = size < sizes[k] || next(2) ? heap.ReAlloc(blocks[k], size) : heap.ExpandBy(blocks[k], size - sizes[k]);
        if (size > sizes[k])
            Fill(blocks[k], sizes[k], size, k);
        sizes[k] = size;
        ASSERT_EQ(size, QX_Heap::GetBlockSize(blocks[k]));
        ASSERT_TRUE(Holds(blocks[k], size, k)) << step;
    }
    uint64_t bytes = 0;
    for (uint32_t size : sizes)
        bytes += size;
    EXPECT_EQ(bytes, heap.GetByteCount());
    EXPECT_EQ(uint32_t(kBlocks), heap.GetBlockCount());
    for (void *block : blocks)
        QX_Heap::FreeMem(block);
    EXPECT_EQ(0u, heap.GetBlockCount() + heap.GetByteCount());
}

// Frees its block as its thread ends, after the heap's own bookkeeping for
// that thread has ended (when it is built first).  Not on Windows: there the
// toolchain tears down a thread's thread-local storage before it runs the
// thread-local destructors, which then find their objects gone; the thread
// frees the block itself.
thread_local struct FreedAtThreadEnd {
    void *block = nullptr;
#if !defined(_WIN32)
    ~FreedAtThreadEnd() { QX_Heap::FreeMem(block); }
#endif
} freedAtThreadEnd;

// Eighty threads at once: more than the heap has slots to count in, so that
// some share the spare one.  Each counts a block before all go on, and frees
// it as it ends; meanwhile all make, grow, shrink, check and free blocks side
// by side, and leave some for the test's thread to free.
TEST(QxHeap, ThreadsShareOneHeap) {
    QX_Heap heap(1, "Shared");
    constexpr int kThreads = 80;
    void *left[kThreads * 32] = {};
    std::atomic<int> ready{0}, damaged{0};
    std::promise<void> counted;
    std::shared_future<void> go = counted.get_future().share();
    std::thread threads[kThreads];
    for (int t = 0; t < kThreads; ++t)
        threads[t] = std::thread([&, go, t] {
            void *&last = freedAtThreadEnd.block;  // built before the heap first counts here
            last = heap.ExpandBy(heap.Alloc(t), 5);
            ++ready;
            go.wait();
            // Each block is made, grown, shrunk and freed in turn, its contents
            // checked at every step; the last step leaves it made.
            for (uint32_t round = 0; round < 4000; ++round) {
                void *&block = left[t * 32 + round % 32];
                uint32_t size = QX_Heap::GetBlockSize(block), extra = 3 * (round % 64);
                damaged += !Holds(block, size, t);
                if (round / 32 % 4 < 2) {
                    Fill(block = heap.ExpandBy(block, extra), size, size + extra, t);  // from null: a new one
                } else if (round / 32 % 4 == 2) {
                    block = heap.ReAlloc(block, size / 2);
                } else {
                    QX_Heap::FreeMem(block);
                    block = nullptr;
                }
            }
#if defined(_WIN32)
            QX_Heap::FreeMem(last);
#endif
        });
    while (ready < kThreads)
        std::this_thread::yield();
    EXPECT_EQ(heap.GetBlockCount(), uint32_t(kThreads));
    EXPECT_EQ(heap.GetByteCount(), 3560u);  // t + 5 bytes each
    counted.set_value();
    for (auto &thread : threads)
        thread.join();
    for (void *block : left)
        QX_Heap::FreeMem(block);
    EXPECT_EQ(damaged, 0);
    EXPECT_EQ(heap.GetBlockCount() + heap.GetByteCount(), 0u);
}

}  // namespace
