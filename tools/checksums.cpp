// Table-driven reflected CRCs, braided.
//
// The classic loop feeds one byte at a time, c = T[(byte ^ c) & 255] ^
// (c >> 8), and each step waits for the one before it.  Here the input is
// read as 8-byte words dealt in turn to kLanes lanes, each with a CRC
// register of its own, so the look-ups of the lanes are independent and run
// side by side.  A lane's register after a word is the effect of that word
// carried forward to the lane's next word, kLanes words on; the `braid`
// tables give that effect for each byte of a word.  The last kLanes words
// fold the lanes together: each lane's word is run through to the end of
// the word (the `word` tables) and added to the next.  A tail shorter than
// a block of kLanes words goes a word at a time, then byte by byte.  Every
// byte is still read once with one table look-up.
//
// On x86 processors with carry-less multiplication the long blocks are
// folded instead (crc_fold.cpp), which is several times faster; what the
// folding leaves, 16 bytes and a tail shorter than a block, goes through
// the tables.  The path is chosen at the first use from what the processor
// reports.
//
// CRCs are linear, which is what makes this exact: the register is the
// exclusive or of the effects of all bytes read, each carried to the same
// point.  The tables are computed by the compiler, so loading the library
// does no work for them.
#include "CommonVcZq/tools/checksums.h"

#include <atomic>

#include "tools/crc_fold.h"

namespace {

constexpr int kWordBytes = 8;
constexpr int kLanes = 5;
constexpr uint32_t kBlockBytes = kLanes * kWordBytes;

template <typename Crc>
struct CrcTables {
    Crc byte[256];                // one byte fed into a zero register
    Crc word[kWordBytes][256];    // byte k of a word, carried to the word's end
    Crc braid[kWordBytes][256];   // byte k of a word, carried to the lane's next word
};

// Feeds `n` zero bytes into register `r`.
template <typename Crc>
constexpr Crc FeedZeros(const Crc (&byte)[256], Crc r, int n) {
    for (; n > 0; --n)
        r = static_cast<Crc>(byte[r & 0xFF] ^ (r >> 8));
    return r;
}

// The byte table follows the usual rule: entry i is i shifted right eight
// times, with an exclusive or of the polynomial after each shift that drops
// a 1.
template <typename Crc>
constexpr CrcTables<Crc> MakeTables(Crc reflectedPolynomial) {
    CrcTables<Crc> tables{};
    for (unsigned i = 0; i < 256; ++i) {
        Crc c = static_cast<Crc>(i);
        for (int bit = 0; bit < 8; ++bit)
            c = static_cast<Crc>((c & 1) ? (c >> 1) ^ reflectedPolynomial : c >> 1);
        tables.byte[i] = c;
    }
    for (int k = 0; k < kWordBytes; ++k)
        for (unsigned i = 0; i < 256; ++i) {
            tables.word[k][i] = FeedZeros(tables.byte, tables.byte[i], kWordBytes - 1 - k);
            tables.braid[k][i] = FeedZeros(tables.byte, tables.word[k][i], (kLanes - 1) * kWordBytes);
        }
    return tables;
}

constexpr CrcTables<uint16_t> kCrc16Tables = MakeTables<uint16_t>(0xA001);
constexpr CrcTables<uint32_t> kCrc32Tables = MakeTables<uint32_t>(0xEDB88320u);

// Eight bytes as a little-endian number, whatever the machine's byte order
// or the alignment of `p`; compilers turn this into a single load.
inline uint64_t LoadWord(const uint8_t *p) {
    return static_cast<uint64_t>(p[0]) | static_cast<uint64_t>(p[1]) << 8 | static_cast<uint64_t>(p[2]) << 16 |
           static_cast<uint64_t>(p[3]) << 24 | static_cast<uint64_t>(p[4]) << 32 |
           static_cast<uint64_t>(p[5]) << 40 | static_cast<uint64_t>(p[6]) << 48 |
           static_cast<uint64_t>(p[7]) << 56;
}

// The exclusive or of table[k][byte k of v] over the eight bytes of `v`.
// The bytes are taken two at a time from the low end of each half, which
// x86 compilers read as the low and high byte registers without a shift.
template <typename Crc>
inline Crc LookUpWord(const Crc (&table)[kWordBytes][256], uint64_t v) {
    uint32_t low = static_cast<uint32_t>(v), high = static_cast<uint32_t>(v >> 32);
    Crc r = static_cast<Crc>(table[0][low & 0xFF] ^ table[1][(low >> 8) & 0xFF] ^ table[4][high & 0xFF] ^
                             table[5][(high >> 8) & 0xFF]);
    low >>= 16;
    high >>= 16;
    return static_cast<Crc>(r ^ table[2][low & 0xFF] ^ table[3][low >> 8] ^ table[6][high & 0xFF] ^
                            table[7][high >> 8]);
}

// Runs `length` bytes through the CRC register `crc`.  A register is
// narrower than a word, so it is added to the first bytes of the next word.
template <typename Crc>
Crc Update(const CrcTables<Crc> &tables, Crc crc, const uint8_t *p, uint32_t length) {
    uint32_t blocks = length / kBlockBytes;
    if (blocks > 0) {
        length -= blocks * kBlockBytes;
        Crc lane[kLanes] = {crc};
        for (; blocks > 1; --blocks, p += kBlockBytes)
            for (int j = 0; j < kLanes; ++j)
                lane[j] = LookUpWord(tables.braid, LoadWord(p + j * kWordBytes) ^ lane[j]);
        crc = 0;
        for (int j = 0; j < kLanes; ++j)
            crc = LookUpWord(tables.word, LoadWord(p + j * kWordBytes) ^ lane[j] ^ crc);
        p += kBlockBytes;
    }
    for (; length >= kWordBytes; length -= kWordBytes, p += kWordBytes)
        crc = LookUpWord(tables.word, LoadWord(p) ^ crc);
    for (; length > 0; --length, ++p)
        crc = static_cast<Crc>(tables.byte[(*p ^ crc) & 0xFF] ^ (crc >> 8));
    return crc;
}

// The chosen CrcPath, or -1 before the first use.
std::atomic<int> chosenPath{-1};

// Runs `length` bytes through `crc` on the chosen path.
template <typename Crc>
Crc Compute(const CrcTables<Crc> &tables, const CrcFoldConstants &constants, Crc crc, const uint8_t *p,
            uint32_t length) {
    const CrcPath path = GetCrcPath();
    if (path == CrcPath::Table || length < kCrcFoldLeast)
        return Update(tables, crc, p, length);
    uint8_t folded[16];
    const uint32_t taken = path == CrcPath::Vpclmul ? FoldVpclmul(constants, crc, p, length, folded)
                                                    : FoldPclmul(constants, crc, p, length, folded);
    return Update(tables, Update(tables, Crc(0), folded, sizeof folded), p + taken, length - taken);
}

}  // namespace

CrcPath GetCrcPath() {
    int path = chosenPath.load(std::memory_order_relaxed);
    if (path < 0) {
        path = static_cast<int>(CrcPathAvailable(CrcPath::Vpclmul)  ? CrcPath::Vpclmul
                                : CrcPathAvailable(CrcPath::Pclmul) ? CrcPath::Pclmul
                                                                    : CrcPath::Table);
        chosenPath.store(path, std::memory_order_relaxed);
    }
    return static_cast<CrcPath>(path);
}

bool SetCrcPathForTesting(CrcPath path) {
    if (!CrcPathAvailable(path))
        return false;
    chosenPath.store(static_cast<int>(path), std::memory_order_relaxed);
    return true;
}

uint16_t ComputeCrc16(const void *data, uint32_t length) {
    return Compute<uint16_t>(kCrc16Tables, kCrc16FoldConstants, 0, static_cast<const uint8_t *>(data), length);
}

uint32_t ComputeCrc32(const void *data, uint32_t length) {
    return ~Compute<uint32_t>(kCrc32Tables, kCrc32FoldConstants, 0xFFFFFFFFu, static_cast<const uint8_t *>(data),
                              length);
}
