#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <thread>

#include "CommonVcZq/frame/exception.h"
#include "CommonVcZq/frame/frame.h"
#include "test_support.h"
#include "CommonVcZq/text/messages.h"
#include "CommonVcZq/text/string.h"

namespace {

const HWND kThreadOnly = reinterpret_cast<HWND>(static_cast<intptr_t>(-1));

const char *Text(const String *s) { return s ? s->c_str() : nullptr; }

// What `raise` throws as an Exception; an empty one, and a failure, when it
// throws nothing.
template <typename F>
Exception Thrown(F raise) {
    try {
        raise();
    } catch (const Exception &e) {
        return e;
    }
    ADD_FAILURE() << "nothing thrown";
    return Exception();
}

TEST(Exception, EmptyTextsAreAbsentAndWhyIsEmpty) {
    EXPECT_EQ(nullptr, Exception(static_cast<const char *>(nullptr)).message);
    EXPECT_EQ(nullptr, Exception("").message);
    EXPECT_EQ(nullptr, Exception(String()).message);
    Exception noDetail("first", ""), noMessage(String(), String("second"), 7), plain;
    EXPECT_STREQ("first", Text(noDetail.message));
    EXPECT_EQ(nullptr, noDetail.detail);
    EXPECT_EQ(nullptr, noMessage.message);
    EXPECT_STREQ("second", Text(noMessage.detail));
    EXPECT_TRUE(plain.message == nullptr && plain.detail == nullptr);

    // An Exception gives its texts in its own fields, never as the reason.
    EXPECT_TRUE(Exception("something failed", 5).why().IsEmpty());
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
    EXPECT_EQ(4, copy.drive);
    Exception assigned("old", "old detail");
    assigned = e;
    EXPECT_EQ(e.message->c_str(), assigned.message->c_str());
    EXPECT_EQ(4, assigned.drive);
    assigned = assigned;
    EXPECT_STREQ("disk on fire", Text(assigned.message));
}

// A thrower built with 0 throws the record by value, to be caught as either
// type; message ids are looked up when it raises.  raise() throws the
// AException part only.
TEST(Exception, ThrownByValueWithMessagesLookedUp) {
    EXPECT_THROW(ExceptionThrower(0).SetAndThrow("boom"), AException);
    Exception e = Thrown([] { ExceptionThrower(0).SetAndThrow("boom", "more", 12); });
    EXPECT_STREQ("boom", Text(e.message));
    EXPECT_STREQ("more", Text(e.detail));
    EXPECT_EQ(12u, e.code);
    e = Thrown([] { ExceptionThrower(0).SetAndThrow(ResMess(18008), ResMess(18012), 2); });
    EXPECT_STREQ("Invalid directory name.", Text(e.message));
    EXPECT_STREQ("File error", Text(e.detail));
    EXPECT_EQ(2u, e.code);
    // An id in no source gives no message, and the record is raised anyway.
    EXPECT_EQ(nullptr, Thrown([] { ExceptionThrower(0).SetAndThrow(ResMess(5)); }).message);
    EXPECT_THROW(Thrown([] { Exception("as an exception").raise(); }), AException);
}

// Runs `fail` and expects the one out-of-memory failure from it.
void ExpectOutOfMemory(void (*fail)()) {
    Exception e = Thrown(fail);
    EXPECT_STREQ("Out of memory", Text(e.message));
    EXPECT_EQ(nullptr, e.detail);
    EXPECT_EQ(0u, e.code);
}

TEST(Exception, OutOfMemoryIsOneFailure) {
    ExpectOutOfMemory([] { std::get_new_handler()(); });
    // More than any heap can give.  Sanitizer runtimes end the process when
    // operator new fails, without calling the new handler.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    ExpectOutOfMemory([] { ::operator delete(::operator new(static_cast<size_t>(-1) / 2)); });
#endif
}

// Takes the next WM_EXCEPTION of the calling thread, and gives a copy of it;
// Exception("none posted") when there is none.
Exception TakePosted(HWND window) {
    MSG msg;
    if (!PeekMessageA(&msg, window, WM_EXCEPTION, WM_EXCEPTION, PM_REMOVE))
        return Exception("none posted");
    EXPECT_EQ(0u, msg.wParam);
    std::unique_ptr<Exception> posted(reinterpret_cast<Exception *>(msg.lParam));
    return *posted;
}

// A posting thrower returns.  It posts to the window named when it was made,
// else to the thread that loaded the library, from any thread.
TEST(ExceptionThrower, PostsToTheNamedWindowOrTheLoadingThread) {
    HWND window = CreateWindowExA(0, "Message", "", 0, 0, 0, 0, 0, HWND_MESSAGE, 0, 0, 0);  // and the queue
    ASSERT_NE(nullptr, window);
    Exception::NotifyPostHandle(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(window)));
    ExceptionThrower thrower(1);
    Exception::NotifyPostHandle(0);  // the thrower keeps its target
    thrower.SetAndThrow("to the window");
    EXPECT_STREQ("none posted", Text(TakePosted(kThreadOnly).message)) << "no thread message";
    EXPECT_STREQ("to the window", Text(TakePosted(window).message));

    ExceptionThrower(1).SetAndThrow("posted", 9);
    Exception e = TakePosted(kThreadOnly);
    EXPECT_STREQ("posted", Text(e.message));
    EXPECT_EQ(9u, e.code);
    std::thread([] { ExceptionThrower(1).SetAndThrow(ResMess(18012)); }).join();
    EXPECT_STREQ("File error", Text(TakePosted(nullptr).message));
    DestroyWindow(window);
}

}  // namespace
