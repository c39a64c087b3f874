// Tests of QX_Heap: counting, ownership, contents, alignment, growth cost,
// threads, exhaustion and the end observer.
#include "qx_vc/qx_heap.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

// Larger than any block can be, header included: refused on every target
// without touching the machine's memory.
constexpr uint32_t kImpossibleSize = 0xFFFFFFF0u;

void Fill(void *block, uint32_t from, uint32_t to, uint8_t seed) {
    for (uint32_t i = from; i < to; ++i)
        static_cast<uint8_t *>(block)[i] = static_cast<uint8_t>(seed + i * 7);
}

// Whether [0, to) still holds what Fill wrote.
bool Holds(const void *block, uint32_t to, uint8_t seed) {
    for (uint32_t i = 0; i < to; ++i)
        if (static_cast<const uint8_t *>(block)[i] != static_cast<uint8_t>(seed + i * 7))
            return false;
    return true;
}

// A block taken from the default heap while this file's statics are built,
// and given back while they are destroyed: the default heap must stand at
// both ends of the program, whatever the order of the modules.
struct StaticUser {
    void *block = QX_Heap::GetDefault().Alloc(24);
    ~StaticUser() { QX_Heap::FreeMem(block); }
} staticUser;

TEST(QxHeap, CountsAndOwnershipFollowEveryOperation) {
    QX_Heap heap(1, "Counting"), other(1, std::string(200, 'n').c_str());
    void *a = heap.Alloc(100);
    void *b = heap.AllocMem(20);
    void *c = other.Alloc(0);
    EXPECT_EQ(heap.GetBlockCount(), 2u);
    EXPECT_EQ(heap.GetByteCount(), 120u);

    a = heap.ReAlloc(a, 5000);  // grown with slack, which is not counted
    a = heap.ReAlloc(a, 5001);  // within the slack
    a = heap.ReAlloc(a, 40);    // shrunk
    b = heap.ExpandBy(b, 12);
    c = other.ReAlloc(c, 100000);
    EXPECT_EQ(QX_Heap::GetBlockSize(a), 40u);
    EXPECT_EQ(QX_Heap::GetBlockSize(b), 32u);
    EXPECT_EQ(heap.GetByteCount(), 72u);
    EXPECT_EQ(other.GetByteCount(), 100000u);

    // A null block makes a new one; every block knows its heap.
    void *d = heap.ReAlloc(nullptr, 8);
    void *e = heap.ExpandBy(nullptr, 16);
    EXPECT_EQ(QX_Heap::GetHeapOf(d), &heap);
    EXPECT_EQ(QX_Heap::GetHeapOf(c), &other);
    EXPECT_EQ(QX_Heap::GetHeapOf(nullptr), nullptr);
    EXPECT_EQ(heap.GetBlockCount(), 4u);
    EXPECT_EQ(heap.GetByteCount(), 96u);

    for (void *block : {a, b, c, d, e, static_cast<void *>(nullptr)})
        QX_Heap::FreeMem(block);
    EXPECT_EQ(heap.GetBlockCount() + other.GetBlockCount(), 0u);
    EXPECT_EQ(heap.GetByteCount() + other.GetByteCount(), 0u);

    EXPECT_STREQ(heap.GetName(), "Counting");
    EXPECT_EQ(std::string(other.GetName()).find_first_not_of('n'), std::string::npos);  // cut, whole
    EXPECT_STREQ(QX_Heap::GetDefault().GetName(), "DefaultHeap");
    EXPECT_EQ(QX_Heap::GetHeapOf(staticUser.block), &QX_Heap::GetDefault());
}

TEST(QxHeap, ContentsAndAlignmentSurviveResizing) {
    QX_Heap heap(1, "Contents");
    void *block = heap.Alloc(1000);
    Fill(block, 0, 1000, 3);
    block = heap.ReAlloc(block, 1 << 20);  // far enough to move on any allocator
    EXPECT_TRUE(Holds(block, 1000, 3));
    Fill(block, 1000, 1 << 20, 3);
    block = heap.ReAlloc(block, 300);
    EXPECT_TRUE(Holds(block, 300, 3));
    block = heap.ExpandBy(block, 5000);
    EXPECT_TRUE(Holds(block, 300, 3));
    Fill(block, 300, 5300, 3);  // the whole new size is writable
    QX_Heap::FreeMem(block);

    for (uint32_t size = 0; size < 70; ++size) {
        void *blocks[3] = {heap.Alloc(size), heap.AllocMem(size), heap.ExpandBy(heap.Alloc(size), 33)};
        blocks[0] = heap.ReAlloc(blocks[0], size / 2);
        for (void *b : blocks) {
            EXPECT_EQ(reinterpret_cast<uintptr_t>(b) % alignof(std::max_align_t), 0u) << size;
            QX_Heap::FreeMem(b);
        }
    }
}

// Growing in small steps must move a block only a logarithmic number of
// times.  Three blocks grow side by side, as strings built together do, so
// that the runtime cannot simply extend each into free memory behind it:
// only the heap's own slack keeps them in place.
TEST(QxHeap, StepwiseGrowthMovesRarely) {
    QX_Heap heap(1, "Growth");
    // String::Insert asks for the exact size, CellSequence for one quantum more.
    for (uint32_t step : {1u, 24u}) {
        const uint32_t target = (1u << 20) / step * step;
        void *blocks[3];
        int moves[3] = {};
        for (int k = 0; k < 3; ++k)
            blocks[k] = heap.Alloc(0);
        for (uint32_t size = 0; size < target; size += step) {
            for (int k = 0; k < 3; ++k) {
                uintptr_t before = reinterpret_cast<uintptr_t>(blocks[k]);
                blocks[k] = step == 1 ? heap.ReAlloc(blocks[k], size + step) : heap.ExpandBy(blocks[k], step);
                Fill(blocks[k], size, size + step, static_cast<uint8_t>(k));
                moves[k] += reinterpret_cast<uintptr_t>(blocks[k]) != before;
            }
        }
        EXPECT_EQ(heap.GetByteCount(), 3ull * target);
        for (int k = 0; k < 3; ++k) {
            EXPECT_LE(moves[k], 48) << "step " << step;
            EXPECT_TRUE(Holds(blocks[k], target, static_cast<uint8_t>(k)));
            QX_Heap::FreeMem(blocks[k]);
        }
    }
}

TEST(QxHeap, EightThreadsShareOneHeap) {
    QX_Heap heap(1, "Shared");
    std::mutex exchangeLock;
    std::vector<void *> exchange;  // so that blocks are also freed by other threads
    std::vector<std::thread> threads;
    std::vector<int> damaged(8, 0);
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            std::minstd_rand random(t + 1);
            std::vector<void *> own;
            const uint8_t seed = static_cast<uint8_t>(t * 31);
            for (int round = 0; round < 20000; ++round) {
                unsigned action = random() % 8;
                if (own.empty() || action < 3) {
                    uint32_t size = random() % 200;
                    own.push_back(action ? heap.Alloc(size) : heap.AllocMem(size));
                    Fill(own.back(), 0, size, seed);
                } else if (action < 6) {
                    void *&block = own[random() % own.size()];
                    uint32_t size = QX_Heap::GetBlockSize(block), extra = random() % 64;
                    if (action == 5)
                        block = heap.ReAlloc(block, size / 2);
                    else
                        Fill(block = action == 3 ? heap.ExpandBy(block, extra) : heap.ReAlloc(block, size + extra),
                             size, size + extra, seed);
                } else if (action == 6) {
                    std::lock_guard<std::mutex> guard(exchangeLock);
                    exchange.push_back(own.back());
                    own.pop_back();
                    if (exchange.size() > 16) {
                        QX_Heap::FreeMem(exchange.front());
                        exchange.erase(exchange.begin());
                    }
                } else {
                    size_t at = random() % own.size();
                    damaged[t] += !Holds(own[at], QX_Heap::GetBlockSize(own[at]), seed);
                    QX_Heap::FreeMem(own[at]);
                    own[at] = own.back();
                    own.pop_back();
                }
            }
            for (void *block : own)
                QX_Heap::FreeMem(block);
        });
    }
    for (auto &thread : threads)
        thread.join();
    for (void *block : exchange)
        QX_Heap::FreeMem(block);
    EXPECT_EQ(damaged, std::vector<int>(8, 0));
    EXPECT_EQ(heap.GetBlockCount(), 0u);
    EXPECT_EQ(heap.GetByteCount(), 0u);
}

// Frees its block as its thread ends, after the heap's own bookkeeping for
// that thread has ended (it is built first).
thread_local struct FreedAtThreadEnd {
    void *block = nullptr;
    ~FreedAtThreadEnd() { QX_Heap::FreeMem(block); }
} freedAtThreadEnd;

TEST(QxHeap, CountsSurviveManyThreadsAndThreadEnds) {
    // More threads alive at once than the heap counts in slots of their own.
    QX_Heap heap(1, "ManyThreads");
    constexpr int kThreads = 80;
    std::mutex lock;
    std::condition_variable changed;
    int allocated = 0;
    bool counted = false;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            freedAtThreadEnd.block = nullptr;
            void *held = heap.Alloc(10 + t);
            freedAtThreadEnd.block = heap.Alloc(1);
            std::unique_lock<std::mutex> guard(lock);
            ++allocated;
            changed.notify_all();
            changed.wait(guard, [&] { return counted; });
            guard.unlock();
            QX_Heap::FreeMem(heap.ExpandBy(held, 5));
        });
    }
    {
        std::unique_lock<std::mutex> guard(lock);
        changed.wait(guard, [&] { return allocated == kThreads; });
        EXPECT_EQ(heap.GetBlockCount(), 2u * kThreads);
        counted = true;
        changed.notify_all();
    }
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(heap.GetBlockCount(), 0u);
    EXPECT_EQ(heap.GetByteCount(), 0u);
}

int handlerCalls;

void HandlerThatGivesUpOnThirdCall() {
    if (++handlerCalls == 3)
        throw std::runtime_error("out of memory");
}

TEST(QxHeap, ExhaustionGoesThroughTheNewHandler) {
    QX_Heap heap(1, "Exhaustion");
    void *block = heap.Alloc(64);
    Fill(block, 0, 64, 1);
    std::new_handler previous = std::set_new_handler(nullptr);

    EXPECT_THROW(heap.Alloc(kImpossibleSize), std::bad_alloc);
    EXPECT_THROW(heap.ReAlloc(block, kImpossibleSize), std::bad_alloc);
    EXPECT_THROW(heap.ExpandBy(block, 0xFFFFFFFFu), std::bad_alloc);  // past 32 bits
    ExecuteStandardNewHandler();                                       // none: nothing happens

    // Run again and again, as by operator new, until the handler throws.
    std::set_new_handler(HandlerThatGivesUpOnThirdCall);
    handlerCalls = 0;
    EXPECT_THROW(heap.ReAlloc(nullptr, kImpossibleSize), std::runtime_error);
    EXPECT_EQ(handlerCalls, 3);
    handlerCalls = 0;
    EXPECT_THROW(heap.ExpandBy(block, kImpossibleSize), std::runtime_error);
    EXPECT_EQ(handlerCalls, 3);
    // AllocMem gives null instead, and leaves the handler alone.
    handlerCalls = 0;
    EXPECT_EQ(heap.AllocMem(kImpossibleSize), nullptr);
    EXPECT_EQ(handlerCalls, 0);
    ExecuteStandardNewHandler();
    EXPECT_EQ(handlerCalls, 1);
    std::set_new_handler(previous);

    // The failed calls changed neither the block nor the counts.
    EXPECT_EQ(QX_Heap::GetBlockSize(block), 64u);
    EXPECT_TRUE(Holds(block, 64, 1));
    EXPECT_EQ(heap.GetBlockCount(), 1u);
    EXPECT_EQ(heap.GetByteCount(), 64u);
    QX_Heap::FreeMem(block);
}

// What the observer saw of the heap it watches for; other heaps of the
// process end too, and are passed over.
struct Ending {
    const QX_Heap *watched = nullptr;
    int calls = 0;
    std::string name;
    uint64_t blocks = 0, bytes = 0;
    std::vector<void *> leftovers;  // freed by the observer, while the heap stands
} ending;

void RecordEnding(const QX_Heap &heap) {
    if (&heap != ending.watched)
        return;
    ++ending.calls;
    ending.name = heap.GetName();
    ending.blocks = heap.GetBlockCount();
    ending.bytes = heap.GetByteCount();
    for (void *block : ending.leftovers)
        QX_Heap::FreeMem(block);
}

TEST(QxHeap, EndObserverSeesTheHeapAsItEnds) {
    ending = Ending();
    QX_Heap::SetEndObserver(RecordEnding);
    {
        QX_Heap heap(1, "Ending");
        ending.watched = &heap;
        ending.leftovers = {heap.ExpandBy(heap.Alloc(10), 5), heap.AllocMem(20)};
        QX_Heap::FreeMem(heap.Alloc(1000));
    }
    EXPECT_EQ(ending.calls, 1);
    EXPECT_EQ(ending.name, "Ending");
    EXPECT_EQ(ending.blocks, 2u);
    EXPECT_EQ(ending.bytes, 35u);

    QX_Heap::SetEndObserver(nullptr);
    {
        QX_Heap heap(1, "Unwatched");
        ending.watched = &heap;
        ending.leftovers.clear();
    }
    EXPECT_EQ(ending.calls, 1);
}

}  // namespace
