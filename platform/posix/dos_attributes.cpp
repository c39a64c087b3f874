// DOS attributes from permission bits and user.DOSATTRIB; the rules are in
// dos_attributes.h.
#include "platform/posix/dos_attributes.h"

#include <errno.h>
#include <stdint.h>
#include <stdlib.h>
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
DWORD ParseDosAttributes(char *text, ssize_t length, bool *supported) {
    if (length < 0) {
        if (supported != nullptr && errno == ENOTSUP)
            *supported = false;
        return ~0u;
    }
    text[length] = '\0';  // Samba's text ends in a zero of its own
    if (length < 3 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X'))
        return ~0u;
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
        char text[256];  // Samba's binary part follows the text
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

DWORD StoredDosAttributes(const char *path, bool *supported) {
    char text[256];  // Samba's binary part follows the text
#if defined(__APPLE__)
    const ssize_t length = getxattr(path, kAttributeName, text, sizeof text - 1, 0, 0);
#else
    const ssize_t length = getxattr(path, kAttributeName, text, sizeof text - 1);
#endif
    return ParseDosAttributes(text, length, supported);
}

DWORD StoredDosAttributesAt(int folder, const char *name, const char *path, bool *supported) {
    if (!HaveGetXattrAt())
        return StoredDosAttributes(path, supported);
    char text[256];  // Samba's binary part follows the text
    return ParseDosAttributes(text, GetXattrAt(folder, name, text, sizeof text - 1), supported);
}

DWORD DosAttributes(mode_t mode, DWORD stored) {
    if (S_ISDIR(mode))
        return FILE_ATTRIBUTE_DIRECTORY | (stored == ~0u ? 0 : stored);
    DWORD attributes = stored == ~0u ? FILE_ATTRIBUTE_ARCHIVE : stored;
    if ((mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0)
        attributes |= FILE_ATTRIBUTE_READONLY;
    return attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
}

}  // namespace cvz::posix
