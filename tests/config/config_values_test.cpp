#include "config/config.h"

#include <gtest/gtest.h>

#include <string.h>

#include <string>

namespace {

// The stored text of the value `name` in the current group.
std::string Stored(const Config &c, const char *name) { return c.GetValue("<none>", name).c_str(); }

TEST(ConfigValues, IntegersRoundTripByComposedName) {
    Config c("R");
    c.SetValue(5, "Item", 3);
    EXPECT_EQ(c.GetValue(0, "Item3", 0), 5);
    EXPECT_EQ(c.GetValue(7, "Missing"), 7);
    EXPECT_FALSE(c.ExistValue("Missing"));  // reading creates nothing
    c.SetValue("", "Empty");
    EXPECT_EQ(c.GetValue(7, "Empty"), 0);
    EXPECT_EQ(Stored(c, "Empty"), "");
    c.SetValue("  42abc", "Loose");
    EXPECT_EQ(c.GetValue(0, "Loose"), 42);
    c.SetValue("0x10", "Hex");
    EXPECT_EQ(c.GetValue(9, "Hex"), 0);  // no hexadecimal form
}

TEST(ConfigValues, EachTypeHasItsTextForm) {
    Config c("R");
    c.SetValue(static_cast<char>(-1), "c");
    c.SetValue(static_cast<unsigned char>(255), "uc");
    c.SetValue(static_cast<short>(-300), "s");
    c.SetValue(static_cast<unsigned short>(65535), "us");
    c.SetValue(4000000000u, "u");
    c.SetValue(0.125f, "f");
    c.SetValue(2.5, "d");
    c.SetValue(String("text"), "t");
    EXPECT_EQ(Stored(c, "c"), "-1");
    EXPECT_EQ(Stored(c, "uc"), "255");
    EXPECT_EQ(Stored(c, "s"), "-300");
    EXPECT_EQ(Stored(c, "us"), "65535");
    EXPECT_EQ(Stored(c, "u"), "4000000000");
    EXPECT_EQ(Stored(c, "f"), "0.12500000");
    EXPECT_EQ(Stored(c, "d"), "2.50000000");
    EXPECT_EQ(c.GetValue(0.0f, "f"), 0.125f);
    EXPECT_EQ(c.GetValue(String("x"), "t"), "text");
    EXPECT_EQ(c.GetValue(4u, "u"), 4000000000u);
    // Missing floating values come back through two decimals.
    EXPECT_EQ(c.GetValue(1.2345f, "none"), 1.23f);
    EXPECT_EQ(c.GetValue(1.2345, "none"), 1.23);
    // Narrow types keep the low bits of the parsed number.
    c.SetValue("300", "n");
    EXPECT_EQ(c.GetValue(static_cast<unsigned char>(0), "n"), 44);
    EXPECT_EQ(c.GetValue(static_cast<signed char>(0), "n"), 44);
    c.SetValue("70000", "n");
    EXPECT_EQ(c.GetValue(static_cast<short>(0), "n"), 70000 - 65536);
}

TEST(ConfigValues, LongIsThirtyTwoBits) {
    Config c("R");
    c.SetValue(static_cast<long>(0x100000005LL), "wide");  // the low 32 bits
    EXPECT_EQ(Stored(c, "wide"), "5");
    c.SetValue(-1L, "neg");
    EXPECT_EQ(Stored(c, "neg"), "-1");
    c.SetValue(0xFFFFFFFFUL, "max");
    EXPECT_EQ(c.GetValue(0UL, "max"), 0xFFFFFFFFUL);
    c.SetValue("99999999999", "big");
    EXPECT_EQ(c.GetValue(0L, "big"), 2147483647L);  // strtol saturates at 32 bits
    EXPECT_EQ(c.GetValue(0UL, "big"), 0xFFFFFFFFUL);
}

TEST(ConfigValues, GetSureClampsInTheTypesArithmetic) {
    Config c("R");
    EXPECT_EQ(c.GetSure(5, 1, 10, "k"), 5);
    EXPECT_EQ(c.GetSure(50, 1, 10, "k"), 10);  // the default is clamped too
    c.SetValue("0", "k");
    EXPECT_EQ(c.GetSure(5, 1, 10, "k"), 1);
    c.SetValue("99", "k");
    EXPECT_EQ(c.GetSure(5, 1, 10, "k"), 10);
    c.SetValue("abc", "k");
    EXPECT_EQ(c.GetSure(5, 1, 10, "k"), 1);
    c.SetValue("-1", "k");
    EXPECT_EQ(c.GetSure(5u, 1u, 10u, "k"), 10u);  // -1 read unsigned is huge
    EXPECT_EQ(c.GetSure(5, 10, 1, "k"), 10);      // minimum tested first
    c.SetValue("7", "k");
    EXPECT_EQ(c.GetSure(5, 10, 1, "k"), 10);
    EXPECT_EQ(c.GetSure(0.5, 1.0, 2.0, "k"), 2.0);
    EXPECT_EQ(c.GetSure(-5L, -3L, 3L, "none"), -3L);
}

TEST(ConfigValues, BinaryValuesAsHexText) {
    Config c("R");
    const unsigned char bytes[] = {0x0F, 0xA0};
    c.SetBinary(bytes, 2, "b");
    EXPECT_EQ(Stored(c, "b"), "0FA0");
    EXPECT_EQ(c.GetBinarySize("b"), 2);
    unsigned char out[4] = {9, 9, 9, 9};
    EXPECT_EQ(c.GetBinary(out, nullptr, 4, "b"), 2);
    EXPECT_EQ(memcmp(out, "\x0F\xA0\0\0", 4), 0);
    EXPECT_EQ(c.GetBinary(out, nullptr, 1, "b"), 1);
    c.SetValue(" 0f a0\t", "loose");
    EXPECT_EQ(c.GetBinary(out, nullptr, 2, "loose"), 2);
    EXPECT_EQ(memcmp(out, bytes, 2), 0);
    EXPECT_EQ(c.GetBinarySize("loose"), 2);  // inner blanks count: 5 / 2
    c.SetValue("ABC", "odd");
    EXPECT_EQ(c.GetBinary(out, nullptr, 4, "odd"), 1);  // a lone digit makes no byte
    EXPECT_EQ(out[0], 0xAB);
    EXPECT_EQ(out[1], 0);
    // Without text: the default and `size`, or zeros and 0.
    const unsigned char fallback[3] = {1, 2, 3};
    EXPECT_EQ(c.GetBinary(out, fallback, 3, "none"), 3);
    EXPECT_EQ(memcmp(out, fallback, 3), 0);
    EXPECT_EQ(c.GetBinary(out, nullptr, 3, "none"), 0);
    EXPECT_EQ(memcmp(out, "\0\0\0", 3), 0);
    EXPECT_EQ(c.GetBinarySize("none"), 0);
    c.SetBinary(bytes, 0, "b");
    EXPECT_EQ(Stored(c, "b"), "");
}

TEST(ConfigValues, WritingKeepsNameAndPlace) {
    Config c("R", Config::Sorted);
    c.SetValue(1, "Beta");
    c.SetValue(2, "alpha");
    c.SetValue(3, "BETA");
    EXPECT_STREQ(c.GetKey(0)->name.c_str(), "alpha");
    EXPECT_STREQ(c.GetKey(1)->name.c_str(), "Beta");
    EXPECT_EQ(c.GetValue(0, "beta"), 3);
    EXPECT_EQ(c.GetNumKeys(), 2u);
    // A group of that name is passed over: the value is made beside it.
    c.MoveDown("G");
    c.MoveUp();
    c.SetValue(4, "G");
    EXPECT_EQ(c.GetNumValues(), 3u);
    EXPECT_EQ(c.GetValue(0, "G"), 4);
}

TEST(ConfigValues, ValueNamesLeaveGroupsOut) {
    Config c("R");
    c.SetValue(1, "b");
    c.MoveDown("group");
    c.MoveUp();
    c.SetValue(1, "C");
    c.SetValue(1, "a");
    List<StringItem<ListElement>> names;
    names.Append(new StringItem<ListElement>("stale"));
    EXPECT_EQ(c.GetValueNames(names, 0), 3u);
    EXPECT_STREQ(names.GetFirst()->c_str(), "b");
    names.SetCompareMode(1);  // without case
    c.GetValueNames(names, 1);
    EXPECT_STREQ(names[0].c_str(), "a");
    EXPECT_STREQ(names[2].c_str(), "C");
    c.MoveDown("group");
    EXPECT_EQ(c.GetValueNames(names, 0), 0u);
    EXPECT_TRUE(names.IsEmpty());
}

}  // namespace
