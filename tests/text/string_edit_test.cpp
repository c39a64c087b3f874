#include <gtest/gtest.h>

#include <type_traits>

#include "CommonVcZq/text/string.h"

namespace {

const uint32_t kAll = 0xFFFFFFFFu;

const StringRef *Body(const String &s) {
    return reinterpret_cast<const StringRef *>(s.c_str()) - 1;
}
uint32_t Count(const String &s) { return Body(s)->refCount; }
uint32_t Size(const String &s) { return Body(s)->bufferSize; }

TEST(StringCutAndJoin, PiecesAndSumsAreNewBodiesClippedToTheText) {
    const String s("abcdef");
    EXPECT_STREQ("ab", String(s.Left(2)));
    EXPECT_STREQ("def", String(s.Right(3)));
    EXPECT_STREQ("bcd", String(s.Mid(1, 3)));
    EXPECT_STREQ("abcdef", String(s.Right(100)));
    for (const String &empty : {String(s.Left(0)), String(s.Mid(2, 0)), String(s.Mid(6, 5))}) {
        EXPECT_STREQ("", empty);
        EXPECT_EQ(1u, Count(empty));
        EXPECT_EQ(8u, Size(empty));
    }
    String a("hello");
    a = a.Left(2);  // the piece replaces the string it was cut from
    EXPECT_STREQ("he", a);

    EXPECT_STREQ("hexyhe", String(a + "xy" + a));
    EXPECT_STREQ("he\\", String(a + '\\'));
    EXPECT_STREQ("\\he", String('\\' + a));
    // An integer added to a String is still arithmetic on its text.
    static_assert(std::is_same<decltype(a + 1), const char *>::value, "pointer arithmetic");
}

TEST(StringRemove, RemovingAndKeepingUnshareOnlyWhenTheyWrite) {
    String s("abcdefgh");
    String shared = s;
    s.Remove(8, 1).KeepLeft(8).KeepRight(8);
    EXPECT_EQ(shared.c_str(), s.c_str());
    s.Remove(1, 2).Remove(4, kAll);
    EXPECT_STREQ("adef", s);
    EXPECT_STREQ("abcdefgh", shared);

    // 234567, 4567, 456, then with nothing to cut in front the first two.
    String t("0123456789");
    t.KeepMid(2, 6).KeepRight(4).KeepLeft(3).KeepMid(9, 2);
    EXPECT_STREQ("45", t);
    t.KeepRight(0);
    EXPECT_STREQ("", t);
    EXPECT_EQ(16u, Size(t));  // the buffer is not given back

    t = "xyz";
    EXPECT_STREQ("xy", t.RemoveRight(1));
    String cleared("q");
    cleared.Clear();
    t.RemoveRight(2);
    EXPECT_EQ(cleared.c_str(), t.c_str());  // the empty body of Clear

    String r("--a-b---c--");
    String before = r;
    EXPECT_STREQ("abc", r.RemoveAll('-'));
    EXPECT_STREQ("--a-b---c--", before);
}

TEST(StringInsert, InsertPrependAndReplace) {
    String s("ad");
    s.Insert(1, "bcX", 2).Insert(100, "ef").Insert(0, '-', 3);
    EXPECT_STREQ("---abcdef", s);
    EXPECT_EQ(10u, Size(s));  // grown to exactly the text and its zero

    String shared = s;
    shared.Insert(2, "").Insert(2, 'x', 0).Insert(0, String());
    EXPECT_EQ(s.c_str(), shared.c_str());
    shared += 'z';
    EXPECT_STREQ("---abcdef", s);

    // Into itself: a b becomes a a b b.
    String self("ab");
    self.Insert(1, self, kAll);
    EXPECT_STREQ("aabb", self);

    EXPECT_STREQ("12>>abc", String("c").Prepend("ab").Prepend('>', 2).Prepend(String("12345"), 2));

    // Replace removes, then inserts.
    String r("hello world");
    r.Replace(0, 5, "HOWDY").Replace(5, 0, ",").Replace(100, 3, "!");
    EXPECT_STREQ("HOWDY, world!", r);
    r.Replace(1, kAll, "i").Replace(1, 1, r);
    EXPECT_STREQ("HHi", r);
}

TEST(StringCaseAndTrim, ChangeInAPrivateBodyOnlyWhenThereIsSomethingToChange) {
    String s("hELLO wORLD");
    String shared = s;
    EXPECT_STREQ("HELLO WORLD", s.MakeUpper());
    EXPECT_STREQ("hELLO wORLD", shared);
    EXPECT_STREQ("hello world", s.MakeLower());
    EXPECT_STREQ("Abc", String("ABC").MakeCapital());
    EXPECT_STREQ("dcba", String("abcd").Reverse());

    String empty, other;
    empty.MakeUpper().MakeLower().MakeCapital();
    EXPECT_EQ(other.c_str(), empty.c_str());
    empty.Reverse();  // always unshares
    EXPECT_NE(other.c_str(), empty.c_str());

    EXPECT_STREQ("a b", String(" \t a b\t ").Trim());
    EXPECT_STREQ("\t a b", String("\t a b  ").TrimRight());
    EXPECT_STREQ("a.b--.", String("..a.b--.").Trim(".-", 1));
    EXPECT_STREQ("", String("      ").Trim());
    shared = s;
    s.Trim();
    EXPECT_EQ(shared.c_str(), s.c_str());
}

TEST(StringFind, ExactIgnoringCaseAndOnPlainText) {
    String s("Hello World");
    EXPECT_EQ(6, s.FindFirst('w', 0));
    EXPECT_EQ(11, s.FindFirst('\0', 1));  // the ending zero
    EXPECT_EQ(0, s.FindFirst('\0', 0));   // an empty text to search for

    EXPECT_EQ(9, s.FindLast('L', 0));
    EXPECT_EQ(1, String("aaa").FindLast("aa"));
    EXPECT_EQ(1, String("aAa").FindLast(String("AA"), 0));
    EXPECT_EQ(0, String("abcd").FindLast("abcd"));
    EXPECT_EQ(-1, String("abc").FindLast("abcd"));

    EXPECT_EQ(2, s.FindOneOf("lW"));
    EXPECT_EQ(5, s.FindFirstNotOf("lo", 2));
    EXPECT_EQ(-1, s.FindFirstNotOf("x", 11));
    EXPECT_EQ(-1, String("   ").FindFirstNotOf(" ", 2));
    EXPECT_EQ(8, s.FindLastNotOf(String("dl")));
    EXPECT_EQ(-1, String("   ").FindLastNotOf(" "));
    EXPECT_EQ(3u, s.GetNumberOf('l'));

    const char *text = "find the NEEDLE, the needle";
    EXPECT_EQ(text + 9, stristr(text, "needle"));
    EXPECT_EQ(nullptr, stristr("", "a"));
    EXPECT_EQ(0u, GetHashValue(String()));
    EXPECT_EQ((97u << 2) ^ 98u, GetHashValue(String("ab")));
    EXPECT_EQ(0xFFFFFFFFu, GetHashValue(String("\xff")));  // a signed character
}

}  // namespace
