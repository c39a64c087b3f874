// Arbitrary patterns over arbitrary texts.
//
// Input: one byte that chooses the start position, the pattern, a zero byte,
// and the text (up to its first zero).  For every pattern that compiles, the
// search must report a match inside the text that a new search from the
// match's own position finds again, a copy of the pattern must agree, and
// so must the search without its prefilter, which tries every position.
// Where the pattern keeps to the language (7-bit), the result must also equal
// that of a plain backtracking matcher over the same byte code, which follows
// the documented algorithm step by step; it gives up on inputs that would
// take it too long.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include <string>

#include "CommonVcZq/text/regexp.h"
#include "text/regexp_internal.h"

namespace {

void Check(bool condition) {
    if (!condition)
        abort();
}

const int64_t kNoMatch = -1;
const int64_t kGaveUp = -2;

// The documented backtracking matcher, over the compiled byte code.
class ReferenceMatcher {
public:
    ReferenceMatcher(const unsigned char *code, const unsigned char *text, size_t from)
        : code(code), text(text), from(from) {}

    // Like RegularExp::Find; kGaveUp when it took too many steps.
    int64_t Find(unsigned int *length) {
        *length = 0;
        if (text[from] == 0) {
            const bool matches = code[0] == RegularExp::EndOfLine ||
                                 (code[0] == RegularExp::StartOfText &&
                                  (code[1] == RegularExp::End || code[1] == RegularExp::EndOfLine));
            if (!matches)
                return kNoMatch;
            *length = 1;
            return static_cast<int64_t>(from);
        }
        for (size_t start = from; text[start]; ++start) {
            const int64_t end = MatchHere(0, start);
            if (end == kGaveUp)
                return kGaveUp;
            if (end >= 0) {
                const size_t last = static_cast<size_t>(end) == from ? from : static_cast<size_t>(end) - 1;
                *length = static_cast<unsigned int>(last - start + 1);
                return static_cast<int64_t>(start);
            }
        }
        return kNoMatch;
    }

private:
    size_t AtomSize(size_t at) const { return code[at] == RegularExp::Set ? 17 : 1; }

    bool AtomMatches(size_t at, unsigned char c) const {
        switch (code[at]) {
        case RegularExp::AnyChar:
            return c != 0 && c != '\n';
        case RegularExp::Set:
            return c != 0 && ((code[at + 1 + ((c & 0x78) >> 3)] >> (c & 7)) & 1);
        default:
            return c == code[at];
        }
    }

    // The cursor behind the match of the items from `at` on, tried at
    // `cursor`; kNoMatch or kGaveUp.  Recurses once for each repeat item.
    int64_t MatchHere(size_t at, size_t cursor) {
        for (;;) {
            if (--budget < 0)
                return kGaveUp;
            const unsigned char item = code[at];
            switch (item) {
            case RegularExp::End:
                return static_cast<int64_t>(cursor);
            case RegularExp::EndOfLine:
                if (text[cursor] != '\n' && text[cursor] != 0)
                    return kNoMatch;
                ++at;
                break;
            case RegularExp::StartOfText:
                if (cursor != from)
                    return kNoMatch;
                ++at;
                break;
            case RegularExp::OnceOrNot:
                if (AtomMatches(at + 1, text[cursor]))
                    ++cursor;
                at += 1 + AtomSize(at + 1);
                break;
            case RegularExp::OneOrMore:
            case RegularExp::AnyNumber: {
                const size_t atom = at + 1;
                const size_t rest = atom + AtomSize(atom);
                if (item == RegularExp::OneOrMore) {
                    if (!AtomMatches(atom, text[cursor]))
                        return kNoMatch;
                    ++cursor;
                }
                const size_t begin = cursor;
                while (AtomMatches(atom, text[cursor]))
                    ++cursor;
                if (code[rest] == RegularExp::End)
                    return static_cast<int64_t>(cursor);
                for (;;) {
                    const int64_t end = MatchHere(rest, cursor);
                    if (end != kNoMatch)
                        return end;
                    if (cursor == begin)
                        return kNoMatch;
                    --cursor;
                }
            }
            default:
                if (!AtomMatches(at, text[cursor]))
                    return kNoMatch;
                ++cursor;
                at += AtomSize(at);
            }
        }
    }

    const unsigned char *code;
    const unsigned char *text;
    size_t from;
    int64_t budget = 200000;
};

bool IsHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// A pattern of 7-bit characters whose escapes give no value of 128 or above.
bool KeepsToTheLanguage(const std::string &pattern) {
    for (size_t i = 0; i < pattern.size(); ++i) {
        const char c = pattern[i];
        if (static_cast<unsigned char>(c) >= 0x80)
            return false;
        // \x with two digits, the first of them 8 or above.
        if (c == '\\' && i + 3 < pattern.size() && (pattern[i + 1] == 'x' || pattern[i + 1] == 'X') &&
            IsHexDigit(pattern[i + 2]) && pattern[i + 2] > '7' && IsHexDigit(pattern[i + 3]))
            return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1)
        return 0;
    const std::string input(reinterpret_cast<const char *>(data) + 1, size - 1);
    const size_t split = input.find('\0');
    const std::string pattern = input.substr(0, split);
    const String text(split == std::string::npos ? "" : input.c_str() + split + 1);
    const unsigned int textLength = text.GetLength();
    const unsigned int from = data[0] % (textLength + 1);

    const RegularExp e(pattern.c_str());
    unsigned char code[RegularExp::PatternSize] = {};
    Check(RegularExp::GeneratePattern(pattern.c_str(), code) == e.GetStatus());
    if (e.GetStatus() != RegularExp::Ok)
        return 0;

    unsigned int length = 0;
    const int32_t position = e.Find(text, &length, from);
    if (position < 0) {
        Check(position == -1 && length == 0);
    } else {
        const unsigned int at = static_cast<unsigned int>(position);
        Check(at >= from && at <= textLength);
        // Inside the text, but for the empty match at `from` that counts 1.
        Check(at + length <= textLength || (at == from && length == 1));
        // Searched for again from its own position, the match is the same;
        // an empty match found behind `from` now stands at `from`.
        unsigned int again = 0;
        Check(e.Find(text, &again, at) == position);
        Check(again == (length == 0 ? 1 : length));
    }

    SetRegexpPrefilterForTesting(false);
    unsigned int plainLength = 0;
    Check(e.Find(text, &plainLength, from) == position && plainLength == length);
    SetRegexpPrefilterForTesting(true);

    const RegularExp copy(e);
    unsigned int copyLength = 0;
    Check(text.Find(copy, from, &copyLength) == position && copyLength == length);
    Check(text.Find(copy, from) == position);

    if (KeepsToTheLanguage(pattern)) {
        ReferenceMatcher reference(code, reinterpret_cast<const unsigned char *>(text.c_str()), from);
        unsigned int referenceLength = 0;
        const int64_t referencePosition = reference.Find(&referenceLength);
        if (referencePosition != kGaveUp)
            Check(referencePosition == position && referenceLength == length);
    }
    return 0;
}
