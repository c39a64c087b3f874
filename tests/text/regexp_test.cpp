#include <gtest/gtest.h>

#include <string.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "CommonVcZq/text/regexp.h"
#include "text/regexp_internal.h"

namespace {

using Result = std::pair<int32_t, unsigned int>;

// Position and length of the first match of `pattern` in `text` from `from`.
Result Search(const char *pattern, const String &text, unsigned int from = 0) {
    RegularExp e(pattern);
    EXPECT_EQ(RegularExp::Ok, e.GetStatus()) << pattern;
    unsigned int length = 99;
    return {e.Find(text, &length, from), length};  // a braced list is evaluated in order
}

const Result kNone(-1, 0);

using Code = std::vector<unsigned char>;

// The compiled items of `pattern`, which holds no set, up to the end item.
Code Compile(const char *pattern) {
    unsigned char code[RegularExp::PatternSize];
    memset(code, 0xEE, sizeof code);
    EXPECT_EQ(RegularExp::Ok, RegularExp::GeneratePattern(pattern, code)) << pattern;
    return Code(code, std::find(code, code + sizeof code, 0));
}

TEST(RegularExpCompile, StatusesOfBadPatternsAndOfPatternsAtTheByteLimit) {
    const RegularExp::Status ok = RegularExp::Ok, start = RegularExp::BadStart, bad = RegularExp::BadPattern;
    // In "$*" the '$' is not last, so a literal.
    const std::pair<std::string, RegularExp::Status> cases[] = {
        {"", start}, {"*a", start}, {"+", start}, {"?", start}, {"\na", start}, {"a**", bad}, {"^*", bad}, {"$*", ok},
        {"a\n**", ok}, {std::string(127, 'a'), ok}, {std::string(128, 'a'), bad},
        {std::string(126, 'a') + "*", ok}, {std::string(110, 'a') + "[x]", ok}, {std::string(111, 'a') + "[x]", bad},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.second, RegularExp(c.first.c_str()).GetStatus()) << c.first;
    EXPECT_EQ(RegularExp::NoBuffer, RegularExp::GeneratePattern("a", nullptr));
}

TEST(RegularExpCompile, ByteCode) {
    EXPECT_EQ(Compile("a*^$b"), (Code{0xAA, 'a', '^', '$', 'b'}));
    EXPECT_EQ(Compile("^.?x+$"), (Code{0xDE, 0xBF, 0xAE, 0xAB, 'x', 0xA4}));
    EXPECT_EQ(Compile("\\x41\\X4a\\x4g\\S\\T\\q"), (Code{'A', 'J', 4, 'g', ' ', 9, 'q'}));
    // \x without a digit gives the end item: the rest is not compiled.
    EXPECT_EQ(Compile("a\\xyz"), (Code{'a'}));

    // A set's bitmap: '\n' (10) is bit 2 of byte 1, '0' to '9' fill byte 6
    // and the low two bits of byte 7.
    unsigned char code[RegularExp::PatternSize];
    ASSERT_EQ(RegularExp::Ok, RegularExp::GeneratePattern("x[0-9\\n]*", code));
    EXPECT_EQ(Code(code, code + 20),
              (Code{'x', 0xAA, 0xDB, 0, 0x04, 0, 0, 0, 0, 0xFF, 0x03, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(RegularExpFind, Examples) {
    EXPECT_EQ(Result(2, 3), Search("[a-c]+", "xxbcay"));
    EXPECT_EQ(Result(1, 2), Search("a*$", "baa"));
    EXPECT_EQ(Result(0, 3), Search("(a)", "(a)"));
    EXPECT_EQ(kNone, Search("a.", "a"));
    EXPECT_EQ(kNone, Search("a?a", "a"));  // '?' never gives back
    EXPECT_EQ(Result(0, 2), Search("a?a", "aa"));
    EXPECT_EQ(kNone, Search("^a", "ba"));
    EXPECT_EQ(kNone, Search("$", "abc"));
    EXPECT_EQ(Result(3, 0), Search("$", "abc\ndef"));
    EXPECT_EQ(Result(3, 5), Search("b*c+d", "abcbbccd"));
    EXPECT_EQ(Result(2, 4), Search("x?[0-9]+", "a 2024 b"));
    // '*' gives back only what the rest needs; '.' stops at a newline.
    EXPECT_EQ(Result(0, 5), Search("a*ab", "aaaab"));
    EXPECT_EQ(Result(0, 4), Search(".*\\.", "a.b.c"));
    EXPECT_EQ(Result(1, 3), Search("b.*$", "abcd\nefg"));
}

TEST(RegularExpFind, FromAndTheEndOfTheText) {
    EXPECT_EQ(Result(0, 1), Search("$", ""));
    EXPECT_EQ(Result(0, 1), Search("^", ""));
    EXPECT_EQ(Result(0, 1), Search("^$", ""));
    EXPECT_EQ(kNone, Search(".*", ""));
    EXPECT_EQ(Result(3, 1), Search("$", "abc", 3));
    // A search starts at `from` but counts positions from the text.
    EXPECT_EQ(Result(1, 1), Search("^b", "abcabc", 1));
    EXPECT_EQ(Result(4, 1), Search("b", "abcabc", 2));
    EXPECT_EQ(Result(2, 0), Search("$", "ab\n\nc", 1));
    EXPECT_EQ(Result(3, 1), Search("$", "ab\n\nc", 3));  // empty at from: length 1
    EXPECT_EQ(kNone, Search("b", "abc", 4));             // beyond the end
}

TEST(RegularExpFind, NewlineEndsThePattern) {
    EXPECT_EQ(Result(1, 1), Search("a\nb", "xab"));
    EXPECT_EQ(Result(0, 1), Search("a$\nb", "a\nb"));
    EXPECT_EQ(Result(1, 1), Search("\\n", "a\nb"));
    // Also inside a set, and right behind a backslash, which stands for itself.
    EXPECT_EQ(Result(1, 1), Search("[b\\\nx]", "x\\b"));
}

TEST(RegularExpFind, Sets) {
    EXPECT_EQ(Result(1, 1), Search("[z-a]", "ab"));
    EXPECT_EQ(Result(0, 1), Search("[z-a]", "z"));
    EXPECT_EQ(Result(1, 2), Search("[^a-c]+", "axyb"));
    EXPECT_EQ(Result(0, 2), Search("[-a]+", "-a"));
    EXPECT_EQ(Result(1, 1), Search("[\\]x]", "a]"));
    EXPECT_EQ(Result(1, 2), Search("[\\x41\\s]+", "x A"));
    EXPECT_EQ(kNone, Search("[]a]", "]a]"));  // "[]", then the literals "a]"
    EXPECT_EQ(kNone, Search("[", "abc"));
    // The ']' behind '-' ends the range, not the set: '^' to 'a' (falling,
    // so not ']') and 'x'.
    EXPECT_EQ(Result(0, 2), Search("[a-]x]+", "^x"));
    EXPECT_EQ(Result(0, 3), Search("[a-c-e]+", "dea"));  // the raw 'c' opens the second range
    EXPECT_EQ(Result(1, 1), Search("[^a]", "a\n"));      // a negated set takes the newline
    // A set ignores the top bit of the text character; a literal does not.
    EXPECT_EQ(Result(0, 1), Search("[a]", "\xE1"));
    EXPECT_EQ(kNone, Search("a", "\xE1"));
    EXPECT_EQ(Result(0, 1), Search(".", "\xE1"));
}

TEST(RegularExpFind, StringMembersCopiesAndBadPatterns) {
    RegularExp *original = new RegularExp("b+");
    const RegularExp copy(*original);
    RegularExp assigned("zzz");
    assigned = *original;
    delete original;  // the copies own their bytes
    const String text("abbcb");
    EXPECT_EQ(4, text.Find(assigned, 3));
    unsigned int length = 0;
    EXPECT_EQ(1, text.Find(copy, 0, &length));
    EXPECT_EQ(2u, length);
    EXPECT_EQ(-1, text.Find(copy, 5, &length));
    EXPECT_EQ(0u, length);
    EXPECT_EQ(-1, copy.Find(text, nullptr, 5));
    // A pattern that did not compile finds nothing, and its copy keeps that status.
    const RegularExp bad("a**");
    EXPECT_EQ(-1, text.Find(RegularExp(bad)));
}

// A megabyte of one character against stacked repeats: time and stack stay
// bounded by the text times the pattern, with no recursion per character.
TEST(RegularExpFind, LongTextsStayLinear) {
    std::string letters(1 << 20, 'a');
    const String text(letters.c_str());
    EXPECT_EQ(kNone, Search("a*a*a*b", text));
    EXPECT_EQ(kNone, Search("a+a+a+a+a+a+a+a+a+a+b", text));
    EXPECT_EQ(Result(0, 1 << 20), Search("a*a*a*", text));
    letters += 'b';
    const String withEnd(letters.c_str());
    EXPECT_EQ(Result(0, (1 << 20) + 1), Search(".*.*b$", withEnd));
    EXPECT_EQ(Result(100, (1 << 20) - 99), Search("^a*.*b", withEnd, 100));
}

// The prefilter skips starts by the first bytes, the prefix, a required byte
// and the bytes that cannot stand in front of it; these cases sit on each
// edge.  Case never folds, in either comparison mode.
TEST(RegularExpFind, StartsThePrefilterSkips) {
    EXPECT_EQ(kNone, Search("q.*z", "aq b\nz q"));  // a newline between
    EXPECT_EQ(Result(5, 3), Search("q.*z", "zq b\nqaz"));
    EXPECT_EQ(Result(2, 2), Search("q.*z", "q\nqz"));
    EXPECT_EQ(kNone, Search("q.*z", "qqqqq"));
    EXPECT_EQ(Result(4, 5), Search("zebra", "zebrzebra"));
    EXPECT_EQ(Result(3, 4), Search("[0-9]+\\.[0-9]", "a1 22.5"));
    EXPECT_EQ(Result(2, 4), Search("x?[a-z]*g", "1 ring"));
    EXPECT_EQ(Result(2, 1), Search("[a-z]*g", "A g"));
    EXPECT_EQ(Result(4, 3), Search("a[^b]c", "abc axc"));
    EXPECT_EQ(kNone, Search("ab*c", "abbbd"));
    EXPECT_EQ(Result(0, 1), Search("a*", "b"));  // empty matches begin anywhere
    for (int mode : {1, 0}) {
        CaseSensitive scope(mode);
        EXPECT_EQ(kNone, Search("Q.*z", "q..z"));
        EXPECT_EQ(kNone, Search("q.*Z", "q..z"));
        EXPECT_EQ(Result(4, 4), Search("q.*z", "Q..zq..z"));
    }
}

// Random patterns over random texts: the search with the prefilter gives
// what the search trying every position gives.
TEST(RegularExpFind, ThePrefilterChangesNoResult) {
    static const char *const atoms[] = {"a", "b", "q", "z", ".", "[ab]", "[^a]", "[a-q]", "\\n", "\\s", "[]"};
    static const char *const repeats[] = {"", "", "", "*", "+", "?"};
    std::mt19937 random(20261125);
    auto pick = [&random](auto &list) { return list[random() % (sizeof list / sizeof list[0])]; };
    for (int round = 0; round < 3000; ++round) {
        std::string pattern = random() % 8 == 0 ? "^" : "";
        for (int n = 1 + static_cast<int>(random() % 5); n > 0; --n)
            pattern += std::string(pick(atoms)) + pick(repeats);
        if (random() % 6 == 0)
            pattern += "$";
        const RegularExp e(pattern.c_str());
        ASSERT_EQ(RegularExp::Ok, e.GetStatus()) << pattern;
        std::string letters;
        for (int n = static_cast<int>(random() % 40); n > 0; --n)
            letters += "abqz \n\xE1"[random() % 7];
        const String text(letters.c_str());
        for (unsigned int from = 0; from <= text.GetLength(); from += 1 + random() % 4) {
            unsigned int filteredLength = 0, plainLength = 0;
            const int32_t filtered = e.Find(text, &filteredLength, from);
            SetRegexpPrefilterForTesting(false);
            const int32_t plain = e.Find(text, &plainLength, from);
            SetRegexpPrefilterForTesting(true);
            ASSERT_EQ(Result(plain, plainLength), Result(filtered, filteredLength))
                << pattern << " in \"" << letters << "\" from " << from;
        }
    }
}

}  // namespace
