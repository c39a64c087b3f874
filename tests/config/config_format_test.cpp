#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "CommonVcZq/config/config.h"

// From config_test.cpp.
std::string Dump(const ConfigKey *group);
std::string Join(const List<StringItem<ListElement>> &list);

namespace {

std::string Write(Config &c) {
    unsigned int size = 0;
    const std::unique_ptr<char, void (*)(void *)> block(c.GetAsBlock(&size), QX_Heap::FreeMem);
    return std::string(block.get(), size);
}

// Reads `text` into `c` and gives the tree that resulted.
std::string Read(Config &c, const std::string &text) {
    c.BuildFromBlock(text.data(), static_cast<unsigned int>(text.size()));
    return Dump(c.GetRoot());
}

std::string Read(const std::string &text, Config::Mode mode = Config::Mode(0)) {
    Config c("Given", mode);
    return Read(c, text);
}

const char kExample[] =
    "Settings\r\n{\r\n\tWidth=640\r\n\tPanel\r\n\t{\r\n\t\tTitle=My View\r\n\t\tPinned\r\n\t}\r\n}\r\n";
const char kExampleTree[] = "Settings{Width=640,Panel{Title=My View,Pinned}}";

TEST(ConfigFormat, WritingIsByteExactAndReadingTakesAnyLayout) {
    Config c("Settings");
    c.SetValue(640, "Width");
    c.MoveDown("Panel");
    c.SetValue("My View", "Title");
    c.CreateKey("Pinned");
    c.MoveDown("Spare");  // empty, and at the position so not pruned first
    EXPECT_EQ(Write(c), kExample);
    EXPECT_EQ(c.GetCurrentKey(), c.GetRoot());
    c.BuildFromBlock(nullptr, 10);  // changes nothing
    EXPECT_EQ(Dump(c.GetRoot()), "Settings{Width=640,Panel{Title=My View,Pinned,Spare{}}}");
    // Empty groups outside the position survive the pruning of GetAsBlock,
    // and the writer leaves them out; an empty root is still written.
    Config e("");
    EXPECT_EQ(Write(e), "\r\n{\r\n}\r\n");
    e.MoveAbsolute("\\E\\F");
    e.MoveAbsolute("\\W");
    e.CreateKey("x");
    EXPECT_EQ(Write(e), "\r\n{\r\n\tE\r\n\t{\r\n\t}\r\n\tW\r\n\t{\r\n\t\tx\r\n\t}\r\n}\r\n");
    // Read back, the nameless head is skipped: "{" is a bare key, and the
    // next group head at the top renames the root.
    EXPECT_EQ(Read(Write(e)), "W{{,x}");
    EXPECT_EQ(Read(kExample), kExampleTree);
    EXPECT_EQ(Read("\n \nSettings\r\r{\n\n\t Width=640  \r\n\tPanel\t\n\n{\n  Title=My View\rPinned\n}\n\n}\n\n"),
              kExampleTree);
    const char zeros[] = "Settings\0{\0Width=640\0Panel\0{\0Title=My View\0Pinned\0}\0}";
    EXPECT_EQ(Read(std::string(zeros, sizeof zeros - 1)), kExampleTree);
    EXPECT_EQ(Read(""), "Given{}");
}

TEST(ConfigFormat, ValueLinesSplitAtTheFirstEquals) {
    Config c("R"), back("B");
    EXPECT_EQ(Read(c, "R\n{\na=b=c\n=x\nb=\nc = d \n}\n"), "R{a=b=c,=x,b,c = d}");
    EXPECT_STREQ(c.GetKey(1)->name.c_str(), "=x");
    EXPECT_STREQ(c.GetKey(3)->name.c_str(), "c ");
    // So blanks at the ends, line ends in values and "=" in names do not
    // survive a round trip.
    c.SetValue("end ", " lead");
    c.SetValue("one\ntwo", "multi");
    c.SetValue("v", "k=x");
    EXPECT_EQ(Read(back, Write(c)), "R{a=b=c,=x,b,c = d,lead=end,multi=one,two,k=x=v}");
    EXPECT_STREQ(back.GetKey(7)->name.c_str(), "k");
}

TEST(ConfigFormat, LinesGoThroughTheOrdinaryMembers) {
    EXPECT_EQ(Read("R\n{\na=1\nx\nb\na=2\nx\n}"), "R{a=2,x,b,x}");
    const char grouped[] = "R\n{\nG\n{\na\n}\nG\n{\nb\n}\n}";
    EXPECT_EQ(Read(grouped), "R{G{a,b}}");
    EXPECT_EQ(Read(grouped, Config::MultipleGroups), "R{G{a},G{b}}");
    // A key named "}" closes its group on reading; the rest lands outside.
    Config c("R");
    c.CreateKey("}");
    c.CreateKey("after");
    EXPECT_EQ(Read(Write(c)), "R{after}");
    // After the root closes, reading goes on in the root; a new head renames
    // it, and a "}" with no group open ends the input.
    EXPECT_EQ(Read("R\n{\na=1\n}\nb=2\nS\n{\nc\n}\n}\nd\n"), "S{a=1,b=2,c}");
    // Groups that the input leaves empty go, deepest first.
    EXPECT_EQ(Read("R\n{\nG\n{\nH\n{\n}\n}\n}"), "R{}");
}

TEST(ConfigFormat, ReadingReplacesTheTreeAndThePaths) {
    Config c("R"), back("B");
    c.SetValue(1, "old");
    c.SetAutoCreate(0);
    // Input that ends inside a group keeps what it gave; the position is the root.
    EXPECT_EQ(Read(c, "N\n{\nG\n{\nv=2"), "N{G{v=2}}");
    EXPECT_EQ(c.GetCurrentKey(), c.GetRoot());
    EXPECT_NE(c.MoveDown("new"), c.GetRoot());  // autoCreate is on again

    Read(c, kExample);
    c.MoveAbsolute("\\Panel\\Only\\Groups");
    List<StringItem<ListElement>> paths;
    paths.Append(new StringItem<ListElement>("stale"));
    EXPECT_EQ(c.GetAsPathList(paths), 3u);
    EXPECT_EQ(Join(paths), "Width,Panel\\Title,Panel\\Pinned");
    paths.Append(new StringItem<ListElement>("Width"));
    paths.Append(new StringItem<ListElement>(" a \\\\ b\\c "));
    back.BuildFromPathList(paths);
    EXPECT_EQ(Dump(back.GetRoot()), "B{Width,Panel{Title,Pinned},Width,a{b{c}}}");
    EXPECT_STREQ(back.GetCurrentKey()->name.c_str(), "b");  // the group of the last path
}

TEST(ConfigFormat, NestingBeyondTheCapIsFlattenedWithoutLosingLines) {
    // Deep enough that one call per level of the tree would overflow the
    // stack when the tree is destroyed, copied or written.
    std::string text = "R\n{\n";
    for (int i = 0; i < 100000; ++i)
        text += "x\n{\n";
    text += "v=deep\n";
    for (int i = 0; i < 100000; ++i)
        text += "}\n";
    Config c("C"), back("B");
    Read(c, text + "tail=1\n}\n");
    int levels = 0;
    for (; c.ExistGroup("x"); ++levels)
        c.MoveDown("x");
    EXPECT_EQ(levels, Config::MaxBlockDepth);
    EXPECT_EQ(c.GetNumKeys(), 1u);  // the heads beyond the cap are dropped
    EXPECT_STREQ(c.GetValue("", "v").c_str(), "deep");
    c.MoveToRoot();
    EXPECT_EQ(c.GetValue(0, "tail"), 1);  // the braces still pair up
    const std::string written = Write(c);
    EXPECT_EQ(Read(back, written), Dump(c.GetRoot()));
    EXPECT_TRUE(Config(back) == c);

    // A path list is held to the same depth.
    std::string path;
    for (int i = 0; i < 1000; ++i)
        path += "x\\";
    List<StringItem<ListElement>> paths;
    paths.Append(new StringItem<ListElement>((path + "v").c_str()));
    back.BuildFromPathList(paths);
    back.MoveToRoot();
    for (levels = 0; back.ExistGroup("x"); ++levels)
        back.MoveDown("x");
    EXPECT_EQ(levels, Config::MaxBlockDepth);
    EXPECT_TRUE(back.ExistKey("v"));
}

}  // namespace
