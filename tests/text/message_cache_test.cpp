#include "CommonVcZq/text/message_cache.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "CommonVcZq/frame/heap.h"
#include "test_support.h"
#include "CommonVcZq/text/messages.h"

namespace {

// The cache lives as long as the library, so every id a test caches stays
// cached for the tests that follow; each test uses ids of its own.

TEST(MessageCache, OneLastingObjectPerId) {
    const String &first = FindCachedString(18012);
    // Ids in one bucket (509 buckets) are told apart by the id.
    EXPECT_TRUE(FindCachedString(18012 + 509).IsEmpty());
    const uint32_t blocks = _stringHeap->GetBlockCount();
    EXPECT_EQ(&FindCachedString(18012), &first);
    EXPECT_STREQ("File error", first);
    EXPECT_EQ(String(first).c_str(), first.c_str());  // a copy shares the body
    EXPECT_EQ(blocks, _stringHeap->GetBlockCount());  // nothing allocated, nothing freed

    // A cached text outlives a change of source.
    EXPECT_TRUE(FindCachedString(42).IsEmpty());  // only the module has it
    HMODULE module = LoadLibraryA(CVZ_TEST_MESSAGE_MODULE);
    ASSERT_NE(nullptr, module);
    NotifyLocalizedStringDll(module);
    EXPECT_TRUE(FindCachedString(42).IsEmpty());  // an id without text stays so
    // An id first asked for now comes from the module, and stays so.
    EXPECT_STREQ("Ungueltiger Verzeichnisname.", FindCachedString(18008));
    NotifyLocalizedStringDll(0);
    FreeLibrary(module);
    EXPECT_STREQ("Ungueltiger Verzeichnisname.", FindCachedString(18008));
}

// Threads ask for the same ids at once, hits and misses mixed, and copy the
// texts they get without a lock.  Each id must end up as one object with
// FindString's text.  Each thread keeps what it saw to itself, so that the
// test adds no synchronisation between the threads.
TEST(MessageCache, ConcurrentLookupsAgreeOnOneObjectPerId) {
    // 18008 is left out: another test caches its localised text.  The ids
    // from 18027 on have no text.
    const unsigned int firstId = 18009, lastId = 18026, n = lastId - firstId + 41, threadCount = 4;
    std::vector<std::vector<const String *>> seen(threadCount, std::vector<const String *>(n));
    std::vector<int> mismatches(threadCount, 0);
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < threadCount; ++t)
        threads.emplace_back([&, t] {
            for (int round = 0; round < 50; ++round)
                for (unsigned int i = 0; i < n; ++i) {
                    // Each thread walks the ids from another starting point.
                    const unsigned int id = firstId + (i + 17 * t) % n;
                    const String &text = FindCachedString(id);
                    if ((id > lastId) != String(text).IsEmpty() || (round && seen[t][id - firstId] != &text))
                        ++mismatches[t];
                    seen[t][id - firstId] = &text;
                }
        });
    for (unsigned int t = 0; t < threadCount; ++t) {
        threads[t].join();
        EXPECT_EQ(mismatches[t], 0) << t;
        EXPECT_EQ(seen[t], seen[0]) << t;  // the same id gave every thread the same object
    }
    for (unsigned int id = firstId; id <= lastId; ++id)
        EXPECT_STREQ(String(FindString(id)), FindCachedString(id)) << id;
}

}  // namespace
