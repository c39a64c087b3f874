// The extensions of the Windows C runtime that the library calls: case-blind
// comparison, case conversion in place, and integers written in any radix.
//
// Case.  The Windows runtime's functions follow the current locale, and in
// the C locale, which a program has until it calls setlocale, only the
// ASCII letters have a case.  These functions always behave as in the C
// locale: they neither consult nor depend on the POSIX locale, so the
// library compares the same way whatever an application sets.  Bytes from
// 0x80 up are compared as unsigned numbers and never change case.
//
// _stricmp and _strnicmp compare the strings as if both were in LOWER case,
// as the Windows runtime does.  The choice shows with the six characters
// between 'Z' and 'a': '_' (0x5F) sorts before every letter, because 'A'
// counts as 'a' (0x61).  A comparison through upper case would put '_'
// after the letters.  The result is the difference of the first two lower
// case bytes that differ, so only its sign carries meaning.
//
// _itoa, _ltoa and _ultoa write a value in a radix from 2 to 36 with lower
// case digits, and return the buffer.  Only in radix 10 is a negative value
// written with '-'; in any other radix the bits of the value are written as
// an unsigned number of the argument's width, so _itoa(-1, b, 16) gives
// "ffffffff".  `long` is the system's: 64 bits on LP64 systems (Linux and
// macOS on 64-bit processors), where Windows has 32, so _ltoa(-1, b, 16)
// gives 16 digits here and the buffer of _ltoa and _ultoa must hold 65
// bytes, not 33.  A radix outside 2 to 36 is a caller's fault, for which
// the Windows runtime calls its invalid-parameter handler; here the buffer
// gets an empty string and errno EINVAL, which is what that handler leads
// to when it lets the program go on.
#include "platform/win32.h"

#include <errno.h>
#include <stdint.h>

namespace {

unsigned char ToLower(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

unsigned char ToUpper(unsigned char c) {
    return c >= 'a' && c <= 'z' ? static_cast<unsigned char>(c - ('a' - 'A')) : c;
}

// Writes `magnitude` in `radix`, after a '-' when `negative` is set.
char *WriteInteger(unsigned long long magnitude, bool negative, char *buffer, int radix) {
    if (buffer == nullptr) {
        errno = EINVAL;
        return buffer;
    }
    if (radix < 2 || radix > 36) {
        errno = EINVAL;
        buffer[0] = '\0';
        return buffer;
    }
    static const char digitNames[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    char digits[64];  // enough for 64 bits in radix 2
    int count = 0;
    do {
        digits[count++] = digitNames[magnitude % static_cast<unsigned>(radix)];
        magnitude /= static_cast<unsigned>(radix);
    } while (magnitude != 0);

    char *out = buffer;
    if (negative)
        *out++ = '-';
    while (count > 0)
        *out++ = digits[--count];
    *out = '\0';
    return buffer;
}

}  // namespace

int _strnicmp(const char *a, const char *b, size_t count) {
    for (; count > 0; --count, ++a, ++b) {
        int ca = ToLower(static_cast<unsigned char>(*a));
        int cb = ToLower(static_cast<unsigned char>(*b));
        if (ca != cb || ca == 0)
            return ca - cb;
    }
    return 0;
}

int _stricmp(const char *a, const char *b) {
    return _strnicmp(a, b, SIZE_MAX);
}

char *_strupr(char *text) {
    for (char *p = text; *p != '\0'; ++p)
        *p = static_cast<char>(ToUpper(static_cast<unsigned char>(*p)));
    return text;
}

char *_strlwr(char *text) {
    for (char *p = text; *p != '\0'; ++p)
        *p = static_cast<char>(ToLower(static_cast<unsigned char>(*p)));
    return text;
}

char *_ltoa(long value, char *buffer, int radix) {
    bool negative = radix == 10 && value < 0;
    unsigned long bits = static_cast<unsigned long>(value);
    return WriteInteger(negative ? 0ul - bits : bits, negative, buffer, radix);
}

char *_ultoa(unsigned long value, char *buffer, int radix) {
    return WriteInteger(value, false, buffer, radix);
}

char *_itoa(int value, char *buffer, int radix) {
    bool negative = radix == 10 && value < 0;
    unsigned int bits = static_cast<unsigned int>(value);
    return WriteInteger(negative ? 0u - bits : bits, negative, buffer, radix);
}
