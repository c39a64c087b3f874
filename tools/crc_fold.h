// Internal: the ways the checksums can be computed, and the folding by
// carry-less multiplication behind the processor paths.
#ifndef CVZ_TOOLS_CRC_FOLD_H
#define CVZ_TOOLS_CRC_FOLD_H

#include <stdint.h>

#include "CommonVcZq/frame/api.h"

// Table: the table method, on every processor.  Pclmul: 16-byte blocks
// folded with PCLMULQDQ (x86 with SSE4.1).  Vpclmul: 64-byte blocks folded
// with VPCLMULQDQ on AVX-512 registers.
enum class CrcPath { Table, Pclmul, Vpclmul };

// Whether this processor (and its operating system) can take `path`.
CVZ_API bool CrcPathAvailable(CrcPath path);
// The path that ComputeCrc16 and ComputeCrc32 take.  The first call
// chooses the fastest one available.
CVZ_API CrcPath GetCrcPath();
// Makes the checksums take `path` from now on, so that tests can set the
// paths against each other; false, with nothing changed, when the processor
// cannot take it.  Not for use while other threads compute checksums.
CVZ_API bool SetCrcPathForTesting(CrcPath path);

// The constants of a reflected CRC for folding (see crc_fold.cpp).
struct CrcFoldConstants {
    uint64_t by128[2];   // fold a block into the next one
    uint64_t by512[2];   // 64 bytes ahead
    uint64_t by1024[2];  // 128 bytes ahead
    uint64_t by2048[2];  // 256 bytes ahead
};

extern const CrcFoldConstants kCrc16FoldConstants;
extern const CrcFoldConstants kCrc32FoldConstants;

// The fewest bytes that the fold functions take.
constexpr uint32_t kCrcFoldLeast = 64;

// Folds the whole 16-byte blocks at the start of `data`, `length` >=
// kCrcFoldLeast bytes, into 16 bytes at `folded`, with `start` (the CRC
// register before `data`) added to its first bytes.  Returns the bytes
// taken, a multiple of 16.  The CRC of all of `data` from the register
// `start` is then the CRC from a zero register of `folded` followed by the
// bytes not taken.  Only on a processor that has the path.
uint32_t FoldPclmul(const CrcFoldConstants &k, uint32_t start, const uint8_t *data, uint32_t length,
                    uint8_t folded[16]);
uint32_t FoldVpclmul(const CrcFoldConstants &k, uint32_t start, const uint8_t *data, uint32_t length,
                     uint8_t folded[16]);

#endif
