// String editing and searching: cutting, removing, inserting, joining,
// case, trimming and the searches, with the free functions on plain text
// beside them.
//
// A member that changes the text unshares the body only once it knows that
// it will write, so that a call which leaves the text as it is leaves a
// shared body shared.  Cutting and joining build exactly one new body.
// Removing never shrinks the buffer; inserting grows it to exactly the room
// the text needs, as the heap keeps slack behind a grown block and growing a
// little at a time stays cheap without rounding here.
#include "CommonVcZq/text/string.h"

#include <string.h>

#include "platform/win32.h"

namespace {

const uint32_t kAllOnes = 0xFFFFFFFFu;

uint32_t Smaller(uint32_t a, uint32_t b) {
    return a < b ? a : b;
}

int32_t PositionOf(const char *hit, const char *text) {
    return hit ? static_cast<int32_t>(hit - text) : -1;
}

// The zero that ends `set` is not one of its characters.
bool IsInSet(const char *set, char c) {
    return c != 0 && strchr(set, c) != nullptr;
}

// Case folding as toupper and tolower do it in the C locale, which is the
// library's: ASCII letters only, the same on every platform whatever locale
// the application sets.
char Upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualIgnoringCase(const char *a, const char *b, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (Upper(a[i]) != Upper(b[i]))
            return false;
    return true;
}

// The last place in `text` where `s` starts, or null; an empty `s` is found
// at the end.  Scanning down from the end finds the last of overlapping
// hits, and stops early in the usual case of a hit near the end.
const char *FindLastOccurrence(const char *text, const char *s, bool ignoringCase) {
    const size_t textLength = strlen(text);
    const size_t n = strlen(s);
    if (n > textLength)
        return nullptr;
    if (n == 0)
        return text + textLength;
    const int first = ignoringCase ? Upper(*s) : static_cast<unsigned char>(*s);
    for (const char *p = text + (textLength - n);; --p) {
        if (ignoringCase) {
            if (Upper(*p) == first && EqualIgnoringCase(p + 1, s + 1, n - 1))
                return p;
        } else if (static_cast<unsigned char>(*p) == first && memcmp(p + 1, s + 1, n - 1) == 0) {
            return p;
        }
        if (p == text)
            return nullptr;
    }
}

}  // namespace

// ------------------------------------------------------------------ cutting

SubString String::Mid(uint32_t pos, uint32_t n) const {
    return SubString::Create(text + pos, Smaller(n, GetLength() - pos));
}

SubString String::Left(uint32_t n) const {
    return SubString::Create(text, Smaller(n, GetLength()));
}

SubString String::Right(uint32_t n) const {
    const uint32_t length = GetLength();
    n = Smaller(n, length);
    return SubString::Create(text + (length - n), n);
}

// ------------------------------------------------------ removing and keeping

String &String::Remove(uint32_t pos, uint32_t n) {
    const uint32_t length = GetLength();
    if (pos >= length)
        return *this;
    CopyBeforeWrite();
    n = Smaller(n, length - pos);
    memmove(text + pos, text + pos + n, length - pos - n + 1);
    GetStringRef()->length = length - n;
    return *this;
}

String &String::RemoveRight(uint32_t n) {
    const uint32_t length = GetLength();
    if (n < length)
        return KeepLeft(length - n);
    Clear();
    return *this;
}

String &String::KeepLeft(uint32_t n) {
    if (GetLength() < n)
        return *this;
    return Remove(n, kAllOnes);
}

String &String::KeepRight(uint32_t n) {
    const uint32_t length = GetLength();
    if (length <= n)
        return *this;
    return Remove(0, length - n);
}

String &String::KeepMid(uint32_t pos, uint32_t n) {
    // Only a `pos` inside the text cuts the front: from the end on, the
    // first step removes nothing and the first `n` characters stay.
    if (pos < GetLength())
        Remove(0, pos);
    return KeepLeft(n);
}

String &String::RemoveAll(char c) {
    CopyBeforeWrite();
    StringRef *body = GetStringRef();
    char *const end = text + body->length;
    char *out = static_cast<char *>(memchr(text, c, body->length));
    if (!out)
        return *this;
    // Each run of kept characters between two `c` moves down once.
    for (const char *in = out + 1; in < end;) {
        const char *next = static_cast<const char *>(memchr(in, c, static_cast<size_t>(end - in)));
        const char *runEnd = next ? next : end;
        memmove(out, in, static_cast<size_t>(runEnd - in));
        out += runEnd - in;
        in = runEnd + 1;
    }
    *out = 0;
    body->length = static_cast<uint32_t>(out - text);
    return *this;
}

// ---------------------------------------------------------------- inserting

char *String::OpenGap(uint32_t pos, uint32_t n) {
    StringRef *body = GetStringRef();
    const uint32_t length = body->length;
    if (pos > length)
        pos = length;
    const uint32_t newLength = length + n;
    if (body->bufferSize > newLength) {
        CopyBeforeWrite();
        body = GetStringRef();
    } else if (body->refCount >= 2 || !body->heap) {
        // The private copy is made at the new size: one allocation.
        body = Clone(newLength + 1);
    } else {
        text = nullptr;  // a failed allocation leaves a destructible object
        body = static_cast<StringRef *>(body->heap->ReAlloc(body, sizeof(StringRef) + newLength + 1, 0));
        body->bufferSize = newLength + 1;
        text = body->GetText();
    }
    if (pos == length)
        text[newLength] = 0;
    else
        memmove(text + pos + n, text + pos, length - pos + 1);
    body->length = newLength;
    return text + pos;
}

String &String::Insert(uint32_t pos, const char *s, uint32_t n) {
    n = static_cast<uint32_t>(strnlen(s, n));
    if (n)
        memcpy(OpenGap(pos, n), s, n);
    return *this;
}

String &String::Insert(uint32_t pos, const String &s, uint32_t n) {
    n = Smaller(n, s.GetLength());
    if (n) {
        // Holding a reference of our own keeps the source intact when it is
        // this string (or shares its body): the gap goes into a private copy.
        String source(s);
        memcpy(OpenGap(pos, n), source.text, n);
    }
    return *this;
}

String &String::Insert(uint32_t pos, char c, uint32_t n) {
    if (n)
        memset(OpenGap(pos, n), c, n);
    return *this;
}

String &String::AppendOutOfLine(const char *s, uint32_t n) {
    if (n)
        memcpy(OpenGap(kAllOnes, n), s, n);
    return *this;
}

String &String::Replace(uint32_t pos, uint32_t n, const char *s) {
    Remove(pos, n);
    return Insert(pos, s, kAllOnes);
}

String &String::Replace(uint32_t pos, uint32_t n, const String &s) {
    String source(s);  // the text to insert, should Remove change `s`
    Remove(pos, n);
    return Insert(pos, source, kAllOnes);
}

// ------------------------------------------------------------------ joining

SubString String::Concatenate(const char *a, uint32_t aLength, const char *b, uint32_t bLength) {
    SubString joined = SubString::Create(nullptr, aLength + bLength);
    memcpy(joined.text, a, aLength);
    memcpy(joined.text + aLength, b, bLength);
    return joined;
}

SubString String::Concatenate(const char *a, uint32_t aLength, const char *b) {
    return Concatenate(a, aLength, b, static_cast<uint32_t>(strlen(b)));
}

SubString String::Concatenate(const char *a, const char *b, uint32_t bLength) {
    return Concatenate(a, static_cast<uint32_t>(strlen(a)), b, bLength);
}

SubString String::Concatenate(const char *a, const char *b) {
    return Concatenate(a, static_cast<uint32_t>(strlen(a)), b, static_cast<uint32_t>(strlen(b)));
}

// ----------------------------------------------------------- case and order

String &String::MakeUpper() {
    if (!IsEmpty()) {
        CopyBeforeWrite();
        _strupr(text);
    }
    return *this;
}

String &String::MakeLower() {
    if (!IsEmpty()) {
        CopyBeforeWrite();
        _strlwr(text);
    }
    return *this;
}

String &String::MakeCapital() {
    if (!IsEmpty()) {
        CopyBeforeWrite();
        _strlwr(text);
        text[0] = static_cast<char>(Upper(text[0]));
    }
    return *this;
}

String &String::Reverse() {
    CopyBeforeWrite();
    for (uint32_t front = 0, back = GetLength(); front + 1 < back; ++front, --back) {
        const char c = text[front];
        text[front] = text[back - 1];
        text[back - 1] = c;
    }
    return *this;
}

// ----------------------------------------------------------------- trimming

String &String::Trim(const char *set, int sides) {
    if (sides & 1) {
        const uint32_t count = static_cast<uint32_t>(strspn(text, set));
        if (count) {
            CopyBeforeWrite();
            StringRef *body = GetStringRef();
            memmove(text, text + count, body->length - count + 1);
            body->length -= count;
        }
    }
    if (sides & 2) {
        uint32_t length = GetLength();
        if (length == 0 || !IsInSet(set, text[length - 1]))
            return *this;
        CopyBeforeWrite();
        while (length > 0 && IsInSet(set, text[length - 1]))
            --length;
        text[length] = 0;
        GetStringRef()->length = length;
    }
    return *this;
}

// ---------------------------------------------------------------- searching

int32_t String::FindFirst(char c, int caseSensitive) const {
    if (caseSensitive)
        return PositionOf(strchr(text, c), text);
    const char pattern[2] = {c, 0};
    return PositionOf(stristr(text, pattern), text);
}

int32_t String::FindFirst(const char *s, int caseSensitive) const {
    return PositionOf(caseSensitive ? strstr(text, s) : stristr(text, s), text);
}

int32_t String::FindLast(char c, int caseSensitive) const {
    if (caseSensitive)
        return PositionOf(strrchr(text, c), text);
    const char pattern[2] = {c, 0};
    return PositionOf(strristr(text, pattern), text);
}

int32_t String::FindLast(const char *s, int caseSensitive) const {
    return PositionOf(FindLastOccurrence(text, s, !caseSensitive), text);
}

int32_t String::FindOneOf(const char *set) const {
    return PositionOf(strpbrk(text, set), text);
}

int32_t String::FindFirstNotOf(const char *set, uint32_t from) const {
    if (from >= GetLength())
        return -1;
    const char *p = text + from;
    p += strspn(p, set);
    return *p ? static_cast<int32_t>(p - text) : -1;
}

int32_t String::FindLastNotOf(const char *set) const {
    for (uint32_t i = GetLength(); i > 0; --i)
        if (!IsInSet(set, text[i - 1]))
            return static_cast<int32_t>(i - 1);
    return -1;
}

uint32_t String::GetNumberOf(char c) const {
    uint32_t count = 0;
    for (uint32_t i = 0, length = GetLength(); i < length; ++i)
        count += text[i] == c;
    return count;
}

// ------------------------------------------------------- functions on text

const char *stristr(const char *text, const char *s) {
    if (!*s)
        return text;
    // Jump from one place where the first character stands, in either case,
    // to the next with strpbrk (a vectorised scan), and compare the rest
    // there; a difference, the text's ending zero included, stops the
    // comparison, so it never reads past the text.
    const char first[3] = {Lower(*s), Upper(*s), 0};
    const size_t rest = strlen(s + 1);
    for (text = strpbrk(text, first); text; text = strpbrk(text + 1, first))
        if (EqualIgnoringCase(text + 1, s + 1, rest))
            return text;
    return nullptr;
}

const char *strristr(const char *text, const char *s) {
    return FindLastOccurrence(text, s, true);
}

char *strcpy_n(char *dst, const char *src, uint32_t size) {
    if (size == 0)
        return dst;
    const size_t n = strnlen(src, size - 1);
    memcpy(dst, src, n);
    dst[n] = 0;
    return dst;
}

uint32_t GetHashValue(const String &s) {
    uint32_t hash = 0;
    const char *text = s.c_str();
    for (uint32_t i = 0, length = s.GetLength(); i < length; ++i)
        hash = (hash << 2) ^ static_cast<uint32_t>(static_cast<signed char>(text[i]));
    return hash;
}
