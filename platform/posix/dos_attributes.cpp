// DOS attributes from permission bits and user.DOSATTRIB; the rules are in
// dos_attributes.h.
#include "platform/posix/dos_attributes.h"

#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#if defined(__linux__)
#include <fcntl.h>
#include <sys/syscall.h>
#endif

namespace cvz::posix {
namespace {

const char kAttributeName[] = "user.DOSATTRIB";

// The stored bits from the attribute's text of `length` bytes, in a buffer
// with room for a zero behind them; a negative length, with errno set, for
// a file without the attribute.
DWORD ParseDosAttributes(char *text, ssize_t length, bool *kept) {
    if (length < 0) {
        if (errno == ENOTSUP)
            *kept = false;
        return kNoStoredDosAttributes;
    }
    text[length] = '\0';  // Samba's text ends in a zero of its own
    if (length < 3 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X'))
        return kNoStoredDosAttributes;
    return static_cast<DWORD>(strtoul(text, nullptr, 16)) & kStoredDosAttributes;
}

#if defined(__linux__) && (defined(__x86_64__) || defined(__aarch64__))
// getxattrat(2) came with Linux 6.13, as number 464 in the tables of both
// architectures; the C library may not know it yet.  Its arguments are the
// folder, the name, AT_ flags, the attribute's name and a block that says
// where the value goes.
const long kGetXattrAt = 464;
struct XattrArgs {
    uint64_t value;
    uint32_t size;
    uint32_t flags;
};

ssize_t GetXattrAt(int folder, const char *name, char *buffer, size_t size) {
    XattrArgs args = {reinterpret_cast<uintptr_t>(buffer), static_cast<uint32_t>(size), 0};
    return syscall(kGetXattrAt, folder, name, 0, kAttributeName, &args, sizeof args);
}

// Whether the kernel has getxattrat: asked once, on the root folder.  An
// older kernel says ENOSYS; a sandbox that filters unknown calls may say
// EPERM.
bool HaveGetXattrAt() {
    static const bool have = [] {
        char text[256];
        return GetXattrAt(AT_FDCWD, "/", text, sizeof text) >= 0 || (errno != ENOSYS && errno != EPERM);
    }();
    return have;
}
#else
ssize_t GetXattrAt(int, const char *, char *, size_t) {
    errno = ENOSYS;
    return -1;
}
bool HaveGetXattrAt() {
    return false;
}
#endif

}  // namespace

DWORD StoredDosAttributes(int fd, const char *path, bool *kept) {
    char text[256];
    const ssize_t length = fd >= 0 ? fgetxattr(fd, kAttributeName, text, sizeof text - 1)
                                   : getxattr(path, kAttributeName, text, sizeof text - 1);
    return ParseDosAttributes(text, length, kept);
}

DWORD StoredDosAttributesAt(int folder, const char *name, const char *path, bool *kept) {
    char text[256];  // Samba's binary part follows the text
    if (!HaveGetXattrAt())
        return StoredDosAttributes(-1, path, kept);
    return ParseDosAttributes(text, GetXattrAt(folder, name, text, sizeof text - 1), kept);
}

int StoreDosAttributes(int fd, const char *path, mode_t mode, DWORD attributes) {
    attributes &= kStoredDosAttributes;
    const DWORD defaults = S_ISDIR(mode) ? 0 : FILE_ATTRIBUTE_ARCHIVE;
    int result;
    if (attributes == defaults) {
        result = fd >= 0 ? fremovexattr(fd, kAttributeName) : removexattr(path, kAttributeName);
        if (result != 0 && errno == ENODATA)
            return 0;
    } else {
        char text[16];
        const int length = snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(attributes));
        result = fd >= 0 ? fsetxattr(fd, kAttributeName, text, static_cast<size_t>(length), 0)
                         : setxattr(path, kAttributeName, text, static_cast<size_t>(length), 0);
    }
    return result == 0 ? 0 : errno;
}

DWORD DosAttributes(mode_t mode, const char *name, DWORD stored, bool kept) {
    const bool isFolder = S_ISDIR(mode);
    DWORD attributes = isFolder ? 0 : FILE_ATTRIBUTE_ARCHIVE;
    if (stored != kNoStoredDosAttributes)
        attributes = stored;
    else if (!kept && name[0] == '.' && name[1] != '\0' && strcmp(name, "..") != 0)
        attributes |= FILE_ATTRIBUTE_HIDDEN;
    if (isFolder)
        attributes |= FILE_ATTRIBUTE_DIRECTORY;
    else if ((mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0)
        attributes |= FILE_ATTRIBUTE_READONLY;
    return attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
}

}  // namespace cvz::posix
