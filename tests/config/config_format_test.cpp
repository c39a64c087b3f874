#include <gtest/gtest.h>

#include <string>

#include "config/config.h"

namespace {

std::string Dump(const ConfigKey *group) {
    std::string s;
    for (const ConfigKey *k = static_cast<ConfigKey *>(group->children->GetFirst()); k; k = k->GetNext()) {
        if (!s.empty())
            s += ',';
        s += k->name.c_str();
        if (k->IsGroup())
            s += "{" + Dump(k) + "}";
        else if (!k->value.IsEmpty())
            s += std::string("=") + k->value.c_str();
    }
    return s;
}

std::string Dump(const Config &c) { return std::string(c.GetName().c_str()) + "{" + Dump(c.GetRoot()) + "}"; }

std::string Write(Config &c) {
    unsigned int size = 0;
    char *block = c.GetAsBlock(&size);
    std::string text(block, size);
    QX_Heap::FreeMem(block);
    return text;
}

void Read(Config &c, const std::string &text) { c.BuildFromBlock(text.data(), static_cast<unsigned int>(text.size())); }

std::string ReadDump(const std::string &text, Config::Mode mode = Config::Mode(0)) {
    Config c("Given", mode);
    Read(c, text);
    return Dump(c);
}

const char kExample[] =
    "Settings\r\n{\r\n\tWidth=640\r\n\tPanel\r\n\t{\r\n\t\tTitle=My View\r\n\t\tPinned\r\n\t}\r\n}\r\n";
const char kExampleTree[] = "Settings{Width=640,Panel{Title=My View,Pinned}}";

TEST(ConfigFormat, ExampleTreeIsWrittenByteForByte) {
    Config c("Settings");
    c.SetValue(640, "Width");
    c.MoveDown("Panel");
    c.SetValue("My View", "Title");
    c.CreateKey("Pinned");
    c.MoveDown("Spare");  // empty, and at the position so not pruned first
    EXPECT_EQ(Write(c), kExample);
    EXPECT_EQ(c.GetCurrentKey(), c.GetRoot());
    EXPECT_EQ(ReadDump(kExample), kExampleTree);
}

TEST(ConfigFormat, ReaderAcceptsAnyLineEndAndLayout) {
    EXPECT_EQ(ReadDump("Settings\n{\nWidth=640\nPanel\n{\nTitle=My View\nPinned\n}\n}"), kExampleTree);
    EXPECT_EQ(ReadDump("\n \nSettings\r\r{\n\n\t Width=640  \r\n\tPanel\t\n\n{\n  Title=My View\rPinned\n}\n\n}\n\n"),
              kExampleTree);
    const char zeros[] = "Settings\0{\0Width=640\0Panel\0{\0Title=My View\0Pinned\0}\0}";
    EXPECT_EQ(ReadDump(std::string(zeros, sizeof zeros - 1)), kExampleTree);
    EXPECT_EQ(ReadDump(""), "Given{}");
}

TEST(ConfigFormat, ValueLinesSplitAtTheFirstEquals) {
    Config c("R");
    Read(c, "R\n{\na=b=c\n=x\nb=\nc = d \n}\n");
    EXPECT_EQ(Dump(c), "R{a=b=c,=x,b,c = d}");
    EXPECT_STREQ(c.GetKey(3)->name.c_str(), "c ");
    EXPECT_STREQ(c.GetKey(3)->value.c_str(), " d");
    EXPECT_TRUE(c.GetKey(1)->value.IsEmpty());
    EXPECT_EQ(Write(c), "R\r\n{\r\n\ta=b=c\r\n\t=x\r\n\tb\r\n\tc = d\r\n}\r\n");
}

TEST(ConfigFormat, WhatDoesNotSurviveARoundTrip) {
    Config c("R");
    c.SetValue("end ", " lead");
    c.SetValue("x=y", "k");
    c.SetValue("one\ntwo", "multi");
    Config back("B");
    Read(back, Write(c));
    EXPECT_EQ(Dump(back), "R{lead=end,k=x=y,multi=one,two}");
    Config named("R");
    named.SetValue("v", "a=b");  // "=" in a name moves into the value
    Read(back, Write(named));
    EXPECT_STREQ(back.GetKey(0)->name.c_str(), "a");
}

TEST(ConfigFormat, RepeatedNamesMergeOrAddUp) {
    EXPECT_EQ(ReadDump("R\n{\na=1\nx\nb\na=2\nx\n}"), "R{a=2,x,b,x}");
    const char grouped[] = "R\n{\nG\n{\na\n}\nG\n{\nb\n}\n}";
    EXPECT_EQ(ReadDump(grouped), "R{G{a,b}}");
    EXPECT_EQ(ReadDump(grouped, Config::MultipleGroups), "R{G{a},G{b}}");
}

TEST(ConfigFormat, BracesAreReadWhereverTheyStand) {
    // A key named "}" closes its group on reading; the rest lands outside.
    Config c("R");
    c.MoveDown("G");
    c.CreateKey("}");
    c.CreateKey("after");
    EXPECT_EQ(ReadDump(Write(c)), "R{after}");
    // A bare key followed by a key "{" becomes a group head.
    EXPECT_EQ(ReadDump("R\n{\nhead\n{\nx\n}\n}"), "R{head{x}}");
    // Without any head everything belongs to the root, which keeps its name.
    EXPECT_EQ(ReadDump("a=1\nb\n"), "Given{a=1,b}");
    // After the root closes, reading goes on in the root; a new head renames
    // it, and a "}" with no group open ends the input.
    EXPECT_EQ(ReadDump("R\n{\na=1\n}\nb=2\nS\n{\nc\n}\n}\nd\n"), "S{a=1,b=2,c}");
    // Input that ends inside a group keeps what it gave.
    EXPECT_EQ(ReadDump("R\n{\nG\n{\na=1"), "R{G{a=1}}");
    EXPECT_EQ(ReadDump("R\n{\nG\n{\nH\n{\n}\n}\n}"), "R{}");
}

TEST(ConfigFormat, EmptyNamesAndEmptyGroups) {
    Config unnamed("");
    unnamed.SetValue(1, "v");
    EXPECT_EQ(Write(unnamed), "\r\n{\r\n\tv=1\r\n}\r\n");
    EXPECT_EQ(ReadDump(Write(unnamed)), "Given{{,v=1}");

    Config x("X");
    EXPECT_EQ(Write(x), "X\r\n{\r\n}\r\n");

    // Empty groups outside the position survive the pruning of GetAsBlock;
    // the writer leaves out the empty ones and the reader the rest.
    Config c("R");
    c.MoveAbsolute("\\E\\F");
    c.MoveAbsolute("\\W");
    c.CreateKey("x");
    const std::string text = Write(c);
    EXPECT_EQ(text, "R\r\n{\r\n\tE\r\n\t{\r\n\t}\r\n\tW\r\n\t{\r\n\t\tx\r\n\t}\r\n}\r\n");
    EXPECT_EQ(ReadDump(text), "R{W{x}}");
}

TEST(ConfigFormat, ReadingReplacesTheTree) {
    Config c("R");
    c.SetValue(1, "old");
    c.SetAutoCreate(0);
    c.BuildFromBlock(nullptr, 10);
    EXPECT_EQ(Dump(c), "R{old=1}");
    Read(c, "N\n{\nG\n{\nv=2\n}\n}\n");
    EXPECT_EQ(Dump(c), "N{G{v=2}}");
    EXPECT_EQ(c.GetCurrentKey(), c.GetRoot());
    EXPECT_NE(c.MoveDown("new"), c.GetRoot());  // autoCreate is on again
}

TEST(ConfigFormat, PathLists) {
    Config c("Settings");
    Read(c, kExample);
    c.MoveAbsolute("\\Panel\\Only\\Groups");
    List<StringItem<ListElement>> paths;
    EXPECT_EQ(c.GetAsPathList(paths), 3u);
    EXPECT_STREQ(paths[0].c_str(), "Width");
    EXPECT_STREQ(paths[1].c_str(), "Panel\\Title");
    EXPECT_STREQ(paths[2].c_str(), "Panel\\Pinned");

    paths.Append(new StringItem<ListElement>(" a \\\\ b\\c "));
    paths.Append(new StringItem<ListElement>("Width"));
    Config back("B");
    back.BuildFromPathList(paths);
    EXPECT_EQ(Dump(back), "B{Width,Panel{Title,Pinned},a{b{c}},Width}");
    EXPECT_EQ(back.GetCurrentKey(), back.GetRoot());
}

}  // namespace
