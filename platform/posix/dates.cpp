// Dates: DOS date and time words both ways, FILETIME and SYSTEMTIME, and the date
// pictures of GetDateFormatA.
//
// Calendar arithmetic is proleptic Gregorian over whole days, counted from
// 1601-01-01 (a Monday), which is FILETIME's day 0.  No time zone enters:
// what goes in as a clock reading comes out as the same clock reading.
#include "platform/win32.h"

#include <time.h>

namespace {

const int64_t kTicksPerSecond = 10000000;  // FILETIME counts 100 ns
const int64_t kTicksPerDay = 86400 * kTicksPerSecond;

bool IsLeapYear(int64_t year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int64_t year, int month) {
    static const int days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeapYear(year) ? 29 : days[month - 1];
}

bool IsCalendarDate(int64_t year, int month, int day) {
    return month >= 1 && month <= 12 && day >= 1 && day <= DaysInMonth(year, month);
}

// Days from 1601-01-01 to the given date, which must be a calendar date of
// 1601 or later.  The year is counted from March, so that the leap day
// ends it.
int64_t DaysSince1601(int64_t year, int month, int day) {
    if (month <= 2)
        --year;
    const int64_t yearsSince1600 = year - 1600;
    const int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const int64_t days = yearsSince1600 * 365 + yearsSince1600 / 4 - yearsSince1600 / 100 +
                         yearsSince1600 / 400 + dayOfYear;
    return days - 306;  // 1600-03-01 to 1601-01-01
}

// The calendar date `days` after 1601-01-01.
void DateOf(int64_t days, int64_t *year, int *month, int *day) {
    days += 306;  // from 1600-03-01, the start of a 400-year cycle
    const int64_t era = days / 146097;
    const int64_t dayOfEra = days % 146097;
    const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
    *day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    *month = static_cast<int>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    *year = 1600 + era * 400 + yearOfEra + (*month <= 2 ? 1 : 0);
}

// Appends `value` in decimal, with at least `width` digits.
int AppendNumber(char *out, unsigned value, int width) {
    char digits[10];
    int count = 0;
    do {
        digits[count++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value);
    int written = 0;
    for (int pad = count; pad < width; ++pad)
        out[written++] = '0';
    while (count)
        out[written++] = digits[--count];
    return written;
}

bool IsAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Writes the picture for `date` into `out` (null: counts only); -1 for a
// picture this layer does not know.
int64_t FormatDate(const char *picture, const SYSTEMTIME &date, char *out) {
    int64_t length = 0;
    for (const char *p = picture; *p;) {
        char piece[16];
        int pieceLength = 0;
        const char c = *p;
        int run = 1;
        while (p[run] == c)
            ++run;
        if (c == 'd' && run <= 2) {
            pieceLength = AppendNumber(piece, date.wDay, run);
        } else if (c == 'M' && run <= 2) {
            pieceLength = AppendNumber(piece, date.wMonth, run);
        } else if (c == 'y' && run == 2) {
            pieceLength = AppendNumber(piece, date.wYear % 100u, 2);
        } else if (c == 'y' && run == 4) {
            pieceLength = AppendNumber(piece, date.wYear, 1);
        } else if (IsAsciiLetter(c) || c == '\'') {
            return -1;
        } else {
            piece[0] = c;
            pieceLength = 1;
            run = 1;
        }
        p += run;
        if (out)
            for (int i = 0; i < pieceLength; ++i)
                out[length + i] = piece[i];
        length += pieceLength;
    }
    return length;
}

SYSTEMTIME Today() {
    const time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    SYSTEMTIME today = {};
    today.wYear = static_cast<WORD>(local.tm_year + 1900);
    today.wMonth = static_cast<WORD>(local.tm_mon + 1);
    today.wDay = static_cast<WORD>(local.tm_mday);
    today.wDayOfWeek = static_cast<WORD>(local.tm_wday);
    return today;
}

}  // namespace

extern "C" {

BOOL DosDateTimeToFileTime(WORD fatDate, WORD fatTime, FILETIME *fileTime) {
    const int64_t year = 1980 + (fatDate >> 9);
    const int month = (fatDate >> 5) & 0x0F;
    const int day = fatDate & 0x1F;
    const int hour = fatTime >> 11;
    const int minute = (fatTime >> 5) & 0x3F;
    const int second = (fatTime & 0x1F) * 2;
    if (!IsCalendarDate(year, month, day) || hour > 23 || minute > 59 || second > 59) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const int64_t ticks =
        DaysSince1601(year, month, day) * kTicksPerDay + ((hour * 60 + minute) * 60 + second) * kTicksPerSecond;
    fileTime->dwLowDateTime = static_cast<DWORD>(ticks);
    fileTime->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME *fileTime, SYSTEMTIME *systemTime) {
    const uint64_t ticks = (uint64_t(fileTime->dwHighDateTime) << 32) | fileTime->dwLowDateTime;
    if (ticks > uint64_t(INT64_MAX)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const int64_t days = static_cast<int64_t>(ticks) / kTicksPerDay;
    const int64_t withinDay = static_cast<int64_t>(ticks) % kTicksPerDay;
    int64_t year = 0;
    int month = 0, day = 0;
    DateOf(days, &year, &month, &day);
    systemTime->wYear = static_cast<WORD>(year);
    systemTime->wMonth = static_cast<WORD>(month);
    systemTime->wDay = static_cast<WORD>(day);
    systemTime->wDayOfWeek = static_cast<WORD>((days + 1) % 7);  // day 0 was a Monday
    const int64_t milliseconds = withinDay / 10000;
    systemTime->wHour = static_cast<WORD>(milliseconds / 3600000);
    systemTime->wMinute = static_cast<WORD>(milliseconds / 60000 % 60);
    systemTime->wSecond = static_cast<WORD>(milliseconds / 1000 % 60);
    systemTime->wMilliseconds = static_cast<WORD>(milliseconds % 1000);
    return TRUE;
}

BOOL FileTimeToDosDateTime(const FILETIME *fileTime, WORD *fatDate, WORD *fatTime) {
    SYSTEMTIME time;
    if (!FileTimeToSystemTime(fileTime, &time))
        return FALSE;
    if (time.wYear < 1980 || time.wYear > 2107) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    // Two-second steps: an odd second falls to the even one below.
    *fatDate = static_cast<WORD>(((time.wYear - 1980) << 9) | (time.wMonth << 5) | time.wDay);
    *fatTime = static_cast<WORD>((time.wHour << 11) | (time.wMinute << 5) | (time.wSecond / 2));
    return TRUE;
}

int GetDateFormatA(LCID locale, DWORD flags, const SYSTEMTIME *date, LPCSTR format, LPSTR buffer,
                   int bufferSize) {
    const SYSTEMTIME shown = date ? *date : Today();
    if (locale != 0 || flags != 0 || format == nullptr || bufferSize < 0 || (bufferSize > 0 && !buffer) ||
        shown.wYear < 1601 || !IsCalendarDate(shown.wYear, shown.wMonth, shown.wDay)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const int64_t length = FormatDate(format, shown, nullptr);
    if (length < 0 || length >= INT32_MAX) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const int needed = static_cast<int>(length) + 1;
    if (bufferSize == 0)
        return needed;
    if (needed > bufferSize) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    FormatDate(format, shown, buffer);
    buffer[length] = '\0';
    return needed;
}

}  // extern "C"
