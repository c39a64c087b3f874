// Tests of the text functions: splitting, number lists, replacement,
// trimming, bounded copies, counting, and size and date display.
#include "text/text_functions.h"

#include <gtest/gtest.h>

#include <string.h>

#include <string>
#include <vector>

#include "qx_vc/qx_heap.h"

namespace {

std::vector<std::string> Items(const List<StringItem<ListElement>> &list) {
    std::vector<std::string> items;
    for (StringItem<ListElement> *item = list.GetFirst(); item; item = list.GetNext(item))
        items.push_back(item->c_str());
    return items;
}

using Texts = std::vector<std::string>;

TEST(ExplodeString, SeparatorsBlanksAndZeroEndedPieces) {
    List<StringItem<ListElement>> list;
    ExplodeString(list, "C:\\\\dir//sub\\file.txt\\", "\\/:", 0);
    EXPECT_EQ((Texts{"C", "dir", "sub", "file.txt"}), Items(list));
    ExplodeString(list, " a ,  , b", ",", 0);  // the old items go first
    EXPECT_EQ((Texts{" a ", "  ", " b"}), Items(list));
    ExplodeString(list, " a ,  ,\tb\t", ",", 1);
    EXPECT_EQ((Texts{"a", "b"}), Items(list));
    ExplodeString(list, "", ",", 0);
    EXPECT_EQ(0, list.GetCount());
    ExplodeString(list, "\0one\0 \0two\0\0ignored", "", 1);
    EXPECT_EQ((Texts{"one", "two"}), Items(list));
}

TEST(ExplodeString, ItemsShareTheirBodyAndCompare) {
    StringItem<ListElement> a("\xE9t\xE9"), b("Zebra"), c("zebra");
    EXPECT_EQ(1, a.Compare(b, 0));  // bytewise, as unsigned characters
    EXPECT_EQ(-1, b.Compare(c, 0));
    EXPECT_EQ(0, b.Compare(c, 1));  // without case
    StringItem<ListElement> *clone = static_cast<StringItem<ListElement> *>(b.CreateClone(nullptr));
    EXPECT_EQ(b.c_str(), clone->c_str());
    delete clone;
}

TEST(NumberLists, StringToIntArrayAndBack) {
    int count = -1;
    int *values = StringToIntArray("12, 7;;-3", &count);
    ASSERT_EQ(3, count);
    EXPECT_EQ(12, values[0]);
    EXPECT_EQ(7, values[1]);
    EXPECT_EQ(3, values[2]);  // a minus sign only divides
    QX_Heap::FreeMem(values);

    EXPECT_EQ(nullptr, StringToIntArray("no \xB9 digits", &count));
    EXPECT_EQ(0, count);

    std::string many;
    for (int i = 0; i < 100; ++i)
        many += std::to_string(i * 37) + " ";
    many += "99999999999";
    values = StringToIntArray(many.c_str(), &count);
    ASSERT_EQ(101, count);
    EXPECT_EQ(99 * 37, values[99]);
    EXPECT_EQ(2147483647, values[100]);  // saturated
    QX_Heap::FreeMem(values);

    const int list[] = {5, -12, 0};
    EXPECT_STREQ("5", IntArrayToString(list, 1, ';'));
    EXPECT_STREQ("5;-12;0", IntArrayToString(list, 3, ';'));
    EXPECT_STREQ("", IntArrayToString(list, 0, ';'));
}

TEST(Replacement, CountsEveryPass) {
    char text[] = "a-b_c-d";
    EXPECT_EQ(2u, ReplaceChar(text, '-', '+'));
    EXPECT_STREQ("a+b_c+d", text);
    EXPECT_EQ(0u, ReplaceChars(text, "", '+'));
    // '+' is replaced by its own later pass, and counted again.
    EXPECT_EQ(4u, ReplaceChars(text, "_+", '+'));
    EXPECT_STREQ("a+b+c+d", text);
    String s("x.y.z");
    EXPECT_EQ(2u, ReplaceChar(s, '.', '/'));
    EXPECT_STREQ("x/y/z", s);
    EXPECT_EQ(3u, ReplaceChars(s, "/z", '.'));
    EXPECT_STREQ("x.y..", s);
}

TEST(Trimming, FreeTrimsAndTrimmedSubStrings) {
    String s(" \t ab c\t ");
    String start(s), end(s);
    EXPECT_EQ(4u, Trim(s));
    EXPECT_STREQ("ab c", s);
    EXPECT_EQ(6u, TrimStart(start));
    EXPECT_EQ(7u, TrimEnd(end));
    EXPECT_STREQ(" \t ab c", end);

    int length = -1;
    const char text[] = "--ab-c--";
    EXPECT_EQ(text + 2, FindTrimmedSubString(text, &length, "-", 3));
    EXPECT_EQ(4, length);
    EXPECT_EQ(text, FindTrimmedSubString(text, &length, "-", 2));
    EXPECT_EQ(6, length);
    FindTrimmedSubString("----", &length, "-", 3);
    EXPECT_EQ(0, length);
    // Over a length, with zeros trimmed as members of any set.
    const char bytes[] = {0, '-', 'a', 0, 'b', '-', 0, 'x'};
    EXPECT_EQ(bytes + 2, FindTrimmedSubString(bytes, 7, &length, "-", 3));
    EXPECT_EQ(3, length);
}

TEST(Trimming, Inverse) {
    char odd[] = "abc", even[] = "abcd", one[] = "a";
    EXPECT_STREQ("cba", Inverse(odd));
    EXPECT_STREQ("dcba", Inverse(even));
    EXPECT_STREQ("a", Inverse(one));
    String s("xyz");
    EXPECT_STREQ("zyx", Inverse(s));
}

TEST(BoundedCopies, CopyMaxAgreesWithStrcpyN) {
    const char *source = "hello";
    for (unsigned int size = 1; size <= 8; ++size) {
        char a[8], b[8];
        memset(a, '#', sizeof a);
        memset(b, '#', sizeof b);
        CopyMax(a, source, size);
        strcpy_n(b, source, size);
        EXPECT_EQ(0, memcmp(a, b, sizeof a)) << size;
    }
    char untouched[2] = {'#', '#'};
    CopyMax(untouched, source, 0);
    EXPECT_EQ('#', untouched[0]);

    char dst[6];
    memset(dst, '#', sizeof dst);
    MakeString(dst, 6, "ab\0cd", 5);  // zeros inside are copied
    EXPECT_EQ(0, memcmp(dst, "ab\0cd\0", 6));
    MakeString(dst, 4, "abcdef", 6);
    EXPECT_STREQ("abc", dst);
}

TEST(Counting, CharactersAndOccurrences) {
    EXPECT_EQ(3, CountChar("a,b,c,", ','));
    EXPECT_EQ(0, CountChar("abc", 0));
    EXPECT_EQ(2u, FindNumOccurences("aa", "aaaa", -1));
    EXPECT_EQ(1u, FindNumOccurences("aa", "aaa", -1));  // hits do not overlap
    EXPECT_EQ(2u, FindNumOccurences("ab", "ab\0ab\0ab", 7));  // across zeros, within the length
    EXPECT_EQ(0u, FindNumOccurences("", "abc", -1));
    EXPECT_EQ(0u, FindNumOccurences("abcd", "abc", -1));
}

TEST(Display, FileSizesByteSizesAndDates) {
    const std::pair<uint32_t, const char *> sizes[] = {
        {999, "999 B"}, {1000, "1 kB"}, {999999, "999 kB"}, {1000000, "1.0 MB"},
        {1599000, "1.5 MB"}, {4294967295u, "4294.9 MB"}};
    for (const auto &size : sizes)
        EXPECT_STREQ(size.second, GetStringFileSize(size.first));
    EXPECT_STREQ("1023.00 B", ByteSizeToString(1023));
    EXPECT_STREQ("1.00 KB", ByteSizeToString(1024));
    EXPECT_STREQ("1.50 KB", ByteSizeToString(1536));
    EXPECT_STREQ("2.00 MB", ByteSizeToString(2097152));
    EXPECT_STREQ("3.25 GB", ByteSizeToString(3.25 * 1073741824.0));

    const unsigned short date = ((2024 - 1980) << 9) | (3 << 5) | 5;
    EXPECT_STREQ("05/03/2024", GetDateString(date));
    EXPECT_STREQ("", GetDateString(static_cast<unsigned short>(date & ~31)));  // day 0
    char small[10] = "#";
    EXPECT_STREQ("", GetDateString(date, small, sizeof small));
}

}  // namespace
