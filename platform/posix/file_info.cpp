// Attributes and times of files, by handle (files.cpp) and by name, with
// Win32 semantics.
//
// What follows Win32:
//
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
//   table, ErrorFromErrno of files.cpp.
//
// What differs, and why:
//
// - The creation time is the birth time where the file system keeps one
//   (statx), else the time of the last status change, as wine reports it;
//   SetFileTime cannot change it and leaves it alone.
// - Where the file system has no extended attributes, hidden, system and
//   archive cannot be kept: setting them succeeds and changes nothing, and
//   a name beginning with '.' reports hidden, the Unix convention (wine's
//   too).  Read-only on a folder is not kept: a folder without write
//   permission would refuse new files, which Windows's read-only folder
//   does not.
#include "platform/posix/dos_attributes.h"
#include "platform/posix/file_handles.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>

namespace cvz::posix {
namespace {

// ---- Attributes -------------------------------------------------------------

// The rules of DOS attributes (read-only from the write bits, the rest in
// user.DOSATTRIB) are dos_attributes.h's, shared with the listings.
DWORD AttributesOfPath(const char *path, const struct stat &st) {
    const char *name = strrchr(path, '/');
    bool kept = true;
    const DWORD stored = StoredDosAttributes(-1, path, &kept);
    return DosAttributes(st.st_mode, name != nullptr ? name + 1 : path, stored, kept);
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

}  // namespace

DWORD AttributesOfDescriptor(int fd, const struct stat &st) {
    bool kept = true;
    return DosAttributes(st.st_mode, "", StoredDosAttributes(fd, nullptr, &kept), kept);
}

}  // namespace cvz::posix

using namespace cvz::posix;

extern "C" {

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
    const int error = StoreDosAttributes(-1, path, st.st_mode, attributes);
    if ((opened || wanted != mode) && chmod(path, wanted) != 0)
        return FailName(path, errno);
    if (error != 0 && error != EOPNOTSUPP)
        return FailErrno(error);
    return TRUE;
}

}  // extern "C"
