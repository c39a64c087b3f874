// Events, handles and waits, against the POSIX layer and against Win32;
// where Wine strays from Windows, the test says so.  A thread blocked in a
// wait cannot be seen, so what must happen is awaited with generous limits,
// and what must not is checked after a pause: under load that makes a
// check weaker, never wrong.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr DWORD kLong = 30000;
using Clock = std::chrono::steady_clock;

DWORD Poll(HANDLE object) {
    return WaitForSingleObject(object, 0);
}

// The last error after a call that failed; 0 after one that did not.
DWORD ErrorAfter(bool failed) {
    return failed ? GetLastError() : 0;
}

// Makes events, and threads that wait on them, and ends both with the test.
struct Events : testing::Test {
    void TearDown() override {
        for (std::thread &waiter : waiters)
            waiter.join();
        for (HANDLE handle : handles)
            CloseHandle(handle);
    }
    HANDLE Make(BOOL manualReset, BOOL initialState, const char *name = nullptr) {
        handles.push_back(CreateEventA(nullptr, manualReset, initialState, name));
        return handles.back();
    }
    void StartWaiters(int count, HANDLE event) {
        for (int i = 0; i < count; ++i)
            waiters.emplace_back([this, event] { released += WaitForSingleObject(event, kLong) == WAIT_OBJECT_0; });
        Pause(50);  // time to block; tests that need them blocked check again
    }
    bool AwaitReleased(int count, int milliseconds) {
        auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
        while (released < count && Clock::now() < end)
            Pause(1);
        return released >= count;
    }
    std::vector<HANDLE> handles;
    std::vector<std::thread> waiters;
    std::atomic<int> released{0};
};

// An empty name is no name: the first two are distinct events.
TEST_F(Events, ResetKindsNamesAndFailures) {
    HANDLE manual = Make(TRUE, TRUE, ""), automatic = Make(FALSE, FALSE, "");
    EXPECT_EQ(WaitForSingleObject(manual, kLong), WAIT_OBJECT_0);
    EXPECT_EQ(Poll(manual), WAIT_OBJECT_0) << "a manual reset stays set";
    ASSERT_TRUE(ResetEvent(manual));
    EXPECT_EQ(Poll(manual), WAIT_TIMEOUT);
    SetEvent(automatic);
    SetEvent(automatic);
    EXPECT_EQ(Poll(automatic), WAIT_OBJECT_0);
    EXPECT_EQ(Poll(automatic), WAIT_TIMEOUT) << "the first wait took the signal, and signals do not add up";

    // Under Wine, names reach every process of the session: keep it unique.
    std::string name = "cvz-events-test-" + std::to_string(GetCurrentThreadId());
    SetLastError(1234);
    HANDLE first = Make(TRUE, FALSE, name.c_str());
    EXPECT_EQ(GetLastError(), 0u) << "creation clears the last error";
    HANDLE second = Make(FALSE, TRUE, name.c_str());
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(Poll(second), WAIT_TIMEOUT) << "the state of the first creation";
    SetEvent(first);
    EXPECT_EQ(Poll(second), WAIT_OBJECT_0);
    EXPECT_EQ(Poll(first), WAIT_OBJECT_0) << "and its manual reset";

    // Bad handles and counts fail with Win32's codes.
    HANDLE closed = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    CloseHandle(closed);
    // Before any new handle: Windows gives a closed handle's value again.
    EXPECT_EQ(ErrorAfter(!CloseHandle(closed)), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(ErrorAfter(!SetEvent(closed)), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(ErrorAfter(WaitForSingleObject(closed, kLong) == WAIT_FAILED), DWORD{ERROR_INVALID_HANDLE});
    // A handle names one kind of object: to a call for another kind it is no handle.
    EXPECT_EQ(ErrorAfter(!SetEvent(GetCurrentThread())), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(ErrorAfter(SuspendThread(first) == 0xFFFFFFFF), DWORD{ERROR_INVALID_HANDLE});

    HANDLE set = Make(TRUE, TRUE), withNull[] = {set, nullptr};
    EXPECT_EQ(ErrorAfter(WaitForMultipleObjectsEx(2, withNull, FALSE, 0, FALSE) == WAIT_FAILED),
              DWORD{ERROR_INVALID_HANDLE})
        << "every handle is checked, even after a signalled one";
    std::vector<HANDLE> many(MAXIMUM_WAIT_OBJECTS + 1, set);
    for (DWORD count : {DWORD{0}, DWORD{MAXIMUM_WAIT_OBJECTS + 1}})
        EXPECT_EQ(ErrorAfter(WaitForMultipleObjectsEx(count, many.data(), FALSE, 0, FALSE) == WAIT_FAILED),
                  DWORD{ERROR_INVALID_PARAMETER});
    // One object twice: a wait for any may name it so, a wait for all not.
    // Wine does not look for duplicates, a known difference of wine.
    EXPECT_EQ(WaitForMultipleObjectsEx(2, many.data(), FALSE, 0, FALSE), WAIT_OBJECT_0);
    EXPECT_EQ(ErrorAfter(WaitForMultipleObjectsEx(2, many.data(), TRUE, 0, FALSE) == WAIT_FAILED),
              RunningUnderWine() ? 0 : DWORD{ERROR_INVALID_PARAMETER});
}

// A wait for any takes the lowest index; a wait for all takes all or
// nothing.  A wait runs its time: Windows counts in ticks of up to 16 ms
// and may end a wait a tick early.
TEST_F(Events, WaitsTakeTheLowestIndexOrAllOrNothingAndRunTheirTime) {
    HANDLE events[] = {Make(FALSE, FALSE), Make(FALSE, TRUE), Make(FALSE, TRUE)};
    EXPECT_EQ(WaitForMultipleObjectsEx(3, events, FALSE, 0, FALSE), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(WaitForMultipleObjectsEx(3, events, FALSE, kLong, FALSE), WAIT_OBJECT_0 + 2)
        << "the first wait left the higher index its signal";

    HANDLE manual = Make(TRUE, TRUE), all[] = {events[1], events[0], manual};
    SetEvent(events[1]);
    auto start = Clock::now();
    EXPECT_EQ(WaitForMultipleObjectsEx(3, all, TRUE, 100, TRUE), WAIT_TIMEOUT);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(80));
    SetEvent(events[0]);
    EXPECT_EQ(WaitForMultipleObjectsEx(3, all, TRUE, 0, FALSE), WAIT_OBJECT_0)
        << "a wait for all that timed out took nothing";
    EXPECT_EQ(WaitForMultipleObjectsEx(3, events, FALSE, 0, FALSE), WAIT_TIMEOUT);
    EXPECT_EQ(Poll(manual), WAIT_OBJECT_0);
}

// Set releases one waiter of an auto-reset event and every waiter of a
// manual-reset one.  A pulse releases one waiter of an auto-reset event,
// and leaves it reset; with no waiter, a pulse only resets.
TEST_F(Events, SetAndPulseReleaseOneWaiterWhenAutoResetAndAllWhenManual) {
    HANDLE automatic = Make(FALSE, TRUE), manual = Make(TRUE, FALSE);
    PulseEvent(automatic);
    EXPECT_EQ(Poll(automatic), WAIT_TIMEOUT) << "with no waiter, a pulse only resets";
    StartWaiters(3, automatic);
    for (int count = 1; count <= 3; ++count) {
        SetEvent(automatic);
        ASSERT_TRUE(AwaitReleased(count, kLong));
        Pause(30);
        EXPECT_EQ(released, count);
    }
    EXPECT_EQ(Poll(automatic), WAIT_TIMEOUT) << "every signal went to a waiter";

    StartWaiters(2, automatic);
    int pulses = 0;  // again until a release shows: the waiters may be late
    do
        PulseEvent(automatic);
    while (!AwaitReleased(4, 1000) && ++pulses < 30);
    Pause(50);
    EXPECT_EQ(released, 4);
    EXPECT_EQ(Poll(automatic), WAIT_TIMEOUT);
    SetEvent(automatic);
    StartWaiters(3, manual);
    SetEvent(manual);
    EXPECT_TRUE(AwaitReleased(8, kLong));
}

}  // namespace
