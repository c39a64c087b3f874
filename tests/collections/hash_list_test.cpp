#include "CommonVcZq/collections/hash_list.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// An element whose hash is set apart from its key, so that tests can force
// collisions, and even equal keys in different buckets.  Entries count
// their destructions; search keys (Key) do not.
struct Entry : HashListElement {
    Entry(uint32_t hash, int key, bool counted = true) : hash(hash), key(key), counted(counted) {}
    ~Entry() override { destroyed += counted; }
    int32_t Compare(const CollectionElement &other, int) const override {
        return key - static_cast<const Entry &>(other).key;
    }
    uint32_t GetHashedValue() const override { return hash; }
    uint32_t hash;
    int key;
    bool counted;
    static inline int destroyed = 0;
};

Entry Key(uint32_t hash, int key) { return Entry(hash, key, false); }

int KeyOf(const HashListElement *e) { return e ? static_cast<const Entry *>(e)->key : -1; }

std::vector<int> Keys(const HashListImp &table) {
    std::vector<int> keys;
    for (ListElement *e = table.GetFirst(); e; e = e->GetNext())
        keys.push_back(static_cast<Entry *>(e)->key);
    return keys;
}

// The bucket count is the first prime strictly above the wish: 3 gives 7
// here and 0 gives 3 below, as the order of the runs shows.
TEST(HashList, BucketsAreAdjacentRunsHeadedByTheOldest) {
    EXPECT_EQ(HashListImp(500).GetNumBuckets(), 509u);
    Entry::destroyed = 0;
    {
        HashListImp table(3);  // owning by default
        table.AddHashed(new Entry(1, 10));
        table.AddHashed(new Entry(2, 20));
        table.AddHashed(new Entry(1 + 7, 11));  // bucket 1 again
        table.AddHashed(new Entry(1 + 14, 12));
        EXPECT_EQ(table.AddHashed(new Entry(0xFFFFFFFFu, 30))->GetBucket(), 3u);  // unsigned modulo
        EXPECT_EQ(Keys(table), (std::vector<int>{10, 12, 11, 20, 30}));
        EXPECT_EQ(KeyOf(table.FindHashed(Key(8, 11))), 11);  // any hash of the bucket
        EXPECT_EQ(table.FindHashed(Key(2, 10)), nullptr);  // another bucket misses
        // The run of bucket 1 ends the search, though 20 follows in the list.
        EXPECT_EQ(table.FindHashed(Key(1, 20)), nullptr);

        // No duplicate test: the equal key is filed again, the older found.
        HashListElement *again = table.AddHashed(new Entry(2, 20));
        EXPECT_EQ(table.GetCount(), 6);
        EXPECT_NE(table.FindHashed(Key(2, 20)), again);
    }
    EXPECT_EQ(Entry::destroyed, 6);  // the owning table deleted them
}

TEST(HashList, RemovalKeepsTheBucketHeads) {
    Entry::destroyed = 0;
    std::vector<Entry *> e;
    HashListImp table(0, 0);  // 3 buckets, not owning
    for (int key = 0; key < 7; ++key)
        e.push_back(static_cast<Entry *>(table.AddHashed(new Entry(key, key))));
    EXPECT_EQ(Keys(table), (std::vector<int>{0, 6, 3, 1, 4, 2, 5}));

    table.DetachHashed(e[0]);  // a head with a run behind it
    table.DetachHashed(e[1]);
    table.DetachHashed(e[4]);  // bucket 1 is empty now
    table.AddHashed(e[4]);  // bucket 1 starts anew at the end
    table.AddHashed(e[0]);  // behind bucket 0's new head, 6
    EXPECT_EQ(Keys(table), (std::vector<int>{6, 0, 3, 2, 5, 4}));
    table.DeleteHashed(e[2]);  // deletes although the table does not own
    EXPECT_EQ(Entry::destroyed, 1);
    EXPECT_EQ(KeyOf(table.FindHashed(Key(2, 5))), 5);

    table.Clear();  // not owning: nothing deleted; the buckets empty too
    EXPECT_EQ(Entry::destroyed, 1);
    EXPECT_EQ(table.FindHashed(Key(0, 6)), nullptr);
    for (int key : {0, 1, 3, 4, 5, 6})
        delete e[key];
}

}  // namespace
