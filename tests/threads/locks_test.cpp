// Locks, events and the waits on several events, with threads.  A blocked
// thread cannot be seen, so what must happen is awaited with generous
// limits and what must not is checked after a pause.
#include "CommonVcZq/threads/locks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <thread>

namespace {

constexpr uint32_t kLong = 30000;

// A thread that enters `lock` and leaves it at once.  The lock must be free
// by the visit's end, which waits for the thread.
std::future<void> Visit(const CriticalSection &lock) {
    return std::async(std::launch::async, [&lock] { AutoCriticalSection visit(lock); });
}

// Whether the visit got in, and out again, within the time.
bool GotIn(std::future<void> &visit, int milliseconds) {
    return visit.wait_for(std::chrono::milliseconds(milliseconds)) == std::future_status::ready;
}

// An absent event as the waits take one: a reference at the null address.
// C++ leaves binding it undefined, so the sanitizer does not check here.
__attribute__((no_sanitize("null"))) const ThreadEvent &Absent() {
    const ThreadEvent *volatile none = nullptr;
    return *none;
}

// The lock lives in storage that missed the constructor, as a global's may,
// made ready by Init.  It is recursive, and a copy of it is a free lock of
// its own.  A guard assigned another's lock enters nothing, and leaves it.
TEST(CriticalSection, IsRecursiveCopiesAreFreeAndGuardsLeaveWhatTheyHold) {
    alignas(CriticalSection) unsigned char storage[sizeof(CriticalSection)] = {};
    const CriticalSection &lock = *reinterpret_cast<CriticalSection *>(storage);
    lock.Init();
    auto target = std::make_unique<AutoCriticalSection>(nullptr);  // guards nothing
    {
        AutoCriticalSection outer(lock);
        { AutoCriticalSection inner(&lock); }  // must not block
        CriticalSection copy(lock);
        std::future<void> ofCopy = Visit(copy), ofHeld = Visit(lock);
        EXPECT_TRUE(GotIn(ofCopy, kLong));
        EXPECT_FALSE(GotIn(ofHeld, 50)) << "held once more than left";
        lock.Leave();
        EXPECT_TRUE(GotIn(ofHeld, kLong));
        lock.Enter();  // for `outer` to leave
        *target = outer;
        lock.Enter();  // for `target` to leave
    }
    std::future<void> visit = Visit(lock);
    EXPECT_FALSE(GotIn(visit, 50)) << "the assigned guard holds the lock";
    target.reset();
    EXPECT_TRUE(GotIn(visit, kLong)) << "the assignment entered nothing, and the guard left";
    lock.~CriticalSection();
}

// On an auto-reset event the polls consume the signal, IsFalse too.  Copies
// share the event through handles of their own.  The waits give the index
// of the event, or -1; an absent event ends the list.
TEST(ThreadEvent, PollsCopiesAndWaits) {
    ThreadEvent automatic(1, 1);
    EXPECT_EQ(automatic.IsFalse(), 0);
    EXPECT_EQ(automatic.IsTrue(), 0) << "IsFalse took the signal";
    {
        ThreadEvent copy(automatic), assigned;
        assigned = automatic;
        copy.SetTrue();
        EXPECT_EQ(assigned.WaitForIt(0), 1);
        EXPECT_EQ(automatic.IsTrue(), 0) << "one event, one signal";
    }
    automatic.SetTrue();
    EXPECT_EQ(automatic.WaitForIt(0), 1) << "the copies closed only their own handles";

    ThreadEvent a, b, c, d, e(1, 0);
    EXPECT_EQ(WaitForAny(a, b, c, d, e, 0), 4);
    EXPECT_EQ(WaitForAll(a, e, 20), -1) << "time-out";
    b.SetTrue();
    c.SetTrue();
    EXPECT_EQ(WaitForAny(a, b, c, 0), 1) << "the lowest of those signalled";
    EXPECT_EQ(WaitForAll(b, c, e, 0), 0);
    EXPECT_EQ(WaitForAll(a, b, c, d, e, 0), -1);
    EXPECT_EQ(WaitForAny(a, b, Absent(), 0), 1);
    EXPECT_EQ(WaitForAny(a, Absent(), b, 0), -1) << "nothing after an absent event counts";
    EXPECT_EQ(WaitForAll(b, Absent(), Absent(), Absent(), Absent(), 0), 0);
    std::thread setter([&] { d.SetTrue(); });
    EXPECT_EQ(WaitForAny(a, d, 0xFFFFFFFF), 1);
    setter.join();
}

TEST(ThreadEvent, PulseReleasesEveryWaiterOfAManualEventAndLeavesItFalse) {
    ThreadEvent event;
    std::atomic<int> released{0};
    auto wait = [&] { released += event.WaitForIt(kLong); };
    std::thread first(wait), second(wait);
    for (int pulses = 0; pulses < 3000 && released < 2; ++pulses) {  // they may be late
        event.Pulse();
        EXPECT_EQ(event.IsTrue(), 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    first.join();
    second.join();
    EXPECT_EQ(released, 2);
}

// Two threads wait for all of overlapping pairs of auto-reset events, {a, b}
// and {b, c}, while each round sets all three, in each order by turns.  One
// b a round makes one winner, who takes its pair whole; the loser's other
// event keeps its signal, so one of a and c is left.  A wait that took half
// a pair would show in the leftovers, or starve.
TEST(Waits, CompetingWaitsForAllNeverTakeHalfAPair) {
    ThreadEvent a(0, 1), b(0, 1), c(0, 1), won(0, 1);
    std::atomic<bool> stop{false};
    std::atomic<int> wins[2] = {{0}, {0}};
    auto contend = [&](int who) {
        while (!stop) {
            if ((who == 0 ? WaitForAll(a, b, 50) : WaitForAll(b, c, 50)) == 0) {
                ++wins[who];
                won.SetTrue();
            }
        }
    };
    std::thread left(contend, 0), right(contend, 1);
    ThreadEvent *events[] = {&a, &b, &c};
    auto play = [&] {  // a failed ASSERT ends the rounds, not the threads
        for (int round = 0; round < 300; ++round) {
            std::next_permutation(events, events + 3);
            for (ThreadEvent *event : events)
                event->SetTrue();
            ASSERT_EQ(won.WaitForIt(kLong), 1) << "round " << round;
            ASSERT_EQ(wins[0] + wins[1], round + 1) << "one winner a round";
            ASSERT_EQ(b.IsTrue(), 0) << "round " << round;
            ASSERT_NE(a.IsTrue(), c.IsTrue()) << "round " << round << ": the loser's other event kept its signal";
        }
    };
    play();
    stop = true;
    left.join();
    right.join();
    EXPECT_TRUE(wins[0] > 0 && wins[1] > 0) << "neither side starves";
}

}  // namespace
