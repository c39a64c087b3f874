// A folder of its own for each test that works on files: under the
// temporary folder, named after the test, made empty before the test and
// removed after it.  Names go to the library in drive-letter form.
#ifndef CVZ_TESTS_TEMP_FOLDER_H
#define CVZ_TESTS_TEMP_FOLDER_H

#include <gtest/gtest.h>

#include <stddef.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

// `path` as the library names it: itself on Windows, else on drive Z:.
inline std::string WindowsName(const fs::path &path) {
#if defined(_WIN32)
    return path.string();
#else
    std::string name = "Z:" + path.string();
    std::replace(name.begin(), name.end(), '/', '\\');
    return name;
#endif
}

// A file of `size` bytes.
inline void WriteFile(const fs::path &path, size_t size) {
    std::ofstream(path, std::ios::binary) << std::string(size, 'x');
}

class TempFolderTest : public ::testing::Test {
protected:
    void SetUp() override {
        const ::testing::TestInfo *test = ::testing::UnitTest::GetInstance()->current_test_info();
        folder = fs::temp_directory_path() / (std::string("cvz_") + test->test_suite_name() + "_" + test->name());
        fs::remove_all(folder);
        fs::create_directories(folder);
    }
    // Read-only files go too: they get their write permission back first.
    void TearDown() override {
        std::error_code ignored;
        for (auto it = fs::recursive_directory_iterator(folder, ignored); it != fs::recursive_directory_iterator();
             it.increment(ignored))
            fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
        fs::remove_all(folder, ignored);
    }

    fs::path folder;
};

#endif
