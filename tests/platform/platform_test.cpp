// The layer's basic services: last error, debug channel, clocks, critical
// sections, interlocked words and the runtime library extensions.  They run
// against the POSIX layer and, in a Windows build, against Win32, so every
// expectation holds for both; a check made on one side only says why.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <errno.h>

#include <climits>
#include <string>
#include <thread>

namespace {

// Win32's numbers, which code compares and users see.
static_assert(ERROR_PATH_NOT_FOUND == 3 && ERROR_ACCESS_DENIED == 5 && ERROR_INVALID_PARAMETER == 87 &&
              ERROR_MOD_NOT_FOUND == 126 && ERROR_FILENAME_EXCED_RANGE == 206 &&
              ERROR_INVALID_WINDOW_HANDLE == 1400 && ERROR_CANNOT_FIND_WND_CLASS == 1407 &&
              ERROR_INVALID_THREAD_ID == 1444 && ERROR_RESOURCE_TYPE_NOT_FOUND == 1813 &&
              ERROR_RESOURCE_NAME_NOT_FOUND == 1814 && ERROR_NOT_ENOUGH_QUOTA == 1816);

// The clocks count forward at their rate while Sleep lasts its time, which
// on Windows may end a tick (up to 16 ms) early.  A thread has an id of its
// own, and its own last error: a new thread starts with none, not another's.
// The debug channel writes the text as it is, and keeps errno.
TEST(System, ClocksMachineThreadsAndDiagnostics) {
    LARGE_INTEGER frequency, start, now;
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
    DWORD tickStart = GetTickCount();
    ASSERT_TRUE(QueryPerformanceCounter(&start));
    Sleep(100);
    ASSERT_TRUE(QueryPerformanceCounter(&now));
    double elapsedMs = double(now.QuadPart - start.QuadPart) * 1000.0 / double(frequency.QuadPart);
    EXPECT_GE(elapsedMs, 80.0);
    EXPECT_LT(elapsedMs, 5000.0);
    DWORD ticks = GetTickCount() - tickStart;  // unsigned: right across the wrap
    EXPECT_GE(ticks, 64u);
    EXPECT_LT(ticks, 5000u);

    SYSTEM_INFO info;
    GetSystemInfo(&info);
    EXPECT_TRUE(info.dwPageSize >= 4096 && (info.dwPageSize & (info.dwPageSize - 1)) == 0) << info.dwPageSize;
    EXPECT_EQ(info.dwAllocationGranularity, 65536u);
    // Both count the processors online (on Windows, of the process's group).
    EXPECT_EQ(info.dwNumberOfProcessors, std::thread::hardware_concurrency());

    SetLastError(ERROR_INVALID_THREAD_ID);
    DWORD mine = GetCurrentThreadId(), other = 0, otherError = 12345;
    std::thread([&] {
        other = GetCurrentThreadId();
        otherError = GetLastError();
    }).join();
    EXPECT_EQ(otherError, 0u);
    EXPECT_TRUE(mine != 0 && mine != 0xFFFFFFFFu) << "0 and all ones mean no thread to the library";
    EXPECT_NE(other, mine);
#if !defined(_WIN32)
    // On Windows the text goes to a debugger, where a test cannot read it.
    testing::internal::CaptureStderr();
    errno = ENOENT;
    OutputDebugStringA("50% done, %s kept");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "50% done, %s kept") << "no prefix, no newline";
#endif
}

// Whether another thread can enter `section` now; it leaves again at once.
bool OtherThreadCanEnter(CRITICAL_SECTION *section) {
    bool entered = false;
    std::thread([&] {
        entered = TryEnterCriticalSection(section) != FALSE;
        if (entered)
            LeaveCriticalSection(section);
    }).join();
    return entered;
}

// The interlocked calls return what their Win32 namesakes return: Increment
// and Decrement the new value, the others the value before.
TEST(Locks, SectionIsRecursiveAndExclusiveAndInterlockedCallsAreAtomic) {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    EnterCriticalSection(&section);
    EXPECT_TRUE(TryEnterCriticalSection(&section)) << "the owner must get in again";
    LeaveCriticalSection(&section);
    EXPECT_FALSE(OtherThreadCanEnter(&section)) << "free before the last leave";
    LeaveCriticalSection(&section);
    EXPECT_TRUE(OtherThreadCanEnter(&section));

    long counter = 0;        // plain: only the lock protects it
    LONG volatile word = 0;  // no lock: the increments must be atomic
    std::thread workers[4];
    for (std::thread &worker : workers)
        worker = std::thread([&] {
            for (int i = 0; i < 20000; ++i) {
                InterlockedIncrement(&word);
                EnterCriticalSection(&section);
                ++counter;
                LeaveCriticalSection(&section);
            }
        });
    for (std::thread &worker : workers)
        worker.join();
    EXPECT_EQ(counter, 4 * 20000);
    DeleteCriticalSection(&section);

    EXPECT_EQ(InterlockedIncrement(&word), 4 * 20000 + 1) << "every increment counted";
    EXPECT_EQ(InterlockedDecrement(&word), 4 * 20000);
    EXPECT_EQ(InterlockedExchange(&word, 42), 4 * 20000);
    EXPECT_EQ(InterlockedExchangeAdd(&word, -2), 42);
    EXPECT_EQ(InterlockedCompareExchange(&word, 7, 40), 40) << "a match";
    EXPECT_EQ(InterlockedCompareExchange(&word, 9, 40), 7) << "a mismatch: the value found";
    EXPECT_EQ(word, 7) << "a mismatch must not store";
    word = 0x7FFFFFFF;
    EXPECT_EQ(InterlockedIncrement(&word), LONG(-0x7FFFFFFF - 1)) << "arithmetic wraps";
}

// Case-blind comparison goes through lower case; only in radix 10 does an
// integer get a sign.
TEST(Runtime, CaseAndIntegers) {
    EXPECT_EQ(_stricmp("Hello World", "hELLO wORLD"), 0);
    EXPECT_LT(_stricmp("apple", "Banana"), 0);
    EXPECT_GT(_stricmp("ABCD", "abc"), 0) << "a prefix sorts first";
    // '_' lies between 'Z' and 'a': in lower case it sorts before letters.
    EXPECT_GT(_stricmp("A", "_"), 0);
    EXPECT_NE(_stricmp("\xE9", "\xC9"), 0) << "no case beyond ASCII in the C locale";
#if !defined(_WIN32)
    // Unsigned, as strcmp; Windows runtimes differ (Wine's msvcrt: signed).
    EXPECT_GT(_stricmp("\xE9", "z"), 0);
#endif
    EXPECT_EQ(_strnicmp("abcX", "ABCy", 3), 0);
    EXPECT_LT(_strnicmp("abcX", "ABCy", 4), 0);
    EXPECT_EQ(_strnicmp("left", "right", 0), 0);
    EXPECT_EQ(_strnicmp("ab\0x", "AB\0y", 4), 0) << "compared past the end of the strings";

    char text[] = "Mixed Case_09 [x] \xE9";
    EXPECT_EQ(_strupr(text), text);
    EXPECT_STREQ(text, "MIXED CASE_09 [X] \xE9");
    EXPECT_EQ(_strlwr(text), text);
    EXPECT_STREQ(text, "mixed case_09 [x] \xE9");

    char b[80];
    EXPECT_EQ(_itoa(0, b, 2), b);
    EXPECT_STREQ(b, "0");
    EXPECT_STREQ(_itoa(INT_MIN, b, 10), "-2147483648");
    EXPECT_STREQ(_itoa(35, b, 36), "z");
    EXPECT_STREQ(_itoa(-255, b, 16), "ffffff01") << "the 32 bits of the int";
    // long has 32 bits on Windows and 64 on LP64 systems.
    EXPECT_EQ(_ltoa(LONG_MIN, b, 10), std::to_string(LONG_MIN));
    EXPECT_EQ(_ltoa(-1, b, 2), std::string(sizeof(long) * 8, '1'));
    EXPECT_EQ(_ultoa(ULONG_MAX, b, 10), std::to_string(ULONG_MAX));
}

}  // namespace
