// Free functions on String and on plain zero-ended text.
#include "CommonVcZq/text/text_functions.h"

#include <limits.h>
#include <stdio.h>
#include <string.h>

#include <new>

#include "platform/win32.h"
#include "CommonVcZq/qx_vc/qx_heap.h"
#include "CommonVcZq/tools/memory_stream.h"

namespace {

const char kBlanks[] = " \t";

// A set of bytes for membership tests in constant time.
class ByteSet {
public:
    explicit ByteSet(const char *chars) {
        for (const unsigned char *p = reinterpret_cast<const unsigned char *>(chars); *p; ++p)
            bits[*p >> 6] |= uint64_t(1) << (*p & 63);
    }
    bool Contains(char c) const {
        const unsigned char u = static_cast<unsigned char>(c);
        return (bits[u >> 6] >> (u & 63)) & 1;
    }

private:
    uint64_t bits[4] = {};
};

// A new list item sharing the body of `text`.  The string heap reports
// exhaustion with a null block, which goes to the new handler as operator
// new does.
StringItem<ListElement> *NewItem(const String &text) {
    for (;;) {
        if (StringItem<ListElement> *item = new StringItem<ListElement>(text))
            return item;
        std::new_handler handler = std::get_new_handler();
        if (!handler)
            throw std::bad_alloc();
        handler();
    }
}

// Appends the piece [begin, begin + length) to `list` unless it is empty,
// or empty once trimmed.
void AddPiece(List<StringItem<ListElement>> &list, const char *begin, uint32_t length, int trim) {
    if (length == 0)
        return;
    String piece(SubString::Create(begin, length));
    if (trim)
        Trim(piece);
    if (!piece.IsEmpty())
        list.Append(NewItem(piece));
}

}  // namespace

int32_t CompareStringItemTexts(const char *a, const char *b, int mode) {
    if (mode != 0)
        return _stricmp(a, b);
    const int order = strcmp(a, b);  // compares as unsigned characters
    return order < 0 ? -1 : order > 0 ? 1 : 0;
}

void ExplodeString(List<StringItem<ListElement>> &list, const char *text, const char *separators, int trim) {
    list.DeleteAll();
    if (*separators == 0) {
        // Zero-ended pieces, up to the zero that follows a piece's own.
        const char *p = text;
        do {
            const size_t length = strlen(p);
            AddPiece(list, p, static_cast<uint32_t>(length), trim);
            p += length + 1;
        } while (*p);
        return;
    }
    const ByteSet isSeparator(separators);
    const char *p = text;
    for (;;) {
        while (*p && isSeparator.Contains(*p))
            ++p;
        if (*p == 0)
            return;
        const char *begin = p;
        while (*p && !isSeparator.Contains(*p))
            ++p;
        AddPiece(list, begin, static_cast<uint32_t>(p - begin), trim);
    }
}

int *StringToIntArray(const char *text, int *count) {
    *count = 0;
    MemoryStream numbers(80, 0);  // the block outlives the stream: it is the result
    for (const char *p = text; *p;) {
        if (*p < '0' || *p > '9') {
            ++p;
            continue;
        }
        // Saturates as atoi does where long is 32 bits wide.
        int64_t value = 0;
        for (; *p >= '0' && *p <= '9'; ++p)
            if (value < INT_MAX)
                value = value * 10 + (*p - '0');
        numbers.Put(static_cast<int>(value < INT_MAX ? value : INT_MAX));
        ++*count;
    }
    return reinterpret_cast<int *>(numbers.GetStart());
}

String IntArrayToString(const int *values, int count, char separator) {
    String result;
    char digits[16];
    for (int i = 0; i < count; ++i) {
        if (i > 0)
            result += separator;
        result += _itoa(values[i], digits, 10);
    }
    return result;
}

unsigned int ReplaceChar(char *text, char c, char with) {
    unsigned int replaced = 0;
    if (c == 0)
        return 0;
    for (char *p = strchr(text, c); p; p = strchr(p + 1, c)) {
        *p = with;
        ++replaced;
    }
    return replaced;
}

unsigned int ReplaceChar(String &s, char c, char with) {
    unsigned int replaced = 0;
    const int length = static_cast<int>(s.GetLength());
    for (int i = 0; i < length; ++i)
        if (s[i] == c) {
            s[i] = with;
            ++replaced;
        }
    return replaced;
}

unsigned int ReplaceChars(char *text, const char *chars, char with) {
    unsigned int replaced = 0;
    for (const char *c = chars; *c; ++c)
        replaced += ReplaceChar(text, *c, with);
    return replaced;
}

unsigned int ReplaceChars(String &s, const char *chars, char with) {
    unsigned int replaced = 0;
    for (const char *c = chars; *c && !s.IsEmpty(); ++c)
        replaced += ReplaceChar(s, *c, with);
    return replaced;
}

unsigned int Trim(String &s) {
    return s.Trim(kBlanks, 3).GetLength();
}

unsigned int TrimStart(String &s) {
    return s.Trim(kBlanks, 1).GetLength();
}

unsigned int TrimEnd(String &s) {
    return s.Trim(kBlanks, 2).GetLength();
}

const char *FindTrimmedSubString(const char *text, int *length, const char *set, int sides) {
    const char *begin = text;
    if (sides & 1)
        begin += strspn(begin, set);
    const char *end = begin + strlen(begin);
    if (sides & 2)
        while (end > begin && strchr(set, end[-1]))
            --end;
    *length = static_cast<int>(end - begin);
    return begin;
}

const char *FindTrimmedSubString(const char *text, int textLength, int *length, const char *set, int sides) {
    // strchr finds the zero of `set` itself, which makes a zero character
    // a member of every set.
    const char *begin = text;
    const char *end = text + (textLength > 0 ? textLength : 0);
    if (sides & 1)
        while (begin < end && strchr(set, *begin))
            ++begin;
    if (sides & 2)
        while (end > begin && strchr(set, end[-1]))
            --end;
    *length = static_cast<int>(end - begin);
    return begin;
}

char *Inverse(char *text) {
    size_t length = strlen(text);
    for (size_t i = 0; i < length / 2; ++i) {
        const char c = text[i];
        text[i] = text[length - 1 - i];
        text[length - 1 - i] = c;
    }
    return text;
}

String &Inverse(String &s) {
    Inverse(&s[0]);
    return s;
}

char *CopyMax(char *dst, const char *src, unsigned int size) {
    if (size == 0)
        return dst;
    unsigned int i = 0;
    for (; i + 1 < size && src[i]; ++i)
        dst[i] = src[i];
    dst[i] = 0;
    return dst;
}

char *MakeString(char *dst, unsigned int dstSize, const char *src, unsigned int srcLength) {
    const unsigned int length = srcLength < dstSize ? srcLength : dstSize - 1;
    memcpy(dst, src, length);
    dst[length] = 0;
    return dst;
}

int CountChar(const char *text, char c) {
    int count = 0;
    if (c == 0)
        return 0;
    for (const char *p = strchr(text, c); p; p = strchr(p + 1, c))
        ++count;
    return count;
}

unsigned int FindNumOccurences(const char *sought, const char *text, int textLength) {
    const size_t soughtLength = strlen(sought);
    const size_t length = textLength < 0 ? strlen(text) : static_cast<size_t>(textLength);
    if (soughtLength == 0 || soughtLength > length)
        return 0;
    unsigned int count = 0;
    const char *p = text;
    const char *last = text + (length - soughtLength);  // the last place a hit can start
    while (p <= last) {
        p = static_cast<const char *>(memchr(p, sought[0], static_cast<size_t>(last - p) + 1));
        if (!p)
            break;
        if (memcmp(p, sought, soughtLength) == 0) {
            ++count;
            p += soughtLength;
        } else {
            ++p;
        }
    }
    return count;
}

char *GetStringFileSize(uint32_t size, char *dst) {
    if (size < 1000)
        sprintf(dst, "%u B", static_cast<unsigned>(size));
    else if (size < 1000000)
        sprintf(dst, "%u kB", static_cast<unsigned>(size / 1000));
    else
        sprintf(dst, "%u.%u MB", static_cast<unsigned>(size / 1000000), static_cast<unsigned>(size % 1000000 / 100000));
    return dst;
}

String GetStringFileSize(uint32_t size) {
    char text[16];
    return String(GetStringFileSize(size, text));
}

String ByteSizeToString(double size) {
    const char *unit = "B";
    double scaled = size;
    if (size >= 1073741824.0) {
        scaled = size / 1073741824.0;
        unit = "GB";
    } else if (size >= 1048576.0) {
        scaled = size / 1048576.0;
        unit = "MB";
    } else if (size >= 1024.0) {
        scaled = size / 1024.0;
        unit = "KB";
    }
    char text[40];
    snprintf(text, sizeof text, "%.2f %s", scaled, unit);
    return String(text);
}

char *GetDateString(unsigned short dosDate, char *dst, int dstSize) {
    FILETIME fileTime;
    SYSTEMTIME date;
    if (!DosDateTimeToFileTime(dosDate, 0, &fileTime) || !FileTimeToSystemTime(&fileTime, &date) ||
        GetDateFormatA(0, 0, &date, "dd/MM/yyyy", dst, dstSize) == 0) {
        if (dstSize > 0)
            dst[0] = 0;
    }
    return dst;
}

String GetDateString(unsigned short dosDate) {
    char text[100];
    return String(GetDateString(dosDate, text, sizeof text));
}
