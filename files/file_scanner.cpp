// FileScanner and the mask language; the rules are in file_scanner.h.
#include "platform/win32.h"

#include "CommonVcZq/files/file_scanner.h"

#include <string.h>

namespace {

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// `name` from its start under the ordinary mask `mask`.
int MatchOrdinary(const char *mask, const char *name) {
    for (;;) {
        const char m = *mask;
        if (m == '\0')
            return *name == '\0';
        if (m == '*') {
            while (*mask != '\0' && *mask != '.')
                ++mask;
            while (*name != '\0' && *name != '.')
                ++name;
            continue;
        }
        if (*name == '\0' || (m != '?' && Lower(m) != Lower(*name)))
            return 0;
        ++mask;
        ++name;
    }
}

// Whether the `length` characters of `text` hold `sought` (`soughtLength`
// characters), compared as stristr compares.
bool Holds(const char *text, size_t length, const char *sought, size_t soughtLength) {
    for (size_t start = 0; start + soughtLength <= length; ++start) {
        size_t i = 0;
        while (i < soughtLength && Lower(text[start + i]) == Lower(sought[i]))
            ++i;
        if (i == soughtLength)
            return true;
    }
    return false;
}

// Closes a search on every way out of a folder, exceptions included.
class SearchCloser {
public:
    explicit SearchCloser(HANDLE search) : search(search) {}
    ~SearchCloser() { FindClose(search); }
    SearchCloser(const SearchCloser &) = delete;
    SearchCloser &operator=(const SearchCloser &) = delete;

private:
    HANDLE search;
};

// Empties the masks that a root brought with it, also when a hook throws.
class MaskRelease {
public:
    explicit MaskRelease(DoubleList &masks) : masks(masks) {}
    ~MaskRelease() { masks.Clear(); }
    MaskRelease(const MaskRelease &) = delete;
    MaskRelease &operator=(const MaskRelease &) = delete;

private:
    DoubleList &masks;
};

bool IsDirectory(const WIN32_FIND_DATAA &data) {
    return (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

int MatchFileType(const char *mask, const char *fileName) {
    if (mask[0] != '<')
        return MatchOrdinary(mask, fileName);
    if (mask[1] == '*')
        return MatchOrdinary(mask + 1, fileName);
    const char *sought = mask + 1;
    const char *maskDot = strchr(sought, '.');
    const size_t soughtLength = maskDot != nullptr ? static_cast<size_t>(maskDot - sought) : strlen(sought);
    const char *nameDot = strchr(fileName, '.');
    const size_t baseLength = nameDot != nullptr ? static_cast<size_t>(nameDot - fileName) : strlen(fileName);
    if (!Holds(fileName, baseLength, sought, soughtLength))
        return 0;
    // "*" then the mask from its first '.': the star takes the base.
    return MatchOrdinary(maskDot != nullptr ? maskDot : "", fileName + baseLength);
}

FoundFile::~FoundFile() {}

FileScanner::FileScanner(const FileName &root, const String *fileType, int keepFound, int recursive)
    : targetList(nullptr), cursor(nullptr) {
    Reset(root, fileType, keepFound, recursive);
}

FileScanner::FileScanner(const List<FileName> &roots, const String *fileType, int keepFound, int recursive)
    : targetList(nullptr), cursor(nullptr) {
    Reset(roots, fileType, keepFound, recursive);
}

FileScanner::FileScanner(const FileScanner &other)
    : totalSize(other.totalSize), acceptedCount(other.acceptedCount), targetList(other.targetList),
      reportIndex(other.reportIndex), keepFound(other.keepFound), fileTypes(other.fileTypes),
      roots(other.roots), cursor(nullptr), recursive(other.recursive) {
    CopyFoundFiles(other);
}

FileScanner &FileScanner::operator=(const FileScanner &other) {
    if (this == &other)
        return *this;
    totalSize = other.totalSize;
    acceptedCount = other.acceptedCount;
    targetList = other.targetList;
    reportIndex = other.reportIndex;
    keepFound = other.keepFound;
    fileTypes = other.fileTypes;
    roots = other.roots;
    recursive = other.recursive;
    CopyFoundFiles(other);
    return *this;
}

FileScanner::~FileScanner() {}

void FileScanner::CopyFoundFiles(const FileScanner &other) {
    // A FoundFile has no clone of its own, so the list is copied here.
    foundFiles.Clear();
    cursor = nullptr;
    for (FoundFile *f = other.foundFiles.GetFirst(); f != nullptr; f = other.foundFiles.GetNext(f)) {
        FoundFile *copy = foundFiles.Append(new FoundFile(f->name, f->data));
        if (f == other.cursor)
            cursor = copy;
    }
}

void FileScanner::Reset(const FileName &root, const String *fileType, int keepFound, int recursive) {
    FileName *copy = new FileName(root);  // first: `root` may be one of the roots
    roots.Clear();
    roots.Append(copy);
    ResetState(fileType, keepFound, recursive);
}

void FileScanner::Reset(const List<FileName> &newRoots, const String *fileType, int keepFound, int recursive) {
    if (&newRoots != &roots)
        roots = newRoots;
    ResetState(fileType, keepFound, recursive);
}

void FileScanner::ResetState(const String *fileType, int keepFound, int recursive) {
    this->keepFound = keepFound;
    this->recursive = recursive;
    totalSize = 0;
    acceptedCount = 0;
    reportIndex = 0;
    cursor = nullptr;
    foundFiles.Clear();
    // The mask is copied first: it may be one of the masks.
    StringItem<ListElement> *mask = fileType != nullptr ? new StringItem<ListElement>(*fileType) : nullptr;
    fileTypes.Clear();
    if (mask != nullptr)
        fileTypes.Append(mask);
}

void FileScanner::AddFileType(const String &mask) {
    fileTypes.Append(new StringItem<ListElement>(mask));
}

void FileScanner::SetFileNameList(List<FileName> &target) {
    targetList = &target;
    struct Unset {
        List<FileName> *&list;
        ~Unset() { list = nullptr; }
    } unset{targetList};
    Run();
}

String FileScanner::GetFirst() {
    cursor = foundFiles.GetFirst();
    return cursor != nullptr ? String(cursor->name) : String();
}

String FileScanner::GetNext() {
    if (cursor != nullptr)
        cursor = foundFiles.GetNext(cursor);
    return cursor != nullptr ? String(cursor->name) : String();
}

int FileScanner::UserBreak() {
    return 0;
}

int FileScanner::OnFile(const FileName &, const WIN32_FIND_DATAA *, uint32_t) {
    return 1;
}

int FileScanner::Filter(const FileName &, const WIN32_FIND_DATAA *) {
    return 1;
}

void FileScanner::OnDirectory(const FileName &) {}

void FileScanner::OnStartRealScan() {}

void FileScanner::OnEndRealScan() {}

void FileScanner::Run() {
    OnStartRealScan();
    reportIndex = 0;
    for (FileName *root = roots.GetFirst(); root != nullptr; root = roots.GetNext(root)) {
        if (!fileTypes.IsEmpty()) {
            ScanOneDirectory(*root, "*.*");
            continue;
        }
        // The root carries its masks: "folder\mask|mask|...".
        List<StringItem<ListElement>> items;
        ExplodeString(items, *root, "|", 1);
        StringItem<ListElement> *first = items.GetFirst();
        if (first == nullptr)
            continue;
        const String folder(first->GetPath());
        const String name(first->GetTitle(1));
        if (name.IsEmpty())
            continue;
        const bool literal = items.GetCount() == 1 && strpbrk(name, "*?") == nullptr;
        MaskRelease release(fileTypes);
        AddFileType(name);
        for (StringItem<ListElement> *item = items.GetNext(first); item != nullptr; item = items.GetNext(item))
            AddFileType(*item);
        ScanOneDirectory(folder, literal ? name.c_str() : "*.*");
    }
    OnEndRealScan();
    if (!keepFound)
        return;
    for (FoundFile *found = foundFiles.GetFirst(); found != nullptr; found = foundFiles.GetNext(found)) {
        const FileName name(found->name);
        if (!OnFile(name, &found->data, reportIndex++))
            break;
    }
}

int FileScanner::ScanOneDirectory(const char *folder, const char *pattern) {
    OnDirectory(FileName(folder));
    char path[MAX_PATH];
    size_t length = strlen(folder);
    const bool needsSeparator = length == 0 || folder[length - 1] != '\\';
    const size_t patternLength = strlen(pattern);
    if (length + needsSeparator + patternLength >= sizeof path)
        return 1;  // no room for the search text: nothing can be listed
    memcpy(path, folder, length);
    if (needsSeparator)
        path[length++] = '\\';
    char search[MAX_PATH];
    memcpy(search, path, length);
    memcpy(search + length, pattern, patternLength + 1);

    WIN32_FIND_DATAA data;
    bool hasSubfolders = false;
    HANDLE listing = FindFirstFileA(search, &data);
    if (listing != INVALID_HANDLE_VALUE) {
        SearchCloser closer(listing);
        do {
            if (IsDirectory(data))
                hasSubfolders = hasSubfolders || data.cFileName[0] != '.';
            else if (!OfferFile(path, length, data))
                return 0;
            if (UserBreak())
                return 0;
        } while (FindNextFileA(listing, &data));
    }
    if (!hasSubfolders || !recursive)
        return 1;

    listing = FindFirstFileA(search, &data);
    if (listing == INVALID_HANDLE_VALUE)
        return 1;
    SearchCloser closer(listing);
    do {
        if (UserBreak())
            return 0;
        if (!IsDirectory(data) || data.cFileName[0] == '.')
            continue;
        const size_t nameLength = strlen(data.cFileName);
        if (length + nameLength >= sizeof path)
            continue;  // the subfolder's name does not fit
        memcpy(path + length, data.cFileName, nameLength + 1);
        if (!ScanOneDirectory(path, pattern))
            return 0;
    } while (FindNextFileA(listing, &data));
    return 1;
}

int FileScanner::OfferFile(const char *path, size_t length, const WIN32_FIND_DATAA &data) {
    const size_t nameLength = strlen(data.cFileName);
    if (length + nameLength >= MAX_PATH)
        return 1;  // the full name does not fit
    FileName name;
    for (StringItem<ListElement> *mask = fileTypes.GetFirst(); mask != nullptr; mask = fileTypes.GetNext(mask)) {
        if (!MatchFileType(*mask, data.cFileName))
            continue;
        if (name.IsEmpty())
            name = String(path, 0, static_cast<uint32_t>(length)) + data.cFileName;
        if (!Filter(name, &data))
            break;
        totalSize += data.nFileSizeLow;
        ++acceptedCount;
        if (targetList != nullptr)
            targetList->Append(new FileName(name));
        else if (keepFound)
            foundFiles.Append(new FoundFile(name, data));
        else if (!OnFile(name, &data, reportIndex++))
            return 0;
    }
    return 1;
}
