#include <gtest/gtest.h>

#include <string.h>

#include "test_support.h"
#include "CommonVcZq/text/messages.h"

namespace {

TEST(Messages, BuiltInTable) {
    EXPECT_STREQ("Invalid directory name.", String(FindString(MSG_INVALID_DIRECTORY)));
    EXPECT_STREQ("%s\nAn error occurred. This file could not be opened.", String(FindString(18000)));
    EXPECT_TRUE(String(FindString(18027)).IsEmpty());
    // Every id of the table has a text.
    for (unsigned int id = 18000; id <= 18026; ++id)
        EXPECT_FALSE(String(FindString(id)).IsEmpty()) << id;

    char buffer[2048];
    EXPECT_EQ(buffer, FindString(buffer, 18012));
    EXPECT_STREQ("File error", buffer);
    memcpy(buffer, "junk", 5);
    FindString(buffer, 4);
    EXPECT_STREQ("", buffer);
    // With no module named, a module handle does not change the source.
    EXPECT_STREQ("File error", String(FindString(reinterpret_cast<HMODULE>(0x1234), 18012)));
}

TEST(Messages, BuildStringFormatsAndAdoptedStringsLoadOnce) {
    EXPECT_STREQ("There is not enough disk space on partition C:.", String(BuildString(18019, "C:")));
    // An id without text reads none of its arguments.
    EXPECT_TRUE(String(BuildString(77, "never read", 1, 2)).IsEmpty());
    char buffer[2048];
    memcpy(buffer, "junk", 5);
    EXPECT_EQ(buffer, BuildString(buffer, 77));
    EXPECT_STREQ("", buffer);
    BuildString(buffer, 18000, "a.txt");
    EXPECT_STREQ("a.txt\nAn error occurred. This file could not be opened.", buffer);

    String *lazy = nullptr;
    AdoptString(lazy, 18012);
    ASSERT_NE(nullptr, lazy);
    String *kept = lazy;
    AdoptString(lazy, 18008);  // already set: nothing happens
    EXPECT_EQ(kept, lazy);
    EXPECT_STREQ("File error", *lazy);
    delete lazy;
}

TEST(Messages, LocalizedModuleIsTheOnlySource) {
    HMODULE german = LoadLibraryA(CVZ_TEST_MESSAGE_MODULE);
    ASSERT_NE(nullptr, german);
    NotifyLocalizedStringDll(german);
    EXPECT_STREQ("Ungueltiger Verzeichnisname.", String(FindString(18008)));
    EXPECT_STREQ("Nur im Modul.", String(FindString(42)));
    // The module lacks 18012: no fall-back to the built-in table.
    EXPECT_TRUE(String(FindString(18012)).IsEmpty());
    EXPECT_STREQ("Auf Laufwerk D: ist nicht genug Platz.", String(BuildString(18019, "D:")));

    NotifyLocalizedStringDll(0);
    FreeLibrary(german);
    EXPECT_STREQ("Invalid directory name.", String(FindString(18008)));
    EXPECT_TRUE(String(FindString(42)).IsEmpty());
}

}  // namespace
