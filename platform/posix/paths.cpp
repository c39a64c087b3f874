// Drive letters, names, the current directory and the module file names;
// the rules of the drive table are in paths.h.
//
// GetCurrentDirectoryA and GetModuleFileNameA report names in drive-letter
// form, with the return conventions of their Win32 namesakes:
//
// - GetCurrentDirectoryA returns the length written, without the zero.  A
//   buffer too small for the name and its zero (or a null one) is left
//   untouched, and the result is the size needed, zero included.  A
//   current folder that no drive holds gives 0 with ERROR_PATH_NOT_FOUND;
//   one that has been removed, 0 with ERROR_FILE_NOT_FOUND.
// - GetModuleFileNameA with a null module names the program file, and with
//   a handle from LoadLibraryA that module's file.  A name that does not
//   fit is cut to size - 1 characters and a zero, and the result is `size`
//   with ERROR_INSUFFICIENT_BUFFER, as Windows since Vista does.  A handle
//   of no loaded module gives 0 with ERROR_MOD_NOT_FOUND.  A module loaded
//   by a relative name is named from the current folder of the moment.
//
// lstrcmpiA compares without case, in the spirit of the linguistic order
// that Windows uses (not the byte order of _stricmp): characters rank by
// class first, control characters, then blanks, punctuation and symbols,
// then digits, then letters, then bytes from 0x80 up; within a class by
// their code, with a letter's two cases equal.  So "a_" comes before "aB"
// and "a1", and "x~" before "x0", where _stricmp puts '~' last.  Windows
// goes further, as this does not: it ranks the punctuation marks in an
// order of its own, knows the accented letters of the code page, and
// nearly ignores '-' and '\'' ("co-op" sorts beside "coop").  The result
// is -1, 0 or 1; a null text comes before any other, and two are equal.
#include "platform/posix/paths.h"

#include "platform/win32.h"

#include <dlfcn.h>
#include <errno.h>
#include <limits.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <vector>

#if defined(__APPLE__)
#include <mach-o/dyld.h>
#else
#include <link.h>
#endif

namespace cvz::posix {
namespace {

const int kDriveCount = 26;
const int kRootDrive = 'Z' - 'A';
const char kRootFolder[] = "/";

bool IsLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

int DriveIndex(char letter) {
    return (letter >= 'a' ? letter - 'a' : letter - 'A');
}

// The folder of each drive, ending with '/', or null for a letter without
// one.  Folders other than the initial root are blocks from malloc.
struct DriveTable {
    const char *folders[kDriveCount];
    constexpr DriveTable() : folders() { folders[kRootDrive] = kRootFolder; }
};

DriveTable drives;
pthread_mutex_t drivesLock = PTHREAD_MUTEX_INITIALIZER;

class DrivesLock {
public:
    DrivesLock() { pthread_mutex_lock(&drivesLock); }
    ~DrivesLock() { pthread_mutex_unlock(&drivesLock); }
    DrivesLock(const DrivesLock &) = delete;
    DrivesLock &operator=(const DrivesLock &) = delete;
};

// The table's entry for `folder`, an absolute path: canonical when the
// folder exists, so that it matches what getcwd reports, else as written;
// one '/' at the end.  Null, with the last error set, on failure.
char *MakeFolderEntry(const char *folder) {
    char resolved[PATH_MAX];
    if (realpath(folder, resolved) == nullptr) {
        if (strlen(folder) >= sizeof resolved) {
            SetLastError(ERROR_FILENAME_EXCED_RANGE);
            return nullptr;
        }
        strcpy(resolved, folder);
    }
    size_t length = strlen(resolved);
    while (length > 0 && resolved[length - 1] == '/')
        --length;
    char *entry = static_cast<char *>(malloc(length + 2));
    if (entry == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    memcpy(entry, resolved, length);
    entry[length] = '/';
    entry[length + 1] = '\0';
    return entry;
}

}  // namespace

bool NativePath(const char *name, char *path, size_t size) {
    // The device namespace ("\\.\X:", "\\.\PhysicalDrive0") has no
    // folder: such a device does not exist here.
    if ((name[0] == '\\' || name[0] == '/') && (name[1] == '\\' || name[1] == '/') && name[2] == '.' &&
        (name[3] == '\\' || name[3] == '/')) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return false;
    }
    size_t used = 0;
    if (IsLetter(name[0]) && name[1] == ':') {
        DrivesLock lock;
        const char *folder = drives.folders[DriveIndex(name[0])];
        if (folder == nullptr) {
            SetLastError(ERROR_PATH_NOT_FOUND);
            return false;
        }
        for (; *folder != '\0' && used < size; ++folder)
            path[used++] = *folder;
        // The folder ends with its own separator.
        for (name += 2; *name == '\\' || *name == '/'; ++name) {
        }
    }
    for (; *name != '\0' && used < size; ++name)
        path[used++] = *name == '\\' ? '/' : *name;
    if (used == size) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return false;
    }
    path[used] = '\0';
    return true;
}

bool DriveLetterName(const char *path, std::string &name) {
    const size_t pathLength = strlen(path);
    int best = -1;
    size_t bestLength = 0;
    if (path[0] == '/') {
        DrivesLock lock;
        for (int i = 0; i < kDriveCount; ++i) {
            const char *folder = drives.folders[i];
            if (folder == nullptr)
                continue;
            // The folder with its '/', or the folder itself without it.
            const size_t length = strlen(folder);
            const bool holds = strncmp(path, folder, length) == 0 ||
                               (pathLength == length - 1 && strncmp(path, folder, pathLength) == 0);
            if (holds && (best < 0 || length > bestLength)) {
                best = i;
                bestLength = length;
            }
        }
    }
    if (best < 0) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return false;
    }
    name.assign(1, static_cast<char>('A' + best));
    name += ":\\";
    const char *rest = path + (bestLength < pathLength ? bestLength : pathLength);
    while (*rest == '/')
        ++rest;
    for (; *rest != '\0'; ++rest)
        name += *rest == '/' ? '\\' : *rest;
    return true;
}

uint32_t MappedDrives() {
    DrivesLock lock;
    uint32_t mask = 0;
    for (int i = 0; i < kDriveCount; ++i)
        if (drives.folders[i] != nullptr)
            mask |= uint32_t{1} << i;
    return mask;
}

}  // namespace cvz::posix

BOOL MapDriveLetter(char letter, const char *folder) {
    using namespace cvz::posix;
    if (!IsLetter(letter)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    char *entry = nullptr;
    if (folder != nullptr && folder[0] != '\0') {
        if (folder[0] != '/') {
            SetLastError(ERROR_INVALID_PARAMETER);
            return FALSE;
        }
        entry = MakeFolderEntry(folder);
        if (entry == nullptr)
            return FALSE;
    }
    const char *old;
    {
        DrivesLock lock;
        old = drives.folders[DriveIndex(letter)];
        drives.folders[DriveIndex(letter)] = entry;
    }
    if (old != kRootFolder)
        free(const_cast<char *>(old));
    return TRUE;
}

namespace {

// The native path of the running program.
bool ProgramFile(std::string &path) {
    char buffer[PATH_MAX];
#if defined(__APPLE__)
    char raw[PATH_MAX];
    uint32_t size = sizeof raw;
    if (_NSGetExecutablePath(raw, &size) != 0 || realpath(raw, buffer) == nullptr) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return false;
    }
    path = buffer;
#else
#if defined(__linux__)
    const char link[] = "/proc/self/exe";
#else
    const char link[] = "/proc/curproc/file";
#endif
    const ssize_t length = readlink(link, buffer, sizeof buffer);
    if (length <= 0 || static_cast<size_t>(length) >= sizeof buffer) {
        SetLastError(length <= 0 ? ERROR_FILE_NOT_FOUND : ERROR_FILENAME_EXCED_RANGE);
        return false;
    }
    path.assign(buffer, static_cast<size_t>(length));
#endif
    return true;
}

// The file names of all loaded objects, as the loader keeps them.
std::vector<std::string> LoadedObjectNames() {
    std::vector<std::string> names;
#if defined(__APPLE__)
    const uint32_t count = _dyld_image_count();
    for (uint32_t i = 0; i < count; ++i) {
        const char *name = _dyld_get_image_name(i);
        if (name != nullptr && name[0] != '\0')
            names.push_back(name);
    }
#else
    dl_iterate_phdr(
        [](dl_phdr_info *info, size_t, void *data) {
            if (info->dlpi_name != nullptr && info->dlpi_name[0] != '\0')
                static_cast<std::vector<std::string> *>(data)->push_back(info->dlpi_name);
            return 0;
        },
        &names);
#endif
    return names;
}

// The native path of the module whose handle is `module`.  The handle is
// checked against the loaded objects, never followed, so that a stale or
// foreign handle gives an error rather than a crash.  Asking the loader
// for each object's handle happens outside its iteration, which holds a
// lock of the loader.
bool ModuleFile(HMODULE module, std::string &path) {
    for (const std::string &name : LoadedObjectNames()) {
        void *handle = dlopen(name.c_str(), RTLD_LAZY | RTLD_NOLOAD);
        if (handle == nullptr) {
            dlerror();
            continue;
        }
        dlclose(handle);
        if (handle != module)
            continue;
        char resolved[PATH_MAX];
        if (name[0] == '/')
            path = name;
        else if (realpath(name.c_str(), resolved) != nullptr)
            path = resolved;
        else
            break;
        return true;
    }
    SetLastError(ERROR_MOD_NOT_FOUND);
    return false;
}

// Classes of lstrcmpiA's order, lowest first.
enum CharClass { kControl, kPunctuation, kDigit, kLetter, kHigh };

int SortWeight(unsigned char c) {
    int charClass;
    if (c >= 0x80)
        charClass = kHigh;
    else if (c < 0x20 || c == 0x7F)
        charClass = kControl;
    else if (c >= '0' && c <= '9')
        charClass = kDigit;
    else if (cvz::posix::IsLetter(static_cast<char>(c))) {
        charClass = kLetter;
        c = static_cast<unsigned char>(c | 0x20);
    } else
        charClass = kPunctuation;
    return charClass * 256 + c;
}

}  // namespace

DWORD GetCurrentDirectoryA(DWORD bufferLength, LPSTR buffer) {
    char native[PATH_MAX];
    if (getcwd(native, sizeof native) == nullptr) {
        SetLastError(errno == ERANGE    ? ERROR_FILENAME_EXCED_RANGE
                     : errno == EACCES ? ERROR_ACCESS_DENIED
                                       : ERROR_FILE_NOT_FOUND);
        return 0;
    }
    std::string name;
    if (!cvz::posix::DriveLetterName(native, name))
        return 0;
    const DWORD length = static_cast<DWORD>(name.size());
    if (buffer == nullptr || bufferLength <= length)
        return length + 1;
    memcpy(buffer, name.c_str(), name.size() + 1);
    return length;
}

DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size) {
    std::string native, name;
    if (!(module == nullptr ? ProgramFile(native) : ModuleFile(module, native)))
        return 0;
    if (!cvz::posix::DriveLetterName(native.c_str(), name))
        return 0;
    if (buffer == nullptr || size == 0) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    if (name.size() < size) {
        memcpy(buffer, name.c_str(), name.size() + 1);
        return static_cast<DWORD>(name.size());
    }
    memcpy(buffer, name.data(), size - 1);
    buffer[size - 1] = '\0';
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return size;
}

int lstrcmpiA(LPCSTR a, LPCSTR b) {
    if (a == nullptr || b == nullptr)
        return a == b ? 0 : (a == nullptr ? -1 : 1);
    for (;; ++a, ++b) {
        const unsigned char ca = static_cast<unsigned char>(*a), cb = static_cast<unsigned char>(*b);
        if (ca == 0 || cb == 0)
            return ca == cb ? 0 : (ca == 0 ? -1 : 1);
        const int wa = SortWeight(ca), wb = SortWeight(cb);
        if (wa != wb)
            return wa < wb ? -1 : 1;
    }
}
