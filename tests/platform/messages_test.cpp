// Thread message queues and message-only windows.  The test thread keeps
// its queue from test to test, so each test starts and ends by emptying it;
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

class MessageQueue : public testing::Test {
protected:
    void SetUp() override { Drain(); }
    void TearDown() override { Drain(); }
    static void Drain() {
        for (MSG msg; PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE);) {
        }
    }
    static void PostToSelf(UINT message, WPARAM tag = 0) {
        ASSERT_TRUE(PostThreadMessageA(GetCurrentThreadId(), message, tag, 0)) << GetLastError();
    }
    // The next matching message, taken out; WM_NULL when there is none.
    static MSG Next(HWND window = nullptr, UINT first = 0, UINT last = 0) {
        MSG msg{};
        if (!PeekMessageA(&msg, window, first, last, PM_REMOVE))
            msg.message = kNone;
        return msg;
    }
};

TEST_F(MessageQueue, PostsComeBackInOrderAndRangesTakeTheFirstInRange) {
    DWORD before = GetTickCount();
    ASSERT_TRUE(PostThreadMessageA(GetCurrentThreadId(), kUser + 1, 10, -20));
    for (UINT offset : {5, 2, 9})
        PostToSelf(kUser + offset);
    DWORD after = GetTickCount();
    MSG msg;
    ASSERT_TRUE(PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE));  // leaves it in place
    EXPECT_EQ(Next(nullptr, kUser + 2, kUser + 5).message, kUser + 5);
    EXPECT_EQ(Next(nullptr, kUser + 2, kUser + 5).message, kUser + 2);
    EXPECT_EQ(Next(nullptr, kUser + 2, kUser + 5).message, kNone);
    EXPECT_EQ(Next(nullptr, kUser + 9, kUser + 1).message, kNone) << "an inverted range takes none";
    msg = Next();
    EXPECT_EQ(msg.hwnd, nullptr);
    EXPECT_EQ(msg.message, kUser + 1);
    EXPECT_EQ(msg.wParam, WPARAM{10});
    EXPECT_EQ(msg.lParam, LPARAM{-20});
    EXPECT_LE(msg.time - before, after - before) << "time is the tick count of the post";
    EXPECT_EQ(Next(nullptr, kUser + 9, kUser + 9).message, kUser + 9);
    EXPECT_EQ(Next().message, kNone);
}

TEST_F(MessageQueue, PostingNeedsTheTargetsQueue) {
    std::promise<DWORD> id;
    std::promise<void> refused, queued;
    HWND window = nullptr;
    std::thread worker([&] {
        id.set_value(GetCurrentThreadId());
        refused.get_future().wait();
        MSG msg;
        PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE);  // makes the queue
        window = CreateMessageWindow();
        queued.set_value();
        GetMessageA(&msg, nullptr, 0, 0);
        EXPECT_EQ(msg.wParam, WPARAM{2}) << "the refused post was queued";
    });
    DWORD workerId = id.get_future().get();
    SetLastError(0);
    EXPECT_FALSE(PostThreadMessageA(workerId, kUser, 1, 0));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_THREAD_ID});
    refused.set_value();
    queued.get_future().wait();
    ASSERT_TRUE(PostThreadMessageA(workerId, kUser, 2, 0)) << GetLastError();
    worker.join();

    // An ended thread takes its queue and windows with it.  Win32 documents
    // ERROR_INVALID_THREAD_ID for a thread id that is no longer valid; wine
    // reports ERROR_INVALID_PARAMETER, a known difference of wine.
    SetLastError(0);
    EXPECT_FALSE(PostThreadMessageA(workerId, kUser, 3, 0));
    EXPECT_EQ(GetLastError(), RunningUnderWine() ? DWORD{ERROR_INVALID_PARAMETER} : DWORD{ERROR_INVALID_THREAD_ID});
    EXPECT_FALSE(IsWindow(window));
    EXPECT_FALSE(PostMessageA(window, kUser, 0, 0));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_WINDOW_HANDLE});
}

TEST_F(MessageQueue, GetMessageWaitsForPostsFromOtherThreads) {
    const int senders = 4, posts = 300;
    DWORD self = GetCurrentThreadId();  // the queue exists: SetUp peeked
    std::vector<std::thread> workers;
    for (int s = 0; s < senders; ++s) {
        workers.emplace_back([=] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            for (int i = 0; i < posts; ++i)
                PostThreadMessageA(self, kUser + UINT(s), WPARAM(i), 0);
        });
    }
    std::vector<WPARAM> nextFrom(senders, 0);
    MSG msg;
    for (int n = 0; n < senders * posts; ++n) {
        ASSERT_GT(GetMessageA(&msg, nullptr, 0, 0), 0);
        ASSERT_EQ(msg.hwnd, nullptr);
        ASSERT_EQ(msg.wParam, nextFrom[msg.message - kUser]++) << "a sender's order was lost";
    }
    for (std::thread &worker : workers)
        worker.join();
}

// What is posted to a message-only window lands in its thread's queue,
// marked with the window; only that thread may destroy it.
TEST_F(MessageQueue, MessageOnlyWindowsFilterAndBelongToTheirThread) {
    HWND first = CreateMessageWindow(), second = CreateMessageWindow();
    ASSERT_TRUE(first && second) << GetLastError();
    // The library keeps window handles in 32 bits and sign-extends them.
    EXPECT_EQ(static_cast<intptr_t>(static_cast<int32_t>(reinterpret_cast<intptr_t>(first))),
              reinterpret_cast<intptr_t>(first));
    ASSERT_TRUE(PostMessageA(first, kUser, 1, 0));
    PostToSelf(kUser, 2);
    std::thread([&] {
        PostMessageA(second, kUser, 3, 31);
        EXPECT_FALSE(DestroyWindow(second));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    }).join();
    ASSERT_TRUE(PostMessageA(nullptr, kUser, 4, 0));  // a thread message to the caller
    MSG msg;
    EXPECT_GT(GetMessageA(&msg, second, 0, 0), 0);
    EXPECT_EQ(msg.hwnd, second);
    EXPECT_EQ(msg.wParam, WPARAM{3});
    EXPECT_EQ(msg.lParam, LPARAM{31});
    EXPECT_EQ(Next(second).message, kNone);
    EXPECT_EQ(Next(kThreadOnly).wParam, WPARAM{2});
    EXPECT_EQ(Next(kThreadOnly).wParam, WPARAM{4});
    EXPECT_EQ(Next(kThreadOnly).message, kNone);
    EXPECT_EQ(Next().hwnd, first);

    ASSERT_TRUE(PostMessageA(first, kUser, 1, 0));
    ASSERT_TRUE(PostMessageA(second, kUser, 2, 0));
    EXPECT_TRUE(DestroyWindow(first));
    EXPECT_FALSE(IsWindow(first));
    EXPECT_EQ(Next().hwnd, second) << "what was posted to the window went with it, and only that";
    EXPECT_EQ(Next().message, kNone);
    EXPECT_EQ(GetMessageA(&msg, first, 0, 0), -1);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_WINDOW_HANDLE});
    // A known difference of wine: it answers ERROR_ACCESS_DENIED here.
    EXPECT_FALSE(DestroyWindow(first));
    EXPECT_EQ(GetLastError(),
              RunningUnderWine() ? DWORD{ERROR_ACCESS_DENIED} : DWORD{ERROR_INVALID_WINDOW_HANDLE});
    HWND next = CreateMessageWindow();
    EXPECT_NE(next, first) << "a destroyed handle was handed out again at once";
    DestroyWindow(next);
    DestroyWindow(second);
}

// PostQuitMessage marks the queue: the quit comes after every posted
// message and passes every filter.  A WM_QUIT that is posted is an ordinary
// message, filters and all.
TEST_F(MessageQueue, QuitComesLastAndPassesEveryFilterUnlessPosted) {
    HWND window = CreateMessageWindow();
    PostToSelf(kUser, 1);
    PostQuitMessage(3);
    PostToSelf(kUser, 2);
    MSG msg;
    ASSERT_GT(GetMessageA(&msg, nullptr, 0, 0), 0);
    EXPECT_EQ(msg.wParam, WPARAM{1});
    ASSERT_GT(GetMessageA(&msg, nullptr, 0, 0), 0) << "the quit overtook a posted message";
    EXPECT_EQ(msg.wParam, WPARAM{2});
    ASSERT_TRUE(PeekMessageA(&msg, window, kUser, kUser, PM_NOREMOVE));
    EXPECT_EQ(msg.message, kQuit);
    EXPECT_EQ(GetMessageA(&msg, kThreadOnly, kUser, kUser), 0);
    EXPECT_EQ(msg.wParam, WPARAM{3});
    EXPECT_EQ(Next().message, kNone) << "the quit was taken once";
    DestroyWindow(window);

    std::thread([self = GetCurrentThreadId()] { PostThreadMessageA(self, WM_QUIT, 9, 0); }).join();
    EXPECT_EQ(Next(nullptr, kUser, kUser + 10).message, kNone) << "range filters apply to it";
    EXPECT_EQ(GetMessageA(&msg, nullptr, 0, 0), 0);
    EXPECT_EQ(msg.wParam, WPARAM{9});
}

// 10000 is the default limit of Windows.
TEST_F(MessageQueue, AQueueHoldsTenThousandMessages) {
    if (RunningUnderWine())
        GTEST_SKIP() << "a known difference of wine: it sets no limit on a queue";
    for (int i = 0; i < 10000; ++i)
        ASSERT_TRUE(PostThreadMessageA(GetCurrentThreadId(), kUser, WPARAM(i), 0)) << "post " << i;
    EXPECT_FALSE(PostThreadMessageA(GetCurrentThreadId(), kUser, 0, 0));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_ENOUGH_QUOTA});
}

}  // namespace
