// The translation of Windows names into POSIX paths; the rules are in
// paths.h.
#include "platform/posix/paths.h"

#include "platform/win32.h"

namespace cvz::posix {
namespace {

bool IsLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// The directory, ending with '/', that a drive letter stands for; null for
// a drive that has none.
const char *DriveRoot(char letter) {
    return letter == 'Z' || letter == 'z' ? "/" : nullptr;
}

}  // namespace

bool NativePath(const char *name, char *path, size_t size) {
    const char *root = "";
    if (IsLetter(name[0]) && name[1] == ':') {
        root = DriveRoot(name[0]);
        if (root == nullptr) {
            SetLastError(ERROR_PATH_NOT_FOUND);
            return false;
        }
        // The root ends with its own separator.
        for (name += 2; *name == '\\' || *name == '/'; ++name) {
        }
    }
    size_t used = 0;
    for (; *root != '\0' && used < size; ++root)
        path[used++] = *root;
    for (; *name != '\0' && used < size; ++name)
        path[used++] = *name == '\\' ? '/' : *name;
    if (used == size) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return false;
    }
    path[used] = '\0';
    return true;
}

}  // namespace cvz::posix
