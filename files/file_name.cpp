// FileName, and the path members of String: names in drive-letter form,
// taken apart and put together as text.
//
// Only '\' divides parts, except in GetRelativeFileName and
// GetAbsoluteFileName, which split with ExplodeString on '\', '/' and ':'
// (and so also drop empty parts and blanks at the ends of parts) and write
// '\'.  Nothing here touches the file system; GetCurrentPath, GetCurrentDrive
// and GetApplicationPath ask the platform for a name, in a buffer of 260
// bytes, and give an empty text when it has none that fits.
#include "CommonVcZq/files/file_name.h"

#include <string.h>

#include "platform/win32.h"
#include "CommonVcZq/text/text_functions.h"

namespace {

// The longest name the platform calls deliver here, zero included.
const DWORD kNameBufferSize = 260;

const char kPathSeparator = '\\';
const char kSplittingSeparators[] = "\\/:";

typedef List<StringItem<ListElement>> PartList;

bool IsDriveLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

char Upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// Where the title starts: behind the last '\', or at the start.
const char *TitleOf(const char *text) {
    const char *separator = strrchr(text, kPathSeparator);
    return separator ? separator + 1 : text;
}

// The last '.' of the title, or null.
const char *ExtensionDotOf(const char *text) {
    return strrchr(TitleOf(text), '.');
}

// A new body with `length` characters of `text`.
SubString Piece(const char *text, size_t length) {
    return SubString::Create(text, static_cast<uint32_t>(length));
}

SubString Copy(const String &s) {
    return SubString::Create(s.c_str(), s.GetLength());
}

// Appends `part` to `result`, behind a '\' unless it is the first part.
void AppendPart(String &result, const char *part, bool &first) {
    if (!first)
        result += kPathSeparator;
    result += part;
    first = false;
}

}  // namespace

// ----------------------------------------------------------------- queries

int String::ContainsDrive() const {
    return GetLength() >= 2 && IsDriveLetter(text[0]) && text[1] == DriveSeparator();
}

int String::ContainsPath() const {
    return strchr(text, PathSeparator()) != nullptr;
}

SubString String::GetDrive(int *index) const {
    const int driveIndex = GetDriveIndex();
    if (index)
        *index = driveIndex;
    if (driveIndex < 0)
        return SubString::CreateNull();
    const char letter = static_cast<char>('A' + driveIndex);
    return SubString::Create(&letter, 1);
}

int String::GetDriveIndex() const {
    return ContainsDrive() ? Upper(text[0]) - 'A' : -1;
}

SubString String::GetPath() const {
    const char *separator = strrchr(text, PathSeparator());
    return separator ? Piece(text, static_cast<size_t>(separator - text)) : Copy(*this);
}

SubString String::GetTitle(int withExtension) const {
    const char *title = TitleOf(text);
    const char *dot = withExtension ? nullptr : strrchr(title, '.');
    return Piece(title, dot ? static_cast<size_t>(dot - title) : strlen(title));
}

SubString String::GetExtension(int withDot) const {
    const char *dot = ExtensionDotOf(text);
    if (!dot)
        return SubString::CreateNull();
    const char *from = withDot ? dot : dot + 1;
    return Piece(from, strlen(from));
}

int String::IsValidFileName() const {
    return !IsEmpty() && ContainsDrive() && ContainsPath() && *TitleOf(text) != 0;
}

SubString String::GetPathBelow(String *top) const {
    String rest(*this);
    const char separators[] = {PathSeparator(), 0};
    rest.Trim(separators, 3);
    const int32_t separator = rest.FindFirst(PathSeparator());
    if (separator < 0) {
        if (top)
            *top = rest;
        return SubString::CreateNull();
    }
    if (top)
        *top = rest.Left(static_cast<uint32_t>(separator));
    return rest.Mid(static_cast<uint32_t>(separator) + 1);
}

SubString String::GetSummary(uint32_t maxLength) const {
    if (!ContainsDrive())
        return SubString::CreateNull();
    if (GetLength() <= maxLength)
        return Copy(*this);

    const String path(GetPath());
    const String parent(path.GetPath());
    const String title(GetTitle(1));
    // Without a directory above the file's own, nothing is left out.
    String candidate(Compare(path.text, parent.text) == 0 ? String(*this) : String(parent + "\\...\\" + title));
    if (maxLength == 0)
        return SubString::TransformToSubString(candidate);

    if (candidate.GetLength() > maxLength)
        candidate = String(GetDrive()) + ":\\...\\" + title;
    if (candidate.GetLength() > maxLength)
        candidate = "...\\" + title;
    if (candidate.GetLength() > maxLength) {
        if (maxLength >= 3)
            candidate = String(candidate.Left(maxLength - 3)) + "...";
        else
            candidate = candidate.Left(maxLength);
    }
    return SubString::TransformToSubString(candidate);
}

SubString String::GetCurrentDrive() {
    char name[kNameBufferSize] = {};
    GetCurrentDirectoryA(sizeof name, name);
    if (name[0] == 0)
        return SubString::CreateNull();
    const char letter = Upper(name[0]);
    return SubString::Create(&letter, 1);
}

SubString String::GetCurrentPath() {
    char name[kNameBufferSize] = {};
    GetCurrentDirectoryA(sizeof name, name);
    name[sizeof name - 1] = 0;
    return Piece(name, strlen(name));
}

// Both names are split into parts, the drive taken off each, and the parts
// they share from the top are dropped: what is left of `from` becomes
// "..", what is left of `to` follows.  The title of `to` is never matched
// against a directory of `from`.
SubString String::GetRelativeFileName(const String &from, const String &to) {
    if (_stricmp(String(from.GetDrive()).c_str(), String(to.GetDrive()).c_str()) != 0)
        return SubString::CreateNull();

    PartList fromParts, toParts;
    ExplodeString(fromParts, from.text, kSplittingSeparators, 1);
    ExplodeString(toParts, to.text, kSplittingSeparators, 1);
    fromParts.DeleteFirst();
    toParts.DeleteFirst();
    while (!fromParts.IsEmpty() && toParts.GetCount() >= 2 &&
           _stricmp(fromParts.GetFirst()->c_str(), toParts.GetFirst()->c_str()) == 0) {
        fromParts.DeleteFirst();
        toParts.DeleteFirst();
    }

    String result;
    bool first = true;
    for (int32_t up = fromParts.GetCount(); up > 0; --up)
        AppendPart(result, "..", first);
    for (const StringItem<ListElement> *part = toParts.GetFirst(); part; part = toParts.GetNext(part))
        AppendPart(result, part->c_str(), first);
    return SubString::TransformToSubString(result);
}

// The first part of `base` is its drive letter.  A ".." that would take it
// off is passed over, so a `relative` that climbs too far ends at the root
// of the drive.  An empty `base` gives the tail alone.
SubString String::GetAbsoluteFileName(const String &base, const String &relative) {
    PartList baseParts, relativeParts;
    ExplodeString(baseParts, base.text, kSplittingSeparators, 1);
    ExplodeString(relativeParts, relative.text, kSplittingSeparators, 1);

    String tail;
    for (const StringItem<ListElement> *part = relativeParts.GetFirst(); part;
         part = relativeParts.GetNext(part)) {
        if (Compare(part->c_str(), "..") == 0) {
            if (baseParts.GetCount() > 1)
                baseParts.DeleteLast();
        } else {
            tail += PathSeparator();
            tail += *part;
        }
    }

    String result;
    const StringItem<ListElement> *part = baseParts.GetFirst();
    if (part) {
        result = *part;
        result += DriveSeparator();
        for (part = baseParts.GetNext(part); part; part = baseParts.GetNext(part)) {
            result += PathSeparator();
            result += *part;
        }
    }
    result += tail;
    return SubString::TransformToSubString(result);
}

// ---------------------------------------------------------------- changing

String &String::SetDrive(const String &drive) {
    if (ContainsDrive())
        Remove(0, 2);
    if (GetFirstChar() != PathSeparator())
        Insert(0, PathSeparator());
    Insert(0, DriveSeparator());
    return Insert(0, drive);
}

String &String::SetDrive(int index) {
    return SetDrive(String(static_cast<char>('A' + index), 1));
}

String &String::PrependVolumeName(const String &volume) {
    return Replace(0, 2, volume);
}

String &String::SetExtension(const String &extension) {
    if (const char *dot = ExtensionDotOf(text))
        KeepLeft(static_cast<uint32_t>(dot - text));
    if (!extension.IsEmpty()) {
        Append('.');
        Append(extension);
    }
    return *this;
}

String &String::AppendTitleAndMakeFullFileName(const String &title) {
    if (!ContainsDrive())
        AddCurrentDrive();
    if (GetLastChar() != PathSeparator())
        Append(PathSeparator());
    // A copy, so that a title that is this very string stays readable.
    String rest(title);
    if (rest.GetFirstChar() == PathSeparator())
        rest.Remove(0, 1);
    return Append(rest);
}

String &String::EnsureFullFileName() {
    if (ContainsDrive())
        return *this;
    return ContainsPath() ? AddCurrentDrive() : AddCurrentPath();
}

String &String::AddCurrentDrive() {
    if (GetFirstChar() != PathSeparator())
        Insert(0, PathSeparator());
    Insert(0, DriveSeparator());
    return Insert(0, String(GetCurrentDrive()));
}

String &String::AddCurrentPath() {
    if (GetFirstChar() != PathSeparator())
        Insert(0, PathSeparator());
    return Insert(0, String(GetCurrentPath()));
}

// ---------------------------------------------------------------- FileName

FileName::FileName(const String &path, const String &title) : String(path) {
    AppendTitleAndMakeFullFileName(title);
}

FileName::~FileName() {}

int32_t FileName::Compare(const CollectionElement &other, int) const {
    return lstrcmpiA(c_str(), static_cast<const FileName &>(other).c_str());
}

CollectionElement *FileName::CreateClone(const void *) const {
    return new FileName(*this);
}

SubString FileName::GetApplicationPath() {
    char name[kNameBufferSize] = {};
    GetModuleFileNameA(nullptr, name, sizeof name);
    name[sizeof name - 1] = 0;  // a name cut short may lack its zero
    return String(name).GetPath();
}

SubString FileName::CreateApplicationRelative(const String &title) {
    String name(GetApplicationPath());
    name.AppendTitleAndMakeFullFileName(title);
    return SubString::TransformToSubString(name);
}
