// MemoryStream.
#include "CommonVcZq/tools/memory_stream.h"

#include <string.h>

#include <new>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "CommonVcZq/qx_vc/qx_heap.h"

namespace {

const uint32_t kLeastGrowth = 32;

bool EndsLine(uint8_t c) {
    return c == 0 || c == '\n' || c == '\r';
}

// In a word of 8 bytes read in memory order (little-endian), the high bit
// of each byte that is 0, LF or CR, where the lowest bit set is exact (a
// byte above a match may be marked as well).  Per target: a byte of x is
// zero where it matches, and (x - 1) & ~x takes its high bit from a zero.
uint64_t LineEndBits(uint64_t word) {
    const uint64_t ones = 0x0101010101010101ull;
    const uint64_t highs = 0x80 * ones;
    const uint64_t lf = word ^ ('\n' * ones);
    const uint64_t cr = word ^ ('\r' * ones);
    return ((word - ones) & ~word & highs) | ((lf - ones) & ~lf & highs) | ((cr - ones) & ~cr & highs);
}

int LowestBit(uint64_t bits) {
#if defined(__GNUC__)
    return __builtin_ctzll(bits);
#else
    int n = 0;
    for (; !(bits & 1); bits >>= 1)
        ++n;
    return n;
#endif
}

// The offset of the first byte among `available` from `text` that ends a
// line, or `available`.  With SSE2 (every x86-64 processor) sixteen bytes
// at a time: a text byte is seldom 13 or below, so one comparison with the
// smallest of the byte and 13 rules out most blocks, and only a block that
// holds such a byte is tested for the three line ends.  Else, on
// little-endian machines, eight bytes at a time.
uint32_t FindLineEnd(const uint8_t *text, uint32_t available) {
    uint32_t i = 0;
#if defined(__SSE2__)
    const __m128i lf = _mm_set1_epi8('\n'), cr = _mm_set1_epi8('\r'), zero = _mm_setzero_si128();
    const __m128i highestEnd = _mm_set1_epi8('\r');
    for (; available - i >= 16; i += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text + i));
        if (!_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_min_epu8(v, highestEnd), v)))
            continue;
        const __m128i ends = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, lf), _mm_cmpeq_epi8(v, cr)),
                                          _mm_cmpeq_epi8(v, zero));
        if (const uint32_t bits = static_cast<uint32_t>(_mm_movemask_epi8(ends)))
            return i + static_cast<uint32_t>(LowestBit(bits));
    }
#endif
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ || defined(_WIN32)
    for (; available - i >= 8; i += 8) {
        uint64_t word;
        memcpy(&word, text + i, 8);
        if (const uint64_t bits = LineEndBits(word))
            return i + static_cast<uint32_t>(LowestBit(bits) / 8);
    }
#endif
    for (; i < available; ++i)
        if (EndsLine(text[i]))
            return i;
    return available;
}

}  // namespace

MemoryStream::MemoryStream(unsigned int growth, int deleteBlock) : start(nullptr), ownsBlock(0) {
    Reset(growth, deleteBlock);
}

MemoryStream::MemoryStream(void *block, unsigned int size) : start(nullptr), ownsBlock(0) {
    Reset(block, size);
}

MemoryStream::MemoryStream(const void *block, unsigned int size) : start(nullptr), ownsBlock(0) {
    Reset(block, size);
}

MemoryStream::~MemoryStream() {
    if (ownsBlock && deleteBlock)
        QX_Heap::FreeMem(start);
}

void MemoryStream::ReleaseBlock() {
    if (ownsBlock && start)
        QX_Heap::FreeMem(start);
    start = nullptr;
}

void MemoryStream::Reset(unsigned int growth, int deleteBlock) {
    ReleaseBlock();
    head = nullptr;
    size = 0;
    readOnly = 0;
    ownsBlock = 1;
    this->deleteBlock = deleteBlock;
    growthStep = growth < kLeastGrowth ? kLeastGrowth : growth;
}

void MemoryStream::Reset(void *block, unsigned int size) {
    ReleaseBlock();
    start = head = static_cast<uint8_t *>(block);
    this->size = size;
    growthStep = 0;
    ownsBlock = 0;
    deleteBlock = 0;
    readOnly = 0;
}

void MemoryStream::Reset(const void *block, unsigned int size) {
    // The block is never written through this stream (Claim refuses), so
    // the const can go for the one pointer type of the fields.
    Reset(const_cast<void *>(block), size);
    readOnly = 1;
}

uint8_t *MemoryStream::Claim(uint32_t n) {
    const uint64_t needed = uint64_t(GetPosition()) + n;
    if (needed > size) {
        if (!ownsBlock)
            return nullptr;
        if (needed > UINT32_MAX) {
            // No block of 4 GiB or more: fail as an exhausted heap does.
            ExecuteStandardNewHandler();
            throw std::bad_alloc();
        }
        const uint64_t stepped = uint64_t(size) + growthStep;
        const uint32_t newSize = static_cast<uint32_t>(stepped > needed && stepped <= UINT32_MAX ? stepped : needed);
        const uint32_t position = GetPosition();
        start = static_cast<uint8_t *>(start ? QX_Heap::GetDefault().ReAlloc(start, newSize, 0)
                                             : QX_Heap::GetDefault().Alloc(newSize, 0));
        head = start + position;
        size = newSize;
    } else if (readOnly) {
        return nullptr;
    }
    uint8_t *room = head;
    head += n;
    return room;
}

void MemoryStream::Put(const void *data, unsigned int n) {
    if (n == 0)
        return;
    if (uint8_t *room = Claim(n))
        memcpy(room, data, n);
}

void MemoryStream::Put(char c, int n) {
    if (n <= 0)
        return;
    if (uint8_t *room = Claim(static_cast<uint32_t>(n)))
        memset(room, c, static_cast<size_t>(n));
}

void MemoryStream::Put(char value) { Put(&value, 1); }
void MemoryStream::Put(signed char value) { Put(&value, 1); }
void MemoryStream::Put(unsigned char value) { Put(&value, 1); }
void MemoryStream::Put(short value) { Put(&value, 2); }
void MemoryStream::Put(unsigned short value) { Put(&value, 2); }
void MemoryStream::Put(int value) { Put(&value, 4); }
void MemoryStream::Put(unsigned int value) { Put(&value, 4); }
void MemoryStream::Put(float value) { Put(&value, 4); }
void MemoryStream::Put(double &value) { Put(&value, 8); }

void MemoryStream::Put(long value) {
    const int32_t low = static_cast<int32_t>(value);
    Put(&low, 4);
}

void MemoryStream::Put(unsigned long value) {
    const uint32_t low = static_cast<uint32_t>(value);
    Put(&low, 4);
}

void MemoryStream::PutString(const char *text, int withTerminator) {
    Put(text, static_cast<uint32_t>(strlen(text)) + (withTerminator ? 1 : 0));
}

void MemoryStream::PutString(const String &text, int withTerminator) {
    Put(text.c_str(), text.GetLength() + (withTerminator ? 1 : 0));
}

void MemoryStream::PutLine(const String &text) {
    PutLine(text.c_str(), text.GetLength());
}

void MemoryStream::PutLine(const char *text) {
    PutLine(text, static_cast<uint32_t>(strlen(text)));
}

void MemoryStream::PutLine(const char *text, uint32_t length) {
    // One claim for the text and its line end, so that a borrowed block
    // takes the whole line or nothing of it.
    if (uint8_t *room = Claim(length + 2)) {
        memcpy(room, text, length);
        room[length] = '\r';
        room[length + 1] = '\n';
    }
}

void MemoryStream::PutEndl() {
    Put('\0');
}

void MemoryStream::Get(void *data, unsigned int n) {
    if (n == 0)
        return;
    const uint32_t available = Remaining();
    const uint32_t copied = n < available ? n : available;
    if (copied) {
        memcpy(data, head, copied);
        head += copied;
    }
    if (copied < n)
        memset(static_cast<uint8_t *>(data) + copied, 0, n - copied);
}

void MemoryStream::Get(char &value) { Get(&value, 1); }
void MemoryStream::Get(signed char &value) { Get(&value, 1); }
void MemoryStream::Get(unsigned char &value) { Get(&value, 1); }
void MemoryStream::Get(short &value) { Get(&value, 2); }
void MemoryStream::Get(unsigned short &value) { Get(&value, 2); }
void MemoryStream::Get(int &value) { Get(&value, 4); }
void MemoryStream::Get(unsigned int &value) { Get(&value, 4); }
void MemoryStream::Get(float &value) { Get(&value, 4); }
void MemoryStream::Get(double &value) { Get(&value, 8); }

void MemoryStream::Get(long &value) {
    int32_t low;
    Get(&low, 4);
    value = low;
}

void MemoryStream::Get(unsigned long &value) {
    uint32_t low;
    Get(&low, 4);
    value = low;
}

String MemoryStream::GetLine() {
    const uint32_t available = Remaining();
    const uint8_t *text = head;
    const uint32_t length = FindLineEnd(text, available);
    uint32_t consumed = length;
    if (length < available) {
        ++consumed;
        if (text[length] == '\r' && consumed < available && text[consumed] == '\n')
            ++consumed;
    }
    head += consumed;
    return length ? String(SubString::Create(reinterpret_cast<const char *>(text), length)) : String();
}

String MemoryStream::GetString() {
    const uint32_t available = Remaining();
    const uint8_t *text = head;
    const void *zero = available ? memchr(text, 0, available) : nullptr;
    const uint32_t length = zero ? static_cast<uint32_t>(static_cast<const uint8_t *>(zero) - text) : available;
    head += length < available ? length + 1 : length;
    return length ? String(SubString::Create(reinterpret_cast<const char *>(text), length)) : String();
}
