#include "text/message_cache.h"

#include <gtest/gtest.h>

#include <string.h>

#include <thread>
#include <vector>

#include "frame/heap.h"
#include "test_support.h"
#include "text/messages.h"

namespace {

// The cache lives as long as the library, so every id a test caches stays
// cached for the tests that follow; each test uses ids of its own.

TEST(MessageCache, OneObjectPerIdAndNoAllocationAfterTheFirst) {
    const String &first = FindCachedString(18012);
    EXPECT_STREQ("File error", first);
    const uint32_t blocks = _stringHeap->GetBlockCount();
    const String &second = FindCachedString(18012);
    EXPECT_EQ(&first, &second);
    {
        String copy = second;  // shares the body; dropping it frees nothing
        EXPECT_EQ(copy.c_str(), first.c_str());
    }
    EXPECT_EQ(blocks, _stringHeap->GetBlockCount());
    EXPECT_STREQ("File error", first);

    // Ids in one bucket (509 buckets) are told apart by the id.
    const String &other = FindCachedString(18012 + 509);
    EXPECT_NE(&other, &first);
    EXPECT_TRUE(other.IsEmpty());
    EXPECT_EQ(&FindCachedString(18012), &first);
}

TEST(MessageCache, ACachedTextOutlivesAChangeOfSource) {
    const String &missing = FindCachedString(42);  // only the module has it
    EXPECT_TRUE(missing.IsEmpty());
    const String &builtIn = FindCachedString(18019);
    EXPECT_STREQ("There is not enough disk space on partition %s.", builtIn);

    HMODULE module = LoadLibraryA(CVZ_TEST_MESSAGE_MODULE);
    ASSERT_NE(nullptr, module);
    NotifyLocalizedStringDll(module);
    EXPECT_STREQ("Nur im Modul.", String(FindString(42)));
    EXPECT_TRUE(FindCachedString(42).IsEmpty());
    EXPECT_EQ(&FindCachedString(18019), &builtIn);
    EXPECT_STREQ("There is not enough disk space on partition %s.", FindCachedString(18019));
    // An id first asked for now comes from the module, and stays so.
    EXPECT_STREQ("Ungueltiger Verzeichnisname.", FindCachedString(18008));
    NotifyLocalizedStringDll(0);
    FreeLibrary(module);
    EXPECT_STREQ("Ungueltiger Verzeichnisname.", FindCachedString(18008));
}

// Threads ask for the same ids at once, hits and misses mixed, and copy the
// texts they get without a lock.  Each id must end up as one object with
// FindString's text.
TEST(MessageCache, ConcurrentLookupsAgreeOnOneObjectPerId) {
    // 18008 is left out: another test caches its localised text.
    const unsigned int firstId = 18009, lastId = 18026, extraIds = 40;  // 18027... have no text
    const int threadCount = 4;
    std::vector<std::vector<const String *>> seen(threadCount);
    std::vector<int> mismatches(threadCount, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 50; ++round)
                for (unsigned int i = 0; i <= lastId - firstId + extraIds; ++i) {
                    // Each thread walks the ids from another starting point.
                    const unsigned int id = firstId + (i + 17 * t) % (lastId - firstId + 1 + extraIds);
                    const String &text = FindCachedString(id);
                    String copy = text;
                    if (id > lastId ? !copy.IsEmpty() : copy.IsEmpty())
                        ++mismatches[t];
                    if (round == 0)
                        seen[t].push_back(&text);
                    else if (seen[t][i] != &text)
                        ++mismatches[t];
                }
        });
    for (std::thread &thread : threads)
        thread.join();
    for (int t = 0; t < threadCount; ++t)
        EXPECT_EQ(mismatches[t], 0) << t;
    for (unsigned int id = firstId; id <= lastId; ++id)
        EXPECT_STREQ(String(FindString(id)), FindCachedString(id)) << id;
    // The same id gave every thread the same object.
    const unsigned int n = lastId - firstId + 1 + extraIds;
    for (int t = 1; t < threadCount; ++t)
        for (unsigned int i = 0; i < n; ++i)
            EXPECT_EQ(seen[t][i], seen[0][(i + 17 * t) % n]) << t << " " << i;
}

}  // namespace
