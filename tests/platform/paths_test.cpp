// Names in drive-letter form: the current directory, module file names and
// the case-blind order of lstrcmpiA.  The expectations hold for the POSIX
// layer and for Win32; the drive table, which only the POSIX layer has, is
// tested on that side alone.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <ctype.h>
#include <string.h>

#include <algorithm>
#include <string>

#if !defined(_WIN32)
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/paths.h"
#endif

namespace {

std::string CurrentDirectory() {
    char buffer[1024];
    const DWORD length = GetCurrentDirectoryA(sizeof buffer, buffer);
    return length > 0 && length < sizeof buffer ? std::string(buffer, length) : std::string();
}

bool HasDriveForm(const std::string &name) {
    return name.size() >= 3 && isalpha(static_cast<unsigned char>(name[0])) && name[1] == ':' &&
           name[2] == '\\' && name.find('/') == std::string::npos;
}

bool EndsWithIgnoringCase(const std::string &text, const std::string &end) {
    return text.size() >= end.size() && lstrcmpiA(text.c_str() + (text.size() - end.size()), end.c_str()) == 0;
}

TEST(Names, TheCurrentDirectoryAndModuleNamesFollowTheWin32SizeRules) {
    // On our layer the current directory's name itself is checked against
    // the drive table below.
    char whole[1024], buffer[1024];
    DWORD length = static_cast<DWORD>(CurrentDirectory().size());
    EXPECT_EQ(GetCurrentDirectoryA(0, nullptr), length + 1) << "the size needed, zero included";
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(GetCurrentDirectoryA(length, buffer), length + 1) << "no room for the zero";
    EXPECT_EQ(buffer[0], '#') << "a buffer too small is left alone";
    EXPECT_EQ(GetCurrentDirectoryA(length + 1, buffer), length);
    EXPECT_EQ(buffer[length + 1], '#');

    length = GetModuleFileNameA(nullptr, whole, sizeof whole);
    ASSERT_GT(length, 5u);
    EXPECT_TRUE(HasDriveForm(whole)) << whole;
    EXPECT_TRUE(EndsWithIgnoringCase(whole, "\\platform_tests") || EndsWithIgnoringCase(whole, "\\platform_tests.exe"))
        << whole;
    memset(buffer, '#', sizeof buffer);
    SetLastError(0);
    EXPECT_EQ(GetModuleFileNameA(nullptr, buffer, 5), 5u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(std::string(buffer, 4), std::string(whole, 4));
    // Wine cuts as Windows XP did: five characters and no zero.
    EXPECT_EQ(buffer[4], RunningUnderWine() ? whole[4] : '\0');
    EXPECT_EQ(buffer[5], '#');
    EXPECT_EQ(GetModuleFileNameA(nullptr, whole, length), length) << "no room for the zero";

    std::string path = CVZ_TEST_STRING_MODULE;
    std::replace(path.begin(), path.end(), '/', '\\');
    HMODULE module = LoadLibraryA(path.c_str());
    ASSERT_NE(module, nullptr) << "error " << GetLastError();
    const DWORD moduleLength = GetModuleFileNameA(module, whole, sizeof whole);
    EXPECT_TRUE(HasDriveForm(std::string(whole, moduleLength))) << whole;
    EXPECT_TRUE(EndsWithIgnoringCase(whole, path.substr(path.rfind('\\')))) << whole;
    EXPECT_TRUE(FreeLibrary(module));
    int notAModule = 0;
    SetLastError(0);
    EXPECT_EQ(GetModuleFileNameA(reinterpret_cast<HMODULE>(&notAModule), whole, sizeof whole), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
}

TEST(CompareIgnoringCase, OrdersAsWindowsDoes) {
    // Only orders that our layer and Windows' linguistic comparison share:
    // punctuation, then digits, then letters, where a byte order differs,
    // and '_' against a capital, where comparing in capitals would differ.
    struct Case {
        const char *a, *b;
        int expected;
    } const cases[] = {
        {"Readme.TXT", "readme.txt", 0}, {"B", "a", 1},     {"abc", "abcd", -1}, {"a_", "aB", -1},
        {"dir\\x", "dir1", -1},          {"x~", "x0", -1},  {"x{", "xa", -1},    {"x@", "x0", -1},
        {"x[", "x9", -1},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(lstrcmpiA(c.a, c.b), c.expected) << c.a << " against " << c.b;
        EXPECT_EQ(lstrcmpiA(c.b, c.a), -c.expected) << c.b << " against " << c.a;
    }
}

#if !defined(_WIN32)
// The drive table of the POSIX layer, on a folder of our own.
class DriveTable : public testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/cvz_paths_XXXXXX";
        ASSERT_NE(getcwd(saved, sizeof saved), nullptr);
        ASSERT_NE(mkdtemp(pattern), nullptr);
        ASSERT_NE(realpath(pattern, folder), nullptr);
        ASSERT_EQ(mkdir((std::string(folder) + "/sub").c_str(), 0700), 0);
        ASSERT_EQ(chdir(folder), 0);
    }
    void TearDown() override {
        MapDriveLetter('C', nullptr);
        MapDriveLetter('D', nullptr);
        MapDriveLetter('Z', "/");
        EXPECT_EQ(chdir(saved), 0);
        rmdir((std::string(folder) + "/sub").c_str());
        rmdir(folder);
    }

    // "Z:" and the native path with '\'.
    std::string ZForm(const std::string &native) const {
        std::string name = "Z:" + native;
        std::replace(name.begin(), name.end(), '/', '\\');
        return name;
    }
    std::string Native(const char *name) const {
        char path[PATH_MAX];
        return cvz::posix::NativePath(name, path, sizeof path) ? path : "error " + std::to_string(GetLastError());
    }

    char saved[PATH_MAX];
    char folder[PATH_MAX];
};

TEST_F(DriveTable, MapsLettersToFoldersAndTheDeepestMappedFolderNamesTheDrive) {
    EXPECT_EQ(CurrentDirectory(), ZForm(folder));
    ASSERT_TRUE(MapDriveLetter('z', folder));
    EXPECT_EQ(CurrentDirectory(), "Z:\\");
    EXPECT_EQ(Native("Z:\\sub\\x"), std::string(folder) + "/sub/x");
    ASSERT_TRUE(MapDriveLetter('Z', ""));
    EXPECT_EQ(GetCurrentDirectoryA(0, nullptr), 0u) << "no drive holds the folder";
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
    EXPECT_EQ(Native("Z:\\etc"), "error 3");

    ASSERT_TRUE(MapDriveLetter('Z', "/"));
    ASSERT_TRUE(MapDriveLetter('d', (std::string(folder) + "//").c_str()));
    EXPECT_EQ(cvz::posix::MappedDrives(), (1u << 25) | (1u << 3));
    ASSERT_EQ(chdir("sub"), 0);
    EXPECT_EQ(CurrentDirectory(), "D:\\sub");
    EXPECT_EQ(Native("d:a.txt"), std::string(folder) + "/a.txt");
    // A folder whose name merely begins with ours is not in it.
    std::string name;
    ASSERT_TRUE(cvz::posix::DriveLetterName((std::string(folder) + "x/y").c_str(), name));
    EXPECT_EQ(name, ZForm(std::string(folder) + "x/y"));
    // Of two letters on one folder, the first in the alphabet names it.
    ASSERT_TRUE(MapDriveLetter('C', "/"));
    ASSERT_TRUE(MapDriveLetter('D', nullptr));
    EXPECT_EQ(CurrentDirectory(), "C:" + ZForm(std::string(folder) + "/sub").substr(2));

    // What is no letter or no absolute folder is refused.
    SetLastError(0);
    EXPECT_FALSE(MapDriveLetter('1', "/tmp"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_FALSE(MapDriveLetter('D', "tmp"));
    EXPECT_FALSE(MapDriveLetter('[', nullptr));
    EXPECT_EQ(cvz::posix::MappedDrives(), (1u << 25) | (1u << 2)) << "a refused call changes nothing";
    ASSERT_TRUE(MapDriveLetter('D', "/no/such/folder/")) << "taken as written";
    EXPECT_EQ(Native("D:\\a"), "/no/such/folder/a");
}
#endif

}  // namespace
