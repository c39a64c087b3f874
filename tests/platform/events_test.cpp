// Events, handles and waits, against the POSIX layer and against Win32;
// where Wine strays from Windows, the test says so.  A thread blocked in a
// wait cannot be seen, so what must happen is awaited with generous limits,
// and what must not is checked after a pause: under load that makes a
// check weaker, never wrong.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <algorithm>
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

void Pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// Makes events, and threads that wait on them, and ends both with the test.
class Events : public testing::Test {
protected:
    void TearDown() override {
        for (std::thread &waiter : waiters)
            waiter.join();
        for (HANDLE handle : handles)
            CloseHandle(handle);
    }
    HANDLE Make(BOOL manualReset, BOOL initialState, const char *name = nullptr) {
        handles.push_back(CreateEventA(nullptr, manualReset, initialState, name));
        EXPECT_NE(handles.back(), nullptr);
        return handles.back();
    }
    void StartWaiters(int count, HANDLE event) {
        for (int i = 0; i < count; ++i)
            waiters.emplace_back([this, event] {
                released += WaitForSingleObject(event, kLong) == WAIT_OBJECT_0;
            });
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

TEST_F(Events, ManualResetStaysSetAndAutoResetFeedsOneWait) {
    HANDLE manual = Make(TRUE, TRUE), automatic = Make(FALSE, TRUE);
    EXPECT_EQ(Poll(manual), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(manual, kLong), WAIT_OBJECT_0);
    EXPECT_EQ(Poll(automatic), WAIT_OBJECT_0);
    EXPECT_EQ(Poll(automatic), WAIT_TIMEOUT) << "the first wait took the signal";
    SetEvent(automatic);
    SetEvent(automatic);
    EXPECT_EQ(Poll(automatic), WAIT_OBJECT_0);
    EXPECT_EQ(Poll(automatic), WAIT_TIMEOUT) << "signals do not add up";
    ASSERT_TRUE(ResetEvent(manual));
    EXPECT_EQ(Poll(manual), WAIT_TIMEOUT);
}

TEST_F(Events, NamesAndDuplicatesReachOneEvent) {
    // Under Wine, names reach every process of the session: keep it unique.
    std::string name = "cvz-events-test-" + std::to_string(GetCurrentThreadId());
    SetLastError(1234);
    HANDLE first = Make(TRUE, FALSE, name.c_str());
    EXPECT_EQ(GetLastError(), 0u) << "creation clears the last error";
    HANDLE second = Make(FALSE, TRUE, name.c_str()), copy = nullptr;
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), second, GetCurrentProcess(), &copy, 0, FALSE,
                                DUPLICATE_SAME_ACCESS));
    handles.push_back(copy);
    EXPECT_EQ(Poll(copy), WAIT_TIMEOUT) << "the state of the first creation";
    SetEvent(first);
    EXPECT_EQ(Poll(second), WAIT_OBJECT_0);
    EXPECT_EQ(Poll(copy), WAIT_OBJECT_0) << "and its manual reset";

    HANDLE unnamed = Make(TRUE, TRUE, ""), alsoUnnamed = Make(TRUE, TRUE, "");
    ResetEvent(unnamed);
    EXPECT_EQ(Poll(alsoUnnamed), WAIT_OBJECT_0) << "an empty name is no name";
}

TEST_F(Events, BadHandlesAndCountsFailWithWin32Codes) {
    HANDLE closed = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    CloseHandle(closed);
    // Before any new handle: Windows gives a closed handle's value again.
    EXPECT_FALSE(CloseHandle(closed));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_FALSE(SetEvent(closed));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(WaitForSingleObject(closed, kLong), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});

    HANDLE set = Make(TRUE, TRUE), withNull[] = {set, nullptr}, many[MAXIMUM_WAIT_OBJECTS + 1];
    EXPECT_EQ(WaitForMultipleObjectsEx(2, withNull, FALSE, 0, FALSE), WAIT_FAILED)
        << "every handle is checked, even after a signalled one";
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    std::fill(std::begin(many), std::end(many), set);
    EXPECT_EQ(WaitForMultipleObjectsEx(0, many, FALSE, 0, FALSE), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_EQ(WaitForMultipleObjectsEx(MAXIMUM_WAIT_OBJECTS + 1, many, FALSE, 0, FALSE),
              WAIT_FAILED);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    // One object twice: a wait for any may name it so, a wait for all not.
    EXPECT_EQ(WaitForMultipleObjectsEx(2, many, FALSE, 0, FALSE), WAIT_OBJECT_0);
    DWORD all = WaitForMultipleObjectsEx(2, many, TRUE, 0, FALSE);
    if (RunningUnderWine()) {
        EXPECT_EQ(all, WAIT_OBJECT_0) << "Wine does not look for duplicates";
    } else {
        EXPECT_EQ(all, WAIT_FAILED);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    }
}

TEST_F(Events, WaitForAnyTakesTheLowestIndexAndWaitForAllTakesAllOrNothing) {
    HANDLE events[] = {Make(FALSE, FALSE), Make(FALSE, TRUE), Make(FALSE, TRUE)};
    EXPECT_EQ(WaitForMultipleObjectsEx(3, events, FALSE, 0, FALSE), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(WaitForMultipleObjectsEx(3, events, FALSE, kLong, FALSE), WAIT_OBJECT_0 + 2)
        << "the first wait left the higher index its signal";

    HANDLE manual = Make(TRUE, TRUE);
    HANDLE all[] = {events[1], events[0], manual};
    SetEvent(events[1]);
    EXPECT_EQ(WaitForMultipleObjectsEx(3, all, TRUE, 20, FALSE), WAIT_TIMEOUT);
    EXPECT_EQ(Poll(events[1]), WAIT_OBJECT_0) << "a wait for all that timed out took nothing";
    SetEvent(events[1]);
    SetEvent(events[0]);
    EXPECT_EQ(WaitForMultipleObjectsEx(3, all, TRUE, 0, FALSE), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForMultipleObjectsEx(3, events, FALSE, 0, FALSE), WAIT_TIMEOUT);
    EXPECT_EQ(Poll(manual), WAIT_OBJECT_0);
}

TEST_F(Events, TimeOutsRunTheirTime) {
    HANDLE never[] = {Make(TRUE, FALSE), Make(FALSE, FALSE)};
    auto since = [](Clock::time_point start) { return Clock::now() - start; };
    auto start = Clock::now();
    EXPECT_EQ(WaitForMultipleObjectsEx(2, never, TRUE, 0, FALSE), WAIT_TIMEOUT);
    EXPECT_LT(since(start), std::chrono::seconds(1)) << "a poll does not wait";
    // Windows counts in ticks of up to 16 ms and may end a wait a tick early.
    start = Clock::now();
    EXPECT_EQ(WaitForMultipleObjectsEx(2, never, FALSE, 100, TRUE), WAIT_TIMEOUT);
    EXPECT_GE(since(start), std::chrono::milliseconds(80));
    start = Clock::now();
    Sleep(100);
    EXPECT_GE(since(start), std::chrono::milliseconds(80));
}

TEST_F(Events, SetReleasesOneWaiterWhenAutoResetAndAllWhenManual) {
    HANDLE automatic = Make(FALSE, FALSE), manual = Make(TRUE, FALSE);
    StartWaiters(3, automatic);
    for (int count = 1; count <= 3; ++count) {
        SetEvent(automatic);
        ASSERT_TRUE(AwaitReleased(count, kLong));
        Pause(30);
        EXPECT_EQ(released, count);
    }
    EXPECT_EQ(Poll(automatic), WAIT_TIMEOUT) << "every signal went to a waiter";
    StartWaiters(3, manual);
    SetEvent(manual);
    EXPECT_TRUE(AwaitReleased(6, kLong));
}

TEST_F(Events, PulseReleasesOneWaiterOfAnAutoResetEventAndLeavesItReset) {
    HANDLE manual = Make(TRUE, TRUE), automatic = Make(FALSE, TRUE);
    PulseEvent(manual);
    PulseEvent(automatic);
    EXPECT_EQ(Poll(manual), WAIT_TIMEOUT) << "with no waiter, a pulse only resets";
    EXPECT_EQ(Poll(automatic), WAIT_TIMEOUT);

    StartWaiters(2, automatic);
    int pulses = 0;  // again until a release shows: the waiters may be late
    do
        PulseEvent(automatic);
    while (!AwaitReleased(1, 1000) && ++pulses < 30);
    Pause(50);
    EXPECT_EQ(released, 1);
    EXPECT_EQ(Poll(automatic), WAIT_TIMEOUT);
    SetEvent(automatic);
}

}  // namespace
