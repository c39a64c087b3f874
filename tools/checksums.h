// Checksums over a block of bytes.
//
// Both are the common reflected CRCs, so their results agree with other
// tools that name them:
//
//   ComputeCrc16  CRC-16/ARC: polynomial 0x8005 (0xA001 reflected), start 0,
//                 no final exclusive or.  "123456789" gives 0xBB3D.
//   ComputeCrc32  CRC-32 of zlib, PNG and Ethernet: polynomial 0x04C11DB7
//                 (0xEDB88320 reflected), start and final exclusive or
//                 0xFFFFFFFF.  "123456789" gives 0xCBF43926.
//
// An empty block gives 0 in both; `data` may then be null.  The functions
// keep no state and may run on any number of threads at once.
//
// On x86 processors with carry-less multiplication (PCLMULQDQ, and
// VPCLMULQDQ with AVX-512) long blocks are computed at memory speed; the
// choice is made at the first call from what the processor reports, and
// the results are the same on every processor.
#ifndef CVZ_TOOLS_CHECKSUMS_H
#define CVZ_TOOLS_CHECKSUMS_H

#include <stdint.h>

#include "CommonVcZq/frame/api.h"

CVZ_API uint16_t ComputeCrc16(const void *data, uint32_t length);
CVZ_API uint32_t ComputeCrc32(const void *data, uint32_t length);

#endif
