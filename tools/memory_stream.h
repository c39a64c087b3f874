// MemoryStream: typed values, strings and lines through one cursor over a
// block of memory.
//
// A stream works in one of three modes:
//  - an own block, which grows as it is written, by `growthStep` bytes at
//    least (not by doubling).  It comes from QX_Heap::GetDefault() at the
//    first write of a byte.  A stream made with `deleteBlock` 0 hands its
//    block over when it ends: read GetStart() and GetPosition() before, and
//    release the block later with QX_Heap::FreeMem.
//  - a borrowed block that may be written, and
//  - a borrowed block that is only read.
// The caller keeps a borrowed block alive as long as the stream uses it,
// and releases it; the stream never does.
//
// Reading and writing share the cursor.  There is no end-of-data mark:
// after writing, the amount written is GetPosition().  For an own block the
// size is the capacity, so End() is meant for borrowed blocks.
//
// Values go in and out as their bytes in the machine's representation, with
// no tag, length or conversion, and with fixed widths: 1 byte for the char
// types, 2 for short, 4 for int, float and long (4 on every platform, also
// where long is 8 bytes wide: the low 32 bits are written, and a value read
// is widened with its sign, or with zeros for unsigned long), 8 for double.
//
// Guards:
//  - No read goes past the block.  Get copies what lies before the end,
//    fills the rest of the caller's bytes with zeros, and leaves the cursor
//    at the end.  GetLine and GetString end their text at the end of the
//    block and leave the cursor there.  At or past the end they return an
//    empty text and leave the cursor where it is.
//  - A borrowed block never grows.  A write that does not fit before its
//    end writes nothing and leaves the cursor where it is (PutLine's text
//    and line end count as one write), and a read-only block refuses every
//    write in the same way.
//  - An own block cannot reach 4 GiB: such a write fails as an allocation
//    does, through the new handler.
//
// A stream takes no lock; one thread uses it at a time.
#ifndef CVZ_TOOLS_MEMORY_STREAM_H
#define CVZ_TOOLS_MEMORY_STREAM_H

#include <stdint.h>

#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/text/string.h"

class CVZ_API MemoryStream {
public:
    // An own block; see Reset(growth, deleteBlock).
    MemoryStream(unsigned int growth, int deleteBlock);
    // A borrowed block of `size` bytes that may be written.
    MemoryStream(void *block, unsigned int size);
    // A borrowed block of `size` bytes that is only read.
    MemoryStream(const void *block, unsigned int size);
    // Releases an own block when the stream was made to delete it.
    virtual ~MemoryStream();

    MemoryStream(const MemoryStream &) = delete;
    MemoryStream &operator=(const MemoryStream &) = delete;

    // Each Reset first releases an own block, whatever `deleteBlock` said.
    // Then: an own block, none taken yet, growing by `growth` bytes at least
    // (32 when smaller); with `deleteBlock` 0 the destructor leaves it alive.
    void Reset(unsigned int growth, int deleteBlock);
    // A borrowed block that may be written.
    void Reset(void *block, unsigned int size);
    // A borrowed block that is only read.
    void Reset(const void *block, unsigned int size);

    // Writing.  `n` 0 does nothing (and allocates nothing).
    void Put(const void *data, unsigned int n);
    // `c` written `n` times; `n` 0 or below writes nothing.
    void Put(char c, int n);
    void Put(char value);
    void Put(signed char value);
    void Put(unsigned char value);
    void Put(short value);
    void Put(unsigned short value);
    void Put(int value);
    void Put(unsigned int value);
    void Put(long value);           // 4 bytes: the low 32 bits
    void Put(unsigned long value);  // 4 bytes: the low 32 bits
    void Put(float value);
    void Put(double &value);
    // The characters of `text`, and its ending zero when `withTerminator`
    // is non-zero.
    void PutString(const char *text, int withTerminator);
    void PutString(const String &text, int withTerminator);
    // The characters, then carriage return and line feed (13, 10).
    void PutLine(const String &text);
    void PutLine(const char *text);
    // One zero byte, not a line break: the end that GetLine and GetString
    // also accept.
    void PutEndl();

    // Reading.  `n` 0 does nothing.
    void Get(void *data, unsigned int n);
    void Get(char &value);
    void Get(signed char &value);
    void Get(unsigned char &value);
    void Get(short &value);
    void Get(unsigned short &value);
    void Get(int &value);
    void Get(unsigned int &value);
    void Get(long &value);
    void Get(unsigned long &value);
    void Get(float &value);
    void Get(double &value);
    // The bytes up to the next line end, which is consumed and not kept: a
    // zero, a line feed, a carriage return, or a carriage return and line
    // feed.  An empty line gives an empty String.
    String GetLine();
    // The text up to the next zero; the cursor ends behind the zero.
    String GetString();

    // The cursor.
    uint8_t *GetStart() const { return start; }
    uint8_t *GetHeadPointer() const { return head; }
    // The address `offset` bytes into the block.
    uint8_t *GetPointer(uint32_t offset) const { return At(offset); }
    // Bytes between the start of the block and the cursor.
    uint32_t GetPosition() const { return static_cast<uint32_t>(Address(head) - Address(start)); }
    // Both put the cursor `offset` bytes from the start of the block:
    // absolute, unchecked, truncating nothing.
    void SetPosition(uint32_t offset) { head = At(offset); }
    void Seek(uint32_t offset) { head = At(offset); }
    // 1 when the cursor is at or past the end of the block (for an own
    // block, of its capacity), else 0.
    int End() const { return GetPosition() >= size; }

private:
    // Cursor arithmetic goes through integers: the cursor may stand past
    // the block, or be set on a stream that has no block yet.
    static uintptr_t Address(const uint8_t *p) { return reinterpret_cast<uintptr_t>(p); }
    uint8_t *At(uint32_t offset) const { return reinterpret_cast<uint8_t *>(Address(start) + offset); }

    // Room for `n` (at least 1) bytes at the cursor, growing an own block
    // as needed; the cursor moves behind them.  Null, with nothing changed,
    // when a borrowed block has no room or is read-only.
    uint8_t *Claim(uint32_t n);
    // Up to the end of the block: the bytes left before it, 0 when the
    // cursor is at or past it.
    uint32_t Remaining() const {
        const uint32_t position = GetPosition();
        return position < size ? size - position : 0;
    }
    void PutLine(const char *text, uint32_t length);
    void ReleaseBlock();

    uint32_t growthStep;  // least growth of an own block; 0 for a borrowed one
    uint8_t *start;       // the block; null in an own-block stream before its first write
    uint8_t *head;        // the cursor
    uint32_t size;        // bytes of the block; for an own block its capacity
    int32_t ownsBlock;    // 1 for an own block
    int32_t readOnly;     // 1 for a borrowed block given as const
    int32_t deleteBlock;  // whether the destructor releases an own block
};

#endif
