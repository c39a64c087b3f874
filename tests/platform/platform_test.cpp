// The layer's basic services: last error, debug channel, clocks, critical
// sections, interlocked words and the runtime library extensions.  They run
// against the POSIX layer and, in a Windows build, against Win32, so every
// expectation holds for both; a check made on one side only says why.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <errno.h>

#include <chrono>
#include <climits>
#include <string>
#include <thread>
#include <vector>

namespace {

// Win32's numbers, which code compares and users see.
static_assert(ERROR_PATH_NOT_FOUND == 3 && ERROR_ACCESS_DENIED == 5 && ERROR_INVALID_PARAMETER == 87 &&
              ERROR_MOD_NOT_FOUND == 126 && ERROR_FILENAME_EXCED_RANGE == 206 &&
              ERROR_INVALID_WINDOW_HANDLE == 1400 && ERROR_CANNOT_FIND_WND_CLASS == 1407 &&
              ERROR_INVALID_THREAD_ID == 1444 && ERROR_RESOURCE_TYPE_NOT_FOUND == 1813 &&
              ERROR_RESOURCE_NAME_NOT_FOUND == 1814 && ERROR_NOT_ENOUGH_QUOTA == 1816);

TEST(LastError, BelongsToEachThread) {
    SetLastError(ERROR_INVALID_THREAD_ID);
    DWORD seenByWorker = 12345;
    std::thread([&] { seenByWorker = GetLastError(); }).join();
    EXPECT_EQ(seenByWorker, 0u) << "a new thread starts with no error, not another's";
}

#if !defined(_WIN32)
// On Windows the text goes to a debugger, where a test cannot read it.
TEST(DebugChannel, WritesTheTextAsItIsAndKeepsErrno) {
    testing::internal::CaptureStderr();
    errno = ENOENT;
    OutputDebugStringA("first line\n");
    OutputDebugStringA("50% done, %s kept");
    int errnoAfter = errno;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "first line\n50% done, %s kept");
    EXPECT_EQ(errnoAfter, ENOENT);
}
#endif

TEST(Clocks, CountForwardAtAFixedRate) {
    LARGE_INTEGER frequency, again, start, previous, now;
    ASSERT_TRUE(QueryPerformanceFrequency(&frequency));
    ASSERT_TRUE(QueryPerformanceFrequency(&again));
    EXPECT_GT(frequency.QuadPart, 0);
    EXPECT_EQ(frequency.QuadPart, again.QuadPart);
    DWORD tickStart = GetTickCount();
    ASSERT_TRUE(QueryPerformanceCounter(&start));
    now = start;
    do {  // for a millisecond, every reading at least the one before
        previous = now;
        ASSERT_TRUE(QueryPerformanceCounter(&now));
        ASSERT_GE(now.QuadPart, previous.QuadPart) << "the counter went back";
    } while (now.QuadPart - start.QuadPart < frequency.QuadPart / 1000);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    QueryPerformanceCounter(&now);
    double elapsedMs = double(now.QuadPart - start.QuadPart) * 1000.0 / double(frequency.QuadPart);
    EXPECT_GE(elapsedMs, 49.0);
    EXPECT_LT(elapsedMs, 5000.0);
    DWORD ticks = GetTickCount() - tickStart;  // unsigned: right across the wrap
    EXPECT_GE(ticks, 34u) << "Windows ticks in steps of up to 16 ms";
    EXPECT_LT(ticks, 5000u);
}

TEST(Machine, DescribesPagesProcessorsAndThreads) {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    EXPECT_GE(info.dwPageSize, 4096u);
    EXPECT_EQ(info.dwPageSize & (info.dwPageSize - 1), 0u);
    EXPECT_EQ(info.dwAllocationGranularity, 65536u);
    // Both count the processors online (on Windows, of the process's group).
    EXPECT_EQ(info.dwNumberOfProcessors, std::thread::hardware_concurrency());

    DWORD mine = GetCurrentThreadId(), other = 0;
    std::thread([&] { other = GetCurrentThreadId(); }).join();
    EXPECT_EQ(GetCurrentThreadId(), mine);
    EXPECT_NE(mine, 0u);
    EXPECT_NE(mine, 0xFFFFFFFFu) << "all ones means no thread to the library";
    EXPECT_NE(other, mine);
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

TEST(Locks, SectionIsRecursiveAndExclusiveAndIncrementsAreAtomic) {
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    EnterCriticalSection(&section);
    EXPECT_TRUE(TryEnterCriticalSection(&section)) << "the owner must get in again";
    EXPECT_FALSE(OtherThreadCanEnter(&section));
    LeaveCriticalSection(&section);
    EXPECT_FALSE(OtherThreadCanEnter(&section)) << "free before the last leave";
    LeaveCriticalSection(&section);
    EXPECT_TRUE(OtherThreadCanEnter(&section));

    long counter = 0;        // plain: only the lock protects it
    LONG volatile word = 0;  // no lock: the increments must be atomic
    std::vector<std::thread> workers;
    for (int t = 0; t < 4; ++t) {
        workers.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                InterlockedIncrement(&word);
                EnterCriticalSection(&section);
                ++counter;
                LeaveCriticalSection(&section);
            }
        });
    }
    for (std::thread &worker : workers)
        worker.join();
    EXPECT_EQ(counter, 4 * 20000);
    EXPECT_EQ(word, 4 * 20000);
    DeleteCriticalSection(&section);
}

TEST(Interlocked, ReturnsWhatWin32ReturnsAndWraps) {
    LONG volatile word = 5;
    EXPECT_EQ(InterlockedIncrement(&word), 6) << "the new value";
    EXPECT_EQ(InterlockedDecrement(&word), 5) << "the new value";
    EXPECT_EQ(InterlockedExchange(&word, 42), 5) << "the value before";
    EXPECT_EQ(InterlockedExchangeAdd(&word, -2), 42) << "the value before";
    EXPECT_EQ(InterlockedCompareExchange(&word, 7, 40), 40) << "a match: the value before";
    EXPECT_EQ(InterlockedCompareExchange(&word, 9, 40), 7) << "a mismatch: the value found";
    EXPECT_EQ(word, 7) << "a mismatch must not store";
    word = 0x7FFFFFFF;
    EXPECT_EQ(InterlockedIncrement(&word), LONG(-0x7FFFFFFF - 1));
}

int Sign(int value) {
    return (value > 0) - (value < 0);
}

TEST(Runtime, CaseBlindComparisonGoesThroughLowerCase) {
    EXPECT_EQ(_stricmp("Hello World", "hELLO wORLD"), 0);
    EXPECT_EQ(Sign(_stricmp("apple", "Banana")), -1);
    EXPECT_EQ(Sign(_stricmp("ABCD", "abc")), 1) << "a prefix sorts first";
    // '_' lies between 'Z' and 'a': in lower case it sorts before letters.
    EXPECT_EQ(Sign(_stricmp("A", "_")), 1);
    EXPECT_EQ(Sign(_stricmp("_", "a")), -1);
    EXPECT_NE(_stricmp("\xE9", "\xC9"), 0) << "no case beyond ASCII in the C locale";
#if !defined(_WIN32)
    // Unsigned, as strcmp; Windows runtimes differ (Wine's msvcrt: signed).
    EXPECT_EQ(Sign(_stricmp("\xE9", "z")), 1);
#endif
    EXPECT_EQ(_strnicmp("abcX", "ABCy", 3), 0);
    EXPECT_EQ(Sign(_strnicmp("abcX", "ABCy", 4)), -1);
    EXPECT_EQ(_strnicmp("left", "right", 0), 0);
    EXPECT_EQ(_strnicmp("ab\0x", "AB\0y", 4), 0) << "compared past the end of the strings";

    char text[] = "Mixed Case_09 [x] \xE9";
    EXPECT_EQ(_strupr(text), text);
    EXPECT_STREQ(text, "MIXED CASE_09 [X] \xE9");
    EXPECT_EQ(_strlwr(text), text);
    EXPECT_STREQ(text, "mixed case_09 [x] \xE9");
}

TEST(Runtime, IntegersGetASignOnlyInDecimal) {
    char b[80];
    EXPECT_EQ(_itoa(0, b, 2), b);
    EXPECT_STREQ(b, "0");
    EXPECT_STREQ(_itoa(-12345, b, 10), "-12345");
    EXPECT_STREQ(_itoa(INT_MIN, b, 10), "-2147483648");
    EXPECT_STREQ(_itoa(INT_MAX, b, 10), "2147483647");
    EXPECT_STREQ(_itoa(0xABCDEF, b, 16), "abcdef");
    EXPECT_STREQ(_itoa(35, b, 36), "z");
    EXPECT_STREQ(_itoa(-255, b, 16), "ffffff01") << "the 32 bits of the int";
    EXPECT_STREQ(_itoa(INT_MIN, b, 16), "80000000");
    // long has 32 bits on Windows and 64 on LP64 systems.
    const size_t hexDigits = sizeof(long) * 2;
    EXPECT_EQ(_ltoa(LONG_MIN, b, 10), std::to_string(LONG_MIN));
    EXPECT_EQ(_ltoa(-255, b, 16), std::string(hexDigits - 2, 'f') + "01");
    EXPECT_EQ(_ltoa(-1, b, 2), std::string(sizeof(long) * 8, '1'));
    EXPECT_EQ(_ultoa(ULONG_MAX, b, 10), std::to_string(ULONG_MAX));
    EXPECT_EQ(_ultoa(ULONG_MAX, b, 16), std::string(hexDigits, 'f'));
    EXPECT_STREQ(_ultoa(5, b, 2), "101");
}

}  // namespace
