// Reflected CRCs by folding with carry-less multiplication.
//
// A CRC register is the message, read as a polynomial over GF(2), times x^w
// modulo the CRC's polynomial P of degree w; all that matters of a message
// is its remainder.  A block X of 128 bits that stands F bits ahead of the
// block Y adds X * x^F to Y, and with X = H * x^64 + L (H its first eight
// bytes, L the next eight)
//
//     X * x^F  =  H * x^(F+64) + L * x^F  ==  H * (x^(F+64) mod P) + L * (x^F mod P),
//
// two products of 64 bits by fewer than w+1 bits, so less than 128 bits:
// the block folds into the one F bits on by two carry-less multiplications
// and an exclusive or, and a message folds down to a single block.  The
// register before the message is added to its first bytes, as the table
// method does; the last block, followed by the bytes that were too few to
// fold, then goes through the table method from a zero register.
//
// Reflected bit order.  The bytes are read as they lie in memory, so bit i
// of a 128-bit block is the coefficient of x^(127-i), and bit i of a 64-bit
// operand that of x^(63-i).  The carry-less product of two such operands
// comes out with bit m the coefficient of x^(126-m), one place short of the
// block's order, so each constant carries one power of x less:
// x^(F+63) mod P for H and x^(F-1) mod P for L, placed at bit 63-d for the
// term x^d.  The constants are computed by the compiler from P alone, so
// the one code serves CRC-16/ARC and CRC-32.
//
// Four distances are used: 16 bytes (one block on to the next), 64 bytes
// (one AVX-512 register of four blocks on to the next), 128 bytes (the
// eight running blocks of the PCLMULQDQ loop) and 256 bytes (the four
// running registers of the VPCLMULQDQ loop).
//
// Only x86 processors have these instructions.  The functions are compiled
// for them alone (target attributes), so the rest of the library stays
// built for the baseline processor, and they run only where the processor
// reports the instructions; elsewhere only the table method is available.
#include "tools/crc_fold.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#include <immintrin.h>
#define CVZ_CRC_FOLD_X86 1
#endif

namespace {

// x^n mod P, with P of degree `width` given by its lower terms
// (`polynomial`), as one bit for each coefficient.
constexpr uint64_t PowerOfX(unsigned n, uint64_t polynomial, int width) {
    const uint64_t top = uint64_t(1) << width;
    uint64_t r = 1;
    for (; n > 0; --n) {
        r <<= 1;
        if (r & top)
            r ^= top | polynomial;
    }
    return r;
}

// A polynomial of degree below 64 as a reflected operand: x^d at bit 63-d.
constexpr uint64_t AsOperand(uint64_t p) {
    uint64_t r = 0;
    for (int d = 0; d < 64; ++d)
        if ((p >> d) & 1)
            r |= uint64_t(1) << (63 - d);
    return r;
}

constexpr CrcFoldConstants MakeConstants(uint64_t polynomial, int width) {
    CrcFoldConstants k{};
    uint64_t *const distances[] = {k.by128, k.by512, k.by1024, k.by2048};
    unsigned bits = 128;
    for (uint64_t *pair : distances) {
        pair[0] = AsOperand(PowerOfX(bits + 63, polynomial, width));  // for the first eight bytes
        pair[1] = AsOperand(PowerOfX(bits - 1, polynomial, width));   // for the next eight
        bits = bits == 128 ? 512 : bits * 2;
    }
    return k;
}

// The generator against the folding constants of CRC-32 as they are commonly
// published: x^(128+32), x^(128-32), x^(512+32) and x^(512-32) mod P, whose
// 32 bits reversed and doubled are 0x1751997D0, 0x0CCAA009E, 0x154442BD4
// and 0x1C6E41596.
static_assert(PowerOfX(128 + 32, 0x04C11DB7, 32) == 0x17D3315D, "x^160 mod P");
static_assert(PowerOfX(128 - 32, 0x04C11DB7, 32) == 0xF200AA66, "x^96 mod P");
static_assert(PowerOfX(512 + 32, 0x04C11DB7, 32) == 0x57A84455, "x^544 mod P");
static_assert(PowerOfX(512 - 32, 0x04C11DB7, 32) == 0xD3504EC7, "x^480 mod P");
static_assert(AsOperand(1) == uint64_t(1) << 63 && AsOperand(0x8005) == 0xA001000000000000ull, "reflected operands");

}  // namespace

// CRC-16/ARC, x^16 + x^15 + x^2 + 1, and CRC-32, the polynomial of zlib.
constexpr CrcFoldConstants kCrc16Fold = MakeConstants(0x8005, 16);
constexpr CrcFoldConstants kCrc32Fold = MakeConstants(0x04C11DB7, 32);
const CrcFoldConstants kCrc16FoldConstants = kCrc16Fold;
const CrcFoldConstants kCrc32FoldConstants = kCrc32Fold;

#if defined(CVZ_CRC_FOLD_X86)

namespace {

// XCR0 bits of the registers AVX-512 needs saved by the operating system:
// SSE, AVX, the mask registers and both halves of the upper registers.
constexpr uint32_t kAvx512State = 0xE6;

uint32_t ReadXcr0() {
    uint32_t low, high;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

bool ProcessorHas(CrcPath path) {
    unsigned a, b, c, d;
    if (!__get_cpuid(1, &a, &b, &c, &d))
        return false;
    const bool pclmul = (c & bit_PCLMUL) && (c & bit_SSE4_1);
    if (path != CrcPath::Vpclmul)
        return pclmul;
    if (!pclmul || !(c & bit_OSXSAVE) || (ReadXcr0() & kAvx512State) != kAvx512State)
        return false;
    if (!__get_cpuid_count(7, 0, &a, &b, &c, &d))
        return false;
    return (b & bit_AVX512F) && (b & bit_AVX512BW) && (b & bit_AVX512VL) && (c & bit_VPCLMULQDQ);
}

#define CVZ_TARGET_PCLMUL __attribute__((target("pclmul,sse4.1")))
#define CVZ_TARGET_VPCLMUL __attribute__((target("pclmul,sse4.1,avx512f,avx512bw,avx512vl,vpclmulqdq")))

CVZ_TARGET_PCLMUL inline __m128i Load(const uint8_t *p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
}

CVZ_TARGET_PCLMUL inline __m128i Constants(const uint64_t (&pair)[2]) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(pair));
}

// The masked forms of these two fill with zeros where the plain ones leave
// an undefined register, of which some compilers warn.
CVZ_TARGET_VPCLMUL inline __m512i Broadcast(const uint64_t (&pair)[2]) {
    return _mm512_maskz_broadcast_i32x4(0xFFFF, Constants(pair));
}

template <int i>
CVZ_TARGET_VPCLMUL inline __m128i Block(__m512i r) {
    return _mm512_maskz_extracti32x4_epi32(0xF, r, i);
}

// `x` carried on by the distance of `k`, added to `next`.
CVZ_TARGET_PCLMUL inline __m128i Fold(__m128i x, __m128i k, __m128i next) {
    return _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11)), next);
}

CVZ_TARGET_VPCLMUL inline __m512i Fold(__m512i x, __m512i k, __m512i next) {
    return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(x, k, 0x00), _mm512_clmulepi64_epi128(x, k, 0x11),
                                     next, 0x96);  // a ^ b ^ c
}

// The 16-byte blocks from `p` on, `length` bytes, folded one by one into
// `x`; the last block folded ends at *taken.
CVZ_TARGET_PCLMUL uint32_t FoldBlocks(const CrcFoldConstants &k, __m128i x, const uint8_t *p, uint32_t length,
                                      uint8_t folded[16]) {
    const __m128i by128 = Constants(k.by128);
    uint32_t at = 0;
    for (; length - at >= 16; at += 16)
        x = Fold(x, by128, Load(p + at));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(folded), x);
    return at;
}

}  // namespace

bool CrcPathAvailable(CrcPath path) {
    return path == CrcPath::Table || ProcessorHas(path);
}

CVZ_TARGET_PCLMUL uint32_t FoldPclmul(const CrcFoldConstants &k, uint32_t start, const uint8_t *data,
                                      uint32_t length, uint8_t folded[16]) {
    const uint8_t *p = data;
    __m128i x = _mm_xor_si128(Load(p), _mm_cvtsi32_si128(static_cast<int>(start)));
    if (length >= 128) {
        // Eight running blocks, each folded 128 bytes on at a time.
        __m128i r[8] = {x};
        for (int i = 1; i < 8; ++i)
            r[i] = Load(p + 16 * i);
        p += 128;
        const __m128i by1024 = Constants(k.by1024);
        for (; data + length - p >= 128; p += 128)
            for (int i = 0; i < 8; ++i)
                r[i] = Fold(r[i], by1024, Load(p + 16 * i));
        const __m128i by128 = Constants(k.by128);
        x = r[0];
        for (int i = 1; i < 8; ++i)
            x = Fold(x, by128, r[i]);
    } else {
        p += 16;
    }
    const uint32_t done = static_cast<uint32_t>(p - data);
    return done + FoldBlocks(k, x, p, length - done, folded);
}

CVZ_TARGET_VPCLMUL uint32_t FoldVpclmul(const CrcFoldConstants &k, uint32_t start, const uint8_t *data,
                                        uint32_t length, uint8_t folded[16]) {
    if (length < 256)
        return FoldPclmul(k, start, data, length, folded);
    // Four running registers of four blocks each, folded 256 bytes on at a
    // time; then folded into the last of them, and its four blocks into
    // one.
    const uint8_t *p = data;
    __m512i r0 = _mm512_xor_si512(_mm512_loadu_si512(p), _mm512_zextsi128_si512(_mm_cvtsi32_si128(static_cast<int>(start))));
    __m512i r1 = _mm512_loadu_si512(p + 64);
    __m512i r2 = _mm512_loadu_si512(p + 128);
    __m512i r3 = _mm512_loadu_si512(p + 192);
    p += 256;
    const __m512i by2048 = Broadcast(k.by2048);
    for (; data + length - p >= 256; p += 256) {
        r0 = Fold(r0, by2048, _mm512_loadu_si512(p));
        r1 = Fold(r1, by2048, _mm512_loadu_si512(p + 64));
        r2 = Fold(r2, by2048, _mm512_loadu_si512(p + 128));
        r3 = Fold(r3, by2048, _mm512_loadu_si512(p + 192));
    }
    const __m512i by512 = Broadcast(k.by512);
    r1 = Fold(r0, by512, r1);
    r2 = Fold(r1, by512, r2);
    r3 = Fold(r2, by512, r3);
    for (; data + length - p >= 64; p += 64)
        r3 = Fold(r3, by512, _mm512_loadu_si512(p));
    const __m128i by128 = Constants(k.by128);
    __m128i x = Block<0>(r3);
    x = Fold(x, by128, Block<1>(r3));
    x = Fold(x, by128, Block<2>(r3));
    x = Fold(x, by128, Block<3>(r3));
    const uint32_t done = static_cast<uint32_t>(p - data);
    return done + FoldBlocks(k, x, p, length - done, folded);
}

#else  // no carry-less multiplication: the table method alone

bool CrcPathAvailable(CrcPath path) {
    return path == CrcPath::Table;
}

uint32_t FoldPclmul(const CrcFoldConstants &, uint32_t, const uint8_t *, uint32_t, uint8_t *) {
    return 0;
}

uint32_t FoldVpclmul(const CrcFoldConstants &, uint32_t, const uint8_t *, uint32_t, uint8_t *) {
    return 0;
}

#endif
