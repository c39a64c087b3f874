// DOS attributes from permission bits and user.DOSATTRIB; the rules are in
// dos_attributes.h.
#include "platform/posix/dos_attributes.h"

#include <errno.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace cvz::posix {
namespace {

int HexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

}  // namespace

DWORD StoredDosAttributes(const char *path, bool *supported) {
    char text[64];
#if defined(__APPLE__)
    const ssize_t length = getxattr(path, "user.DOSATTRIB", text, sizeof text, 0, 0);
#else
    const ssize_t length = getxattr(path, "user.DOSATTRIB", text, sizeof text);
#endif
    if (length < 0) {
        if (supported != nullptr && errno == ENOTSUP)
            *supported = false;
        return ~0u;
    }
    if (length < 3 || text[0] != '0' || (text[1] != 'x' && text[1] != 'X'))
        return ~0u;
    DWORD bits = 0;
    for (ssize_t i = 2; i < length && i < 10 && HexDigit(text[i]) >= 0; ++i)
        bits = bits << 4 | static_cast<DWORD>(HexDigit(text[i]));
    return bits & kStoredDosAttributes;
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
