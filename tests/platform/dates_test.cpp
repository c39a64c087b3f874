// DOS date and time words, FILETIME, SYSTEMTIME and date pictures, against
// the POSIX layer and against Win32.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <stdint.h>
#include <stdio.h>

#include <string>

#include "test_support.h"

namespace {

// 1970-01-01 as a FILETIME count, and ticks per second and per day.
constexpr uint64_t kUnixEpoch = 116444736000000000ull;
constexpr uint64_t kSecond = 10000000ull;
constexpr uint64_t kDay = 86400 * kSecond;

WORD DosTime(int hour, int minute, int second) {
    return static_cast<WORD>((hour << 11) | (minute << 5) | (second / 2));
}

uint64_t Ticks(const FILETIME &t) {
    return (uint64_t(t.dwHighDateTime) << 32) | t.dwLowDateTime;
}

// The fields of the SYSTEMTIME for `ticks`, as "y-m-d w h:m:s.ms".
std::string Fields(uint64_t ticks) {
    const FILETIME t = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    SYSTEMTIME s = {};
    if (!FileTimeToSystemTime(&t, &s))
        return "(failed " + std::to_string(GetLastError()) + ")";
    char text[64];
    snprintf(text, sizeof text, "%d-%d-%d %d %d:%d:%d.%d", s.wYear, s.wMonth, s.wDay, s.wDayOfWeek, s.wHour,
             s.wMinute, s.wSecond, s.wMilliseconds);
    return text;
}

// Windows reports a refused DOS date or time as ERROR_INVALID_PARAMETER;
// wine (8.0) fails alike but leaves the last error as it was.
DWORD RefusedDosError() {
    return RunningUnderWine() ? 0 : DWORD{ERROR_INVALID_PARAMETER};
}

std::string Format(const SYSTEMTIME &date, const char *picture) {
    char buffer[64] = {};
    const int written = GetDateFormatA(0, 0, &date, picture, buffer, sizeof buffer);
    return written > 0 ? std::string(buffer) : "(failed " + std::to_string(GetLastError()) + ")";
}

TEST(Dates, EveryDateWordIsACalendarDayOrRefused) {
    // Walking all date words in order, the accepted ones are the calendar's
    // days one after another, and all others fail.
    uint64_t expected = kUnixEpoch + 315532800ull * kSecond;
    int accepted = 0;
    for (uint32_t word = 0; word <= 0xFFFF; ++word) {
        const int year = 1980 + static_cast<int>(word >> 9), month = (word >> 5) & 15, day = word & 31;
        const int leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
        const int monthDays[13] = {0, 31, 28 + leap, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
        const bool valid = month >= 1 && month <= 12 && day >= 1 && day <= monthDays[month];
        FILETIME t = {};
        // Wine (8.0) takes a day from the month's end up to 31 and rolls it
        // over into the next month; Windows refuses it, as our layer does.
        if (!valid && RunningUnderWine() && month >= 1 && month <= 12 && day >= 1)
            continue;
        SetLastError(0);
        const BOOL ok = DosDateTimeToFileTime(static_cast<WORD>(word), 0, &t);
        ASSERT_EQ(valid, ok != FALSE) << year << "-" << month << "-" << day;
        if (!ok) {
            ASSERT_EQ(RefusedDosError(), GetLastError()) << year << "-" << month << "-" << day;
            continue;
        }
        ASSERT_EQ(expected, Ticks(t)) << year << "-" << month << "-" << day;
        expected += kDay;
        ++accepted;
    }
    EXPECT_EQ(46751, accepted);  // 1980 to 2107: 128 years, 31 of them leap (not 2100)
}

TEST(Dates, TimeWordsAndSystemTimes) {
    FILETIME t;
    const WORD date = ((2000 - 1980) << 9) | (2 << 5) | 29;
    for (WORD time : {DosTime(24, 0, 0), DosTime(1, 60, 2), static_cast<WORD>(DosTime(10, 45, 0) | 30)}) {
        SetLastError(0);
        EXPECT_FALSE(DosDateTimeToFileTime(date, time, &t)) << time;
        EXPECT_EQ(RefusedDosError(), GetLastError());
    }
    ASSERT_TRUE(DosDateTimeToFileTime(date, DosTime(23, 59, 58), &t));
    EXPECT_EQ(kUnixEpoch + (951782400ull + 86398) * kSecond, Ticks(t));

    EXPECT_EQ("2000-2-29 2 23:59:58.123", Fields(Ticks(t) + 1234567));  // a Tuesday
    EXPECT_EQ("1601-1-1 1 0:0:0.0", Fields(0));  // a Monday
    EXPECT_EQ("30828-9-14 4 2:48:5.477", Fields(0x7FFFFFFFFFFFFFFFull));
    SetLastError(0);
    EXPECT_EQ("(failed 87)", Fields(0x8000000000000000ull));
}

TEST(Dates, DatePicturesAndBufferSizes) {
    // SYSTEMTIME begins with the year, the month, the day of the week and the day.
    const SYSTEMTIME date = {2024, 3, 0, 5, 0, 0, 0, 0};
    EXPECT_EQ("5.3.24", Format(date, "d.M.yy"));
    EXPECT_EQ("2009-07-09", Format({2009, 7, 0, 9, 0, 0, 0, 0}, "yyyy-MM-dd"));
    EXPECT_EQ("(failed 87)", Format({2024, 13, 0, 5, 0, 0, 0, 0}, "dd/MM/yyyy"));
    EXPECT_EQ(11, GetDateFormatA(0, 0, &date, "dd/MM/yyyy", nullptr, 0));
    char buffer[11];
    EXPECT_EQ(11, GetDateFormatA(0, 0, &date, "dd/MM/yyyy", buffer, 11));
    EXPECT_STREQ("05/03/2024", buffer);
    SetLastError(0);
    EXPECT_EQ(0, GetDateFormatA(0, 0, &date, "dd/MM/yyyy", buffer, 10));
    EXPECT_EQ(DWORD{ERROR_INSUFFICIENT_BUFFER}, GetLastError());
}

}  // namespace
