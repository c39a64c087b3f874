// Locks, events and the waits on several events, with threads.  A blocked
// thread cannot be seen, so what must happen is awaited with generous
// limits and what must not is checked after a pause.
#include "threads/locks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <thread>

namespace {

constexpr uint32_t kLong = 30000;

// A thread that enters `lock` and leaves it at once.  The lock must be free
// by the visitor's end, which waits for the thread.
class Visitor {
public:
    explicit Visitor(const CriticalSection &lock)
        : thread([this, &lock] {
              AutoCriticalSection visit(lock);
              done.set_value();
          }) {}
    ~Visitor() { thread.join(); }
    bool GotIn(int milliseconds) {
        auto limit = std::chrono::milliseconds(milliseconds);
        return entered.wait_for(limit) == std::future_status::ready;
    }

private:
    std::promise<void> done;
    std::future<void> entered = done.get_future();
    std::thread thread;
};

// An absent event as the waits take one: a reference at the null address.
// C++ leaves binding it undefined, so the sanitizer does not check here.
__attribute__((no_sanitize("null"))) const ThreadEvent &Absent() {
    const ThreadEvent *volatile none = nullptr;
    return *none;
}

TEST(CriticalSection, IsRecursiveAndACopyOfAHeldLockIsFree) {
    struct Account {
        CriticalSection lock;
        int balance = 0;
    } held;
    AutoCriticalSection outer(held.lock);
    { AutoCriticalSection inner(&held.lock); }  // must not block
    Account copy = held;
    Visitor ofCopy(copy.lock), ofHeld(held.lock);
    EXPECT_TRUE(ofCopy.GotIn(kLong));
    EXPECT_FALSE(ofHeld.GotIn(50)) << "held once more than left";
    held.lock.Leave();
    EXPECT_TRUE(ofHeld.GotIn(kLong));
    held.lock.Enter();  // for `outer` to leave
}

TEST(CriticalSection, InitPreparesStorageThatMissedTheConstructor) {
    alignas(CriticalSection) unsigned char storage[sizeof(CriticalSection)] = {};
    const CriticalSection *lock = reinterpret_cast<CriticalSection *>(storage);
    lock->Init();
    lock->Enter();
    {
        Visitor visitor(*lock);
        EXPECT_FALSE(visitor.GotIn(50));
        lock->Leave();
        EXPECT_TRUE(visitor.GotIn(kLong));
    }
    lock->~CriticalSection();
}

TEST(AutoCriticalSection, NullGuardAndAssignmentEnterNothing) {
    CriticalSection lock;
    auto target = std::make_unique<AutoCriticalSection>(nullptr);
    {
        AutoCriticalSection source(lock);
        *target = source;
        lock.Enter();  // the enter that `target` will leave
    }
    Visitor visitor(lock);
    EXPECT_FALSE(visitor.GotIn(50)) << "the assignment entered nothing";
    target.reset();
    EXPECT_TRUE(visitor.GotIn(kLong)) << "the assigned guard left the lock";
}

TEST(ThreadEvent, PollsFollowTheResetKindAndCopiesShareTheEvent) {
    ThreadEvent plain, manual(1, 0), automatic(1, 1);
    EXPECT_EQ(plain.IsTrue(), 0);
    EXPECT_EQ(plain.IsFalse(), 1);
    EXPECT_EQ(static_cast<void *>(plain), plain.GetHandle());
    EXPECT_EQ(manual.IsTrue(), 1);
    EXPECT_EQ(manual.IsTrue(), 1);
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

TEST(Waits, ResultsNameTheEventAndAbsentEventsEndTheList) {
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

// Two threads wait for all of overlapping pairs of auto-reset events, {a, b}
// and {b, c}, while each round sets all three, in each order by turns.  One
// b a round makes one winner, who takes its pair whole; the loser's other
// event keeps its signal.  A wait that took half a pair would show in the
// leftovers, or starve.
TEST(Waits, CompetingWaitsForAllNeverTakeHalfAPair) {
    ThreadEvent a(0, 1), b(0, 1), c(0, 1), won(0, 1);
    std::atomic<bool> stop{false};
    std::atomic<int> wins[2] = {{0}, {0}};
    auto contend = [&](int who) {
        while (!stop) {
            int32_t result = who == 0 ? WaitForAll(a, b, 50) : WaitForAll(b, c, 50);
            if (result == 0) {
                ++wins[who];
                won.SetTrue();
            }
        }
    };
    std::thread left(contend, 0), right(contend, 1);
    ThreadEvent *events[] = {&a, &b, &c};
    auto play = [&] {  // a failed ASSERT ends the rounds, not the threads
        for (int round = 0; round < 300; ++round) {
            int leftBefore = wins[0];
            std::next_permutation(events, events + 3);
            for (ThreadEvent *event : events)
                event->SetTrue();
            ASSERT_EQ(won.WaitForIt(kLong), 1) << "round " << round;
            bool leftWon = wins[0] != leftBefore;
            ASSERT_EQ(wins[0] + wins[1], round + 1) << "one winner a round";
            ASSERT_EQ(b.IsTrue(), 0);
            ASSERT_EQ(a.IsTrue(), leftWon ? 0 : 1) << "round " << round;
            ASSERT_EQ(c.IsTrue(), leftWon ? 1 : 0) << "round " << round;
        }
    };
    play();
    stop = true;
    left.join();
    right.join();
    EXPECT_GT(wins[0], 0);
    EXPECT_GT(wins[1], 0);
}

}  // namespace
