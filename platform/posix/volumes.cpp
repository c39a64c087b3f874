// Drives and volumes, answered from the drive table of paths.h.
//
// Windows knows drives as devices with media, volumes with labels and file
// systems with free clusters.  Here a drive letter stands for a folder, so
// each question is answered for the file system that holds the folder:
//
// - GetLogicalDrives: one bit for each letter that has a folder.
// - GetDriveTypeA: DRIVE_FIXED for a letter whose folder exists;
//   DRIVE_NO_ROOT_DIR for a letter without a folder, a folder that is gone,
//   or a root that is not of the form "X:\" (or "X:").  No drive is
//   removable, remote or a CD-ROM: a mounted medium is a folder like any
//   other.
// - GetDiskFreeSpaceA: statvfs of the folder.  A cluster is a block of the
//   file system (f_frsize), a sector 512 bytes, so a cluster of 4096 bytes
//   is 8 sectors; a block smaller than a sector counts as one sector.  Free
//   clusters are those an unprivileged writer may use (f_bavail), as
//   Windows counts the caller's quota.  Counts beyond 2^32 - 1 are cut
//   there, as the Win32 call cuts them.
// - GetVolumeInformationA: the label is the first line of the file
//   ".windows-label" in the drive's folder, where wine keeps the label of
//   a drive too, so both see the same; no file means no label.  The serial
//   number is the low word of the file system id (f_fsid), the longest
//   name component f_namemax, the flags FILE_CASE_SENSITIVE_SEARCH and
//   FILE_CASE_PRESERVED_NAMES, with FILE_READ_ONLY_VOLUME for a read-only
//   mount; nothing here is a compressed volume.  The file system's name is
//   the kernel's name for a few common kinds (ext4, tmpfs, xfs, btrfs,
//   nfs, ...), "unknown" otherwise.  A buffer too small for the label or
//   the name fails with ERROR_MORE_DATA.
// - SetVolumeLabelA: writes that file, or removes it for a null or empty
//   label.  A label above 32 characters fails with ERROR_LABEL_TOO_LONG,
//   the limit of NTFS.  Writing needs the right to write in the folder.
// - DeviceIoControl: only IOCTL_DISK_GET_MEDIA_TYPES, for any open file
//   handle, answered with one DISK_GEOMETRY of FixedMedia (the folder's
//   file system is no floppy, whatever holds it).  Windows asks this of a
//   drive's device, "\\.\X:", which CreateFileA does not open here; the
//   library's floppy test then stops at the open, with the same answer.
//   Any other code fails with ERROR_INVALID_FUNCTION.
#include "platform/posix/paths.h"
#include "platform/posix/files.h"

#include "platform/win32.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#if defined(__linux__)
#include <sys/vfs.h>
#endif

#include <string>

namespace {

const char kLabelFile[] = ".windows-label";
const size_t kLabelLimit = 32;

// The folder of the drive that `root` names ("X:\" or "X:"; null: the
// drive of the current folder), with its '/' at the end.  False, with
// ERROR_INVALID_NAME for another form or ERROR_PATH_NOT_FOUND for a letter
// without a folder.
bool DriveFolder(LPCSTR root, std::string &folder) {
    char current[PATH_MAX];
    if (root == nullptr) {
        if (GetCurrentDirectoryA(sizeof current, current) == 0 || current[0] == '\0')
            return false;
        current[2] = '\\';
        current[3] = '\0';
        root = current;
    }
    const bool letter = (root[0] >= 'A' && root[0] <= 'Z') || (root[0] >= 'a' && root[0] <= 'z');
    if (!letter || root[1] != ':' ||
        !(root[2] == '\0' || ((root[2] == '\\' || root[2] == '/') && root[3] == '\0'))) {
        SetLastError(ERROR_INVALID_NAME);
        return false;
    }
    const char drive[] = {root[0], ':', '\\', '\0'};
    char path[PATH_MAX];
    if (!cvz::posix::NativePath(drive, path, sizeof path))
        return false;
    folder = path;
    if (folder.empty() || folder.back() != '/')
        folder += '/';
    return true;
}

// statvfs of the drive's folder; false with the last error set.
bool DriveStatistics(LPCSTR root, std::string &folder, struct statvfs &stats) {
    if (!DriveFolder(root, folder))
        return false;
    if (statvfs(folder.c_str(), &stats) != 0) {
        SetLastError(errno == ENOENT || errno == ENOTDIR ? ERROR_PATH_NOT_FOUND
                                                         : cvz::posix::ErrorFromErrno(errno));
        return false;
    }
    return true;
}

DWORD Cut(unsigned long long count) {
    return count > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<DWORD>(count);
}

std::string FileSystemName(const std::string &folder) {
#if defined(__linux__)
    struct statfs stats;
    if (statfs(folder.c_str(), &stats) == 0) {
        switch (static_cast<unsigned long>(stats.f_type)) {
        case 0xEF53: return "ext4";
        case 0x01021994: return "tmpfs";
        case 0x58465342: return "XFS";
        case 0x9123683E: return "btrfs";
        case 0x6969: return "NFS";
        case 0x794C7630: return "overlay";
        case 0x4d44: return "FAT";
        case 0x5346544e: return "NTFS";
        case 0x2FC12FC1: return "zfs";
        case 0x65735546: return "fuse";
        default: break;
        }
    }
#else
    (void)folder;
#endif
    return "unknown";
}

// Copies `text` and its zero into `buffer` of `size` bytes; false with
// ERROR_MORE_DATA when it does not fit.
bool CopyOut(const std::string &text, LPSTR buffer, DWORD size) {
    if (buffer == nullptr)
        return true;
    if (text.size() + 1 > size) {
        SetLastError(ERROR_MORE_DATA);
        return false;
    }
    memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}

std::string ReadLabel(const std::string &folder) {
    std::string label;
    const int fd = open((folder + kLabelFile).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return label;
    char buffer[256];
    const ssize_t got = read(fd, buffer, sizeof buffer);
    close(fd);
    if (got > 0)
        label.assign(buffer, static_cast<size_t>(got));
    const size_t end = label.find_first_of("\r\n");
    if (end != std::string::npos)
        label.erase(end);
    return label;
}

}  // namespace

extern "C" {

DWORD GetLogicalDrives(void) {
    return cvz::posix::MappedDrives();
}

UINT GetDriveTypeA(LPCSTR root) {
    std::string folder;
    struct stat status;
    if (!DriveFolder(root, folder) || stat(folder.c_str(), &status) != 0 ||
        !S_ISDIR(status.st_mode))
        return DRIVE_NO_ROOT_DIR;
    return DRIVE_FIXED;
}

BOOL GetDiskFreeSpaceA(LPCSTR root, LPDWORD sectorsPerCluster, LPDWORD bytesPerSector,
                       LPDWORD freeClusters, LPDWORD totalClusters) {
    std::string folder;
    struct statvfs stats;
    if (!DriveStatistics(root, folder, stats))
        return FALSE;
    const unsigned long block = stats.f_frsize ? stats.f_frsize : stats.f_bsize;
    if (sectorsPerCluster)
        *sectorsPerCluster = block >= 512 ? static_cast<DWORD>(block / 512) : 1;
    if (bytesPerSector)
        *bytesPerSector = block >= 512 ? 512 : static_cast<DWORD>(block);
    if (freeClusters)
        *freeClusters = Cut(stats.f_bavail);
    if (totalClusters)
        *totalClusters = Cut(stats.f_blocks);
    return TRUE;
}

BOOL GetVolumeInformationA(LPCSTR root, LPSTR volumeName, DWORD volumeNameSize, LPDWORD serial,
                           LPDWORD maximumComponentLength, LPDWORD fileSystemFlags,
                           LPSTR fileSystemName, DWORD fileSystemNameSize) {
    std::string folder;
    struct statvfs stats;
    if (!DriveStatistics(root, folder, stats))
        return FALSE;
    if (!CopyOut(ReadLabel(folder), volumeName, volumeNameSize) ||
        !CopyOut(FileSystemName(folder), fileSystemName, fileSystemNameSize))
        return FALSE;
    if (serial)
        *serial = static_cast<DWORD>(stats.f_fsid);
    if (maximumComponentLength)
        *maximumComponentLength = static_cast<DWORD>(stats.f_namemax);
    if (fileSystemFlags) {
        *fileSystemFlags = FILE_CASE_SENSITIVE_SEARCH | FILE_CASE_PRESERVED_NAMES;
        if (stats.f_flag & ST_RDONLY)
            *fileSystemFlags |= FILE_READ_ONLY_VOLUME;
    }
    return TRUE;
}

BOOL SetVolumeLabelA(LPCSTR root, LPCSTR label) {
    std::string folder;
    if (!DriveFolder(root, folder))
        return FALSE;
    const std::string path = folder + kLabelFile;
    if (label == nullptr || label[0] == '\0') {
        if (unlink(path.c_str()) != 0 && errno != ENOENT) {
            SetLastError(cvz::posix::ErrorFromErrno(errno));
            return FALSE;
        }
        return TRUE;
    }
    const size_t length = strlen(label);
    if (length > kLabelLimit) {
        SetLastError(ERROR_LABEL_TOO_LONG);
        return FALSE;
    }
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        SetLastError(cvz::posix::ErrorFromErrno(errno));
        return FALSE;
    }
    const std::string line = std::string(label) + "\n";
    const bool written = write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
    const int error = errno;
    close(fd);
    if (!written) {
        unlink(path.c_str());
        SetLastError(cvz::posix::ErrorFromErrno(error));
        return FALSE;
    }
    return TRUE;
}

BOOL DeviceIoControl(HANDLE device, DWORD code, LPVOID, DWORD, LPVOID out, DWORD outSize,
                     LPDWORD returned, LPOVERLAPPED) {
    if (returned)
        *returned = 0;
    if (code != IOCTL_DISK_GET_MEDIA_TYPES) {
        SetLastError(ERROR_INVALID_FUNCTION);
        return FALSE;
    }
    const int fd = cvz::posix::DuplicateFileDescriptor(device, nullptr);
    if (fd < 0)
        return FALSE;
    struct statvfs stats;
    const bool known = fstatvfs(fd, &stats) == 0;
    const int error = errno;
    close(fd);
    if (!known) {
        SetLastError(cvz::posix::ErrorFromErrno(error));
        return FALSE;
    }
    if (out == nullptr || outSize < sizeof(DISK_GEOMETRY)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    DISK_GEOMETRY geometry = {};
    geometry.MediaType = FixedMedia;
    geometry.BytesPerSector = 512;
    geometry.SectorsPerTrack = 63;
    geometry.TracksPerCylinder = 255;
    const unsigned long long bytes =
        static_cast<unsigned long long>(stats.f_blocks) * (stats.f_frsize ? stats.f_frsize : 512);
    geometry.Cylinders.QuadPart = static_cast<LONGLONG>(bytes / (512ull * 63 * 255));
    memcpy(out, &geometry, sizeof geometry);
    if (returned)
        *returned = sizeof geometry;
    return TRUE;
}

}  // extern "C"
