// Lines and texts read from a borrowed block of arbitrary bytes.
//
// The bytes are copied into a heap block of exactly their size, so that the
// address sanitizer reports any read behind it.  Read as lines, and again
// as zero-ended texts, each piece followed by the line end it consumed must
// give back the block, byte for byte: nothing is skipped, nothing is read
// twice, and the reading ends exactly at the end of the block.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <memory>

#include "CommonVcZq/tools/memory_stream.h"

namespace {

void Check(bool condition) {
    if (!condition)
        abort();
}

// A line ended by a zero, LF, CR or CR LF, or by the end of the block.
void CheckLines(const uint8_t *block, uint32_t size) {
    MemoryStream s(static_cast<const void *>(block), size);
    uint32_t at = 0;
    while (!s.End()) {
        const String line = s.GetLine();
        const uint32_t length = line.GetLength();
        const uint32_t next = s.GetPosition();
        Check(next > at && next <= size);
        Check(memcmp(line.c_str(), block + at, length) == 0);
        const uint32_t ending = next - at - length;
        if (at + length == size) {
            Check(ending == 0);
        } else {
            const uint8_t end = block[at + length];
            Check(end == 0 || end == '\n' || end == '\r');
            const bool crlf = end == '\r' && at + length + 1 < size && block[at + length + 1] == '\n';
            Check(ending == (crlf ? 2u : 1u));
        }
        at = next;
    }
    Check(at == size);
    Check(s.GetLine().IsEmpty() && s.GetPosition() == size);
}

// A text ended by a zero, or by the end of the block.
void CheckStrings(const uint8_t *block, uint32_t size) {
    MemoryStream s(static_cast<const void *>(block), size);
    uint32_t at = 0;
    while (!s.End()) {
        const String text = s.GetString();
        const uint32_t length = text.GetLength();
        Check(memcmp(text.c_str(), block + at, length) == 0);
        Check(memchr(block + at, 0, length) == nullptr);
        const uint32_t next = s.GetPosition();
        Check(next == (at + length == size ? size : at + length + 1));
        Check(next == size || block[at + length] == 0);
        at = next;
    }
    Check(s.GetString().IsEmpty() && s.GetPosition() == size);
}

// Fixed-size reads in steps of 1 to 8 bytes: what lies in the block, then
// zeros.
void CheckValues(const uint8_t *block, uint32_t size) {
    MemoryStream s(static_cast<const void *>(block), size);
    uint32_t at = 0;
    for (uint32_t step = 1; at < size; step = step % 8 + 1) {
        uint8_t value[8];
        s.Get(value, step);
        const uint32_t inside = size - at < step ? size - at : step;
        Check(memcmp(value, block + at, inside) == 0);
        for (uint32_t i = inside; i < step; ++i)
            Check(value[i] == 0);
        at += inside;
        Check(s.GetPosition() == at);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const uint32_t length = static_cast<uint32_t>(size);
    std::unique_ptr<uint8_t[]> block(new uint8_t[size ? size : 1]);
    if (size)
        memcpy(block.get(), data, size);
    CheckLines(block.get(), length);
    CheckStrings(block.get(), length);
    CheckValues(block.get(), length);
    return 0;
}
