// The buffered stream of the multimedia library: mmioOpenA, mmioRead,
// mmioWrite, mmioSeek, mmioFlush and mmioClose, over the file handles of
// files.cpp.
//
// What follows Win32, for what the library asks of it:
//
// - mmioOpenA opens with CreateFileA: MMIO_READ, MMIO_WRITE and
//   MMIO_READWRITE are the access; MMIO_EXCLUSIVE denies others reading and
//   writing, MMIO_DENYWRITE writing, MMIO_DENYREAD reading, and
//   MMIO_DENYNONE and MMIO_COMPAT nothing; MMIO_CREATE creates the file or
//   empties it.  The share modes therefore hold exactly as on the handle
//   road, between handles and between processes.  A failure returns null,
//   leaves CreateFileA's error for GetLastError and puts the MMIOERR_ code
//   in the MMIOINFO's wErrorRet when one is given.
// - With MMIO_ALLOCBUF the stream has a buffer of its own, of the
//   MMIOINFO's cchBuffer bytes or MMIO_DEFAULTBUFFER (8 KB); a caller's
//   pchBuffer serves as the buffer without it.  Otherwise every call goes
//   straight to the file.  A transfer at least as large as the buffer
//   passes by it.
// - mmioRead and mmioWrite return the count moved, short at the end of the
//   file, or -1 when nothing could be moved.  mmioSeek takes SEEK_SET,
//   SEEK_CUR and SEEK_END (0, 1, 2) and returns the new position, or -1
//   for one before the start or beyond 2^31 - 1, leaving the position.
//   mmioFlush writes what the buffer holds; with MMIO_EMPTYBUF it also
//   forgets what was read ahead, so the next read comes from the file.
//   mmioClose writes what is left and closes the handle.
//
// A full disk.  What mmioWrite accepts into the buffer must not be lost
// when the buffer goes to the file later, so before accepting bytes that
// lie beyond what is already reserved, the stream reserves their blocks
// (ReserveFileBlocks, a fallocate that keeps the size), a buffer's length
// at a time.  When the disk cannot hold them, the bytes are written at
// once instead, and mmioWrite returns the count that reached the file
// (with ERROR_DISK_FULL for GetLastError), which may be 0: a short count,
// never a loss.  The reservation beyond the final end is given back at
// close.  Where the file system cannot reserve, a buffered write can still
// fail when the buffer goes out: mmioFlush and mmioClose then report
// MMIOERR_CANNOTWRITE.
//
// What differs: no I/O procedures, no RIFF chunks, no MMIO_PARSE, no
// temporary names, no mmioGetInfo or direct buffer access; an HMMIO is a
// pointer, and using one after mmioClose is undefined, as using a freed
// pointer is.  A stream is for one thread at a time.
#include "platform/win32.h"

#include "platform/posix/files.h"

#include <string.h>

#include <algorithm>
#include <memory>

namespace {

struct Stream {
    HANDLE file = nullptr;
    std::unique_ptr<char[]> ownBuffer;
    char *buffer = nullptr;  // null for a stream without a buffer
    LONG capacity = 0;
    // The buffer holds the file's bytes from `base`: read ahead, [0,
    // filled) with the position at `cursor`, or, while `writing`, bytes to
    // write, [0, filled), with the position at their end.  The handle's
    // pointer is at base + filled while reading, at base while writing.
    int64_t base = 0;
    LONG cursor = 0;
    LONG filled = 0;
    bool writing = false;
    // Blocks reserved for the buffer's writes: [reservedStart, reservedEnd).
    int64_t reservedStart = 0;
    int64_t reservedEnd = 0;
};

Stream *StreamOf(HMMIO stream) {
    return reinterpret_cast<Stream *>(stream);
}

bool MoveTo(Stream &stream, int64_t position) {
    LONG high = static_cast<LONG>(position >> 32);
    SetLastError(ERROR_SUCCESS);
    return SetFilePointer(stream.file, static_cast<LONG>(position), &high, FILE_BEGIN) !=
               INVALID_SET_FILE_POINTER ||
           GetLastError() == ERROR_SUCCESS;
}

// Writes `count` bytes at the handle's pointer; returns the count written.
LONG WriteThrough(Stream &stream, const char *data, LONG count, bool *ok) {
    DWORD written = 0;
    *ok = WriteFile(stream.file, data, static_cast<DWORD>(count), &written, nullptr) != FALSE;
    return static_cast<LONG>(written);
}

// Writes what the buffer holds.  On failure the bytes that did not go out
// stay in the buffer.
bool WritePending(Stream &stream) {
    if (!stream.writing || stream.filled == 0)
        return true;
    bool ok;
    const LONG written = WriteThrough(stream, stream.buffer, stream.filled, &ok);
    stream.base += written;
    stream.filled -= written;
    memmove(stream.buffer, stream.buffer + written, static_cast<size_t>(stream.filled));
    stream.cursor = stream.filled;
    return ok && stream.filled == 0;
}

// Leaves the buffer empty, the position and the handle's pointer at
// `position`.
bool Reposition(Stream &stream, int64_t position) {
    if (!WritePending(stream) || !MoveTo(stream, position))
        return false;
    stream.base = position;
    stream.cursor = stream.filled = 0;
    return true;
}

// Makes sure the blocks of [from, to) are reserved, a buffer's length
// ahead.  False when the disk has no room for them.
bool Reserve(Stream &stream, int64_t from, int64_t to) {
    if (from >= stream.reservedStart && to <= stream.reservedEnd)
        return true;
    int64_t end = to + stream.capacity;
    if (!cvz::posix::ReserveFileBlocks(stream.file, from, end - from)) {
        end = to;
        if (!cvz::posix::ReserveFileBlocks(stream.file, from, end - from))
            return false;
    }
    const bool joins = from >= stream.reservedStart && from <= stream.reservedEnd;
    stream.reservedStart = joins ? stream.reservedStart : from;
    stream.reservedEnd = std::max(joins ? stream.reservedEnd : 0, end);
    return true;
}

UINT MmioErrorOf(DWORD error) {
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
        return MMIOERR_FILENOTFOUND;
    case ERROR_PATH_NOT_FOUND:
        return MMIOERR_PATHNOTFOUND;
    case ERROR_ACCESS_DENIED:
        return MMIOERR_ACCESSDENIED;
    case ERROR_SHARING_VIOLATION:
        return MMIOERR_SHARINGVIOLATION;
    case ERROR_TOO_MANY_OPEN_FILES:
        return MMIOERR_TOOMANYOPENFILES;
    case ERROR_NOT_ENOUGH_MEMORY:
        return MMIOERR_OUTOFMEMORY;
    default:
        return MMIOERR_CANNOTOPEN;
    }
}

}  // namespace

extern "C" {

HMMIO mmioOpenA(LPSTR name, LPMMIOINFO info, DWORD flags) {
    static const DWORD kAccess[] = {GENERIC_READ, GENERIC_WRITE, GENERIC_READ | GENERIC_WRITE};
    DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE;
    switch (flags & 0x70) {
    case MMIO_EXCLUSIVE:
        share = 0;
        break;
    case MMIO_DENYWRITE:
        share = FILE_SHARE_READ;
        break;
    case MMIO_DENYREAD:
        share = FILE_SHARE_WRITE;
        break;
    }
    if (info != nullptr)
        info->wErrorRet = MMSYSERR_NOERROR;
    if ((flags & 3) == 3) {
        SetLastError(ERROR_INVALID_PARAMETER);
        if (info != nullptr)
            info->wErrorRet = MMIOERR_CANNOTOPEN;
        return nullptr;
    }
    HANDLE file = CreateFileA(name, kAccess[flags & 3], share, nullptr,
                              (flags & MMIO_CREATE) != 0 ? CREATE_ALWAYS : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                              nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        if (info != nullptr)
            info->wErrorRet = MmioErrorOf(GetLastError());
        return nullptr;
    }
    auto stream = std::make_unique<Stream>();
    stream->file = file;
    if (info != nullptr && info->pchBuffer != nullptr && info->cchBuffer > 0) {
        stream->buffer = info->pchBuffer;
        stream->capacity = info->cchBuffer;
    } else if ((flags & MMIO_ALLOCBUF) != 0) {
        stream->capacity = info != nullptr && info->cchBuffer > 0 ? info->cchBuffer : LONG(MMIO_DEFAULTBUFFER);
        stream->ownBuffer.reset(new char[static_cast<size_t>(stream->capacity)]);
        stream->buffer = stream->ownBuffer.get();
    }
    return reinterpret_cast<HMMIO>(stream.release());
}

MMRESULT mmioClose(HMMIO handle, UINT) {
    std::unique_ptr<Stream> stream(StreamOf(handle));
    const bool written = WritePending(*stream);
    if (stream->reservedEnd > 0)
        cvz::posix::ReleaseBlocksBeyondEnd(stream->file, stream->reservedEnd);
    CloseHandle(stream->file);
    return written ? MMSYSERR_NOERROR : MMIOERR_CANNOTWRITE;
}

LONG mmioRead(HMMIO handle, HPSTR data, LONG count) {
    Stream &stream = *StreamOf(handle);
    if (count < 0 || !WritePending(stream))
        return -1;
    stream.writing = false;
    LONG total = 0;
    while (total < count) {
        if (stream.cursor < stream.filled) {
            const LONG piece = std::min(stream.filled - stream.cursor, count - total);
            memcpy(data + total, stream.buffer + stream.cursor, static_cast<size_t>(piece));
            stream.cursor += piece;
            total += piece;
            continue;
        }
        // The buffer is spent: the handle's pointer is at the position.
        stream.base += stream.filled;
        stream.cursor = stream.filled = 0;
        const bool direct = stream.buffer == nullptr || count - total >= stream.capacity;
        DWORD got = 0;
        if (!ReadFile(stream.file, direct ? data + total : stream.buffer,
                      static_cast<DWORD>(direct ? count - total : stream.capacity), &got, nullptr))
            return total > 0 ? total : -1;
        if (direct) {
            stream.base += got;
            total += static_cast<LONG>(got);
            break;
        }
        if (got == 0)
            break;
        stream.filled = static_cast<LONG>(got);
    }
    return total;
}

LONG mmioWrite(HMMIO handle, const char *data, LONG count) {
    Stream &stream = *StreamOf(handle);
    if (count < 0)
        return -1;
    if (!stream.writing) {
        // Forget what was read ahead, and write where the position is.
        if (stream.cursor != stream.filled && !MoveTo(stream, stream.base + stream.cursor))
            return -1;
        stream.base += stream.cursor;
        stream.cursor = stream.filled = 0;
        stream.writing = true;
    }
    const int64_t at = stream.base + stream.filled;
    const bool direct = stream.buffer == nullptr || (stream.filled == 0 && count >= stream.capacity);
    if (direct || !Reserve(stream, at, at + count)) {
        // Straight to the file; on a full disk the count says what got there.
        if (!WritePending(stream))
            return GetLastError() == ERROR_DISK_FULL ? 0 : -1;
        bool ok;
        const LONG written = WriteThrough(stream, data, count, &ok);
        stream.base += written;
        return ok || written > 0 || GetLastError() == ERROR_DISK_FULL ? written : -1;
    }
    for (LONG total = 0; total < count;) {
        if (stream.filled == stream.capacity && !WritePending(stream))
            return total > 0 ? total : -1;
        const LONG piece = std::min(stream.capacity - stream.filled, count - total);
        memcpy(stream.buffer + stream.filled, data + total, static_cast<size_t>(piece));
        stream.filled += piece;
        total += piece;
    }
    stream.cursor = stream.filled;
    return count;
}

LONG mmioSeek(HMMIO handle, LONG offset, int origin) {
    Stream &stream = *StreamOf(handle);
    const int64_t position = stream.base + stream.cursor;
    int64_t target = offset;
    if (origin == SEEK_CUR) {
        target += position;
    } else if (origin == SEEK_END) {
        DWORD high = 0;
        const DWORD low = GetFileSize(stream.file, &high);
        if (low == INVALID_FILE_SIZE && GetLastError() != ERROR_SUCCESS)
            return -1;
        int64_t size = static_cast<int64_t>((uint64_t(high) << 32) | low);
        if (stream.writing)
            size = std::max(size, stream.base + stream.filled);
        target += size;
    } else if (origin != SEEK_SET) {
        return -1;
    }
    if (target < 0 || target > INT32_MAX)
        return -1;
    if (target == position)
        return static_cast<LONG>(target);
    if (!stream.writing && target >= stream.base && target <= stream.base + stream.filled) {
        stream.cursor = static_cast<LONG>(target - stream.base);
        return static_cast<LONG>(target);
    }
    return Reposition(stream, target) ? static_cast<LONG>(target) : -1;
}

MMRESULT mmioFlush(HMMIO handle, UINT flags) {
    Stream &stream = *StreamOf(handle);
    if (!WritePending(stream))
        return MMIOERR_CANNOTWRITE;
    if ((flags & MMIO_EMPTYBUF) != 0 && !stream.writing && stream.filled > 0 &&
        !Reposition(stream, stream.base + stream.cursor))
        return MMIOERR_CANNOTSEEK;
    return MMSYSERR_NOERROR;
}

}  // extern "C"
