// File handles, file attributes and times, and the runtime's remove and
// rename, with Win32 semantics.
//
// A file handle is a kernel object (kernel_objects.h) over one descriptor,
// opened with O_CLOEXEC.  Every call works on it through a reference and
// without the kernel lock, so a read or an fsync that blocks holds up no
// other handle; the last reference closes the descriptor.  The handle road
// of the library rests on these calls, and the buffered stream of mmio.cpp
// sits on top of them.
//
// What follows Win32:
//
// - CreateFileA takes the five dispositions.  CREATE_NEW on an existing
//   name fails with ERROR_FILE_EXISTS; CREATE_ALWAYS and OPEN_ALWAYS that
//   find the file succeed with ERROR_ALREADY_EXISTS as the last error, and
//   with 0 when they create it.  TRUNCATE_EXISTING needs GENERIC_WRITE.  A
//   missing file gives ERROR_FILE_NOT_FOUND, a missing folder on the way
//   ERROR_PATH_NOT_FOUND, a folder opened as a file ERROR_ACCESS_DENIED
//   (FILE_FLAG_BACKUP_SEMANTICS opens it, for its times and attributes).
// - The access is GENERIC_READ, GENERIC_WRITE, both, or 0 for the times
//   and attributes alone; ReadFile, WriteFile, SetEndOfFile,
//   FlushFileBuffers and SetFileTime refuse a handle without the right
//   with ERROR_ACCESS_DENIED, and LockFile one without either right.
// - Read-only is a file without any write permission bit, and it holds for
//   every process, root's included: opening it for writing, overwriting
//   it, deleting it or opening it with FILE_FLAG_DELETE_ON_CLOSE fails with
//   ERROR_ACCESS_DENIED.  The handle that creates a file read-only may
//   still write it.  CREATE_ALWAYS over a hidden or system file that does
//   not ask for those attributes fails with ERROR_ACCESS_DENIED too.
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
// - FILE_FLAG_DELETE_ON_CLOSE removes the file when the last handle to it
//   in this process is closed, whichever handle that is, if the name still
//   names that file.
// - ReadFile with an OVERLAPPED record reads at the record's offset and
//   completes within the call, which Win32 allows: it returns TRUE, sets
//   Internal to 0 and InternalHigh to the count, and sets hEvent.  At or
//   beyond the end it fails with ERROR_HANDLE_EOF, and sets the event all
//   the same (see below).  WriteFile takes a record the same way.  On a
//   handle without FILE_FLAG_OVERLAPPED such a call moves the file pointer
//   past the bytes, on one with it the pointer stays; a handle with it
//   needs a record (else ERROR_INVALID_PARAMETER).
// - SetFilePointer takes a 32-bit distance, or a 64-bit one when the high
//   word's pointer is given; a result before the start fails with
//   INVALID_SET_FILE_POINTER and ERROR_NEGATIVE_SEEK (131) and leaves the
//   pointer, as does a result beyond 32 bits without the high word, with
//   ERROR_INVALID_PARAMETER.  A success whose low word is 0xFFFFFFFF sets
//   the last error to 0, so that a caller can tell it from a failure.
// - SetEndOfFile beyond the end reserves the new blocks, as Windows does
//   (fallocate; where the file system cannot, zeros are written): a size
//   the disk cannot hold fails at once with ERROR_DISK_FULL and leaves the
//   size as it was, instead of failing later as a lost write.  WriteFile
//   onto a full disk fails with ERROR_DISK_FULL, the count saying what
//   reached the file.
// - Times are kept to the 100 ns tick as far as the file system keeps them
//   (ext4, xfs, btrfs and tmpfs keep nanoseconds).  A FILETIME of 0 or
//   0xFFFFFFFF'FFFFFFFF given to SetFileTime leaves that time alone.
// - Attributes.  Read-only is the write permission bits: setting it clears
//   all three, clearing it gives the owner write permission and the group
//   and others write permission where they may read and the umask allows.
//   Hidden, system, archive and temporary live in the extended attribute
//   user.DOSATTRIB as the hexadecimal text "0x22" that Samba and wine read
//   and write, so that what the library marks hidden shows hidden to them;
//   the binary record that newer Samba versions add after that text's
//   ending zero is passed over.  A file without the attribute is a plain
//   file with the archive bit, which Windows gives every new file; a file
//   with no attribute at all reports FILE_ATTRIBUTE_NORMAL (0x80), and a
//   folder FILE_ATTRIBUTE_DIRECTORY.  Errors come from errno through one
//   table below.
// - remove and rename are the runtime's functions on drive-letter names:
//   0, or -1 with errno as the Windows runtime sets it (EACCES for a
//   read-only file or a sharing violation, ENOENT, EEXIST) and the Win32
//   error through GetLastError.  rename never replaces an existing name:
//   it fails with EEXIST and ERROR_ALREADY_EXISTS.
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
// - A file that the process may write but not read (no read permission)
//   is opened for writing alone and takes no part in share modes; one that
//   it may not read opened with access 0 has only its times, size and
//   attributes (O_PATH).  Root reads everything, so neither case arises.
// - LockFile ranges are locks of the same kind: they exclude each other's
//   LockFile between handles and processes, but reads and writes of other
//   handles are not refused, as Windows refuses them.  On a handle opened
//   for reading alone, whose descriptor cannot take an exclusive lock, the
//   range is taken shared and checked after, as with share modes.  Ranges
//   must end below the share bytes (ERROR_INVALID_PARAMETER otherwise).
// - FILE_FLAG_DELETE_ON_CLOSE counts the handles of this process only: a
//   handle of another process does not delay the deletion.  DeleteFileA,
//   remove and rename test for FILE_SHARE_DELETE just before acting, so a
//   handle opened in between is not seen.  The name goes at once, as with
//   the POSIX deletion of Windows 10; handles open with FILE_SHARE_DELETE
//   keep the data.
// - FILE_FLAG_NO_BUFFERING is O_DIRECT where the file system takes it and
//   a plain open where it refuses it; with it, transfers must be aligned to
//   the device's blocks, and misaligned ones fail with
//   ERROR_INVALID_PARAMETER, as on Windows.  FILE_FLAG_WRITE_THROUGH is
//   O_DSYNC.  FILE_FLAG_RANDOM_ACCESS and FILE_FLAG_SEQUENTIAL_SCAN are
//   posix_fadvise hints.  FILE_ATTRIBUTE_TEMPORARY is kept as an attribute
//   and changes nothing else.
// - An overlapped read is done when ReadFile returns; nothing runs in the
//   background and nothing can be cancelled.  A read that fails still sets
//   the event, so that a caller waiting on it is not left waiting, where
//   Windows leaves the event alone after a failure reported by the call.
// - The creation time is the birth time where the file system keeps one
//   (statx), else the time of the last status change, as wine reports it;
//   SetFileTime cannot change it and leaves it alone.
// - Where the file system has no extended attributes, hidden, system and
//   archive cannot be kept: setting them succeeds and changes nothing, and
//   a name beginning with '.' reports hidden, the Unix convention (wine's
//   too).  Read-only on a folder is not kept: a folder without write
//   permission would refuse new files, which Windows's read-only folder
//   does not.
// - A name that holds '\' cannot be reached, since '\' is a separator
//   (paths.h).  Names are not folded to one case.
// - rename within one file system only: across two it fails with EXDEV
//   and ERROR_NOT_SAME_DEVICE, where the Windows runtime copies a file.
//   Where the file system lacks RENAME_NOREPLACE, a file is renamed by
//   link and unlink, and a folder after a test that the new name is free,
//   which leaves a short window.
// - Writes succeed once the kernel has the data, which on file systems
//   that reserve blocks at write (ext4, xfs, tmpfs) means the disk has
//   room for it; file systems that allocate only at write-back (some
//   network and copy-on-write ones) may still fail at FlushFileBuffers.
#include "platform/posix/files.h"

#include "platform/posix/kernel_objects.h"
#include "platform/posix/paths.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace cvz::posix {
namespace {

struct ErrnoError {
    int error;
    DWORD win32;
};

// errno to Win32, for every call of this file.  ENOENT is refined for
// names (NameError below).
const ErrnoError kErrors[] = {
    {EPERM, ERROR_ACCESS_DENIED},
    {ENOENT, ERROR_FILE_NOT_FOUND},
    {EIO, ERROR_IO_DEVICE},
    {ENXIO, ERROR_FILE_NOT_FOUND},
    {EBADF, ERROR_INVALID_HANDLE},
    {EAGAIN, ERROR_LOCK_VIOLATION},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EACCES, ERROR_ACCESS_DENIED},
    {EFAULT, ERROR_NOACCESS},
    {EBUSY, ERROR_BUSY},
    {EEXIST, ERROR_ALREADY_EXISTS},
    {EXDEV, ERROR_NOT_SAME_DEVICE},
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {EISDIR, ERROR_ACCESS_DENIED},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EFBIG, ERROR_FILE_TOO_LARGE},
    {ENOSPC, ERROR_DISK_FULL},
    {ESPIPE, ERROR_SEEK},
    {EROFS, ERROR_ACCESS_DENIED},
    {EMLINK, ERROR_TOO_MANY_LINKS},
    {EDEADLK, ERROR_LOCK_VIOLATION},
    {ENAMETOOLONG, ERROR_FILENAME_EXCED_RANGE},
    {ENOLCK, ERROR_NOT_ENOUGH_QUOTA},
    {ENOSYS, ERROR_NOT_SUPPORTED},
    {ENOTEMPTY, ERROR_DIR_NOT_EMPTY},
    {ELOOP, ERROR_CANT_RESOLVE_FILENAME},
    {EOVERFLOW, ERROR_ARITHMETIC_OVERFLOW},
    {EOPNOTSUPP, ERROR_NOT_SUPPORTED},
    {EDQUOT, ERROR_DISK_FULL},
};

bool Fail(DWORD error) {
    SetLastError(error);
    return false;
}

bool FailErrno(int error) {
    return Fail(ErrorFromErrno(error));
}

// The error of a call on `path` that failed with `error`: a missing name
// is ERROR_FILE_NOT_FOUND when its folder exists, else
// ERROR_PATH_NOT_FOUND, as Windows tells them apart.
DWORD NameError(const char *path, int error) {
    if (error != ENOENT)
        return ErrorFromErrno(error);
    std::string folder(path);
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    const size_t slash = folder.rfind('/');
    folder = slash == std::string::npos ? "." : slash == 0 ? "/" : folder.substr(0, slash);
    struct stat st;
    return stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode) ? ERROR_FILE_NOT_FOUND
                                                                : ERROR_PATH_NOT_FOUND;
}

bool FailName(const char *path, int error) {
    return Fail(NameError(path, error));
}

// The native path of `name`, or false with the last error set.
bool PathOf(const char *name, char (&path)[PATH_MAX]) {
    if (name == nullptr)
        return Fail(ERROR_INVALID_PARAMETER);
    return NativePath(name, path, sizeof path);
}

// ---- Share modes and byte ranges ------------------------------------------

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

// ---- Attributes -------------------------------------------------------------

const char kDosAttributeName[] = "user.DOSATTRIB";
const DWORD kKeptAttributes =
    FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_TEMPORARY;

DWORD DefaultAttributes(const struct stat &st) {
    return S_ISDIR(st.st_mode) ? DWORD(0) : DWORD(FILE_ATTRIBUTE_ARCHIVE);
}

bool IsDotName(const char *path) {
    const char *last = strrchr(path, '/');
    last = last != nullptr ? last + 1 : path;
    return last[0] == '.' && last[1] != '\0' && strcmp(last, "..") != 0;
}

// The attributes of a file with status `st`, from its user.DOSATTRIB:
// `length` is what getxattr returned for `data`, `error` its errno when it
// failed; `path`, when known, for the names of file systems without
// extended attributes.
DWORD ComposeAttributes(const struct stat &st, char *data, ssize_t length, int error,
                        const char *path) {
    DWORD attributes = DefaultAttributes(st);
    if (length > 2 && data[0] == '0' && (data[1] == 'x' || data[1] == 'X')) {
        data[length] = '\0';  // the text ends at its own zero, if it has one
        attributes = static_cast<DWORD>(strtoul(data + 2, nullptr, 16)) & kKeptAttributes;
    } else if (length < 0 && error == EOPNOTSUPP && path != nullptr && IsDotName(path)) {
        attributes |= FILE_ATTRIBUTE_HIDDEN;
    }
    if (S_ISDIR(st.st_mode)) {
        attributes |= FILE_ATTRIBUTE_DIRECTORY;
    } else if ((st.st_mode & 0222) == 0) {
        attributes |= FILE_ATTRIBUTE_READONLY;
    }
    return attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
}

DWORD AttributesOfPath(const char *path, const struct stat &st) {
    char data[80];
    const ssize_t length = getxattr(path, kDosAttributeName, data, sizeof data - 1);
    return ComposeAttributes(st, data, length, errno, path);
}

DWORD AttributesOfDescriptor(int fd, const struct stat &st) {
    char data[80];
    const ssize_t length = fgetxattr(fd, kDosAttributeName, data, sizeof data - 1);
    return ComposeAttributes(st, data, length, errno, nullptr);
}

// Stores the kept bits of `attributes` in user.DOSATTRIB of `fd`, or of
// `path` when `fd` is -1.  A file with the default attributes goes without.
// Returns 0 or the errno; EOPNOTSUPP where the file system keeps none.
int StoreAttributes(int fd, const char *path, const struct stat &st, DWORD attributes) {
    attributes &= kKeptAttributes;
    int result;
    if (attributes == DefaultAttributes(st)) {
        result = fd >= 0 ? fremovexattr(fd, kDosAttributeName) : removexattr(path, kDosAttributeName);
        if (result != 0 && errno == ENODATA)
            return 0;
    } else {
        char text[16];
        const int length = snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(attributes));
        result = fd >= 0 ? fsetxattr(fd, kDosAttributeName, text, static_cast<size_t>(length), 0)
                         : setxattr(path, kDosAttributeName, text, static_cast<size_t>(length), 0);
    }
    return result == 0 ? 0 : errno;
}

mode_t CurrentUmask() {
    mode_t mask = 022;
    if (FILE *status = fopen("/proc/self/status", "re")) {
        char line[128];
        unsigned value;
        while (fgets(line, sizeof line, status) != nullptr) {
            if (sscanf(line, "Umask: %o", &value) == 1) {
                mask = static_cast<mode_t>(value);
                break;
            }
        }
        fclose(status);
    }
    return mask;
}

// The mode of a file made writable again: the owner may write, and the
// group and others where they may read and the umask lets them.
mode_t WritableMode(mode_t mode) {
    return mode | S_IWUSR | (((mode & (S_IRGRP | S_IROTH)) >> 1) & ~CurrentUmask());
}

// ---- Times ------------------------------------------------------------------

const int64_t kTicksPerSecond = 10000000;
const int64_t kSecondsFrom1601To1970 = 11644473600LL;

FILETIME FileTimeOf(int64_t seconds, int64_t nanoseconds) {
    int64_t ticks = (seconds + kSecondsFrom1601To1970) * kTicksPerSecond + nanoseconds / 100;
    if (ticks < 0)
        ticks = 0;
    return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(static_cast<uint64_t>(ticks) >> 32)};
}

// The time that `time` gives SetFileTime; UTIME_OMIT for a null pointer, 0
// and 0xFFFFFFFF'FFFFFFFF, which leave that time alone.
timespec TimespecOf(const FILETIME *time) {
    timespec result{0, UTIME_OMIT};
    if (time == nullptr)
        return result;
    const uint64_t ticks = (uint64_t(time->dwHighDateTime) << 32) | time->dwLowDateTime;
    if (ticks == 0 || ticks >= UINT64_MAX - 1)
        return result;
    const int64_t sinceEpoch = static_cast<int64_t>(ticks) - kSecondsFrom1601To1970 * kTicksPerSecond;
    int64_t seconds = sinceEpoch / kTicksPerSecond;
    int64_t rest = sinceEpoch % kTicksPerSecond;
    if (rest < 0) {
        rest += kTicksPerSecond;
        --seconds;
    }
    result.tv_sec = static_cast<time_t>(seconds);
    result.tv_nsec = static_cast<long>(rest * 100);
    return result;
}

struct FileTimes {
    FILETIME created, accessed, written;
};

bool TimesOf(int fd, FileTimes *times) {
    struct statx status;
    if (statx(fd, "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
        return FailErrno(errno);
    const struct statx_timestamp &born =
        (status.stx_mask & STATX_BTIME) != 0 ? status.stx_btime : status.stx_ctime;
    times->created = FileTimeOf(born.tv_sec, born.tv_nsec);
    times->accessed = FileTimeOf(status.stx_atime.tv_sec, status.stx_atime.tv_nsec);
    times->written = FileTimeOf(status.stx_mtime.tv_sec, status.stx_mtime.tv_nsec);
    return true;
}

// ---- Handles ----------------------------------------------------------------

struct FileId {
    dev_t device;
    ino_t inode;
    bool operator<(const FileId &other) const {
        return device != other.device ? device < other.device : inode < other.inode;
    }
    bool operator==(const FileId &other) const { return device == other.device && inode == other.inode; }
};

FileId IdOf(const struct stat &st) {
    return FileId{st.st_dev, st.st_ino};
}

// The files that handles of this process hold, for FILE_FLAG_DELETE_ON_CLOSE.
// Its mutex also serialises the share checks of the process's opens.
struct OpenRecord {
    int handles = 0;
    bool deleteOnClose = false;
    std::string path;  // absolute, for the deletion
};

struct OpenFiles {
    std::mutex lock;
    std::map<FileId, OpenRecord> files;
};

OpenFiles &TheOpenFiles() {
    static OpenFiles *files = new OpenFiles;  // never destroyed, as the handle table
    return *files;
}

class OpenFile final : public KernelObject {
public:
    OpenFile(int fd, DWORD access, bool overlapped, bool writable, bool lockable, FileId id)
        : fd(fd), access(access), overlapped(overlapped), writable(writable), lockable(lockable), id(id) {}
    ~OpenFile() override;

    // A file handle is signalled: no transfer is ever under way.
    bool IsSignalled() const override { return true; }

    bool Reads() const { return (access & GENERIC_READ) != 0; }
    bool Writes() const { return (access & GENERIC_WRITE) != 0; }

    const int fd;
    const DWORD access;       // GENERIC_READ and GENERIC_WRITE
    const bool overlapped;    // FILE_FLAG_OVERLAPPED
    const bool writable;      // the descriptor may take exclusive locks
    const bool lockable;      // the descriptor may take shared locks
    const FileId id;

    // The ranges that LockFile took through this handle: offset, length.
    std::mutex rangesLock;
    std::vector<std::pair<uint64_t, uint64_t>> ranges;
};

OpenFile::~OpenFile() {
    close(fd);
    OpenFiles &files = TheOpenFiles();
    std::lock_guard<std::mutex> hold(files.lock);
    auto it = files.files.find(id);
    if (it == files.files.end() || --it->second.handles > 0)
        return;
    struct stat st;
    const char *path = it->second.path.c_str();
    if (it->second.deleteOnClose && lstat(path, &st) == 0 && IdOf(st) == id)
        unlink(path);
    files.files.erase(it);
}

// The prologue of every call on a file handle: runs `action(file)` with a
// reference to the file and without the kernel lock, so that the I/O in it
// blocks nobody else; FALSE with ERROR_INVALID_HANDLE when `handle` names
// no file.
template <class Action>
BOOL WithFile(HANDLE handle, Action action) {
    return WithReference<OpenFile>(handle, FALSE, [&](OpenFile &file) -> BOOL { return action(file); });
}

int OpenRetrying(const char *path, int how, mode_t mode) {
    int fd;
    do {
        fd = open(path, how, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

// Opens `path` with the access the handle needs and `how`'s other flags;
// `accessMode` receives what the descriptor got.  A handle that writes
// reads underneath too, since share modes are shared locks and need a
// descriptor open for reading; where the file may not be read, a writer
// gets a write-only descriptor and a handle of access 0 an O_PATH one.
// O_DIRECT is dropped where the file system refuses it.
int OpenDescriptor(const char *path, int how, bool reads, bool writes, mode_t mode, int *accessMode) {
    int modes[2] = {O_RDONLY, O_PATH};
    int count = reads ? 1 : 2;
    if (writes) {
        modes[0] = O_RDWR;
        modes[1] = O_WRONLY;
    }
    for (int i = 0; i < count;) {
        const int fd = OpenRetrying(path, modes[i] | how, mode);
        if (fd >= 0) {
            *accessMode = modes[i];
            return fd;
        }
        if (errno == EINVAL && (how & O_DIRECT) != 0) {
            how &= ~O_DIRECT;
        } else if (errno == EACCES) {
            ++i;
        } else {
            return -1;
        }
    }
    errno = EACCES;
    return -1;
}

// Moves up to `size` bytes through `step(done, left)`, a read or write
// that returns its count or -1, going on after short counts.  Returns the
// count moved; `error` is the errno that stopped it, or 0.
template <typename Step>
DWORD Transfer(DWORD size, int *error, Step step) {
    DWORD done = 0;
    *error = 0;
    while (done < size) {
        const ssize_t count = step(done, size - done);
        if (count > 0) {
            done += static_cast<DWORD>(count);
        } else if (count == 0) {
            break;
        } else if (errno != EINTR) {
            *error = errno;
            break;
        }
    }
    return done;
}

// Status words of a completed OVERLAPPED record.
const ULONG_PTR kStatusSuccess = 0;
const ULONG_PTR kStatusEndOfFile = 0xC0000011;
const ULONG_PTR kStatusFailed = 0xC0000001;

void Complete(LPOVERLAPPED overlapped, DWORD count, ULONG_PTR status) {
    overlapped->Internal = status;
    overlapped->InternalHigh = count;
    // The low bit of the event keeps a completion from a completion port.
    HANDLE event = reinterpret_cast<HANDLE>(reinterpret_cast<uintptr_t>(overlapped->hEvent) & ~uintptr_t(1));
    if (event != nullptr)
        SetEvent(event);
}

// The low word of `value`, with the high word in `*high` when that is
// given.  A low word of 0xFFFFFFFF, which is also the failure value, sets
// the last error to 0, so that a caller can tell the success.
template <typename Word>
DWORD LowWord(uint64_t value, Word *high) {
    if (high != nullptr)
        *high = static_cast<Word>(value >> 32);
    if (static_cast<DWORD>(value) == 0xFFFFFFFF)
        SetLastError(ERROR_SUCCESS);
    return static_cast<DWORD>(value);
}

int64_t OffsetOf(const OVERLAPPED &overlapped) {
    return static_cast<int64_t>((uint64_t(overlapped.OffsetHigh) << 32) | overlapped.Offset);
}

// Makes the file `to` bytes long, from `from`.  Growing reserves the new
// blocks (or writes zeros where the file system cannot reserve), and a
// disk without room leaves the size at `from`.
bool Resize(int fd, off_t from, off_t to) {
    if (to <= from)
        return ftruncate(fd, to) == 0 || FailErrno(errno);
    int result;
    do {
        result = fallocate(fd, 0, from, to - from);
    } while (result != 0 && errno == EINTR);
    if (result == 0)
        return true;
    int error = errno;
    if (error == EOPNOTSUPP || error == ENOSYS) {
        static const char zeros[65536] = {};
        off_t at = from;
        while (at < to) {
            const size_t piece = static_cast<size_t>(std::min<off_t>(to - at, sizeof zeros));
            const ssize_t written = pwrite(fd, zeros, piece, at);
            if (written > 0) {
                at += written;
            } else if (errno != EINTR) {
                break;
            }
        }
        if (at == to)
            return true;
        error = errno;
        if (error == EINVAL)  // an O_DIRECT descriptor: the size alone
            return ftruncate(fd, to) == 0 || FailErrno(errno);
        const int restored = ftruncate(fd, from);  // the zeros that fitted go
        (void)restored;
    } else {
        // Blocks that a failed reservation left beyond the end go.
        fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, from, to - from);
    }
    return FailErrno(error);
}

}  // namespace

DWORD ErrorFromErrno(int error) {
    for (const ErrnoError &entry : kErrors) {
        if (entry.error == error)
            return entry.win32;
    }
    return ERROR_GEN_FAILURE;
}

bool ReserveFileBlocks(HANDLE handle, int64_t offset, int64_t length) {
    return WithFile(handle, [&](OpenFile &file) {
        int result;
        do {
            result = fallocate(file.fd, FALLOC_FL_KEEP_SIZE, offset, length);
        } while (result != 0 && errno == EINTR);
        return result == 0 || errno == EOPNOTSUPP || errno == ENOSYS || FailErrno(errno);
    });
}

int DuplicateFileDescriptor(HANDLE handle, DWORD *access) {
    int fd = -1;
    WithFile(handle, [&](OpenFile &file) {
        fd = fcntl(file.fd, F_DUPFD_CLOEXEC, 0);
        if (fd < 0)
            return FailErrno(errno);
        if (access != nullptr)
            *access = file.access;
        return true;
    });
    return fd;
}

void ReleaseBlocksBeyondEnd(HANDLE handle, int64_t reservedEnd) {
    WithFile(handle, [&](OpenFile &file) {
        struct stat st;
        if (fstat(file.fd, &st) == 0 && reservedEnd > st.st_size)
            fallocate(file.fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, st.st_size, reservedEnd - st.st_size);
        return true;
    });
}

}  // namespace cvz::posix

namespace cvz::posix {
namespace {

HANDLE FailedOpen(int fd, DWORD error) {
    if (fd >= 0)
        close(fd);
    SetLastError(error);
    return INVALID_HANDLE_VALUE;
}

// Opens `path` as `disposition` asks; `created` tells whether the file is
// new.  -1 with the last error on failure.
int OpenByDisposition(const char *path, int how, bool reads, bool writes, mode_t mode, DWORD disposition,
                      int *accessMode, bool *created) {
    const bool mayCreate = disposition == CREATE_NEW || disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS;
    for (;;) {
        if (mayCreate) {
            const int fd = OpenDescriptor(path, how | O_CREAT | O_EXCL, reads, writes, mode, accessMode);
            if (fd >= 0) {
                *created = true;
                return fd;
            }
            if (errno != EEXIST || disposition == CREATE_NEW) {
                SetLastError(errno != EEXIST ? NameError(path, errno) : ERROR_FILE_EXISTS);
                return -1;
            }
        }
        const int fd = OpenDescriptor(path, how, reads, writes, mode, accessMode);
        if (fd >= 0)
            return fd;
        if (errno != ENOENT || !mayCreate) {  // else removed meanwhile: create it
            SetLastError(NameError(path, errno));
            return -1;
        }
    }
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

// Deletes the file `path` as DeleteFileA does: false with the last error.
bool DeleteNative(const char *path) {
    struct stat st;
    if (lstat(path, &st) != 0)
        return FailName(path, errno);
    if (S_ISDIR(st.st_mode) || (S_ISREG(st.st_mode) && (st.st_mode & 0222) == 0))
        return Fail(ERROR_ACCESS_DENIED);
    if (S_ISREG(st.st_mode) && HeldWithoutSharingDelete(path))
        return Fail(ERROR_SHARING_VIOLATION);
    return unlink(path) == 0 || FailName(path, errno);
}

// The errno that the Windows runtime sets for the Win32 error `error`.
int RuntimeErrno(DWORD error) {
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
        return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
        return EACCES;
    case ERROR_ALREADY_EXISTS:
    case ERROR_FILE_EXISTS:
        return EEXIST;
    case ERROR_NOT_SAME_DEVICE:
        return EXDEV;
    case ERROR_DISK_FULL:
        return ENOSPC;
    default:
        return EINVAL;
    }
}

int RuntimeFailure() {
    errno = RuntimeErrno(GetLastError());
    return -1;
}

}  // namespace
}  // namespace cvz::posix

using namespace cvz::posix;

extern "C" {

HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD shareMode, LPSECURITY_ATTRIBUTES,
                   DWORD disposition, DWORD flags, HANDLE) {
    if (disposition < CREATE_NEW || disposition > TRUNCATE_EXISTING ||
        (disposition == TRUNCATE_EXISTING && (access & GENERIC_WRITE) == 0))
        return FailedOpen(-1, ERROR_INVALID_PARAMETER);
    char path[PATH_MAX];
    if (!PathOf(name, path))
        return INVALID_HANDLE_VALUE;
    const bool reads = (access & GENERIC_READ) != 0;
    const bool writes = (access & GENERIC_WRITE) != 0;
    const bool deletes = (flags & FILE_FLAG_DELETE_ON_CLOSE) != 0;

    int how = O_CLOEXEC | O_NOCTTY;
    if ((flags & FILE_FLAG_NO_BUFFERING) != 0)
        how |= O_DIRECT;
    if ((flags & FILE_FLAG_WRITE_THROUGH) != 0)
        how |= O_DSYNC;
    const mode_t mode = (flags & FILE_ATTRIBUTE_READONLY) != 0 ? 0444 : 0666;
    int accessMode = O_RDONLY;
    bool created = false;
    const int fd = OpenByDisposition(path, how, reads, writes, mode, disposition, &accessMode, &created);
    if (fd < 0)
        return INVALID_HANDLE_VALUE;

    struct stat st;
    if (fstat(fd, &st) != 0)
        return FailedOpen(fd, ErrorFromErrno(errno));
    if (S_ISDIR(st.st_mode) && (flags & FILE_FLAG_BACKUP_SEMANTICS) == 0)
        return FailedOpen(fd, ERROR_ACCESS_DENIED);
    const bool truncates = !created && (disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING);
    DWORD attributes = FILE_ATTRIBUTE_ARCHIVE;
    if (!created) {
        attributes = AttributesOfDescriptor(fd, st);
        if ((attributes & FILE_ATTRIBUTE_READONLY) != 0 && (writes || truncates || deletes))
            return FailedOpen(fd, ERROR_ACCESS_DENIED);
        const DWORD hiding = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
        if (disposition == CREATE_ALWAYS && (attributes & hiding & ~flags) != 0)
            return FailedOpen(fd, ERROR_ACCESS_DENIED);
    }

    const unsigned bytes = ShareBytesOf(reads, writes, deletes, shareMode);
    const bool lockable = accessMode == O_RDONLY || accessMode == O_RDWR;
    const bool writable = accessMode == O_RDWR || accessMode == O_WRONLY;
    std::string absolute;
    if (deletes && path[0] != '/') {
        char folder[PATH_MAX];
        if (getcwd(folder, sizeof folder) != nullptr)
            absolute = std::string(folder) + "/";
    }
    absolute += path;

    OpenFiles &files = TheOpenFiles();
    std::shared_ptr<OpenFile> file;
    {
        std::lock_guard<std::mutex> hold(files.lock);
        if (bytes != 0 && lockable && !TakeShareBytes(fd, bytes))
            return FailedOpen(fd, GetLastError());
        if (truncates && ftruncate(fd, 0) != 0)
            return FailedOpen(fd, ErrorFromErrno(errno));
        OpenRecord &record = files.files[IdOf(st)];
        ++record.handles;
        if (deletes) {
            record.deleteOnClose = true;
            record.path = absolute;
        }
        file = std::make_shared<OpenFile>(fd, access & (GENERIC_READ | GENERIC_WRITE),
                                          (flags & FILE_FLAG_OVERLAPPED) != 0, writable, lockable, IdOf(st));
    }

    if ((created && (flags & kKeptAttributes & ~FILE_ATTRIBUTE_ARCHIVE) != 0) || truncates) {
        // A new or overwritten file has the attributes asked for, and keeps
        // its hidden and system ones; the archive bit comes with every
        // change, as on Windows.
        attributes = (attributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM)) | flags | FILE_ATTRIBUTE_ARCHIVE;
        StoreAttributes(fd, path, st, attributes);
        if (truncates && (flags & FILE_ATTRIBUTE_READONLY) != 0)
            fchmod(fd, st.st_mode & ~0222);
    }
    if ((flags & FILE_FLAG_RANDOM_ACCESS) != 0)
        posix_fadvise(fd, 0, 0, POSIX_FADV_RANDOM);
    if ((flags & FILE_FLAG_SEQUENTIAL_SCAN) != 0)
        posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);

    HANDLE handle = Locked([&] { return NewHandle(std::move(file)); });
    SetLastError(!created && (disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS) ? ERROR_ALREADY_EXISTS
                                                                                         : ERROR_SUCCESS);
    return handle;
}

BOOL ReadFile(HANDLE handle, LPVOID buffer, DWORD toRead, LPDWORD read, LPOVERLAPPED overlapped) {
    if (read != nullptr)
        *read = 0;
    return WithFile(handle, [&](OpenFile &file) {
        if (!file.Reads())
            return Fail(ERROR_ACCESS_DENIED);
        if (overlapped == nullptr && file.overlapped)
            return Fail(ERROR_INVALID_PARAMETER);
        char *bytes = static_cast<char *>(buffer);
        const int fd = file.fd;
        int error = 0;
        DWORD count;
        if (overlapped == nullptr) {
            count = Transfer(toRead, &error,
                             [fd, bytes](DWORD done, DWORD left) { return ::read(fd, bytes + done, left); });
        } else {
            const int64_t offset = OffsetOf(*overlapped);
            count = Transfer(toRead, &error, [fd, bytes, offset](DWORD done, DWORD left) {
                return pread(fd, bytes + done, left, offset + done);
            });
            if (!file.overlapped && error == 0)
                lseek(fd, offset + count, SEEK_SET);
            const bool atEnd = error == 0 && count == 0 && toRead > 0;
            Complete(overlapped, count, error != 0 ? kStatusFailed : atEnd ? kStatusEndOfFile : kStatusSuccess);
            if (atEnd)
                return Fail(ERROR_HANDLE_EOF);
        }
        if (read != nullptr)
            *read = count;
        return error == 0 || FailErrno(error);
    });
}

BOOL WriteFile(HANDLE handle, LPCVOID buffer, DWORD toWrite, LPDWORD written, LPOVERLAPPED overlapped) {
    if (written != nullptr)
        *written = 0;
    return WithFile(handle, [&](OpenFile &file) {
        if (!file.Writes())
            return Fail(ERROR_ACCESS_DENIED);
        if (overlapped == nullptr && file.overlapped)
            return Fail(ERROR_INVALID_PARAMETER);
        const char *bytes = static_cast<const char *>(buffer);
        const int fd = file.fd;
        int error = 0;
        DWORD count;
        if (overlapped == nullptr) {
            count = Transfer(toWrite, &error,
                             [fd, bytes](DWORD done, DWORD left) { return write(fd, bytes + done, left); });
        } else {
            int64_t offset = OffsetOf(*overlapped);
            struct stat st;
            if (overlapped->Offset == 0xFFFFFFFF && overlapped->OffsetHigh == 0xFFFFFFFF)  // at the end
                offset = fstat(fd, &st) == 0 ? st.st_size : 0;
            count = Transfer(toWrite, &error, [fd, bytes, offset](DWORD done, DWORD left) {
                return pwrite(fd, bytes + done, left, offset + done);
            });
            if (!file.overlapped)
                lseek(fd, offset + count, SEEK_SET);
            Complete(overlapped, count, error != 0 ? kStatusFailed : kStatusSuccess);
        }
        if (written != nullptr)
            *written = count;
        return error == 0 || FailErrno(error);
    });
}

BOOL GetOverlappedResult(HANDLE handle, LPOVERLAPPED overlapped, LPDWORD transferred, BOOL) {
    return WithFile(handle, [&](OpenFile &) {
        *transferred = static_cast<DWORD>(overlapped->InternalHigh);
        switch (overlapped->Internal) {
        case kStatusSuccess:
            return true;
        case kStatusEndOfFile:
            return Fail(ERROR_HANDLE_EOF);
        default:
            return Fail(ERROR_GEN_FAILURE);
        }
    });
}

DWORD SetFilePointer(HANDLE handle, LONG distance, PLONG distanceHigh, DWORD method) {
    return WithReference<OpenFile>(handle, INVALID_SET_FILE_POINTER, [&](OpenFile &file) -> DWORD {
        const int64_t move = distanceHigh != nullptr
                                 ? static_cast<int64_t>((uint64_t(uint32_t(*distanceHigh)) << 32) | uint32_t(distance))
                                 : distance;
        int64_t base = 0;
        struct stat st;
        if (method == FILE_CURRENT) {
            base = lseek(file.fd, 0, SEEK_CUR);
        } else if (method == FILE_END) {
            base = fstat(file.fd, &st) == 0 ? st.st_size : -1;
        } else if (method != FILE_BEGIN) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return INVALID_SET_FILE_POINTER;
        }
        const int64_t position = base + move;
        if (base < 0 || position < 0 || (distanceHigh == nullptr && position > INT64_C(0xFFFFFFFF))) {
            SetLastError(base < 0 ? ErrorFromErrno(errno) : position < 0 ? ERROR_NEGATIVE_SEEK : ERROR_INVALID_PARAMETER);
            return INVALID_SET_FILE_POINTER;
        }
        if (lseek(file.fd, position, SEEK_SET) < 0) {
            FailErrno(errno);
            return INVALID_SET_FILE_POINTER;
        }
        return LowWord(static_cast<uint64_t>(position), distanceHigh);
    });
}

BOOL SetEndOfFile(HANDLE handle) {
    return WithFile(handle, [&](OpenFile &file) {
        if (!file.Writes())
            return Fail(ERROR_ACCESS_DENIED);
        struct stat st;
        const off_t end = lseek(file.fd, 0, SEEK_CUR);
        if (end < 0 || fstat(file.fd, &st) != 0)
            return FailErrno(errno);
        return Resize(file.fd, st.st_size, end);
    });
}

DWORD GetFileSize(HANDLE handle, LPDWORD sizeHigh) {
    return WithReference<OpenFile>(handle, INVALID_FILE_SIZE, [&](OpenFile &file) -> DWORD {
        struct stat st;
        if (fstat(file.fd, &st) != 0) {
            FailErrno(errno);
            return INVALID_FILE_SIZE;
        }
        return LowWord(static_cast<uint64_t>(st.st_size), sizeHigh);
    });
}

BOOL FlushFileBuffers(HANDLE handle) {
    return WithFile(handle, [&](OpenFile &file) {
        if (!file.Writes())
            return Fail(ERROR_ACCESS_DENIED);
        return fsync(file.fd) == 0 || FailErrno(errno);
    });
}

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

BOOL GetFileTime(HANDLE handle, LPFILETIME creation, LPFILETIME lastAccess, LPFILETIME lastWrite) {
    return WithFile(handle, [&](OpenFile &file) {
        FileTimes times;
        if (!TimesOf(file.fd, &times))
            return false;
        if (creation != nullptr)
            *creation = times.created;
        if (lastAccess != nullptr)
            *lastAccess = times.accessed;
        if (lastWrite != nullptr)
            *lastWrite = times.written;
        return true;
    });
}

BOOL SetFileTime(HANDLE handle, const FILETIME *, const FILETIME *lastAccess, const FILETIME *lastWrite) {
    return WithFile(handle, [&](OpenFile &file) {
        if (!file.Writes())
            return Fail(ERROR_ACCESS_DENIED);
        const timespec times[2] = {TimespecOf(lastAccess), TimespecOf(lastWrite)};
        return futimens(file.fd, times) == 0 || FailErrno(errno);
    });
}

BOOL GetFileInformationByHandle(HANDLE handle, LPBY_HANDLE_FILE_INFORMATION information) {
    return WithFile(handle, [&](OpenFile &file) {
        struct stat st;
        FileTimes times;
        if (!TimesOf(file.fd, &times))
            return false;
        if (fstat(file.fd, &st) != 0)
            return FailErrno(errno);
        information->dwFileAttributes = AttributesOfDescriptor(file.fd, st);
        information->ftCreationTime = times.created;
        information->ftLastAccessTime = times.accessed;
        information->ftLastWriteTime = times.written;
        information->dwVolumeSerialNumber = static_cast<DWORD>(st.st_dev);
        information->nFileSizeHigh = static_cast<DWORD>(static_cast<uint64_t>(st.st_size) >> 32);
        information->nFileSizeLow = static_cast<DWORD>(st.st_size);
        information->nNumberOfLinks = static_cast<DWORD>(st.st_nlink);
        information->nFileIndexHigh = static_cast<DWORD>(static_cast<uint64_t>(st.st_ino) >> 32);
        information->nFileIndexLow = static_cast<DWORD>(st.st_ino);
        return true;
    });
}

DWORD GetFileAttributesA(LPCSTR name) {
    char path[PATH_MAX];
    struct stat st;
    if (!PathOf(name, path))
        return INVALID_FILE_ATTRIBUTES;
    if (stat(path, &st) != 0) {
        FailName(path, errno);
        return INVALID_FILE_ATTRIBUTES;
    }
    return AttributesOfPath(path, st);
}

BOOL SetFileAttributesA(LPCSTR name, DWORD attributes) {
    char path[PATH_MAX];
    struct stat st;
    if (!PathOf(name, path))
        return FALSE;
    if (stat(path, &st) != 0)
        return FailName(path, errno);
    const mode_t mode = st.st_mode & 07777;
    mode_t wanted = mode;
    if (!S_ISDIR(st.st_mode))
        wanted = (attributes & FILE_ATTRIBUTE_READONLY) != 0 ? mode & ~0222
                 : (mode & 0222) == 0                        ? WritableMode(mode)
                                                             : mode;
    // The extended attribute needs write permission (root aside), so a
    // read-only file is made writable for the time it takes.
    const bool opened = (mode & 0222) == 0 && !S_ISDIR(st.st_mode);
    if (opened && chmod(path, mode | S_IWUSR) != 0)
        return FailName(path, errno);
    const int error = StoreAttributes(-1, path, st, attributes);
    if ((opened || wanted != mode) && chmod(path, wanted) != 0)
        return FailName(path, errno);
    if (error != 0 && error != EOPNOTSUPP)
        return FailErrno(error);
    return TRUE;
}

BOOL DeleteFileA(LPCSTR name) {
    char path[PATH_MAX];
    return PathOf(name, path) && DeleteNative(path);
}

int remove(const char *name) noexcept {
    char path[PATH_MAX];
    return PathOf(name, path) && DeleteNative(path) ? 0 : RuntimeFailure();
}

int rename(const char *oldName, const char *newName) noexcept {
    char from[PATH_MAX], to[PATH_MAX];
    struct stat st;
    if (!PathOf(oldName, from) || !PathOf(newName, to))
        return RuntimeFailure();
    if (lstat(from, &st) != 0) {
        SetLastError(NameError(from, errno));
        return RuntimeFailure();
    }
    if (S_ISREG(st.st_mode) && HeldWithoutSharingDelete(from)) {
        SetLastError(ERROR_SHARING_VIOLATION);
        return RuntimeFailure();
    }
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
        return 0;
    if (errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP) {
        // A file system without RENAME_NOREPLACE.
        if (!S_ISDIR(st.st_mode) && link(from, to) == 0) {
            unlink(from);
            return 0;
        }
        if (S_ISDIR(st.st_mode) || errno == EPERM || errno == EOPNOTSUPP) {
            struct stat there;
            if (lstat(to, &there) == 0)
                errno = EEXIST;
            else if (renameat(AT_FDCWD, from, AT_FDCWD, to) == 0)
                return 0;
        }
    }
    FailName(to, errno);
    return RuntimeFailure();
}

}  // extern "C"
