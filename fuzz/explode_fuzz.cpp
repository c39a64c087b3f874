// ExplodeString on arbitrary text with arbitrary separators.
//
// Input: one byte whose low bit is `trim` and whose next bits give the
// number of separators (0 to 7), the separators themselves, and the text.
// Zeros in the separators end them early; the text is read up to its first
// zero.  Every item must be non-empty, hold no separator, and, with `trim`,
// neither begin nor end with a blank or tab; the items in order must be a
// subsequence of the text.  The text is also split with empty separators,
// from a copy with a second zero behind it, where each item must be a
// (possibly trimmed) non-empty zero-ended piece of the text.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "CommonVcZq/text/text_functions.h"

namespace {

void Check(bool condition) {
    if (!condition)
        abort();
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

// Checks the items split from `text` by `separators`.
void CheckItems(const List<StringItem<ListElement>> &list, const std::string &text, const std::string &separators,
                int trim) {
    size_t at = 0;
    for (StringItem<ListElement> *item = list.GetFirst(); item; item = list.GetNext(item)) {
        const std::string piece(item->c_str(), item->GetLength());
        Check(!piece.empty());
        Check(piece.find_first_of(separators) == std::string::npos);
        if (trim)
            Check(!IsBlank(piece.front()) && !IsBlank(piece.back()));
        // Items are whole runs of the text, so each one is found at or
        // behind the end of the one before.
        const size_t found = text.find(piece, at);
        Check(found != std::string::npos);
        at = found + piece.size();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1)
        return 0;
    const int trim = data[0] & 1;
    const size_t separatorCount = (data[0] >> 1) & 7;
    if (size < 1 + separatorCount)
        return 0;
    const std::string separators(reinterpret_cast<const char *>(data) + 1, separatorCount);
    const std::string rest(reinterpret_cast<const char *>(data) + 1 + separatorCount, size - 1 - separatorCount);
    const std::string text = rest.substr(0, rest.find('\0'));
    const std::string separatorText = separators.substr(0, separators.find('\0'));

    List<StringItem<ListElement>> list;
    if (!separatorText.empty()) {
        ExplodeString(list, text.c_str(), separatorText.c_str(), trim);
        CheckItems(list, text, separatorText, trim);
    }

    // Zero-ended pieces: the whole input behind the separators, closed by
    // two zeros in an exactly sized block.
    std::unique_ptr<char[]> pieces(new char[rest.size() + 2]);
    memcpy(pieces.get(), rest.data(), rest.size());
    pieces[rest.size()] = pieces[rest.size() + 1] = '\0';
    ExplodeString(list, pieces.get(), "", trim);
    // The pieces up to the first empty one that follows a piece (the
    // second zero ends the list); a leading empty piece does not end it.
    std::vector<std::string> expected;
    for (const char *p = pieces.get();;) {
        const size_t length = strlen(p);
        std::string piece(p, length);
        if (trim) {
            const size_t first = piece.find_first_not_of(" \t");
            piece = first == std::string::npos ? "" : piece.substr(first, piece.find_last_not_of(" \t") - first + 1);
        }
        if (!piece.empty())
            expected.push_back(piece);
        p += length + 1;
        if (*p == 0)
            break;
    }
    std::vector<std::string> items;
    for (StringItem<ListElement> *item = list.GetFirst(); item; item = list.GetNext(item))
        items.emplace_back(item->c_str(), item->GetLength());
    Check(items == expected);
    Check(list.GetCount() == static_cast<int32_t>(expected.size()));
    return 0;
}
