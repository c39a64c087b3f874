// Arbitrary names through the path algebra of String.
//
// Input: one byte for the summary's maximum length, then two names divided
// by a zero byte.  Every member must read only its own text and finish; on
// top of that:
//
// - GetPath, GetTitle and GetExtension put the name back together;
// - GetSummary gives no name without a drive, the whole name when it fits,
//   and never more than the maximum (when one is given);
// - a walk with GetPathBelow ends, and its tops joined with '\' are the
//   name without separators at its ends or doubled inside;
// - GetRelativeFileName and GetAbsoluteFileName write '\' only, and for two
//   well-formed full names on one drive (see IsWellFormed) the absolute
//   name of the relative one is the name itself, up to case.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include <string>

#include "CommonVcZq/files/file_name.h"

namespace {

void Check(bool condition) {
    if (!condition)
        abort();
}

std::string Text(const SubString &s) {
    return String(s).c_str();
}

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualIgnoringCase(const std::string &a, const std::string &b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (Lower(a[i]) != Lower(b[i]))
            return false;
    return true;
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

// A drive, then parts behind single '\': no part empty, "." or "..", none
// holding '/' or ':', none beginning or ending with a blank or tab.  Such a
// name splits into exactly its parts, and none of them is special.
bool IsWellFormed(const std::string &name) {
    if (name.size() < 2 || name[1] != ':' || !((name[0] | 0x20) >= 'a' && (name[0] | 0x20) <= 'z'))
        return false;
    size_t at = 2;
    while (at < name.size()) {
        if (name[at] != '\\')
            return false;
        const size_t end = name.find('\\', at + 1);
        const std::string part = name.substr(at + 1, end == std::string::npos ? std::string::npos : end - at - 1);
        if (part.empty() || part == "." || part == ".." || part.find_first_of("/:") != std::string::npos ||
            IsBlank(part.front()) || IsBlank(part.back()))
            return false;
        at = end == std::string::npos ? name.size() : end;
    }
    return true;
}

// The name less '\' at its ends, with runs of '\' inside taken as one.
std::string Condensed(const std::string &name) {
    std::string result;
    for (char c : name)
        if (c != '\\' || (!result.empty() && result.back() != '\\'))
            result += c;
    if (!result.empty() && result.back() == '\\')
        result.pop_back();
    return result;
}

void CheckParts(const String &name) {
    const std::string text = name.c_str(), path = Text(name.GetPath()), title = Text(name.GetTitle(1));
    Check(name.ContainsPath() ? path + "\\" + title == text : path == text && title == text);
    Check(Text(name.GetTitle(0)) + Text(name.GetExtension(1)) == title);
    const std::string extension = Text(name.GetExtension(0));
    Check(extension.empty() || Text(name.GetExtension(1)) == "." + extension);
}

void CheckSummary(const String &name, uint32_t maxLength) {
    const std::string summary = Text(name.GetSummary(maxLength));
    if (!name.ContainsDrive())
        Check(summary.empty());
    else if (name.GetLength() <= maxLength)
        Check(summary == name.c_str());
    else if (maxLength > 0)
        Check(summary.size() <= maxLength);
}

void CheckWalk(const String &name) {
    std::string joined;
    String rest(name), top;
    for (size_t steps = 0;; ++steps) {
        Check(steps <= name.GetLength());
        rest = rest.GetPathBelow(&top);
        const std::string part = top.c_str();
        Check(part.find('\\') == std::string::npos);
        if (part.empty()) {
            Check(rest.IsEmpty());
            break;
        }
        joined += (joined.empty() ? "" : "\\") + part;
        if (rest.IsEmpty())
            break;
    }
    Check(joined == Condensed(name.c_str()));
}

void CheckRelative(const String &from, const String &to) {
    const std::string relative = Text(String::GetRelativeFileName(from, to));
    Check(relative.find_first_of("/:") == std::string::npos);
    const std::string absolute = Text(String::GetAbsoluteFileName(from, relative.c_str()));
    Check(absolute.find('/') == std::string::npos);
    if (!IsWellFormed(from.c_str()) || !IsWellFormed(to.c_str()))
        return;
    if (Lower(from[0]) != Lower(to[0])) {
        Check(relative.empty());
        return;
    }
    Check(EqualIgnoringCase(absolute, to.c_str()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1)
        return 0;
    const std::string input(reinterpret_cast<const char *>(data) + 1, size - 1);
    const size_t split = input.find('\0');
    const String first(input.substr(0, split).c_str());
    const String second(split == std::string::npos ? "" : input.c_str() + split + 1);
    const uint32_t maxLength = data[0];

    for (const String *name : {&first, &second}) {
        CheckParts(*name);
        CheckSummary(*name, maxLength);
        CheckWalk(*name);
    }
    CheckRelative(first, second);
    CheckRelative(second, first);
    // Any text as a relative name: the walk up stops at the drive.
    const std::string absolute = Text(String::GetAbsoluteFileName(first, second));
    Check(absolute.find('/') == std::string::npos);
    return 0;
}
