// Directory listing: FindFirstFileA, FindNextFileA and FindClose.
//
// What follows Win32:
//
// - The last component of the name is the pattern, everything before it
//   the folder ("C:\dir\*.txt"; "C:*" is the drive's folder).  Windows
//   drops dots and blanks at the end of a name, and so does the pattern
//   here; an empty pattern ("C:\dir\") fails with ERROR_FILE_NOT_FOUND.
// - The pattern is rewritten as Windows rewrites it before the file system
//   sees it: "*.*" becomes "*" (every entry, with or without a dot);
//   otherwise each '?' becomes DOS_QM ('>'), a '*' followed by a '.' (also
//   one of the dots dropped at the end) becomes DOS_STAR ('<'), and a '.'
//   followed by '*' or '?' becomes DOS_DOT ('"').  So "*." is "<" and
//   "*.*." is "*", as on Windows.
// - The rewritten pattern matches as the file systems of Windows match,
//   without case:
//     '*'  any run of characters, the empty one included;
//     '<'  any run that does not take the name's last '.';
//     '>'  any one character, but at a '.' or at the end of the name it
//          matches nothing (so "a?" matches "a" and "ab", "?.txt" ".txt");
//     '"'  a '.', or nothing at the end of the name (so "a.*" matches "a");
//     any other character itself, ASCII letters without case.
//   A program may write '<', '>' and '"' itself, as on Windows.
// - "." and ".." come first, each when the pattern lets it through, in any
//   folder but a drive's root ("C:\", "Z:\", "/"), as NTFS lists them;
//   they describe the folder and its parent.
// - Errors: a folder that does not exist, or is not a folder, gives
//   ERROR_PATH_NOT_FOUND; one that cannot be read ERROR_ACCESS_DENIED;
//   no entry that matches, ERROR_FILE_NOT_FOUND; the end of the listing,
//   ERROR_NO_MORE_FILES from FindNextFileA, and again at every later call.
//
// What differs:
//
// - There are no 8.3 names: a pattern matches the name alone, where
//   Windows (and wine) also try the short name, so that "*.htm" finds
//   "page.html" there and not here.
// - Case is folded for ASCII letters only; Windows folds the whole code
//   page.  A folder may hold names that differ in case only, and a literal
//   pattern then finds each of them.
// - Names are given as the file system holds them, also those Windows
//   would refuse (with '\\', ':', '*', '?', '"', '<', '>', '|' or control
//   characters); a name with '\\' cannot be opened through the layer,
//   which reads '\\' as a separator.
// - A symbolic link is listed as what it points to, as wine does; a link
//   that points nowhere as a file of its own size.
// - Whether a folder is a drive's root is read from the name, not from the
//   file system: "C:\dir\..\*" lists "." and "..".
// - The names in a folder's listing are those the folder held when the
//   search began or came by later, as readdir gives them: a name created or
//   removed meanwhile may or may not appear, as on Windows.  An entry that
//   is gone by the time its state is asked for is passed over.
//
// Speed.  A search holds its folder open and reads it with readdir, which
// fetches entries in large batches (getdents64, 32 KB at a time in glibc,
// about a thousand names): a folder of 100 files costs two getdents64,
// one that fills the batch and one that finds the end, so a larger buffer
// of our own would save nothing that shows beside the calls below.
// The name alone decides whether an entry matches; only matching entries
// cost a statx, relative to the open folder, and a read of the DOS bits
// (relative as well where the kernel has getxattrat), which a search stops
// asking for once the file system says that it keeps no extended
// attributes.  Those two calls are the whole cost of an entry: a listing
// of 100,000 files makes 200,000 of them, where find(1), matching names
// only, makes none (bench/scan_bench.cpp).  The matcher follows all states
// of the pattern at once, in one pass over the name, with no allocation
// after the search is made.
//
// A search is a kernel object (kernel_objects.h): FindNextFileA reads the
// folder holding a reference to it, not the kernel lock, and FindClose
// closes its handle; the folder closes when the last reference goes.
#include "platform/win32.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/posix/dos_attributes.h"
#include "platform/posix/files.h"
#include "platform/posix/kernel_objects.h"
#include "platform/posix/paths.h"

namespace cvz::posix {
namespace {

const char kDosStar = '<';
const char kDosQm = '>';
const char kDosDot = '"';

char Upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool IsSeparator(char c) {
    return c == '\\' || c == '/';
}

// The pattern as Windows rewrites it (see the top of the file); empty when
// nothing is left of it.
std::string DosExpression(const char *pattern) {
    size_t length = strlen(pattern);
    while (length > 0 && (pattern[length - 1] == '.' || pattern[length - 1] == ' '))
        --length;
    if (length == 3 && memcmp(pattern, "*.*", 3) == 0)
        return "*";
    std::string expression(pattern, length);
    for (size_t i = 0; i < length; ++i) {
        // The look-ahead sees the dropped dots too, as Windows's does.
        const char next = pattern[i + 1];
        if (pattern[i] == '?')
            expression[i] = kDosQm;
        else if (pattern[i] == '*' && next == '.')
            expression[i] = kDosStar;
        else if (pattern[i] == '.' && (next == '*' || next == '?'))
            expression[i] = kDosDot;
    }
    return expression;
}

// Follows every state of `expression` at once along `name`: `states`
// holds one flag a position of the expression, `next` the same.
class Matcher {
public:
    explicit Matcher(std::string expression)
        : expression(std::move(expression)), states(this->expression.size() + 1),
          next(this->expression.size() + 1) {}

    bool Matches(const char *name) {
        const size_t size = expression.size();
        const char *lastDot = strrchr(name, '.');
        std::fill(states.begin(), states.end(), 0);
        states[0] = 1;
        for (const char *at = name;; ++at) {
            const char c = *at;
            // Steps that take no character lead one position on, so one
            // sweep from the left closes the set.
            for (size_t i = 0; i < size; ++i) {
                if (!states[i])
                    continue;
                const char e = expression[i];
                if (e == '*' || e == kDosStar || (e == kDosQm && (c == '.' || c == '\0')) ||
                    (e == kDosDot && c == '\0'))
                    states[i + 1] = 1;
            }
            if (c == '\0')
                return states[size] != 0;
            std::fill(next.begin(), next.end(), 0);
            bool any = false;
            for (size_t i = 0; i < size; ++i) {
                if (!states[i])
                    continue;
                const char e = expression[i];
                size_t to = size + 1;  // none
                if (e == '*' || (e == kDosStar && at != lastDot))
                    to = i;
                else if (e == '?' || (e == kDosQm && c != '.') || (e == kDosDot && c == '.') ||
                         (e != kDosStar && e != kDosQm && e != kDosDot && Upper(e) == Upper(c)))
                    to = i + 1;
                if (to <= size) {
                    next[to] = 1;
                    any = true;
                }
            }
            if (!any)
                return false;
            states.swap(next);
        }
    }

private:
    const std::string expression;
    std::vector<unsigned char> states;
    std::vector<unsigned char> next;
};

// Windows 100 ns steps since 1601 from a POSIX time.
FILETIME FileTimeOf(int64_t seconds, uint32_t nanoseconds) {
    const uint64_t ticks = static_cast<uint64_t>(seconds + 11644473600LL) * 10000000u + nanoseconds / 100;
    return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

// One search: the open folder and where the listing stands.
class Search final : public KernelObject {
public:
    Search(DIR *folder, std::string path, std::string expression, bool isRoot)
        : folder(folder), path(std::move(path)), folderLength(this->path.size()),
          matcher(std::move(expression)), dotsLeft(isRoot ? 0 : 2) {}
    ~Search() override { closedir(folder); }

    // A search is never signalled: nothing waits on it.
    bool IsSignalled() const override { return false; }

    // The next entry that matches, into `data`; false at the end.
    bool Next(WIN32_FIND_DATAA *data);

private:
    // Fills `data` for the entry `name` of the folder; false when it is
    // gone.
    bool Describe(const char *name, WIN32_FIND_DATAA *data);

    DIR *const folder;
    std::string path;          // the folder's native path and '/', then a name
    const size_t folderLength;
    Matcher matcher;
    int dotsLeft;              // 2: "." and ".." still to come; 1: ".."; 0: none
    bool attributesKept = true;  // the file system keeps extended attributes
};

bool Search::Next(WIN32_FIND_DATAA *data) {
    while (dotsLeft > 0) {
        const char *name = dotsLeft-- == 2 ? "." : "..";
        if (matcher.Matches(name) && Describe(name, data))
            return true;
    }
    for (;;) {
        const dirent *entry = readdir(folder);
        if (entry == nullptr)
            return false;
        const char *name = entry->d_name;
        if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
            continue;
        if (matcher.Matches(name) && Describe(name, data))
            return true;
    }
}

bool Search::Describe(const char *name, WIN32_FIND_DATAA *data) {
    const int at = dirfd(folder);
    int64_t size = 0;
    mode_t mode = 0;
    FILETIME created, accessed, written;
#if defined(__linux__)
    struct statx state;
    const unsigned mask = STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_ATIME | STATX_MTIME | STATX_BTIME;
    if (statx(at, name, AT_NO_AUTOMOUNT, mask, &state) != 0 &&
        (errno != ENOENT || statx(at, name, AT_NO_AUTOMOUNT | AT_SYMLINK_NOFOLLOW, mask, &state) != 0))
        return false;
    size = static_cast<int64_t>(state.stx_size);
    mode = state.stx_mode;
    accessed = FileTimeOf(state.stx_atime.tv_sec, state.stx_atime.tv_nsec);
    written = FileTimeOf(state.stx_mtime.tv_sec, state.stx_mtime.tv_nsec);
    created = (state.stx_mask & STATX_BTIME) != 0 ? FileTimeOf(state.stx_btime.tv_sec, state.stx_btime.tv_nsec)
                                                  : written;
#else
    struct stat state;
    if (fstatat(at, name, &state, 0) != 0 &&
        (errno != ENOENT || fstatat(at, name, &state, AT_SYMLINK_NOFOLLOW) != 0))
        return false;
    size = state.st_size;
    mode = state.st_mode;
    accessed = FileTimeOf(state.st_atime, 0);
    written = FileTimeOf(state.st_mtime, 0);
    created = written;
#endif
    DWORD stored = kNoStoredDosAttributes;
    if (attributesKept) {
        path.resize(folderLength);
        path += name;
        stored = StoredDosAttributesAt(at, name, path.c_str(), &attributesKept);
    }
    memset(data, 0, sizeof *data);
    data->dwFileAttributes = DosAttributes(mode, name, stored, attributesKept);
    data->ftCreationTime = created;
    data->ftLastAccessTime = accessed;
    data->ftLastWriteTime = written;
    if (!S_ISDIR(mode)) {
        data->nFileSizeHigh = static_cast<DWORD>(static_cast<uint64_t>(size) >> 32);
        data->nFileSizeLow = static_cast<DWORD>(size);
    }
    strncpy(data->cFileName, name, sizeof data->cFileName - 1);
    return true;
}

// Whether `folder`, the part of a name before its pattern, is a drive's
// root: "X:", "X:\", "\" or "/" (separators repeated or not).
bool IsDriveRoot(const std::string &folder) {
    size_t length = folder.size();
    while (length > 0 && IsSeparator(folder[length - 1]))
        --length;
    if (length == 0)
        return !folder.empty();
    return length == 2 && folder[1] == ':' && ((folder[0] | 0x20) >= 'a' && (folder[0] | 0x20) <= 'z');
}

// The error of a folder that would not open: the errno table's answer for
// the causes it knows apart, and otherwise, as Windows says it, a path that
// is not there.
DWORD ErrorOfOpen(int error) {
    switch (error) {
    case EACCES:
    case EPERM:
    case EMFILE:
    case ENFILE:
    case ENOMEM:
    case ENAMETOOLONG:
        return ErrorFromErrno(error);
    default:
        return ERROR_PATH_NOT_FOUND;
    }
}

}  // namespace
}  // namespace cvz::posix

using cvz::posix::Search;

HANDLE FindFirstFileA(LPCSTR name, LPWIN32_FIND_DATAA data) {
    // The search is held inside a KernelCall (kernel_objects.h) until the
    // table takes it.
    cvz::posix::KernelCall call;
    const char *pattern = name;
    for (const char *at = name; *at != '\0'; ++at) {
        if (cvz::posix::IsSeparator(*at) || (at == name + 1 && *at == ':'))
            pattern = at + 1;
    }
    std::string expression = cvz::posix::DosExpression(pattern);
    if (expression.empty()) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    const std::string folderName(name, static_cast<size_t>(pattern - name));
    char path[PATH_MAX];
    if (!cvz::posix::NativePath(folderName.empty() ? "." : folderName.c_str(), path, sizeof path - 1))
        return INVALID_HANDLE_VALUE;
    size_t length = strlen(path);
    if (length == 0 || path[length - 1] != '/') {
        path[length++] = '/';
        path[length] = '\0';
    }
    const int fd = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *folder = fd < 0 ? nullptr : fdopendir(fd);
    if (folder == nullptr) {
        const int error = errno;
        if (fd >= 0)
            close(fd);
        SetLastError(cvz::posix::ErrorOfOpen(error));
        return INVALID_HANDLE_VALUE;
    }
    auto search = std::make_shared<Search>(folder, std::string(path, length), std::move(expression),
                                           cvz::posix::IsDriveRoot(folderName));
    if (!search->Next(data)) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }
    return cvz::posix::Locked([&] { return cvz::posix::NewHandle(std::move(search)); });
}

BOOL FindNextFileA(HANDLE handle, LPWIN32_FIND_DATAA data) {
    // The listing is read without the kernel lock, holding the search.
    return cvz::posix::WithReference<Search>(handle, FALSE, [&](Search &search) -> BOOL {
        if (search.Next(data))
            return TRUE;
        SetLastError(ERROR_NO_MORE_FILES);
        return FALSE;
    });
}

BOOL FindClose(HANDLE handle) {
    // Only a search: other kinds of handle fail, as on Windows.
    const bool isSearch = cvz::posix::WithObject<Search>(handle, false, [](Search &) { return true; });
    return isSearch && CloseHandle(handle);
}
