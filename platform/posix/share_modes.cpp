// Share modes and byte-range locks of the file handles of files.cpp, with
// Win32 semantics, kept between the handles of the process and between
// processes.
//
// What follows Win32:
//
// - Share modes.  Each handle with read, write or delete access (delete:
//   FILE_FLAG_DELETE_ON_CLOSE) records what it holds and what its share
//   mode denies others, and an open fails with ERROR_SHARING_VIOLATION
//   when its access meets another handle's denial or its denial meets
//   another handle's access; a handle opened with access 0 neither checks
//   nor denies, as on Windows.  DeleteFileA, remove and rename fail with
//   ERROR_SHARING_VIOLATION on a file that a handle holds without
//   FILE_SHARE_DELETE.  A sharing violation leaves the file as it was: an
//   overwrite empties the file only after the check.
// - LockFile takes a byte range exclusively, between handles of the
//   process and between processes; an overlapping range of any handle,
//   this one's own included, fails with ERROR_LOCK_VIOLATION.  UnlockFile
//   takes exactly a range that this handle locked, else ERROR_NOT_LOCKED.
//   A range of length 0 is granted and conflicts with nothing.  Closing
//   the handle ends its ranges.
//
// What differs, and why:
//
// - POSIX has no share modes, and only programs that take part see them.
//   They are open file description locks (F_OFD_SETLK) on six bytes near
//   the top of the 63-bit offset range, far beyond any offset the library
//   uses: "holds read", "holds write", "holds delete", "denies read",
//   "denies write", "denies delete".  A handle takes a shared lock on each
//   byte that describes it, and an open looks for another holder of the
//   bytes that conflict with it.  Such locks belong to the descriptor, not
//   to the process: they survive the closing of other descriptors of the
//   file, they conflict between two handles of one process as they must,
//   and every process using this layer sees them.  A program that ignores
//   locks (cat, an editor, a Windows program under wine, which keeps its
//   share modes in its own server) is not stopped, and its opens do not
//   stop ours.
// - The check and the taking are not one step of the kernel, since an
//   exclusive lock, which a gate byte would need, is refused on a
//   descriptor open for reading alone.  So an open takes its own bytes
//   first and looks for conflicts after: of two opens that race, at least
//   one sees the other, and never do both succeed where Windows would let
//   only one.  The one that sees a conflict lets go, waits a millisecond
//   or two and looks again; if the conflict is gone (it was the other
//   racer, which let go too), it tries again, up to five times.  Opens
//   within the process are serialised by a mutex, so they never race.  A
//   sharing violation therefore takes a millisecond or two to report.
// - LockFile ranges are locks of the same kind: they exclude each other's
//   LockFile between handles and processes, but reads and writes of other
//   handles are not refused, as Windows refuses them.  On a handle opened
//   for reading alone, whose descriptor cannot take an exclusive lock, the
//   range is taken shared and checked after, as with share modes.  Ranges
//   must end below the share bytes (ERROR_INVALID_PARAMETER otherwise).
#include "platform/posix/file_handles.h"
#include "platform/posix/files.h"

#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <utility>

namespace cvz::posix {
namespace {

// The share bytes: bit i of a set stands for the byte kShareBase + i.
const off_t kShareBase = INT64_MAX - 7;
const int kShareByteCount = 6;
const unsigned kHoldRead = 1;
const unsigned kHoldWrite = 2;
const unsigned kHoldDelete = 4;
const unsigned kDenyRead = 8;
const unsigned kDenyWrite = 16;
const unsigned kDenyDelete = 32;

// The bytes that a handle described by `bytes` must not find held by
// another: the denials of what it holds, and the holdings it denies.
unsigned ConflictsOf(unsigned bytes) {
    return ((bytes & 7u) << 3) | ((bytes >> 3) & 7u);
}

int Lock(int fd, int command, short type, off_t start, off_t length, struct flock *lock) {
    *lock = {};
    lock->l_type = type;
    lock->l_whence = SEEK_SET;
    lock->l_start = start;
    lock->l_len = length;
    int result;
    do {
        result = fcntl(fd, command, lock);
    } while (result != 0 && errno == EINTR);
    return result;
}

// Calls `action(start, length)` for each run of neighbouring bytes of
// `bytes`, until one returns false.
template <typename Action>
bool ForEachRun(unsigned bytes, Action action) {
    for (int i = 0; i < kShareByteCount;) {
        if ((bytes & (1u << i)) == 0) {
            ++i;
            continue;
        }
        int end = i;
        while (end < kShareByteCount && (bytes & (1u << end)) != 0)
            ++end;
        if (!action(kShareBase + i, static_cast<off_t>(end - i)))
            return false;
        i = end;
    }
    return true;
}

// Whether an open file description other than `fd`'s holds a lock on a
// part of [start, start + length).
bool OthersLock(int fd, off_t start, off_t length) {
    struct flock lock;
    return Lock(fd, F_OFD_GETLK, F_WRLCK, start, length, &lock) == 0 && lock.l_type != F_UNLCK;
}

bool OthersHold(int fd, unsigned bytes) {
    return !ForEachRun(bytes, [fd](off_t start, off_t length) { return !OthersLock(fd, start, length); });
}

void DropShareBytes(int fd) {
    struct flock lock;
    Lock(fd, F_OFD_SETLK, F_UNLCK, kShareBase, kShareByteCount, &lock);
}

// A pause of one to two milliseconds, uneven so that two racers part.
void Backoff() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    timespec pause{0, 1000000L + now.tv_nsec % 1000000L};
    while (nanosleep(&pause, &pause) != 0 && errno == EINTR) {
    }
}

}  // namespace

// Takes the share bytes `bytes` for `fd`, unless another handle holds a
// conflicting one: false with ERROR_SHARING_VIOLATION.  See the top of the
// file for the order of taking and looking.
bool TakeShareBytes(int fd, unsigned bytes) {
    const unsigned conflicts = ConflictsOf(bytes);
    for (int attempt = 0;; ++attempt) {
        int error = 0;
        ForEachRun(bytes, [fd, &error](off_t start, off_t length) {
            struct flock lock;
            if (Lock(fd, F_OFD_SETLK, F_RDLCK, start, length, &lock) == 0)
                return true;
            error = errno;
            return false;
        });
        if (error != 0) {
            DropShareBytes(fd);
            return FailErrno(error);
        }
        if (!OthersHold(fd, conflicts))
            return true;
        DropShareBytes(fd);
        Backoff();
        if (attempt == 4 || OthersHold(fd, conflicts))
            return Fail(ERROR_SHARING_VIOLATION);
    }
}

// Whether a handle holds the regular file `path` without FILE_SHARE_DELETE.
bool HeldWithoutSharingDelete(const char *path) {
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK);
    if (fd < 0)
        return false;
    const bool held = OthersHold(fd, kDenyDelete);
    close(fd);
    return held;
}

// The share bytes of a handle with these rights and this share mode.  A
// handle without read, write or delete access takes no part, as on Windows.
unsigned ShareBytesOf(bool reads, bool writes, bool deletes, DWORD shareMode) {
    unsigned bytes = (reads ? kHoldRead : 0u) | (writes ? kHoldWrite : 0u) | (deletes ? kHoldDelete : 0u);
    if (bytes == 0)
        return 0;
    return bytes | ((shareMode & FILE_SHARE_READ) != 0 ? 0u : kDenyRead) |
           ((shareMode & FILE_SHARE_WRITE) != 0 ? 0u : kDenyWrite) |
           ((shareMode & FILE_SHARE_DELETE) != 0 ? 0u : kDenyDelete);
}

}  // namespace cvz::posix

using namespace cvz::posix;

extern "C" {

BOOL LockFile(HANDLE handle, DWORD offsetLow, DWORD offsetHigh, DWORD lengthLow, DWORD lengthHigh) {
    const uint64_t offset = (uint64_t(offsetHigh) << 32) | offsetLow;
    const uint64_t length = (uint64_t(lengthHigh) << 32) | lengthLow;
    return WithFile(handle, [&](OpenFile &file) {
        if (file.access == 0 || !(file.writable || file.lockable))
            return Fail(ERROR_ACCESS_DENIED);
        if (offset > uint64_t(kShareBase) || length > uint64_t(kShareBase) - offset)
            return Fail(ERROR_INVALID_PARAMETER);
        std::lock_guard<std::mutex> hold(file.rangesLock);
        for (const auto &range : file.ranges) {
            if (length != 0 && range.second != 0 && offset < range.first + range.second &&
                range.first < offset + length)
                return Fail(ERROR_LOCK_VIOLATION);
        }
        if (length != 0) {
            const off_t start = static_cast<off_t>(offset), size = static_cast<off_t>(length);
            struct flock lock;
            if (Lock(file.fd, F_OFD_SETLK, file.writable ? F_WRLCK : F_RDLCK, start, size, &lock) != 0)
                return Fail(errno == EAGAIN || errno == EACCES ? ERROR_LOCK_VIOLATION : ErrorFromErrno(errno));
            // A shared lock excludes nobody: another holder means a conflict.
            if (!file.writable && OthersLock(file.fd, start, size)) {
                Lock(file.fd, F_OFD_SETLK, F_UNLCK, start, size, &lock);
                return Fail(ERROR_LOCK_VIOLATION);
            }
        }
        file.ranges.emplace_back(offset, length);
        return true;
    });
}

BOOL UnlockFile(HANDLE handle, DWORD offsetLow, DWORD offsetHigh, DWORD lengthLow, DWORD lengthHigh) {
    const std::pair<uint64_t, uint64_t> range((uint64_t(offsetHigh) << 32) | offsetLow,
                                              (uint64_t(lengthHigh) << 32) | lengthLow);
    return WithFile(handle, [&](OpenFile &file) {
        std::lock_guard<std::mutex> hold(file.rangesLock);
        auto it = std::find(file.ranges.begin(), file.ranges.end(), range);
        if (it == file.ranges.end())
            return Fail(ERROR_NOT_LOCKED);
        if (range.second != 0) {
            struct flock lock;
            Lock(file.fd, F_OFD_SETLK, F_UNLCK, static_cast<off_t>(range.first), static_cast<off_t>(range.second),
                 &lock);
        }
        file.ranges.erase(it);
        return true;
    });
}

}  // extern "C"
