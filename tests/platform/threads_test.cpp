// Threads and their handles, suspension, termination and priorities,
// against the POSIX layer and against Win32.  A stop is seen as a counter that stands
// still: the check reads it after a short pause, when a stop in flight has
// landed, and then makes sure it stays put.  Under load that makes a check
// weaker, never wrong.  How a running thread's suspensions nest is tested
// through Thread, in the threads tests.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace {

#if defined(_WIN32)
#define ENTRY __stdcall
#else
#define ENTRY
#endif

constexpr DWORD kLong = 30000;

HANDLE Start(unsigned(ENTRY *function)(void *), void *argument, unsigned flags = 0) {
    unsigned id = 0;
    HANDLE thread = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, function, argument, flags, &id));
    EXPECT_NE(thread, nullptr);
    EXPECT_NE(id, 0u);
    return thread;
}

DWORD ExitCode(HANDLE thread) {
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    return code;
}

struct Counter {
    std::atomic<long> count{0};
    std::atomic<bool> stop{false};
};

unsigned ENTRY Count(void *argument) {
    auto *counter = static_cast<Counter *>(argument);
    while (!counter->stop) {
        counter->count.fetch_add(1);
        std::this_thread::yield();
    }
    return 7;
}

bool StandsStill(const Counter &counter) {
    Pause(20);
    long before = counter.count;
    Pause(100);
    return counter.count == before;
}

bool Advances(const Counter &counter) {
    long before = counter.count;
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLong);
    while (counter.count == before && std::chrono::steady_clock::now() < end)
        Pause(1);
    return counter.count != before;
}

TEST(Threads, CreatedSuspendedBeginsOnlyWhenResumedAsOften) {
    Counter counter;
    HANDLE thread = Start(Count, &counter, CREATE_SUSPENDED);
    EXPECT_EQ(SuspendThread(thread), 1u) << "the creation counts as one suspension";
    EXPECT_EQ(ResumeThread(thread), 2u);
    Pause(50);
    EXPECT_EQ(counter.count.load(), 0) << "still suspended once";
    EXPECT_EQ(ExitCode(thread), STILL_ACTIVE);
    EXPECT_TRUE(SetThreadPriority(thread, THREAD_PRIORITY_IDLE));
    EXPECT_FALSE(SetThreadPriority(thread, 3));
    EXPECT_EQ(GetThreadPriority(thread), THREAD_PRIORITY_IDLE);
    EXPECT_EQ(ResumeThread(thread), 1u);
    EXPECT_TRUE(Advances(counter));
    EXPECT_EQ(ResumeThread(thread), 0u) << "not suspended: nothing changes";
    counter.stop = true;
    EXPECT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
    EXPECT_EQ(ExitCode(thread), 7u);
    EXPECT_EQ(SuspendThread(thread), 0xFFFFFFFF) << "an ended thread cannot be suspended";
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
    EXPECT_TRUE(CloseHandle(thread));
}

unsigned ENTRY SuspendSelf(void *) {
    return SuspendThread(GetCurrentThread()) + 40;
}

TEST(Threads, AThreadMaySuspendItself) {
    HANDLE thread = Start(SuspendSelf, nullptr);
    DWORD count = 0;
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLong);
    while ((count = ResumeThread(thread)) == 0 && std::chrono::steady_clock::now() < end)
        Pause(1);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(WaitForSingleObject(thread, kLong), WAIT_OBJECT_0);
    EXPECT_EQ(ExitCode(thread), 40u) << "SuspendThread returned the count before it";
    CloseHandle(thread);
}

unsigned ENTRY WaitForEvent(void *event) {
    return WaitForSingleObject(static_cast<HANDLE>(event), INFINITE);
}

TEST(Threads, TerminateStopsTheThreadWithTheGivenExitCode) {
    // What the threads use outlives the test: an ended thread's memory stays
    // as it was.
    static Counter running, suspended, notBegun;
    HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    HANDLE threads[] = {Start(Count, &running), Start(Count, &suspended), Start(Count, &notBegun, CREATE_SUSPENDED),
                        Start(WaitForEvent, event)};
    ASSERT_TRUE(Advances(running));
    ASSERT_TRUE(Advances(suspended));
    EXPECT_EQ(SuspendThread(threads[1]), 0u);
    EXPECT_TRUE(StandsStill(suspended));  // and the waiter has had time to block
    for (DWORD i = 0; i < 4; ++i)
        EXPECT_TRUE(TerminateThread(threads[i], 100 + i));
    for (DWORD i = 0; i < 4; ++i) {
        EXPECT_EQ(WaitForSingleObject(threads[i], kLong), WAIT_OBJECT_0);
        EXPECT_EQ(ExitCode(threads[i]), 100 + i);
        CloseHandle(threads[i]);
    }
    EXPECT_TRUE(StandsStill(running));
    EXPECT_TRUE(StandsStill(suspended));
    EXPECT_EQ(notBegun.count.load(), 0) << "its function never began";
    SetEvent(event);
    EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0) << "the ended waiter took nothing";
    CloseHandle(event);
}

TEST(Threads, ThePseudoHandleNamesTheCallingThread) {
    HANDLE own = nullptr;
    std::thread other([&own] {
        EXPECT_TRUE(DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &own, 0, FALSE,
                                    DUPLICATE_SAME_ACCESS));
        EXPECT_TRUE(CloseHandle(GetCurrentThread())) << "closing it does nothing";
        EXPECT_EQ(WaitForSingleObject(own, 0), WAIT_TIMEOUT);
    });
    other.join();
    EXPECT_EQ(WaitForSingleObject(GetCurrentThread(), 0), WAIT_TIMEOUT);
    EXPECT_EQ(WaitForSingleObject(own, kLong), WAIT_OBJECT_0) << "the duplicate names the other thread";
    CloseHandle(own);
}

}  // namespace
