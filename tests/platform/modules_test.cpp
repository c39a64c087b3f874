// Modules and their string tables, read from the module that CMake builds
// from strings_fr.txt (CVZ_TEST_STRING_MODULE): 18008 "Nom de dossier
// incorrect." and 7 "Ligne un\nLigne deux".  Expectations hold for the
// POSIX layer and for Win32; checks made on one side only say why.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include <string.h>

#include <algorithm>
#include <string>

namespace {

std::string ModulePath() {
    std::string path = CVZ_TEST_STRING_MODULE;
#if defined(_WIN32)
    std::replace(path.begin(), path.end(), '/', '\\');  // LoadLibraryA wants '\'
#endif
    return path;
}

// LoadStringA copies at most bufferMax - 1 characters and a zero, and
// counts what it copied.
TEST(StringModule, CopiesTheStringCutToTheBufferAndCountsIt) {
    HMODULE module = LoadLibraryA(ModulePath().c_str());
    ASSERT_NE(module, nullptr) << "error " << GetLastError() << " for " << ModulePath();
    char buffer[64];
    EXPECT_EQ(LoadStringA(module, 7, buffer, sizeof buffer), 19);
    EXPECT_STREQ(buffer, "Ligne un\nLigne deux") << "the escape must arrive as a newline";
    memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(LoadStringA(module, 18008, buffer, 10), 9);
    EXPECT_STREQ(buffer, "Nom de do");
    EXPECT_EQ(buffer[10], '#') << "written past bufferMax";
    EXPECT_EQ(LoadStringA(module, 18008, buffer, 1), 0);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], 'o');

    strcpy(buffer, "untouched");
    // 8 shares a Windows string block with 7; 4242 has no block at all.
    EXPECT_EQ(LoadStringA(module, 8, buffer, sizeof buffer), 0);
    EXPECT_EQ(LoadStringA(module, 4242, buffer, sizeof buffer), 0);
    EXPECT_EQ(LoadStringA(nullptr, 18008, buffer, sizeof buffer), 0) << "the program has no strings";
#if !defined(_WIN32)
    // The layer leaves the buffer alone; Windows may store an empty string
    // (the library writes one itself before it asks).
    EXPECT_STREQ(buffer, "untouched");
    EXPECT_EQ(LoadStringA(module, 4242, buffer, sizeof buffer), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_RESOURCE_NAME_NOT_FOUND});
    // bufferMax 0 corrupts memory on Windows; the layer refuses it.
    EXPECT_EQ(LoadStringA(module, 18008, buffer, 0), 0);
    EXPECT_STREQ(buffer, "untouched");
#endif

    // Loading again counts a reference: one FreeLibrary leaves it loaded.
    HMODULE again = LoadLibraryA(ModulePath().c_str());
    EXPECT_EQ(again, module);
    EXPECT_TRUE(FreeLibrary(again));
    EXPECT_EQ(LoadStringA(module, 18008, buffer, sizeof buffer), 25) << "unloaded too early";
    EXPECT_STREQ(buffer, "Nom de dossier incorrect.");
#if !defined(_WIN32)
    // Drive-letter names are the layer's own business: a Windows build gets
    // a Windows path from CMake.
    std::string name = "Z:" + ModulePath();
    std::replace(name.begin(), name.end(), '/', '\\');
    EXPECT_EQ(LoadLibraryA(name.c_str()), module) << name;
    EXPECT_TRUE(FreeLibrary(module));
    name[0] = 'C';
    EXPECT_EQ(LoadLibraryA(name.c_str()), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
#endif
    EXPECT_TRUE(FreeLibrary(module));
    SetLastError(0);
    EXPECT_EQ(LoadLibraryA("cvz_no_such_module.dll"), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MOD_NOT_FOUND});
}

}  // namespace
