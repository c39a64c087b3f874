// Names taken apart and put together: the path members of String and
// FileName.  Names that depend on the current directory are checked
// against String::GetCurrentPath, so the tests hold wherever they run.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>

#include "CommonVcZq/files/file_name.h"

namespace {

std::string S(const SubString &s) {
    return String(s).c_str();
}

TEST(PathParts, PathTitleExtensionDriveValidityAndPathBelow) {
    struct Case {
        const char *name, *path, *title, *bareTitle, *extension, *dottedExtension;
        int driveIndex, valid;
        const char *top, *below;
    } const cases[] = {
        {"c:\\dir\\a.txt", "c:\\dir", "a.txt", "a", "txt", ".txt", 2, 1, "c:", "dir\\a.txt"},
        {"Z:\\a.b\\c", "Z:\\a.b", "c", "c", "", "", 25, 1, "Z:", "a.b\\c"},
        {"C:\\dir\\", "C:\\dir", "", "", "", "", 2, 0, "C:", "dir"},
        {"a.tar.gz", "a.tar.gz", "a.tar.gz", "a.tar", "gz", ".gz", -1, 0, "a.tar.gz", ""},
        {"\\a", "", "a", "a", "", "", -1, 0, "a", ""},
        {".cfg", ".cfg", ".cfg", "", "cfg", ".cfg", -1, 0, ".cfg", ""},
        {"", "", "", "", "", "", -1, 0, "", ""},
        {"C:/x\\y.", "C:/x", "y.", "y", "", ".", 2, 1, "C:/x", "y."},  // '/' divides nothing here
        {"C:a", "C:a", "C:a", "C:a", "", "", 2, 0, "C:a", ""},
        {"1:\\x", "1:", "x", "x", "", "", -1, 0, "1:", "x"},
        {"C:\\<>|", "C:", "<>|", "<>|", "", "", 2, 1, "C:", "<>|"},  // characters are not checked
        {"\\a\\b\\c\\", "\\a\\b\\c", "", "", "", "", -1, 0, "a", "b\\c"},
        {"\\\\", "\\", "", "", "", "", -1, 0, "", ""},
        {"C:\\\\x", "C:\\", "x", "x", "", "", 2, 1, "C:", "\\x"},
    };
    for (const Case &c : cases) {
        const String name(c.name);
        EXPECT_EQ(S(name.GetPath()), c.path) << c.name;
        EXPECT_EQ(S(name.GetTitle(1)), c.title) << c.name;
        EXPECT_EQ(S(name.GetTitle(0)), c.bareTitle) << c.name;
        EXPECT_EQ(S(name.GetExtension(0)), c.extension) << c.name;
        EXPECT_EQ(S(name.GetExtension(1)), c.dottedExtension) << c.name;
        int index = 99;
        EXPECT_EQ(S(name.GetDrive(&index)), c.driveIndex < 0 ? "" : std::string(1, char('A' + c.driveIndex)));
        EXPECT_EQ(index, c.driveIndex) << c.name;
        EXPECT_EQ(name.IsValidFileName(), c.valid) << c.name;
        String top("stale");
        EXPECT_EQ(S(name.GetPathBelow(&top)), c.below) << c.name;
        EXPECT_STREQ(top, c.top) << c.name;
    }
}

TEST(PathChanges, SetPartsAndMakeFullNames) {
    EXPECT_STREQ(String("C:\\a").SetDrive("D"), "D:\\a");
    EXPECT_STREQ(String("a").SetDrive("D"), "D:\\a");
    EXPECT_STREQ(String("\\a").SetDrive(3), "D:\\a");
    EXPECT_STREQ(String("C:a").SetDrive(25), "Z:\\a");
    EXPECT_STREQ(String("a.txt").SetExtension(""), "a");
    EXPECT_STREQ(String("C:\\a.b\\c").SetExtension("x"), "C:\\a.b\\c.x");
    EXPECT_STREQ(String("C:\\dir\\x").PrependVolumeName("\\\\server\\share"), "\\\\server\\share\\dir\\x");
    const String original("C:\\a.txt");
    String(original).SetExtension("bak");
    EXPECT_STREQ(original, "C:\\a.txt") << "a shared body must be copied before the change";

    // Full names take the current drive or directory.
    for (const char *dir : {"C:\\d", "C:\\d\\"})
        for (const char *title : {"f.txt", "\\f.txt"})
            EXPECT_STREQ(String(dir).AppendTitleAndMakeFullFileName(title), "C:\\d\\f.txt") << dir << " + " << title;

    const std::string current = S(String::GetCurrentPath()), drive = current.substr(0, 2);
    EXPECT_EQ(S(String::GetCurrentDrive()) + ":", drive);
    EXPECT_EQ(std::string(String("d").AppendTitleAndMakeFullFileName("f")), drive + "\\d\\f");
    EXPECT_STREQ(String("C:x").EnsureFullFileName(), "C:x");
    EXPECT_EQ(std::string(String("a\\b").EnsureFullFileName()), drive + "\\a\\b");
    EXPECT_EQ(std::string(String("b").EnsureFullFileName()), current + "\\b");
}

TEST(PathSummary, ShortensStepByStep) {
    const String name("C:\\one\\two\\three\\file.txt");
    struct Case {
        uint32_t maxLength;
        const char *summary;
    } const cases[] = {
        {0, "C:\\one\\two\\...\\file.txt"}, {25, "C:\\one\\two\\three\\file.txt"},
        {24, "C:\\one\\two\\...\\file.txt"}, {22, "C:\\...\\file.txt"}, {14, "...\\file.txt"},
        {10, "...\\fil..."}, {3, "..."}, {2, ".."},
    };
    for (const Case &c : cases)
        EXPECT_EQ(S(name.GetSummary(c.maxLength)), c.summary) << c.maxLength;
    EXPECT_EQ(S(String("C:\\file.txt").GetSummary(0)), "C:\\file.txt") << "nothing above the file's directory";
    EXPECT_EQ(S(String("\\one\\two\\file.txt").GetSummary(5)), "") << "no drive";
}

TEST(RelativeNames, BothWays) {
    struct Case {
        const char *from, *to, *relative;
    } const cases[] = {
        {"C:\\a\\b", "C:\\a\\c\\f.txt", "..\\c\\f.txt"},
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

TEST(FileNameElement, OrdersWithoutCaseClonesShareAndAssignmentKeepsTheLinks) {
    List<FileName> names;
    for (const char *name : {"b.txt", "A.txt", "B2.txt", "a1.txt"})
        names.Append(new FileName(name));
    names.Sort();
    std::string order;
    for (const FileName *name = names.GetFirst(); name; name = names.GetNext(name))
        order += std::string(*name) + " ";
    EXPECT_EQ(order, "A.txt a1.txt b.txt B2.txt ");

    FileName *first = names.GetFirst(), *second = names.GetNext(first);
    for (int mode : {0, 1, 2})
        EXPECT_EQ(first->Compare(FileName("a.TXT"), mode), 0) << "no mode compares by case";
    std::unique_ptr<FileName> clone(static_cast<FileName *>(first->CreateClone(nullptr)));
    EXPECT_EQ(clone->c_str(), first->c_str()) << "the clone shares the text";
    *first = *second;
    *first = String("C:\\three");
    EXPECT_STREQ(*clone, "A.txt");
    EXPECT_EQ(names.GetNext(first), second) << "assignment must leave the links alone";
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
    EXPECT_TRUE(std::ifstream(name).is_open()) << name;
}

}  // namespace
