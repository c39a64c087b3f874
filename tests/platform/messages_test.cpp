// Thread message queues and message-only windows.  The test thread keeps
// its queue from test to test, so each test starts by emptying it;
// threads that must start without a queue are new threads.  Expectations
// hold for the POSIX layer and for Win32; checks made on one side only, or
// where Wine strays from Windows, say so.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <future>
#include <thread>
#include <vector>

namespace {

const HWND kThreadOnly = reinterpret_cast<HWND>(static_cast<intptr_t>(-1));
// As UINT: <windows.h> declares them int.
constexpr UINT kNone = WM_NULL, kQuit = WM_QUIT, kUser = WM_USER;

HWND CreateMessageWindow() {
    return CreateWindowExA(0, "Message", "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
}

// The last error after a call that failed; 0 after one that succeeded.
DWORD Failure(BOOL result) {
    return result ? 0 : GetLastError();
}

class MessageQueue : public testing::Test {
    void SetUp() override {  // empties the queue, or makes it
        for (MSG msg; PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE);) {
        }
    }
};

void PostToSelf(UINT message, WPARAM tag = 0, LPARAM value = 0) {
    ASSERT_TRUE(PostThreadMessageA(GetCurrentThreadId(), message, tag, value)) << GetLastError();
}

// The next matching message, taken out; WM_NULL when there is none.
MSG Next(HWND window = nullptr, UINT first = 0, UINT last = 0) {
    MSG msg{};
    if (!PeekMessageA(&msg, window, first, last, PM_REMOVE))
        msg.message = kNone;
    return msg;
}

TEST_F(MessageQueue, PostsComeBackInOrderRangesTakeTheFirstInRangeAndAQueueHasALimit) {
    DWORD before = GetTickCount();
    for (UINT offset : {1, 5, 2})
        PostToSelf(kUser + offset, offset, -20);
    DWORD after = GetTickCount();
    for (UINT expected : {kUser + 5, kUser + 2, kNone})
        EXPECT_EQ(Next(nullptr, kUser + 2, kUser + 5).message, expected);
    EXPECT_EQ(Next(nullptr, kUser + 9, kUser + 1).message, kNone) << "an inverted range takes none";
    MSG msg = Next();
    EXPECT_EQ(msg.wParam, WPARAM{1});
    EXPECT_EQ(msg.lParam, LPARAM{-20});
    EXPECT_LE(msg.time - before, after - before) << "time is the tick count of the post";

    // A queue holds 10000 messages, the default limit of Windows.  A known
    // difference of wine: it sets no limit on a queue.
    for (int i = 0; i < 10000; ++i)
        ASSERT_TRUE(PostThreadMessageA(GetCurrentThreadId(), kUser, WPARAM(i), 0)) << "post " << i;
    EXPECT_EQ(Failure(PostThreadMessageA(GetCurrentThreadId(), kUser, 0, 0)),
              RunningUnderWine() ? 0 : DWORD{ERROR_NOT_ENOUGH_QUOTA});
}

// Posting needs the target's queue.  A window belongs to the thread that
// made it: only that thread may destroy it, and its end takes the window.
TEST_F(MessageQueue, PostingNeedsTheTargetsQueueAndWindowsEndWithTheirThread) {
    std::promise<DWORD> id;
    std::promise<void> refused, queued;
    HWND window = nullptr;
    std::thread worker([&] {
        id.set_value(GetCurrentThreadId());
        refused.get_future().wait();
        window = CreateMessageWindow();  // makes the queue
        queued.set_value();
        MSG msg;
        GetMessageA(&msg, nullptr, 0, 0);
        EXPECT_EQ(msg.wParam, WPARAM{2}) << "the refused post was queued";
    });
    DWORD workerId = id.get_future().get();
    SetLastError(0);
    EXPECT_EQ(Failure(PostThreadMessageA(workerId, kUser, 1, 0)), DWORD{ERROR_INVALID_THREAD_ID});
    refused.set_value();
    queued.get_future().wait();
    EXPECT_EQ(Failure(DestroyWindow(window)), DWORD{ERROR_ACCESS_DENIED});
    ASSERT_TRUE(PostMessageA(window, kUser, 2, 0)) << GetLastError();
    worker.join();

    // Win32 documents ERROR_INVALID_THREAD_ID for a thread id that is no
    // longer valid; wine reports ERROR_INVALID_PARAMETER, a known difference.
    EXPECT_EQ(Failure(PostThreadMessageA(workerId, kUser, 3, 0)),
              RunningUnderWine() ? DWORD{ERROR_INVALID_PARAMETER} : DWORD{ERROR_INVALID_THREAD_ID});
    EXPECT_EQ(Failure(PostMessageA(window, kUser, 0, 0)), DWORD{ERROR_INVALID_WINDOW_HANDLE});
}

TEST_F(MessageQueue, GetMessageWaitsForPostsFromOtherThreads) {
    const int senders = 4, posts = 300;
    std::vector<std::thread> workers;
    for (int s = 0; s < senders; ++s)
        workers.emplace_back([s, self = GetCurrentThreadId()] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            for (int i = 0; i < posts; ++i)
                PostThreadMessageA(self, kUser + UINT(s), WPARAM(i), 0);
        });
    std::vector<WPARAM> nextFrom(senders, 0);
    MSG msg;
    for (int n = 0; n < senders * posts; ++n) {
        ASSERT_GT(GetMessageA(&msg, nullptr, 0, 0), 0);
        ASSERT_EQ(msg.wParam, nextFrom[msg.message - kUser]++) << "a sender's order was lost";
    }
    for (std::thread &worker : workers)
        worker.join();
}

// What is posted to a message-only window lands in its thread's queue,
// marked with the window, and goes with the window.  PostQuitMessage marks
// the queue: the quit comes after every posted message and passes every
// filter.  A WM_QUIT that is posted is an ordinary message, filters and all.
TEST_F(MessageQueue, WindowsAndTheQuitMeetTheFilters) {
    HWND first = CreateMessageWindow(), second = CreateMessageWindow();
    ASSERT_TRUE(first && second) << GetLastError();
    HWND targets[] = {first, nullptr, second, nullptr};  // null: a thread message to the caller
    for (WPARAM tag = 1; tag <= 4; ++tag)
        ASSERT_TRUE(PostMessageA(targets[tag - 1], kUser, tag, 0));
    EXPECT_EQ(Next(second).wParam, WPARAM{3});
    EXPECT_EQ(Next(kThreadOnly).wParam, WPARAM{2});
    EXPECT_EQ(Next(kThreadOnly).wParam, WPARAM{4});
    EXPECT_EQ(Next(kThreadOnly).message, kNone);
    EXPECT_EQ(Next().hwnd, first);

    ASSERT_TRUE(PostMessageA(first, kUser, 1, 0));
    ASSERT_TRUE(PostMessageA(second, kUser, 2, 0));
    EXPECT_TRUE(DestroyWindow(first));
    EXPECT_FALSE(IsWindow(first));
    EXPECT_EQ(Next().hwnd, second) << "what was posted to the window went with it, and only that";
    MSG msg;
    EXPECT_EQ(Failure(GetMessageA(&msg, first, 0, 0) != -1), DWORD{ERROR_INVALID_WINDOW_HANDLE});
    // A known difference of wine: it answers ERROR_ACCESS_DENIED here.
    EXPECT_EQ(Failure(DestroyWindow(first)),
              RunningUnderWine() ? DWORD{ERROR_ACCESS_DENIED} : DWORD{ERROR_INVALID_WINDOW_HANDLE});
    HWND next = CreateMessageWindow();
    EXPECT_NE(next, first) << "a destroyed handle was handed out again at once";

    PostQuitMessage(3);
    PostToSelf(kUser, 2);
    EXPECT_EQ(Next().wParam, WPARAM{2}) << "the quit overtook a posted message";
    ASSERT_TRUE(PeekMessageA(&msg, next, kUser, kUser, PM_NOREMOVE)) << "the quit passes a window's filter";
    EXPECT_EQ(GetMessageA(&msg, kThreadOnly, kUser, kUser), 0);
    EXPECT_EQ(msg.wParam, WPARAM{3});
    EXPECT_EQ(Next().message, kNone) << "the quit was taken once";
    PostToSelf(kQuit, 9);
    EXPECT_EQ(Next(nullptr, kUser, kUser + 10).message, kNone) << "range filters apply to it";
    EXPECT_EQ(GetMessageA(&msg, nullptr, 0, 0), 0);
    EXPECT_EQ(msg.wParam, WPARAM{9});
    DestroyWindow(next);
    DestroyWindow(second);
}

}  // namespace
