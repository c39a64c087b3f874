// Tests of the text functions: splitting, number lists, replacement,
// trimming, bounded copies, counting, and size and date display.
#include "CommonVcZq/text/text_functions.h"

#include <gtest/gtest.h>

#include <string.h>

#include <memory>
#include <string>

#include "CommonVcZq/qx_vc/qx_heap.h"

namespace {

// The items of `list`, each followed by '|'.
std::string Items(const List<StringItem<ListElement>> &list) {
    std::string items;
    for (StringItem<ListElement> *item = list.GetFirst(); item; item = list.GetNext(item))
        items += std::string(item->c_str()) + "|";
    return items;
}

TEST(Splitting, ExplodeStringItemsAndNumberLists) {
    List<StringItem<ListElement>> list;
    ExplodeString(list, "C:\\\\dir//sub\\file.txt\\", "\\/:", 0);
    EXPECT_EQ("C|dir|sub|file.txt|", Items(list));
    ExplodeString(list, " a ,  , b", ",", 0);  // the old items go first
    EXPECT_EQ(" a |  | b|", Items(list));
    ExplodeString(list, " a ,  ,\tb\t", ",", 1);
    EXPECT_EQ("a|b|", Items(list));
    ExplodeString(list, "\0one\0 \0two\0\0ignored", "", 1);
    EXPECT_EQ("one|two|", Items(list));

    // Items compare bytewise as unsigned characters, or without case, and a
    // clone shares the body.
    StringItem<ListElement> a("\xE9t\xE9"), b("Zebra"), c("zebra");
    EXPECT_EQ(1, a.Compare(b, 0));
    EXPECT_EQ(-1, b.Compare(c, 0));
    EXPECT_EQ(0, b.Compare(c, 1));
    std::unique_ptr<CollectionElement> clone(b.CreateClone(nullptr));
    EXPECT_EQ(b.c_str(), static_cast<StringItem<ListElement> *>(clone.get())->c_str());

    int count = -1;
    int *values = StringToIntArray("12, 7;;-3 99999999999", &count);
    // A minus sign only divides, and a number too large is saturated.
    EXPECT_STREQ("12;7;3;2147483647", IntArrayToString(values, count, ';'));
    QX_Heap::FreeMem(values);
    EXPECT_EQ(nullptr, StringToIntArray("no \xB9 digits", &count));
    EXPECT_EQ(0, count);
    const int numbers[] = {5, -12, 0};
    EXPECT_STREQ("5;-12;0", IntArrayToString(numbers, 3, ';'));
    EXPECT_STREQ("", IntArrayToString(numbers, 0, ';'));
}

TEST(ReplacementAndCounting, ReplacementCountsEveryPassAndHitsDoNotOverlap) {
    char text[] = "a-b_c-d";
    EXPECT_EQ(2u, ReplaceChar(text, '-', '+'));
    // '+' is replaced by its own later pass, and counted again.
    EXPECT_EQ(4u, ReplaceChars(text, "_+", '+'));
    EXPECT_STREQ("a+b+c+d", text);
    String s("x.y.z");
    EXPECT_EQ(3u, ReplaceChars(s, ".z", '/'));
    EXPECT_STREQ("x/y//", s);

    EXPECT_EQ(3, CountChar("a,b,c,", ','));
    EXPECT_EQ(0, CountChar("abc", 0));
    EXPECT_EQ(1u, FindNumOccurences("aa", "aaa", -1));
    EXPECT_EQ(2u, FindNumOccurences("ab", "ab\0ab\0ab", 7));  // across zeros, within the length
    EXPECT_EQ(0u, FindNumOccurences("", "abc", -1));
    EXPECT_EQ(0u, FindNumOccurences("abcd", "abc", -1));
}

TEST(TrimmingAndReversing, FreeTrimsTrimmedSubStringsAndInverse) {
    String s(" \t ab c\t ");
    String start(s), end(s);
    EXPECT_EQ(4u, Trim(s));
    EXPECT_EQ(6u, TrimStart(start));
    EXPECT_EQ(7u, TrimEnd(end));

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

    char even[] = "abcd";
    EXPECT_STREQ("dcba", Inverse(even));
    EXPECT_STREQ("c ba", Inverse(s));  // as trimmed
}

TEST(BoundedCopies, CopyMaxAgreesWithStrcpyNAndMakeStringCopiesZeros) {
    for (unsigned int size = 0; size <= 8; ++size) {
        char a[8] = "#######", b[8] = "#######";
        CopyMax(a, "hello", size);
        strcpy_n(b, "hello", size);
        EXPECT_EQ(0, memcmp(a, b, sizeof a)) << size;
    }
    char dst[8] = "#######";
    MakeString(dst, 6, "ab\0cd", 5);
    EXPECT_EQ(0, memcmp(dst, "ab\0cd\0#", 7));
    MakeString(dst, 4, "abcdef", 6);
    EXPECT_STREQ("abc", dst);
}

TEST(Display, FileSizesByteSizesAndDates) {
    const std::pair<uint32_t, const char *> sizes[] = {
        {999, "999 B"}, {1000, "1 kB"}, {1000000, "1.0 MB"}, {1599000, "1.5 MB"}, {4294967295u, "4294.9 MB"}};
    for (const auto &size : sizes)
        EXPECT_STREQ(size.second, GetStringFileSize(size.first));
    EXPECT_STREQ("1023.00 B", ByteSizeToString(1023));
    EXPECT_STREQ("1.00 KB", ByteSizeToString(1024));
    EXPECT_STREQ("2.00 MB", ByteSizeToString(2097152));
    EXPECT_STREQ("3.25 GB", ByteSizeToString(3.25 * 1073741824.0));

    const unsigned short date = ((2024 - 1980) << 9) | (3 << 5) | 5;
    EXPECT_STREQ("05/03/2024", GetDateString(date));
    EXPECT_STREQ("", GetDateString(static_cast<unsigned short>(date & ~31)));  // day 0
    char small[10] = "#";
    EXPECT_STREQ("", GetDateString(date, small, sizeof small));
}

}  // namespace
