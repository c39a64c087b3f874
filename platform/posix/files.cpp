// File handles and their I/O, and the runtime's remove and rename, with
// Win32 semantics.  The share modes and byte-range locks of the handles
// are share_modes.cpp's; their attributes and times, and those of names,
// file_info.cpp's.
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
// - remove and rename are the runtime's functions on drive-letter names:
//   0, or -1 with errno as the Windows runtime sets it (EACCES for a
//   read-only file or a sharing violation, ENOENT, EEXIST) and the Win32
//   error through GetLastError.  rename never replaces an existing name:
//   it fails with EEXIST and ERROR_ALREADY_EXISTS.
//
// What differs, and why:
//
// - A file that the process may write but not read (no read permission)
//   is opened for writing alone and takes no part in share modes; one that
//   it may not read opened with access 0 has only its times, size and
//   attributes (O_PATH).  Root reads everything, so neither case arises.
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
#include "platform/posix/dos_attributes.h"
#include "platform/posix/file_handles.h"
#include "platform/posix/files.h"

#include "platform/posix/kernel_objects.h"
#include "platform/posix/paths.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace cvz::posix {
namespace {

struct ErrnoError {
    int error;
    DWORD win32;
};

// errno to Win32, for every call on files of the layer.  ENOENT is
// refined for names (NameError below).
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

bool PathOf(const char *name, char (&path)[PATH_MAX]) {
    if (name == nullptr)
        return Fail(ERROR_INVALID_PARAMETER);
    return NativePath(name, path, sizeof path);
}

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

    if ((created && (flags & kStoredDosAttributes & ~FILE_ATTRIBUTE_ARCHIVE) != 0) || truncates) {
        // A new or overwritten file has the attributes asked for, and keeps
        // its hidden and system ones; the archive bit comes with every
        // change, as on Windows.
        attributes = (attributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM)) | flags | FILE_ATTRIBUTE_ARCHIVE;
        StoreDosAttributes(fd, path, st.st_mode, attributes);
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
