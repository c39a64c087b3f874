// Copying, moving and making folders by name: CopyFileA, MoveFileA,
// MoveFileExA and CreateDirectoryA.
//
// CopyFileA goes through the layer's own CreateFileA, ReadFile and
// WriteFile, so the share modes of files.cpp hold for it as they hold for
// every other open: a source that another handle holds without
// FILE_SHARE_READ, or a destination held at all, fails with
// ERROR_SHARING_VIOLATION, as on Windows.  What it does:
//
// - The source opens for reading, sharing reading; a folder fails with
//   ERROR_ACCESS_DENIED.  The destination is created (CREATE_NEW with
//   failIfExists, so an existing one gives ERROR_FILE_EXISTS; otherwise
//   CREATE_ALWAYS, which empties it).
// - The destination is first made as long as the source, which reserves
//   its blocks: a disk that cannot hold the copy fails at once with
//   ERROR_DISK_FULL, before any byte is copied.  The bytes follow in steps
//   of 64 KB.
// - The copy takes the source's last-write time and its attributes
//   (read-only included), as Windows's copy does.
// - On any failure after the destination was created, the part written is
//   removed, and the error of the failing step is reported.
//
// MoveFileA renames within a file system and never replaces: an existing
// destination of any kind fails with ERROR_ALREADY_EXISTS.  The test and
// the rename are one step (renameat2 with RENAME_NOREPLACE) where the file
// system offers it, else two, with a narrow window between them.  Across
// file systems a file is copied and the source then removed, as Windows
// moves a file between volumes; a folder cannot move there
// (ERROR_NOT_SAME_DEVICE).  A source that is missing gives
// ERROR_FILE_NOT_FOUND, a destination folder that is missing
// ERROR_PATH_NOT_FOUND.  Windows also refuses to move a file that is open
// without FILE_SHARE_DELETE; here an open file moves, and its handles go
// on with it under the new name.
//
// MoveFileExA serves the replacing rename of a safe save: with
// MOVEFILE_REPLACE_EXISTING the destination is replaced in one atomic step
// (rename(2)), so a reader sees the old file or the new one and never
// neither; with MOVEFILE_WRITE_THROUGH the folder is synchronised before
// the call returns, so the change survives a crash.  Only within one file
// system (ERROR_NOT_SAME_DEVICE otherwise): MOVEFILE_COPY_ALLOWED is not
// offered.
//
// CreateDirectoryA makes one folder: ERROR_ALREADY_EXISTS when anything
// of that name exists, ERROR_PATH_NOT_FOUND when the parent is missing or
// is no folder.  Security attributes are not looked at; the folder gets
// the process's default permissions.
//
// The C library's rename is replaced in this layer by the one with Windows
// semantics (files.cpp), so the system calls are made here by their own
// names, renameat and renameat2.
#include "platform/posix/files.h"
#include "platform/posix/paths.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace {

// The native form of `name`, or false with the last error set.
struct Native {
    explicit Native(LPCSTR name) : ok(name != nullptr && cvz::posix::NativePath(name, path, sizeof path)) {
        if (name == nullptr)
            SetLastError(ERROR_INVALID_PARAMETER);
    }
    bool ok;
    char path[PATH_MAX];
};

BOOL Fail(DWORD error) {
    SetLastError(error);
    return FALSE;
}

// The error of a failed rename or mkdir on `to`, whose parent may be
// missing.
DWORD NameError(int error) {
    switch (error) {
    case EEXIST:
    case ENOTEMPTY:
        return ERROR_ALREADY_EXISTS;
    case ENOENT:
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EXDEV:
        return ERROR_NOT_SAME_DEVICE;
    default:
        return cvz::posix::ErrorFromErrno(error);
    }
}

// Copies all of `source` to `target`, both open; the error, or
// ERROR_SUCCESS.
DWORD CopyContents(HANDLE source, HANDLE target, const BY_HANDLE_FILE_INFORMATION &info) {
    // Reserve the whole size first, so that a full disk shows at once.
    if (info.nFileSizeLow != 0 || info.nFileSizeHigh != 0) {
        LONG high = static_cast<LONG>(info.nFileSizeHigh);
        SetLastError(ERROR_SUCCESS);  // a low word of all ones is a position too
        if ((SetFilePointer(target, static_cast<LONG>(info.nFileSizeLow), &high, FILE_BEGIN) ==
                 INVALID_SET_FILE_POINTER &&
             GetLastError() != ERROR_SUCCESS) ||
            !SetEndOfFile(target) ||
            SetFilePointer(target, 0, nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER)
            return GetLastError();
    }
    std::vector<char> buffer(65536);
    for (;;) {
        DWORD got = 0;
        if (!ReadFile(source, buffer.data(), static_cast<DWORD>(buffer.size()), &got, nullptr))
            return GetLastError();
        if (got == 0)
            return ERROR_SUCCESS;
        DWORD put = 0;
        if (!WriteFile(target, buffer.data(), got, &put, nullptr))
            return GetLastError();
        if (put != got)
            return ERROR_DISK_FULL;
    }
}

}  // namespace

extern "C" {

BOOL CopyFileA(LPCSTR existing, LPCSTR newName, BOOL failIfExists) {
    HANDLE source = CreateFileA(existing, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                0, nullptr);
    if (source == INVALID_HANDLE_VALUE)
        return FALSE;
    BY_HANDLE_FILE_INFORMATION info;
    if (!GetFileInformationByHandle(source, &info)) {
        const DWORD error = GetLastError();
        CloseHandle(source);
        return Fail(error);
    }
    if (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
        CloseHandle(source);
        return Fail(ERROR_ACCESS_DENIED);
    }
    HANDLE target = CreateFileA(newName, GENERIC_WRITE, 0, nullptr,
                                failIfExists ? CREATE_NEW : CREATE_ALWAYS, 0, nullptr);
    if (target == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        CloseHandle(source);
        return Fail(error);
    }
    DWORD error = CopyContents(source, target, info);
    if (error == ERROR_SUCCESS && !SetFileTime(target, nullptr, nullptr, &info.ftLastWriteTime))
        error = GetLastError();
    CloseHandle(source);
    CloseHandle(target);
    if (error == ERROR_SUCCESS) {
        const DWORD kept = info.dwFileAttributes & (FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN |
                                                    FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE);
        if (kept == 0 || SetFileAttributesA(newName, kept))
            return TRUE;
        error = GetLastError();
    }
    DeleteFileA(newName);
    return Fail(error);
}

BOOL MoveFileA(LPCSTR existing, LPCSTR newName) {
    Native from(existing);
    Native to(newName);
    if (!from.ok || !to.ok)
        return FALSE;
    struct stat status;
    if (lstat(from.path, &status) != 0)
        return Fail(errno == ENOENT ? ERROR_FILE_NOT_FOUND : NameError(errno));
#if defined(__linux__)
    if (renameat2(AT_FDCWD, from.path, AT_FDCWD, to.path, RENAME_NOREPLACE) == 0)
        return TRUE;
    const int error = errno;
    if (error != EINVAL && error != ENOSYS && error != EXDEV)
        return Fail(NameError(error));
    if (error != EXDEV) {
#else
    {
#endif
        // No one-step form on this file system: test, then rename.
        if (lstat(to.path, &status) == 0)
            return Fail(ERROR_ALREADY_EXISTS);
        if (renameat(AT_FDCWD, from.path, AT_FDCWD, to.path) == 0)
            return TRUE;
        if (errno != EXDEV)
            return Fail(NameError(errno));
    }
    if (S_ISDIR(status.st_mode))
        return Fail(ERROR_NOT_SAME_DEVICE);
    if (!CopyFileA(existing, newName, TRUE))
        return FALSE;
    if (!DeleteFileA(existing)) {
        const DWORD failure = GetLastError();
        SetFileAttributesA(newName, FILE_ATTRIBUTE_NORMAL);
        DeleteFileA(newName);
        return Fail(failure);
    }
    return TRUE;
}

BOOL MoveFileExA(LPCSTR existing, LPCSTR newName, DWORD flags) {
    if (!(flags & MOVEFILE_REPLACE_EXISTING)) {
        if (!MoveFileA(existing, newName))
            return FALSE;
    } else {
        Native from(existing);
        Native to(newName);
        if (!from.ok || !to.ok)
            return FALSE;
        if (renameat(AT_FDCWD, from.path, AT_FDCWD, to.path) != 0)
            return Fail(errno == ENOENT && access(from.path, F_OK) != 0 ? ERROR_FILE_NOT_FOUND
                                                                        : NameError(errno));
    }
    if (flags & MOVEFILE_WRITE_THROUGH) {
        Native to(newName);
        std::string folder(to.path);
        const size_t slash = folder.find_last_of('/');
        folder = slash == std::string::npos ? "." : slash == 0 ? "/" : folder.substr(0, slash);
        const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0 || fsync(fd) != 0) {
            const int error = errno;
            if (fd >= 0)
                close(fd);
            return Fail(cvz::posix::ErrorFromErrno(error));
        }
        close(fd);
    }
    return TRUE;
}

BOOL CreateDirectoryA(LPCSTR path, LPSECURITY_ATTRIBUTES) {
    Native folder(path);
    if (!folder.ok)
        return FALSE;
    if (mkdir(folder.path, 0777) != 0)
        return Fail(NameError(errno));
    return TRUE;
}

}  // extern "C"
