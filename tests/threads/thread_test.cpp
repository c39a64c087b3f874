// Thread.  Threads are held at known points by
// events, so the tests see them running, blocked or ended by handshakes;
// a stop is seen as a counter that stands still after a short pause.
// Exit codes are read from the platform where the tests can reach it
// (Windows); the POSIX layer's exit codes are the platform tests' concern.
#include "CommonVcZq/threads/thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "test_support.h"
#include "CommonVcZq/threads/locks.h"

namespace {

constexpr uint32_t kLong = 30000;

// Events and a flag that outlive the thread's object: a derived class's
// members end before ~Thread waits for the thread.
struct Gate {
    ThreadEvent started, open;
    std::atomic<bool> finished{false};
};

// A MainLoop that reports its start, waits for the gate and returns 42.
class Gated : public Thread {
public:
    explicit Gated(Gate &gate) : gate(gate) {}
    Gate &gate;

protected:
    uint32_t MainLoop() override {
        Gate &shared = gate;  // the object may be in its destructor from here on
        shared.started.SetTrue();
        shared.open.WaitForIt(kLong);
        shared.finished = true;
        return 42;
    }
};

// A MainLoop that counts until its thread is terminated.
class Counting : public Thread {
public:
    std::atomic<long> count{0};

    bool StandsStill() const {
        Pause(20);
        long before = count;
        Pause(100);
        return count == before;
    }
    bool Advances() const {
        long before = count;
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLong);
        while (count == before && std::chrono::steady_clock::now() < end)
            Pause(1);
        return count != before;
    }

protected:
    uint32_t MainLoop() override {
        for (;;) {
            ++count;
            std::this_thread::yield();
        }
    }
};

TEST(Thread, RunStartsMainLoopAndAnAutoDeathOwnerWaitsForTheEnd) {
    Thread idle("idle");
    EXPECT_EQ(idle.IsTerminated(), 0) << "not started";
    idle.WaitForEnd();  // no handle: returns at once
    Gate gate;
    auto gated = std::make_unique<Gated>(gate);
    gated->Run(gated.get(), -1);
    EXPECT_NE(gated->GetThreadId(), 0u);
    EXPECT_EQ(gated->GetPriority(), -1);
    ASSERT_TRUE(gate.started.WaitForIt(kLong));
    EXPECT_EQ(gated->IsTerminated(), 0);
    auto destroyed = std::async(std::launch::async, [&gated] { gated.reset(); });
    EXPECT_EQ(destroyed.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    gate.open.SetTrue();
    EXPECT_EQ(destroyed.wait_for(std::chrono::milliseconds(kLong)), std::future_status::ready);
    EXPECT_TRUE(gate.finished);
}

TEST(Thread, ASelfDestructingObjectIsGoneAfterMainLoopAndACopyIsReleasedOnce) {
    Gate gate;
    auto *gated = new Gated(gate);
    gated->SetAsAutoDestructible();
    gated->Run(gated);
    ASSERT_TRUE(gate.started.WaitForIt(kLong));
    // A copy names the same thread through a handle of its own, and
    // outlives the object.
    Thread watcher(*gated);
#if defined(_WIN32)
    HANDLE own = gated->GetThreadHandle();
#endif
    gate.open.SetTrue();  // from here on the object is the thread's
    while (!watcher.IsTerminated())
        Pause(1);
#if defined(_WIN32)
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(watcher.GetThreadHandle(), &code));
    EXPECT_EQ(code, 42u);
    EXPECT_EQ(WaitForSingleObject(own, 0), WAIT_FAILED) << "its own handle is released";
#endif
    watcher.WaitForEnd();
    EXPECT_EQ(watcher.GetThreadHandle(), nullptr);
    EXPECT_EQ(watcher.IsTerminated(), 1) << "released after its end";
    // The destructor now has no handle to close a second time.
}

TEST(Thread, ASuspendedThreadStandsStillUntilResumedAsOftenAndTerminateStopsIt) {
    static Counting counting;  // a terminated thread's object stays as it was
    counting.Run(&counting);
    ASSERT_TRUE(counting.Advances());
    EXPECT_EQ(counting.Suspend(), 0u);
    EXPECT_EQ(counting.Suspend(), 1u);
    EXPECT_TRUE(counting.StandsStill());
    EXPECT_EQ(counting.Resume(), 2u);
    EXPECT_EQ(counting.IsSuspended(), 1);
    EXPECT_TRUE(counting.StandsStill());
    EXPECT_EQ(counting.Resume(), 1u);
    EXPECT_EQ(counting.IsSuspended(), 0);
    EXPECT_TRUE(counting.Advances());

    Thread watcher(counting);
    counting.Terminate(9);
    EXPECT_EQ(counting.GetThreadHandle(), nullptr);
    EXPECT_EQ(counting.IsTerminated(), 1) << "released";
    watcher.WaitForEnd();
    EXPECT_TRUE(counting.StandsStill());
}

TEST(Thread, AnAttachedObjectNeverWaits) {
    Thread self("main");
    self.InitAsCurrentThread();
    EXPECT_EQ(self.IsAutoDeathActive(), 0);
    EXPECT_EQ(self.GetThreadId(), GetCurrentThreadId());
    EXPECT_EQ(self.GetPriorityClass(), 0x20u) << "the process's class, normal";
    Thread copy(self);
    EXPECT_EQ(copy.GetThreadHandle(), self.GetThreadHandle()) << "the pseudo handle as it is";
    Thread other(copy.GetThreadHandle(), copy.GetThreadId());
    EXPECT_EQ(other.IsAutoDeathActive(), 0);
    other.Init(nullptr, 0);
    EXPECT_EQ(other.IsTerminated(), 0) << "bound to nothing";
}

}  // namespace
