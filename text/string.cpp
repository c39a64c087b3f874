// String core: bodies, sharing, copy before write, numbers and the
// per-thread comparison mode.
//
// A body is one heap block: a StringRef header and, directly behind it, the
// text area of `bufferSize` bytes.  A String points at the text, so reading
// costs no indirection, and the header is one step back.  Counts are plain
// words, as sharing a body across threads is outside the contract.
//
// Pinned bodies.  Three shared empty texts (behind String(), Clear and
// SubString::CreateNull) and the empty text of every Exception are shared by
// all threads of a program at once.  Their counts are set to kPinned and
// never move: taking or dropping a reference to them writes nothing, which
// makes sharing them across threads safe and free.  A pinned count is far
// above 1, so a writer still sees a shared body and clones it first.  The
// owner of a pinned body unpins it at unload, so that it is released while
// the string heap still stands.
#include "CommonVcZq/text/string.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "frame/globals.h"
#include "text/globals.h"
#include "platform/win32.h"

namespace {

const uint32_t kPinned = 0x40000000u;
const uint32_t kAllOnes = 0xFFFFFFFFu;

inline void AddReference(StringRef *body) {
    if (body->refCount < kPinned)
        ++body->refCount;
}

// A new body on the string heap with `length` characters from `source`
// (left unset when `source` is null) and the ending zero.
char *NewBody(const char *source, uint32_t length, uint32_t bufferSize) {
    QX_Heap *heap = _stringHeap;
    StringRef *body = static_cast<StringRef *>(heap->Alloc(sizeof(StringRef) + bufferSize, 0));
    body->length = length;
    body->bufferSize = bufferSize;
    body->refCount = 1;
    body->heap = heap;
    char *text = body->GetText();
    if (source)
        memcpy(text, source, length);
    text[length] = 0;
    return text;
}

// Skips what strtol skips before the sign, and tells whether a minus follows.
const char *SkipToDigits(const char *text, bool *negative) {
    while (*text == ' ' || (*text >= '\t' && *text <= '\r'))
        ++text;
    *negative = *text == '-';
    return text;
}

}  // namespace

// The shared empty texts: a body of their own, pinned for their lifetime.
// Each is a function-local static, built at its first use and ended in the
// reverse order of construction at unload, before the string heap.
class SharedEmptyString : public String {
public:
    SharedEmptyString() : String("") { GetStringRef()->refCount = kPinned; }
    ~SharedEmptyString() { GetStringRef()->refCount = 1; }
    char *Text() const { return text; }
};

void PinStringBody(const String &s) {
    reinterpret_cast<StringRef *>(const_cast<char *>(s.c_str()) - sizeof(StringRef))->refCount = kPinned;
}

void UnpinStringBody(const String &s) {
    reinterpret_cast<StringRef *>(const_cast<char *>(s.c_str()) - sizeof(StringRef))->refCount = 1;
}

// ---------------------------------------------------------------- SubString

SubString SubString::Create(const char *text, uint32_t length) {
    return SubString(NewBody(text, length, String::RoundBufferSize(length + 1)));
}

SubString SubString::TransformToSubString(String &s) {
    SubString result(s.text);
    s.text = nullptr;
    return result;
}

SubString SubString::CreateNull() {
    static SharedEmptyString empty;
    return SubString(empty.Text());
}

// ---------------------------------------------------------- construction

String::String() {
    static SharedEmptyString empty;
    text = empty.Text();
}

String::String(const char *s) {
    Build(s, static_cast<uint32_t>(strlen(s)));
}

String::String(const char *s, uint32_t pos, uint32_t len) {
    if (len == kAllOnes)
        len = static_cast<uint32_t>(strlen(s + pos));
    Build(s + pos, len);
}

String::String(const String &s, uint32_t pos, uint32_t len) {
    if (len == kAllOnes)
        len = s.GetLength() - pos;
    Build(s.text + pos, len);
}

String::String(char c, uint32_t n) {
    Build(nullptr, n);
    memset(text, c, n);
}

String::String(const String &s) : text(s.text) {
    AddReference(GetStringRef());
}

String::String(const SubString &s) : text(s.text) {}

String::String(StringRef *body) : text(body->GetText()) {}

// The integer forms: a format goes to sprintf with the value as its own
// type, so that the caller's format matches it; no format gives decimal
// digits.
template <typename Integer>
void String::BuildInteger(Integer value, const char *format) {
    if (format) {
        FormatNumber(format, value);
    } else {
        unsigned long long magnitude = static_cast<unsigned long long>(value);
        bool negative = false;
        if constexpr (std::is_signed<Integer>::value)
            negative = value < 0;
        BuildDecimal(negative ? 0ull - magnitude : magnitude, negative);
    }
}

String::String(short value, const char *format) { BuildInteger(value, format); }
String::String(unsigned short value, const char *format) { BuildInteger(value, format); }
String::String(int value, const char *format) { BuildInteger(value, format); }
String::String(unsigned int value, const char *format) { BuildInteger(value, format); }
String::String(long value, const char *format) { BuildInteger(value, format); }
String::String(unsigned long value, const char *format) { BuildInteger(value, format); }

String::String(float value, const char *format) {
    FormatNumber(format ? format : "%.2f", static_cast<double>(value));
}

String::String(double value, const char *format) {
    FormatNumber(format ? format : "%.2lf", value);
}

void String::FormatNumber(const char *format, ...) {
    // The numeric text is formed in a local buffer of 80 bytes; a longer
    // result is cut there.
    char buffer[80];
    va_list args;
    va_start(args, format);
    int n = vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    if (n < 0)
        n = 0;
    else if (n >= static_cast<int>(sizeof buffer))
        n = sizeof buffer - 1;
    Build(buffer, static_cast<uint32_t>(n));
}

void String::BuildDecimal(unsigned long long magnitude, int negative) {
    char buffer[24];
    char *p = buffer + sizeof buffer;
    do {
        *--p = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude);
    if (negative)
        *--p = '-';
    Build(p, static_cast<uint32_t>(buffer + sizeof buffer - p));
}

void String::Build(const char *source, uint32_t length) {
    text = nullptr;  // a failed allocation leaves a destructible object
    text = NewBody(source, length, RoundBufferSize(length + 1));
}

// ------------------------------------------------------ assignment and end

String::~String() {
    Release();
}

void String::Release() {
    if (!text)
        return;
    StringRef *body = GetStringRef();
    uint32_t count = body->refCount;
    if (count >= kPinned)
        return;
    body->refCount = count - 1;
    if (count == 1 && body->heap)
        QX_Heap::FreeMem(body);
}

String &String::operator=(const String &s) {
    if (this != &s) {
        AddReference(s.GetStringRef());
        Release();
        text = s.text;
    }
    return *this;
}

String &String::operator=(const char *s) {
    if (!*s) {
        Clear();
    } else {
        Release();
        Build(s, static_cast<uint32_t>(strlen(s)));
    }
    return *this;
}

String &String::operator=(const SubString &s) {
    Release();
    text = s.text;
    return *this;
}

void String::Clear() {
    static SharedEmptyString empty;
    Release();
    text = empty.Text();
}

// ----------------------------------------------------------------- reading

char String::GetLastChar() const {
    uint32_t length = GetLength();
    return length ? text[length - 1] : 0;
}

// ------------------------------------------------------------- conversions

int32_t String::StringToString(int base) const {
    // strtol with a 32-bit long: out-of-range values saturate.
    long long value = strtoll(text, nullptr, base);
    if (value > INT32_MAX)
        return INT32_MAX;
    if (value < INT32_MIN)
        return INT32_MIN;
    return static_cast<int32_t>(value);
}

uint32_t String::StringToULong(int base) const {
    // strtoul with a 32-bit unsigned long: the magnitude saturates at all
    // ones, and a minus negates the magnitude modulo 2^32.
    bool negative;
    SkipToDigits(text, &negative);
    errno = 0;
    unsigned long long value = strtoull(text, nullptr, base);
    if (errno == ERANGE)
        return UINT32_MAX;
    unsigned long long magnitude = negative ? 0ull - value : value;
    if (magnitude > UINT32_MAX)
        return UINT32_MAX;
    return static_cast<uint32_t>(negative ? 0ull - magnitude : magnitude);
}

char String::to_char(int base) const { return static_cast<char>(StringToString(base)); }
signed char String::to_schar(int base) const { return static_cast<signed char>(StringToString(base)); }
short String::to_short(int base) const { return static_cast<short>(StringToString(base)); }
int16_t String::to_int16(int base) const { return static_cast<int16_t>(StringToString(base)); }
int32_t String::to_int32(int base) const { return StringToString(base); }
int String::to_int(int base) const { return StringToString(base); }
long String::to_long(int base) const { return StringToString(base); }
unsigned char String::to_uchar(int base) const { return static_cast<unsigned char>(StringToULong(base)); }
unsigned short String::to_ushort(int base) const { return static_cast<unsigned short>(StringToULong(base)); }
uint16_t String::to_uint16(int base) const { return static_cast<uint16_t>(StringToULong(base)); }
uint32_t String::to_uint32(int base) const { return StringToULong(base); }
unsigned int String::to_uint(int base) const { return StringToULong(base); }
unsigned long String::to_ulong(int base) const { return StringToULong(base); }
float String::to_float() const { return static_cast<float>(atof(text)); }
double String::to_double() const { return atof(text); }

// ---------------------------------------------------------- buffer control

uint32_t String::RoundBufferSize(uint32_t n) {
    return n == 0 ? 8 : (n + 7) & ~7u;
}

void String::EnsureBufferSize(uint32_t n) {
    if (GetStringRef()->bufferSize < n + 1)
        ReAllocBuffer(n + 1);
}

StringRef *String::ReAllocBuffer(uint32_t n) {
    uint32_t size = RoundBufferSize(n);
    StringRef *body = GetStringRef();
    // A shared body, or one that no heap can resize, is copied.
    if (body->refCount >= 2 || !body->heap)
        return Clone(size);
    text = nullptr;
    body = static_cast<StringRef *>(body->heap->ReAlloc(body, sizeof(StringRef) + size, 0));
    body->bufferSize = size;
    text = body->GetText();
    return body;
}

void String::FreeExtraBufferSize() {
    StringRef *body = GetStringRef();
    if (body->bufferSize <= body->length + 1)
        return;
    CopyBeforeWrite();
    body = GetStringRef();
    if (!body->heap)
        return;
    uint32_t size = RoundBufferSize(body->length + 1);
    text = nullptr;
    body = static_cast<StringRef *>(body->heap->ReAlloc(body, sizeof(StringRef) + size, 0));
    body->bufferSize = size;
    text = body->GetText();
}

StringRef *String::Clone(uint32_t n) {
    StringRef *old = GetStringRef();
    uint32_t size = n ? n : old->bufferSize;
    if (old->refCount < kPinned)
        --old->refCount;  // the other owners keep the old body
    text = nullptr;
    QX_Heap *heap = old->heap ? old->heap : _stringHeap;
    StringRef *body = static_cast<StringRef *>(heap->Alloc(sizeof(StringRef) + size, 0));
    memcpy(body, old, sizeof(StringRef) + (size < old->bufferSize ? size : old->bufferSize));
    body->refCount = 1;
    body->bufferSize = size;
    body->heap = heap;
    text = body->GetText();
    return body;
}

void String::CopyBeforeWrite() {
    if (GetStringRef()->refCount >= 2)
        Clone(0);
}

// -------------------------------------------------------- object allocation

void *String::operator new(size_t size) noexcept {
    return _stringHeap->AllocMem(static_cast<uint32_t>(size));
}

void *String::operator new(size_t size, QX_Heap &heap) noexcept {
    return heap.AllocMem(static_cast<uint32_t>(size));
}

void String::operator delete(void *block) {
    QX_Heap::FreeMem(block);
}

void String::operator delete(void *block, QX_Heap &) {
    QX_Heap::FreeMem(block);
}

// ------------------------------------------------------------- comparison

namespace {

// How two texts are compared: characters as they are, or with the ASCII
// capitals folded to small letters, as _stricmp does in the C locale.
struct AsIs {
    static unsigned char Fold(unsigned char c) { return c; }
#if defined(__SSE2__)
    static __m128i Fold(__m128i v) { return v; }
#endif
};

struct IgnoringCase {
    static unsigned char Fold(unsigned char c) { return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + 32) : c; }
#if defined(__SSE2__)
    // Bytes from 0x80 up are negative to the signed comparisons, so they
    // never count as capitals.
    static __m128i Fold(__m128i v) {
        const __m128i capital =
            _mm_and_si128(_mm_cmpgt_epi8(v, _mm_set1_epi8('A' - 1)), _mm_cmplt_epi8(v, _mm_set1_epi8('Z' + 1)));
        return _mm_or_si128(v, _mm_and_si128(capital, _mm_set1_epi8(0x20)));
    }
#endif
};

// The first place below `limit` where the folded characters of `a` and `b`
// differ or `a` has a zero; `limit` when there is none.  It reads exactly
// the first `limit` bytes of both, 16 at a time where it can: the last block
// is taken flush with the limit, over bytes already seen to hold no stop.
template <class Folding>
size_t FirstStop(const char *a, const char *b, size_t limit) {
    size_t i = 0;
#if defined(__SSE2__)
    if (limit >= 16) {
        auto stops = [a, b](size_t at) {
            const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i *>(a + at));
            const __m128i y = _mm_loadu_si128(reinterpret_cast<const __m128i *>(b + at));
            const unsigned differ = ~static_cast<unsigned>(_mm_movemask_epi8(
                                        _mm_cmpeq_epi8(Folding::Fold(x), Folding::Fold(y)))) & 0xFFFFu;
            return differ | static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(x, _mm_setzero_si128())));
        };
        for (; i + 16 <= limit; i += 16)
            if (unsigned found = stops(i))
                return i + static_cast<size_t>(__builtin_ctz(found));
        if (i < limit)
            if (unsigned found = stops(limit - 16))
                return limit - 16 + static_cast<size_t>(__builtin_ctz(found));
        return limit;
    }
#endif
    for (; i < limit; ++i) {
        const unsigned char c = static_cast<unsigned char>(a[i]);
        if (c == 0 || Folding::Fold(c) != Folding::Fold(static_cast<unsigned char>(b[i])))
            return i;
    }
    return limit;
}

}  // namespace

int String::Order(const String &a, const String &b) {
    // Both texts end with a zero at their length, so the shorter one's zero
    // stops the scan within its length plus one: the bytes read are text.
    // Characters behind a zero inside a text are never reached, as with the
    // runtime's functions.
    const uint32_t aLength = a.GetLength(), bLength = b.GetLength();
    const size_t limit = size_t(aLength < bLength ? aLength : bLength) + 1;
    const unsigned char *x = reinterpret_cast<const unsigned char *>(a.text);
    const unsigned char *y = reinterpret_cast<const unsigned char *>(b.text);
    if (GetThreadState().caseMode == 0) {
        const size_t at = FirstStop<IgnoringCase>(a.text, b.text, limit);
        // Where a byte from 0x80 up decides, the runtime's _stricmp answers:
        // its case for those bytes may follow the program's locale.
        if (at == limit || (x[at] | y[at]) >= 0x80)
            return _stricmp(a.text, b.text);
        return IgnoringCase::Fold(x[at]) - IgnoringCase::Fold(y[at]);
    }
    const size_t at = FirstStop<AsIs>(a.text, b.text, limit);
    if (at == limit)
        return Compare(a.text, b.text);
    return (x[at] > y[at]) - (x[at] < y[at]);
}

int String::Compare(const char *a, const char *b) {
    if (GetThreadState().caseMode == 0)
        return _stricmp(a, b);
    int result = strcmp(a, b);  // strcmp orders as unsigned characters
    return (result > 0) - (result < 0);
}

CaseSensitive::CaseSensitive(int mode) {
    ThreadState &state = GetThreadState();
    previous = state.caseMode;
    state.caseMode = mode;
}

CaseSensitive::~CaseSensitive() {
    GetThreadState().caseMode = previous;
}

int CaseSensitive::GetMode() {
    return GetThreadState().caseMode;
}
