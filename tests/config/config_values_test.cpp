#include "CommonVcZq/config/config.h"

#include <gtest/gtest.h>

#include <string.h>

#include <string>

// From config_test.cpp.
std::string Dump(const ConfigKey *group);
std::string Join(const List<StringItem<ListElement>> &list);

namespace {

TEST(ConfigValues, EachTypeHasItsTextForm) {
    Config c("R");
    c.SetValue(static_cast<char>(-1), "c");
    c.SetValue(static_cast<unsigned char>(255), "uc");
    c.SetValue(static_cast<short>(-300), "s");
    c.SetValue(static_cast<unsigned short>(65535), "us");
    c.SetValue(4000000000u, "u", 1);
    c.SetValue(static_cast<long>(-0x100000005LL), "l");  // long is 32 bits wide: the low ones
    c.SetValue(0xFFFFFFFFUL, "ul");
    c.SetValue(0.125f, "f");
    c.SetValue(2.5, "d");
    c.SetValue(String("text"), "t");
    EXPECT_EQ(Dump(c.GetRoot()), "R{c=-1,uc=255,s=-300,us=65535,u1=4000000000,l=-5,ul=4294967295,f=0.12500000,"
                                 "d=2.50000000,t=text}");
    EXPECT_EQ(c.GetValue(0UL, "ul"), 0xFFFFFFFFUL);
}

TEST(ConfigValues, ReadingParsesTheTextLikeTheCRuntime) {
    Config c("R");
    c.SetValue("", "empty");
    c.SetValue("  42abc", "loose");
    c.SetValue("0x10", "hex");
    c.SetValue("70000", "n");
    c.SetValue("99999999999", "big");
    EXPECT_EQ(c.GetValue(7, "missing"), 7);
    EXPECT_FALSE(c.ExistValue("missing"));  // reading creates nothing
    EXPECT_EQ(c.GetValue(7, "empty"), 0);
    EXPECT_EQ(c.GetValue(String("x"), "empty"), "");
    EXPECT_EQ(c.GetValue(0, "loose"), 42);
    EXPECT_EQ(c.GetValue(9, "hex"), 0);  // no hexadecimal form
    // Narrow types keep the low bits; long saturates at 32 bits.
    EXPECT_EQ(c.GetValue(static_cast<unsigned char>(0), "n"), 0x70);
    EXPECT_EQ(c.GetValue(static_cast<short>(0), "n"), 70000 - 65536);
    EXPECT_EQ(c.GetValue(0L, "big"), 2147483647L);
    EXPECT_EQ(c.GetValue(0UL, "big"), 0xFFFFFFFFUL);
    // Missing floating values come back through two decimals.
    EXPECT_EQ(c.GetValue(1.2345f, "none"), 1.23f);
    EXPECT_EQ(c.GetValue(1.2345, "none"), 1.23);
}

TEST(ConfigValues, GetSureClampsInTheTypesArithmetic) {
    Config c("R");
    EXPECT_EQ(c.GetSure(50, 1, 10, "k"), 10);  // the default is clamped too
    EXPECT_EQ(c.GetSure(-5L, -3L, 3L, "k"), -3L);
    c.SetValue("7", "k");
    EXPECT_EQ(c.GetSure(5, 1, 10, "k"), 7);
    EXPECT_EQ(c.GetSure(5, 10, 1, "k"), 10);  // the minimum is tested first
    EXPECT_EQ(c.GetSure(0.5, 1.0, 2.0, "k"), 2.0);
    c.SetValue("abc", "k");
    EXPECT_EQ(c.GetSure(5, 1, 10, "k"), 1);  // read as 0, not as the default
    c.SetValue("-1", "k");
    EXPECT_EQ(c.GetSure(5u, 1u, 10u, "k"), 10u);  // -1 read unsigned is huge
}

TEST(ConfigValues, BinaryValuesAsHexText) {
    Config c("R");
    const unsigned char bytes[] = {0x0F, 0xA0};
    c.SetBinary(bytes, 2, "b");
    c.SetValue(" 0f a0\t", "loose");
    c.SetValue("ABC", "odd");
    c.SetBinary(bytes, 0, "none");
    EXPECT_EQ(Dump(c.GetRoot()), "R{b=0FA0,loose= 0f a0\t,odd=ABC,none}");
    unsigned char out[4] = {9, 9, 9, 9};
    EXPECT_EQ(c.GetBinary(out, nullptr, 4, "loose"), 2);  // blanks between pairs, either case
    EXPECT_EQ(memcmp(out, "\x0F\xA0\0\0", 4), 0);
    EXPECT_EQ(c.GetBinarySize("loose"), 2);  // inner blanks count: 5 / 2
    EXPECT_EQ(c.GetBinary(out, nullptr, 1, "b"), 1);
    EXPECT_EQ(c.GetBinary(out, nullptr, 4, "odd"), 1);  // a lone digit makes no byte
    EXPECT_EQ(memcmp(out, "\xAB\0\0\0", 4), 0);
    // Without text: the default and `size`, or zeros and 0.
    EXPECT_EQ(c.GetBinary(out, bytes, 2, "none"), 2);
    EXPECT_EQ(memcmp(out, bytes, 2), 0);
    EXPECT_EQ(c.GetBinary(out, nullptr, 3, "none"), 0);
    EXPECT_EQ(memcmp(out, "\0\0\0", 3), 0);
}

TEST(ConfigValues, WritingKeepsNameAndPlace) {
    Config c("R", Config::Sorted);
    c.SetValue(1, "Beta");
    c.MoveDown("G");
    c.MoveUp();
    c.SetValue(2, "alpha");
    c.SetValue(3, "BETA");
    c.SetValue(4, "G");  // the group of that name is passed over
    EXPECT_EQ(Dump(c.GetRoot()), "R{alpha=2,Beta=3,G{},G=4}");
    // The value names, in list order or sorted as the list compares (bytewise).
    List<StringItem<ListElement>> names;
    names.Append(new StringItem<ListElement>("stale"));
    EXPECT_EQ(c.GetValueNames(names, 0), 3u);
    EXPECT_EQ(Join(names), "alpha,Beta,G");
    c.GetValueNames(names, 1);
    EXPECT_EQ(Join(names), "Beta,G,alpha");
}

}  // namespace
