// Names taken apart and put together: the path members of String and
// FileName.  Names that depend on the current directory are checked
// against String::GetCurrentPath, so the tests hold wherever they run.
#include <gtest/gtest.h>

#include <stdio.h>

#include <algorithm>
#include <memory>
#include <string>

#include "files/file_name.h"

namespace {

std::string S(const SubString &s) {
    return String(s).c_str();
}

TEST(PathParts, PathTitleAndExtension) {
    struct Case {
        const char *name, *path, *title, *bareTitle, *extension, *dottedExtension;
    } const cases[] = {
        {"C:\\dir\\a.txt", "C:\\dir", "a.txt", "a", "txt", ".txt"},
        {"C:\\a.b\\c", "C:\\a.b", "c", "c", "", ""},
        {"C:\\dir\\", "C:\\dir", "", "", "", ""},
        {"a.tar.gz", "a.tar.gz", "a.tar.gz", "a.tar", "gz", ".gz"},
        {"\\a", "", "a", "a", "", ""},
        {".cfg", ".cfg", ".cfg", "", "cfg", ".cfg"},
        {"", "", "", "", "", ""},
        {"C:/x\\y.", "C:/x", "y.", "y", "", "."},  // '/' divides nothing here
    };
    for (const Case &c : cases) {
        const String name(c.name);
        EXPECT_EQ(S(name.GetPath()), c.path) << c.name;
        EXPECT_EQ(S(name.GetTitle(1)), c.title) << c.name;
        EXPECT_EQ(S(name.GetTitle(0)), c.bareTitle) << c.name;
        EXPECT_EQ(S(name.GetExtension(0)), c.extension) << c.name;
        EXPECT_EQ(S(name.GetExtension(1)), c.dottedExtension) << c.name;
    }
}

TEST(PathParts, DrivesAndValidity) {
    struct Case {
        const char *name;
        int driveIndex, valid;
    } const cases[] = {
        {"c:\\x", 2, 1}, {"Z:\\a\\b", 25, 1}, {"C:\\", 2, 0},  {"C:a", 2, 0},      {"1:\\x", -1, 0},
        {"C", -1, 0},    {"", -1, 0},         {"\\a:", -1, 0}, {"C:\\<>|", 2, 1},
    };
    for (const Case &c : cases) {
        const String name(c.name);
        int index = 99;
        EXPECT_EQ(S(name.GetDrive(&index)), c.driveIndex < 0 ? "" : std::string(1, char('A' + c.driveIndex)));
        EXPECT_EQ(index, c.driveIndex) << c.name;
        EXPECT_EQ(name.GetDriveIndex(), c.driveIndex) << c.name;
        EXPECT_EQ(name.ContainsDrive(), c.driveIndex >= 0) << c.name;
        EXPECT_EQ(name.IsValidFileName(), c.valid) << c.name;
    }
}

TEST(PathChanges, SetDriveExtensionAndVolume) {
    EXPECT_STREQ(String("C:\\a").SetDrive("D"), "D:\\a");
    EXPECT_STREQ(String("a").SetDrive("D"), "D:\\a");
    EXPECT_STREQ(String("\\a").SetDrive(3), "D:\\a");
    EXPECT_STREQ(String("C:a").SetDrive(25), "Z:\\a");
    EXPECT_STREQ(String("a.txt").SetExtension(""), "a");
    EXPECT_STREQ(String("C:\\a.b\\c").SetExtension("x"), "C:\\a.b\\c.x");
    EXPECT_STREQ(String("C:\\a.b\\c.old").SetExtension("new"), "C:\\a.b\\c.new");
    EXPECT_STREQ(String("C:\\dir\\x").PrependVolumeName("\\\\server\\share"), "\\\\server\\share\\dir\\x");
    const String original("C:\\a.txt");
    String(original).SetExtension("bak");
    EXPECT_STREQ(original, "C:\\a.txt") << "a shared body must be copied before the change";
}

TEST(PathChanges, FullNamesTakeTheCurrentDriveOrDirectory) {
    for (const char *dir : {"C:\\d", "C:\\d\\"})
        for (const char *title : {"f.txt", "\\f.txt"})
            EXPECT_STREQ(String(dir).AppendTitleAndMakeFullFileName(title), "C:\\d\\f.txt") << dir << " + " << title;
    EXPECT_STREQ(FileName("C:\\d", "f.txt"), "C:\\d\\f.txt");

    const std::string current = S(String::GetCurrentPath()), drive = current.substr(0, 2);
    ASSERT_GE(current.size(), 3u);
    EXPECT_EQ(S(String::GetCurrentDrive()) + ":", drive);
    EXPECT_EQ(std::string(String("d").AppendTitleAndMakeFullFileName("f")), drive + "\\d\\f");
    EXPECT_STREQ(String("C:x").EnsureFullFileName(), "C:x");
    EXPECT_EQ(std::string(String("a\\b").EnsureFullFileName()), drive + "\\a\\b");
    EXPECT_EQ(std::string(String("b").EnsureFullFileName()), current + "\\b");
}

TEST(PathWalk, GetPathBelowTakesOffTheTopPart) {
    struct Case {
        const char *name, *top, *below;
    } const cases[] = {
        {"\\a\\b\\c\\", "a", "b\\c"}, {"a", "a", ""}, {"", "", ""}, {"\\\\", "", ""}, {"C:\\\\x", "C:", "\\x"},
    };
    for (const Case &c : cases) {
        const String name(c.name);
        String top("stale");
        EXPECT_EQ(S(name.GetPathBelow(&top)), c.below) << c.name;
        EXPECT_STREQ(top, c.top) << c.name;
        EXPECT_EQ(S(name.GetPathBelow(nullptr)), c.below) << c.name;
        EXPECT_STREQ(name, c.name) << "the name itself stays";
    }
}

TEST(PathSummary, ShortensStepByStep) {
    const String name("C:\\one\\two\\three\\file.txt");
    struct Case {
        uint32_t maxLength;
        const char *summary;
    } const cases[] = {
        {0, "C:\\one\\two\\...\\file.txt"},    {100, "C:\\one\\two\\three\\file.txt"},
        {25, "C:\\one\\two\\three\\file.txt"}, {24, "C:\\one\\two\\...\\file.txt"},
        {22, "C:\\...\\file.txt"},             {14, "...\\file.txt"},
        {10, "...\\fil..."},                   {3, "..."},
        {2, ".."},
    };
    for (const Case &c : cases)
        EXPECT_EQ(S(name.GetSummary(c.maxLength)), c.summary) << c.maxLength;
    EXPECT_EQ(S(String("C:\\file.txt").GetSummary(5)), ".....");
    EXPECT_EQ(S(String("C:\\file.txt").GetSummary(0)), "C:\\file.txt") << "nothing above the file's directory";
    EXPECT_EQ(S(String("\\one\\two\\file.txt").GetSummary(5)), "") << "no drive";
}

TEST(RelativeNames, BothWays) {
    struct Case {
        const char *from, *to, *relative;
    } const cases[] = {
        {"C:\\a\\b", "C:\\a\\c\\f.txt", "..\\c\\f.txt"},
        {"C:\\a\\b", "C:\\a\\b\\f.txt", "f.txt"},
        {"C:\\A", "c:\\a\\f.txt", "f.txt"},
        {"C:\\a\\b\\c", "C:\\x.txt", "..\\..\\..\\x.txt"},
        {"C:\\a", "C:\\a", "..\\a"},  // the title never matches a directory
        {"C:/a//b/", "C:\\a\\d", "..\\d"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(S(String::GetRelativeFileName(c.from, c.to)), c.relative) << c.from << " -> " << c.to;
        const String back(String::GetAbsoluteFileName(c.from, c.relative));
        EXPECT_STREQ(String(c.to).MakeLower(), String(back).MakeLower()) << c.from << " + " << c.relative;
    }
    EXPECT_EQ(S(String::GetRelativeFileName("C:\\a\\b", "D:\\f.txt")), "");
    EXPECT_EQ(S(String::GetAbsoluteFileName("C:/a/b", "../c/f.txt")), "C:\\a\\c\\f.txt");
    EXPECT_EQ(S(String::GetAbsoluteFileName("C:\\a", ".\\f")), "C:\\a\\.\\f") << "'.' means nothing";
    EXPECT_EQ(S(String::GetAbsoluteFileName("C:\\a", "..\\..\\..\\f")), "C:\\f") << "stops at the drive";
}

TEST(FileNameElement, ComparesWithoutCaseInEveryMode) {
    const FileName lower("c:\\dir\\readme.txt"), upper("C:\\DIR\\README.TXT"), other("c:\\dir\\z");
    for (int mode : {0, 1, 2}) {
        EXPECT_EQ(lower.Compare(upper, mode), 0) << mode;
        EXPECT_LT(lower.Compare(other, mode), 0) << mode;
        EXPECT_GT(other.Compare(upper, mode), 0) << mode;
    }
    List<FileName> names;
    for (const char *name : {"b.txt", "A.txt", "B2.txt", "a1.txt"})
        names.Append(new FileName(name));
    names.Sort();
    std::string order;
    for (const FileName *name = names.GetFirst(); name; name = names.GetNext(name))
        order += std::string(*name) + " ";
    EXPECT_EQ(order, "A.txt a1.txt b.txt B2.txt ");
}

TEST(FileNameElement, ClonesShareAndAssignmentKeepsTheLinks) {
    List<FileName> names;
    FileName *first = names.Append(new FileName("C:\\one"));
    FileName *second = names.Append(new FileName("C:\\two"));
    std::unique_ptr<FileName> clone(static_cast<FileName *>(first->CreateClone(nullptr)));
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->c_str(), first->c_str()) << "the clone shares the text";
    *first = *second;
    *first = String("C:\\three");
    EXPECT_STREQ(*first, "C:\\three");
    EXPECT_STREQ(*clone, "C:\\one");
    EXPECT_EQ(names.GetNext(first), second) << "assignment must leave the links alone";
    EXPECT_EQ(names.GetPrev(second), first);
}

TEST(FileNameElement, ApplicationRelativeNamesAFileBesideTheProgram) {
    EXPECT_NE(String(FileName::GetApplicationPath()).GetLastChar(), '\\');
#if defined(_WIN32)
    const std::string name = S(FileName::CreateApplicationRelative("\\files_tests.exe"));
#else
    // Z: is the root unless the program maps it elsewhere.
    std::string name = S(FileName::CreateApplicationRelative("\\files_tests"));
    ASSERT_EQ(name.substr(0, 2), "Z:");
    name = name.substr(2);
    std::replace(name.begin(), name.end(), '\\', '/');
#endif
    FILE *program = fopen(name.c_str(), "rb");
    EXPECT_NE(program, nullptr) << name;
    if (program)
        fclose(program);
}

}  // namespace
