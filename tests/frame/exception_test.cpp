#include <gtest/gtest.h>

#include <new>
#include <thread>

#include "frame/exception.h"
#include "frame/frame.h"
#include "test_support.h"
#include "text/messages.h"
#include "text/string.h"

namespace {

const char *Text(const String *s) { return s ? s->c_str() : nullptr; }

TEST(Exception, EmptyTextsAreAbsentAndWhyIsEmpty) {
    EXPECT_EQ(nullptr, Exception(static_cast<const char *>(nullptr)).message);
    EXPECT_EQ(nullptr, Exception("").message);
    EXPECT_EQ(nullptr, Exception(String()).message);
    Exception noDetail("first", ""), noMessage(String(), String("second"), 7), plain;
    EXPECT_STREQ("first", Text(noDetail.message));
    EXPECT_EQ(nullptr, noDetail.detail);
    EXPECT_EQ(nullptr, noMessage.message);
    EXPECT_STREQ("second", Text(noMessage.detail));
    EXPECT_EQ(7u, noMessage.code);
    EXPECT_EQ(nullptr, plain.message);
    EXPECT_EQ(nullptr, plain.detail);

    // An Exception gives its texts in its own fields, never as the reason.
    EXPECT_TRUE(Exception("something failed", 5).why().IsEmpty());
    EXPECT_TRUE(plain.why().IsEmpty());
    EXPECT_STREQ("a reason", AException(String("a reason")).why());
}

TEST(Exception, CopiesShareBodiesNotObjects) {
    String message("disk on fire");
    Exception e(message, String("detail"), 3);
    EXPECT_EQ(message.c_str(), e.message->c_str());  // the String form shares
    e.drive = 4;

    Exception copy(e);
    EXPECT_NE(e.message, copy.message);
    EXPECT_EQ(e.message->c_str(), copy.message->c_str());
    EXPECT_EQ(e.detail->c_str(), copy.detail->c_str());
    EXPECT_EQ(3u, copy.code);
    EXPECT_EQ(4, copy.drive);

    Exception assigned("old", "old detail");
    assigned = e;
    EXPECT_EQ(e.message->c_str(), assigned.message->c_str());
    EXPECT_EQ(4, assigned.drive);
    String *before = assigned.message;
    assigned = assigned;
    EXPECT_EQ(before, assigned.message);
    EXPECT_STREQ("disk on fire", Text(assigned.message));
}

TEST(Exception, ThrownByValueAndCaughtAsEitherType) {
    try {
        ExceptionThrower(0).SetAndThrow("boom", "more", 12);
        FAIL() << "nothing thrown";
    } catch (const AException &a) {
        const Exception &e = static_cast<const Exception &>(a);
        EXPECT_STREQ("boom", Text(e.message));
        EXPECT_STREQ("more", Text(e.detail));
        EXPECT_EQ(12u, e.code);
    }

    try {
        Exception("as an exception").raise();
        FAIL() << "nothing thrown";
    } catch (const Exception &) {
        FAIL() << "raise throws the AException part only";
    } catch (const AException &a) {
        EXPECT_TRUE(a.why().IsEmpty());
    }
}

TEST(Exception, MessageIdsAreLookedUpInOrder) {
    try {
        ExceptionThrower(0).SetAndThrow(ResMess(18008), ResMess(18012), 2);
        FAIL() << "nothing thrown";
    } catch (const Exception &e) {
        EXPECT_STREQ("Invalid directory name.", Text(e.message));
        EXPECT_STREQ("File error", Text(e.detail));
        EXPECT_EQ(2u, e.code);
    }
    // An id in no source gives no message, and the record is raised anyway.
    try {
        ExceptionThrower(0).SetAndThrow(ResMess(5));
        FAIL() << "nothing thrown";
    } catch (const Exception &e) {
        EXPECT_EQ(nullptr, e.message);
    }
}

// Runs `fail` and expects the one out-of-memory failure from it.
void ExpectOutOfMemory(void (*fail)()) {
    try {
        fail();
        FAIL() << "no failure";
    } catch (const Exception &e) {
        EXPECT_STREQ("Out of memory", Text(e.message));
        EXPECT_EQ(nullptr, e.detail);
        EXPECT_EQ(0u, e.code);
    }
}

TEST(Exception, OutOfMemoryIsOneFailure) {
    ExpectOutOfMemory([] { std::get_new_handler()(); });
    // More than any heap can give.  Sanitizer runtimes end the process when
    // operator new fails, without calling the new handler.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    ExpectOutOfMemory([] { ::operator delete(::operator new(static_cast<size_t>(-1) / 2)); });
#endif
}

// Takes the next WM_EXCEPTION of the calling thread, if any.
Exception *TakePosted(HWND window) {
    MSG msg;
    if (!PeekMessageA(&msg, window, WM_EXCEPTION, WM_EXCEPTION, PM_REMOVE))
        return nullptr;
    EXPECT_EQ(0u, msg.wParam);
    return reinterpret_cast<Exception *>(msg.lParam);
}

TEST(ExceptionThrower, PostsToTheLoadingThread) {
    EXPECT_EQ(GetCurrentThreadId(), _mainThreadId);
    MSG msg;
    PeekMessageA(&msg, 0, 0, 0, PM_NOREMOVE);  // gives this thread its queue

    ExceptionThrower(1).SetAndThrow("posted", 9);  // returns: nothing is thrown
    Exception *e = TakePosted(reinterpret_cast<HWND>(-1));
    ASSERT_NE(nullptr, e);
    EXPECT_STREQ("posted", Text(e->message));
    EXPECT_EQ(9u, e->code);
    delete e;

    // From a worker thread the failure reaches the main thread too.
    std::thread([] { ExceptionThrower(1).SetAndThrow(ResMess(18012)); }).join();
    e = TakePosted(0);
    ASSERT_NE(nullptr, e);
    EXPECT_STREQ("File error", Text(e->message));
    delete e;
}

TEST(ExceptionThrower, PostsToTheNamedWindowOnly) {
    HWND window = CreateWindowExA(0, "Message", "", 0, 0, 0, 0, 0, HWND_MESSAGE, 0, 0, 0);
    ASSERT_NE(nullptr, window);
    uint32_t handle = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(window));
    Exception::NotifyPostHandle(handle);
    ExceptionThrower thrower(1);
    Exception::NotifyPostHandle(0);  // the thrower keeps its target

    thrower.SetAndThrow("to the window");
    EXPECT_EQ(nullptr, TakePosted(reinterpret_cast<HWND>(-1)));  // no thread message
    Exception *e = TakePosted(window);
    ASSERT_NE(nullptr, e);
    EXPECT_STREQ("to the window", Text(e->message));
    delete e;
    DestroyWindow(window);
}

}  // namespace
