// The file handle of files.cpp, and what its neighbours share_modes.cpp
// and file_info.cpp share with it.  The rest of the layer reaches file
// handles through files.h alone.
#ifndef CVZ_PLATFORM_POSIX_FILE_HANDLES_H
#define CVZ_PLATFORM_POSIX_FILE_HANDLES_H

#include <limits.h>
#include <stdint.h>
#include <sys/stat.h>

#include <mutex>
#include <utility>
#include <vector>

#include "platform/posix/kernel_objects.h"
#include "platform/win32.h"

namespace cvz::posix {

// Failures, in files.cpp: each sets the last error and returns false.
// Fail sets `error`, FailErrno the Win32 error of an errno value, and
// FailName that of a call on the name `path` (NameError).
bool Fail(DWORD error);
bool FailErrno(int error);
bool FailName(const char *path, int error);
DWORD NameError(const char *path, int error);

// The native path of `name`, or false with the last error set.
bool PathOf(const char *name, char (&path)[PATH_MAX]);

struct FileId {
    dev_t device;
    ino_t inode;
    bool operator<(const FileId &other) const {
        return device != other.device ? device < other.device : inode < other.inode;
    }
    bool operator==(const FileId &other) const { return device == other.device && inode == other.inode; }
};

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

// The prologue of every call on a file handle: runs `action(file)` with a
// reference to the file and without the kernel lock, so that the I/O in it
// blocks nobody else; FALSE with ERROR_INVALID_HANDLE when `handle` names
// no file.
template <class Action>
BOOL WithFile(HANDLE handle, Action action) {
    return WithReference<OpenFile>(handle, FALSE, [&](OpenFile &file) -> BOOL { return action(file); });
}

// Share modes (share_modes.cpp): the share bytes of a handle, taking them
// at an open, and the test of DeleteFileA, remove and rename.
unsigned ShareBytesOf(bool reads, bool writes, bool deletes, DWORD shareMode);
bool TakeShareBytes(int fd, unsigned bytes);
bool HeldWithoutSharingDelete(const char *path);

// The DOS attributes of the open file `fd`, whose status is `st`
// (file_info.cpp).
DWORD AttributesOfDescriptor(int fd, const struct stat &st);

}  // namespace cvz::posix

#endif
