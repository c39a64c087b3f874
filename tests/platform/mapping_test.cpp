// File mappings, and copying, moving and making folders by name.  The
// same expectations hold for the POSIX layer and for Win32.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <string.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace fs = std::filesystem;

namespace {

// A scratch folder, with names in the form the layer takes.
class Scratch : public ::testing::Test {
protected:
    void SetUp() override {
        folder = fs::temp_directory_path() /
                 ("cvz-mapping-" + std::to_string(GetCurrentThreadId()) + "-" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(folder);
        fs::create_directories(folder);
    }
    void TearDown() override {
        std::error_code ignored;
        fs::permissions(folder / "ro", fs::perms::owner_all, ignored);
        fs::remove_all(folder, ignored);
    }

    // `title` in the folder, in drive-letter form.
    std::string Name(const char *title) const {
        std::string native = (folder / title).string();
#if !defined(_WIN32)
        native = "Z:" + native;
#endif
        for (char &c : native)
            if (c == '/')
                c = '\\';
        return native;
    }
    std::string Read(const char *title) const {
        std::ifstream in(folder / title, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    void Write(const char *title, const std::string &bytes) const {
        std::ofstream(folder / title, std::ios::binary) << bytes;
    }
    HANDLE Open(const char *title, DWORD access) const {
        return CreateFileA(Name(title).c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, 0, nullptr);
    }

    fs::path folder;
};

using Mapping = Scratch;
using FileNames = Scratch;

TEST_F(Mapping, SizesExtendAndRefuse) {
    Write("empty", "");
    HANDLE file = Open("empty", GENERIC_READ | GENERIC_WRITE);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    // Length 0 can't be mapped; a size makes the file that long at once.
    EXPECT_EQ(nullptr, CreateFileMappingA(file, nullptr, PAGE_READWRITE, 0, 0, nullptr));
    EXPECT_EQ(DWORD(ERROR_FILE_INVALID), GetLastError());
    HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READWRITE, 0, 100000, nullptr);
    ASSERT_NE(nullptr, mapping);
    EXPECT_EQ(100000u, GetFileSize(file, nullptr));
    EXPECT_EQ(std::string(100000, '\0'), Read("empty"));
    // The file handle may go: the mapping keeps the file.
    CloseHandle(file);

    // Offsets on the 64 KB granularity only, and within the mapping.
    EXPECT_EQ(nullptr, MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 4096, 0));
    EXPECT_EQ(DWORD(ERROR_MAPPED_ALIGNMENT), GetLastError());
    EXPECT_EQ(nullptr, MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 65536, 65536));
    char *tail = static_cast<char *>(MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 65536, 0));
    ASSERT_NE(nullptr, tail);
    char *all = static_cast<char *>(MapViewOfFile(mapping, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, 0));
    ASSERT_NE(nullptr, all);
    CloseHandle(mapping);  // the views keep it

    // Two views of one file see the same bytes, and the file sees them.
    memcpy(tail, "tail", 4);
    EXPECT_EQ(0, memcmp(all + 65536, "tail", 4));
    memcpy(all + 99996, "end!", 4);
    EXPECT_TRUE(FlushViewOfFile(all + 99996, 4));
    EXPECT_TRUE(UnmapViewOfFile(tail));
    EXPECT_FALSE(UnmapViewOfFile(tail));
    EXPECT_EQ(DWORD(ERROR_INVALID_ADDRESS), GetLastError());
    EXPECT_TRUE(UnmapViewOfFile(all));
    const std::string bytes = Read("empty");
    EXPECT_EQ("tail", bytes.substr(65536, 4));
    EXPECT_EQ("end!", bytes.substr(99996));
}

TEST_F(Mapping, ReadOnlyStaysReadOnly) {
    Write("data", std::string(5000, 'x'));
    HANDLE file = Open("data", GENERIC_READ);
    ASSERT_NE(INVALID_HANDLE_VALUE, file);
    // A handle that can't write gives no writable mapping and can't grow.
    EXPECT_EQ(nullptr, CreateFileMappingA(file, nullptr, PAGE_READWRITE, 0, 0, nullptr));
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), GetLastError());
    EXPECT_EQ(nullptr, CreateFileMappingA(file, nullptr, PAGE_READONLY, 0, 6000, nullptr));
    EXPECT_EQ(DWORD(ERROR_NOT_ENOUGH_MEMORY), GetLastError());  // a section too big
    HANDLE mapping = CreateFileMappingA(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
    ASSERT_NE(nullptr, mapping);
    EXPECT_EQ(nullptr, MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0));
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), GetLastError());
    const char *view = static_cast<const char *>(MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0));
    ASSERT_NE(nullptr, view);
    EXPECT_EQ('x', view[4999]);
    EXPECT_TRUE(UnmapViewOfFile(view));
    CloseHandle(mapping);
    CloseHandle(file);
    EXPECT_EQ(5000u, fs::file_size(folder / "data"));
}

TEST_F(FileNames, CopyMoveAndFolders) {
    Write("a", "alpha");
    const std::string a = Name("a"), b = Name("b"), c = Name("c");
    ASSERT_TRUE(CopyFileA(a.c_str(), b.c_str(), TRUE));
    EXPECT_EQ("alpha", Read("b"));
    // The time is copied in the 100 ns steps of a FILETIME.
    EXPECT_LT(std::chrono::abs(fs::last_write_time(folder / "a") - fs::last_write_time(folder / "b")),
              std::chrono::nanoseconds(100));
    Write("a", "beta");
    EXPECT_FALSE(CopyFileA(a.c_str(), b.c_str(), TRUE));
    EXPECT_EQ(DWORD(ERROR_FILE_EXISTS), GetLastError());
    ASSERT_TRUE(CopyFileA(a.c_str(), b.c_str(), FALSE));
    EXPECT_EQ("beta", Read("b"));
    EXPECT_FALSE(CopyFileA(Name("missing").c_str(), c.c_str(), FALSE));
    EXPECT_EQ(DWORD(ERROR_FILE_NOT_FOUND), GetLastError());

    // MoveFileA never replaces; MoveFileExA does when asked.
    EXPECT_FALSE(MoveFileA(a.c_str(), b.c_str()));
    EXPECT_EQ(DWORD(ERROR_ALREADY_EXISTS), GetLastError());
    ASSERT_TRUE(MoveFileA(a.c_str(), c.c_str()));
    EXPECT_FALSE(fs::exists(folder / "a"));
    EXPECT_FALSE(MoveFileA(a.c_str(), Name("d").c_str()));
    EXPECT_EQ(DWORD(ERROR_FILE_NOT_FOUND), GetLastError());
    Write("c", "gamma");
    ASSERT_TRUE(MoveFileExA(c.c_str(), b.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH));
    EXPECT_EQ("gamma", Read("b"));
    EXPECT_FALSE(fs::exists(folder / "c"));

    // A folder: 183 when anything has the name, 3 without a parent.
    ASSERT_TRUE(CreateDirectoryA(Name("sub").c_str(), nullptr));
    EXPECT_TRUE(fs::is_directory(folder / "sub"));
    EXPECT_FALSE(CreateDirectoryA(Name("sub").c_str(), nullptr));
    EXPECT_EQ(DWORD(ERROR_ALREADY_EXISTS), GetLastError());
    EXPECT_FALSE(CreateDirectoryA(b.c_str(), nullptr));
    EXPECT_EQ(DWORD(ERROR_ALREADY_EXISTS), GetLastError());
    EXPECT_FALSE(CreateDirectoryA(Name("none\\sub").c_str(), nullptr));
    EXPECT_EQ(DWORD(ERROR_PATH_NOT_FOUND), GetLastError());
    // A copy onto a folder's name fails and leaves the folder.
    EXPECT_FALSE(CopyFileA(b.c_str(), Name("sub").c_str(), FALSE));
    EXPECT_TRUE(fs::is_directory(folder / "sub"));
}

}  // namespace
