// Directory listing by pattern: FindFirstFileA, FindNextFileA, FindClose,
// against the POSIX layer and against Win32.  Where wine strays from
// Windows, the test says so and accepts wine's answer under wine only.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include "temp_folder.h"
#include "test_support.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include <sys/xattr.h>
#endif

namespace {

class Find : public TempFolderTest {
protected:
    void SetUp() override {
        TempFolderTest::SetUp();
        fs::create_directories(folder / "sub");
        for (const char *name : {"a.txt", "b.TXT", "abc", "a.b.c", "README", ".profile", "x.tx"})
            WriteFile(folder / name, 3);
        WriteFile(folder / "big.dat", 70000);
    }

    // The names that `pattern` lists in the folder, in the order given,
    // or the error as "error N".
    std::vector<std::string> List(const std::string &pattern) {
        WIN32_FIND_DATAA data;
        HANDLE search = FindFirstFileA((WindowsName(folder) + "\\" + pattern).c_str(), &data);
        if (search == INVALID_HANDLE_VALUE)
            return {"error " + std::to_string(GetLastError())};
        std::vector<std::string> names;
        do
            names.push_back(data.cFileName);
        while (FindNextFileA(search, &data));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_FILES});
        EXPECT_FALSE(FindNextFileA(search, &data)) << "the end stays the end";
        EXPECT_TRUE(FindClose(search));
        return names;
    }
    std::set<std::string> Set(const std::string &pattern) {
        const std::vector<std::string> names = List(pattern);
        return std::set<std::string>(names.begin(), names.end());
    }
    // The record of the one entry that `name` lists.
    WIN32_FIND_DATAA Record(const std::string &name) {
        WIN32_FIND_DATAA data;
        memset(&data, 0, sizeof data);
        HANDLE search = FindFirstFileA((WindowsName(folder) + "\\" + name).c_str(), &data);
        EXPECT_NE(search, INVALID_HANDLE_VALUE) << name;
        if (search != INVALID_HANDLE_VALUE)
            FindClose(search);
        return data;
    }
};

using Names = std::set<std::string>;

TEST_F(Find, StarDotStarListsEveryEntryWithDotAndDotDotFirst) {
    const std::vector<std::string> all = List("*.*");
    ASSERT_GE(all.size(), 2u);
    EXPECT_EQ(all[0], ".");
    EXPECT_EQ(all[1], "..");
    const Names expected = {".", "..", "sub", "a.txt", "b.TXT", "abc", "a.b.c", "README", ".profile", "x.tx", "big.dat"};
    EXPECT_EQ(Names(all.begin(), all.end()), expected);
    EXPECT_EQ(all.size(), expected.size()) << "each entry once";
    EXPECT_EQ(Set("*"), expected);
    EXPECT_EQ(Set("*.*."), expected) << "a dot at the end is dropped before the rewriting";
}

TEST_F(Find, PatternsMatchWithoutCaseAsWindowsRewritesThem) {
    EXPECT_EQ(Set("*.txt"), (Names{"a.txt", "b.TXT"}));
    EXPECT_EQ(Set("A.TXT"), (Names{"a.txt"})) << "a literal name, without case";
    EXPECT_EQ(Set("a?c"), (Names{"abc"}));
    EXPECT_EQ(Set("*.b.*"), (Names{"a.b.c"}));
    EXPECT_EQ(Set("*e"), (Names{"README", ".profile"}));
    if (RunningUnderWine()) {
        // Wine's '?' always takes a character, and wine drops the dot at
        // the end of "*." and lists everything.
        EXPECT_EQ(Set("x.tx?"), (Names{"error 2"}));
        EXPECT_EQ(Set("*.").count("a.txt"), 1u);
    } else {
        EXPECT_EQ(Set("x.tx?"), (Names{"x.tx"})) << "a '?' at the end may match nothing";
        EXPECT_EQ(Set("*."), (Names{"abc", "README", "sub"})) << "the names without a dot";
    }
}

TEST_F(Find, NothingToListIsAnErrorOfItsOwnKind) {
    EXPECT_EQ(List("nothing*"), std::vector<std::string>{"error 2"}) << "ERROR_FILE_NOT_FOUND";
    EXPECT_EQ(List("missing\\*"), std::vector<std::string>{"error 3"}) << "ERROR_PATH_NOT_FOUND";
    EXPECT_EQ(List(""), std::vector<std::string>{"error 2"}) << "a name ending in a backslash";
}

TEST_F(Find, TheRecordDescribesTheEntry) {
    const WIN32_FIND_DATAA big = Record("big.dat");
    EXPECT_EQ(big.nFileSizeLow, 70000u);
    EXPECT_EQ(big.nFileSizeHigh, 0u);
    EXPECT_EQ(big.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY), 0u);
    EXPECT_NE(big.ftLastWriteTime.dwHighDateTime, 0u);
    EXPECT_STREQ(big.cAlternateFileName, "");

    const WIN32_FIND_DATAA sub = Record("sub");
    EXPECT_NE(sub.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY, 0u);
    EXPECT_EQ(sub.nFileSizeLow, 0u);
    // Wine hides names that begin with a dot (its ShowDotFiles setting);
    // Windows knows no such rule.
    EXPECT_EQ(Record(".profile").dwFileAttributes & FILE_ATTRIBUTE_HIDDEN,
              RunningUnderWine() ? DWORD{FILE_ATTRIBUTE_HIDDEN} : 0u);

    fs::permissions(folder / "a.txt", fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    EXPECT_NE(Record("a.txt").dwFileAttributes & FILE_ATTRIBUTE_READONLY, 0u);

    const std::string hidden = WindowsName(folder / "abc");
#if defined(_WIN32)
    ASSERT_TRUE(SetFileAttributesA(hidden.c_str(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM));
#else
    // As wine stores it, and as Samba does, with a binary part behind.
    ASSERT_EQ(setxattr((folder / "abc").c_str(), "user.DOSATTRIB", "0x6", 3, 0), 0);
    const char samba[] = "0x22\0\4\0\4\0\0\0\x11\0\0\0\x22";
    ASSERT_EQ(setxattr((folder / "README").c_str(), "user.DOSATTRIB", samba, sizeof samba, 0), 0);
    EXPECT_EQ(Record("README").dwFileAttributes, DWORD{FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE});
#endif
    EXPECT_EQ(Record("abc").dwFileAttributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM),
              DWORD{FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM});
}

#if !defined(_WIN32)
TEST_F(Find, NamesThatWindowsWouldRefuseAreListedAsTheyStand) {
    for (const char *name : {"what?.txt", "a|b", "tab\there", "trailing."})
        WriteFile(folder / name, 1);
    const Names all = Set("*");
    for (const char *name : {"what?.txt", "a|b", "tab\there", "trailing."})
        EXPECT_EQ(all.count(name), 1u) << name;
    EXPECT_EQ(Set("*.txt").count("what?.txt"), 1u);
}
#endif

TEST_F(Find, ADrivesRootHasNoDotEntries) {
    char drive[] = "Z:\\*";
#if defined(_WIN32)
    drive[0] = WindowsName(folder)[0];
#endif
    WIN32_FIND_DATAA data;
    HANDLE search = FindFirstFileA(drive, &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    do
        EXPECT_TRUE(strcmp(data.cFileName, ".") != 0 && strcmp(data.cFileName, "..") != 0) << data.cFileName;
    while (FindNextFileA(search, &data));
    EXPECT_TRUE(FindClose(search));
}

TEST_F(Find, ASearchMayBeClosedAtAnyTimeAndOnlyOnce) {
    WIN32_FIND_DATAA data;
    HANDLE search = FindFirstFileA((WindowsName(folder) + "\\*").c_str(), &data);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(FindClose(search));
    SetLastError(0);
    EXPECT_FALSE(FindNextFileA(search, &data));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_HANDLE});
    if (!RunningUnderWine()) {  // wine's FindClose takes a stale handle silently
        EXPECT_FALSE(FindClose(search));
    }
}

}  // namespace
