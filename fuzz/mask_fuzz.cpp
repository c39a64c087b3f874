// Arbitrary masks and names through MatchFileType, against a second
// matcher written straight from the rules of the mask language.
//
// Input: the mask, a zero byte, the name (up to the next zero).  Each text
// goes into a block of exactly its own size, zero included, so that the
// address sanitizer stops any read beyond either one.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <string>

#include "CommonVcZq/files/file_scanner.h"

namespace {

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

std::string Lowered(std::string text) {
    for (char &c : text)
        c = Lower(c);
    return text;
}

// The ordinary mask, walked from the left as the table of the language
// says: the end of the mask matches the end of the name; "*" moves both to
// their next '.' (or end); "?" passes one character of each; any other
// character must equal the name's without case.
bool Ordinary(const std::string &mask, const std::string &name) {
    size_t m = 0, n = 0;
    for (;;) {
        if (m == mask.size())
            return n == name.size();
        if (mask[m] == '*') {
            m = std::min(mask.find('.', m), mask.size());
            n = std::min(name.find('.', n), name.size());
        } else if (n == name.size()) {
            return false;  // "?" and letters need a character
        } else if (mask[m] == '?' || Lower(mask[m]) == Lower(name[n])) {
            ++m;
            ++n;
        } else {
            return false;
        }
    }
}

// The head "<": "<*" is the ordinary mask behind the "<"; otherwise the
// text up to the first '.' must stand in the name up to its first '.', and
// the rest is "*" followed by the mask from its first '.'.
bool Reference(const std::string &mask, const std::string &name) {
    if (mask.empty() || mask[0] != '<')
        return Ordinary(mask, name);
    if (mask.size() > 1 && mask[1] == '*')
        return Ordinary(mask.substr(1), name);
    const size_t dot = mask.find('.');
    const std::string sought = mask.substr(1, dot == std::string::npos ? std::string::npos : dot - 1);
    const std::string base = name.substr(0, name.find('.'));
    if (Lowered(base).find(Lowered(sought)) == std::string::npos)
        return false;
    return Ordinary("*" + (dot == std::string::npos ? std::string() : mask.substr(dot)), name);
}

std::unique_ptr<char[]> ExactCopy(const std::string &text) {
    std::unique_ptr<char[]> copy(new char[text.size() + 1]);
    memcpy(copy.get(), text.c_str(), text.size() + 1);
    return copy;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string input(reinterpret_cast<const char *>(data), size);
    const size_t split = input.find('\0');
    const std::string mask = input.substr(0, split);
    const std::string name = split == std::string::npos ? std::string() : input.substr(split + 1).c_str();
    const std::unique_ptr<char[]> maskText = ExactCopy(mask), nameText = ExactCopy(name);
    if ((MatchFileType(maskText.get(), nameText.get()) != 0) != Reference(mask, name))
        abort();
    return 0;
}
