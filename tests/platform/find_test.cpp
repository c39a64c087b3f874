// Directory listing by pattern: FindFirstFileA, FindNextFileA, FindClose,
// against the POSIX layer and against Win32.  Where wine strays from
// Windows, the test says so and accepts wine's answer under wine only.
#include "platform/win32.h"

#include <gtest/gtest.h>

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

namespace fs = std::filesystem;

// `path` in drive-letter form, as the library names files.
std::string WindowsName(const fs::path &path) {
#if defined(_WIN32)
    return path.string();
#else
    std::string name = "Z:" + path.string();
    std::replace(name.begin(), name.end(), '/', '\\');
    return name;
#endif
}

void WriteFile(const fs::path &path, size_t size) {
    std::ofstream(path, std::ios::binary) << std::string(size, 'x');
}

// A folder of its own for each test, removed at the end.
class Find : public ::testing::Test {
protected:
    void SetUp() override {
        const ::testing::TestInfo *test = ::testing::UnitTest::GetInstance()->current_test_info();
        folder = fs::temp_directory_path() / (std::string("cvz_find_") + test->name());
        fs::remove_all(folder);
        fs::create_directories(folder / "sub");
        for (const char *name : {"a.txt", "b.TXT", "abc", "a.b.c", "README", ".profile", "x.tx"})
            WriteFile(folder / name, 3);
        WriteFile(folder / "big.dat", 70000);
    }
    void TearDown() override {
        std::error_code ignored;
        fs::permissions(folder / "a.txt", fs::perms::owner_write, fs::perm_options::add, ignored);
        fs::remove_all(folder, ignored);
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

    fs::path folder;
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
    EXPECT_EQ(Set("x.tx?"), (Names{"x.tx"}));
    EXPECT_EQ(Set("*e"), (Names{"README", ".profile"}));
    if (RunningUnderWine()) {
        // Wine drops the dot at the end and lists everything for "*.".
        EXPECT_EQ(Set("*.").count("a.txt"), 1u);
    } else {
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
    EXPECT_EQ(Record(".profile").dwFileAttributes & FILE_ATTRIBUTE_HIDDEN, 0u)
        << "a dot does not make a name hidden";

    fs::permissions(folder / "a.txt", fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    EXPECT_NE(Record("a.txt").dwFileAttributes & FILE_ATTRIBUTE_READONLY, 0u);

    const std::string hidden = WindowsName(folder / "abc");
#if defined(_WIN32)
    ASSERT_TRUE(SetFileAttributesA(hidden.c_str(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM));
#else
    // As wine and Samba store it.
    ASSERT_EQ(setxattr((folder / "abc").c_str(), "user.DOSATTRIB", "0x6", 3, 0), 0);
#endif
    EXPECT_EQ(Record("abc").dwFileAttributes & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM),
              DWORD{FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM});
}

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
