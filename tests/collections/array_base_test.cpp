// Tests of ArrayBase, AreEqual and ArrayInPlace.
#include "CommonVcZq/collections/array_base.h"

#include <gtest/gtest.h>

#include <stdint.h>

#include <algorithm>
#include <memory>
#include <random>
#include <stdexcept>
#include <vector>

namespace {

// What the items of a test did: the tags destroyed, in order, and the
// receiver of each Compare call.
struct Log {
    std::vector<int> destroyed;
    std::vector<const CollectionElement *> receivers;
};

// An element with a key and a tag that tells equal keys apart.  Mode 0
// orders by key ascending, any other mode descending.  A clone has the key,
// the tag plus 1000, or plus 2000 when given a context; cloning the tag
// `failingClone` throws.
class Item : public CollectionElement {
public:
    Item(int key, int tag, Log &log) : key(key), tag(tag), log(log) {}
    ~Item() override { log.destroyed.push_back(tag); }
    int32_t Compare(const CollectionElement &other, int mode) const override {
        log.receivers.push_back(this);
        const int32_t order = key - static_cast<const Item &>(other).key;
        return mode ? -order : order;
    }
    CollectionElement *CreateClone(const void *context) const override {
        if (tag == failingClone)
            throw std::runtime_error("clone");
        return new Item(key, tag + (context ? 2000 : 1000), log);
    }

    int key, tag;
    Log &log;
    static inline int failingClone = -1;
};

class ArrayBaseTest : public testing::Test {
protected:
    void TearDown() override { Item::failingClone = -1; }
    // Adds items with these keys, tagged firstTag, firstTag + 1, ...
    void Fill(ArrayBase &a, std::vector<int> keys, int firstTag = 0) {
        for (int key : keys)
            a.Add(new Item(key, firstTag++, log));
    }
    // The keys or the tags of the elements, in order.
    static std::vector<int> Of(const ArrayBase &a, int Item::*field = &Item::tag) {
        std::vector<int> values;
        for (int i = 0; i < a.GetCount(); ++i)
            values.push_back(static_cast<Item &>(a[i]).*field);
        return values;
    }
    static int Tag(const CollectionElement *e) { return e ? static_cast<const Item *>(e)->tag : -1; }
    using Tags = std::vector<int>;

    Log log;
};

TEST_F(ArrayBaseTest, OwnershipDecidesOnlyClearDestructorAndAssign) {
    // A borrowing array keeps its elements on Clear; deleting and cutting
    // ignore the flag, and skip null cells.
    ArrayBase borrowing(20, 20, 0);
    Fill(borrowing, {1, 2, 3, 4, 5, 6});
    borrowing.Insert(nullptr, 1);
    borrowing.CutRange(0, 3, 1);  // cells 0, null, 1
    borrowing.CutDelete(0);
    std::unique_ptr<CollectionElement> detached(borrowing.CutDetach(0)), popped(borrowing.Pop());
    EXPECT_EQ((Tags{3, 5}), (Tags{Tag(detached.get()), Tag(popped.get())}));
    borrowing.Prepend(nullptr);
    borrowing.DeleteAll(0);
    EXPECT_EQ((Tags{0, 1, 2, 4}), log.destroyed);
    EXPECT_EQ((Tags{0, 20}), (Tags{borrowing.GetCount(), borrowing.GetNumCells()}));
    Item kept(5, 99, log);
    borrowing.Add(&kept);
    borrowing.Clear();
    EXPECT_EQ(0, borrowing.HasAllocatedMemory() + borrowing.GetCount());
    {
        ArrayBase owning;
        Fill(owning, {1, 2, 3}, 10);
        owning.Clear();
        EXPECT_EQ(0, owning.HasAllocatedMemory());
        Fill(owning, {4}, 13);
    }
    EXPECT_EQ((Tags{0, 1, 2, 4, 12, 11, 10, 13}), log.destroyed);  // last to first; the destructor deletes
}

TEST_F(ArrayBaseTest, CopiesCloneAndOnlyConstructionTakesTheCompareMode) {
    ArrayBase source(7, 5, 0), target;
    source.SetCompareMode(3);
    source.MarkAsSorted(1);
    Item one(1, 1, log), two(2, 2, log);
    source.Add(&one);
    source.Add(&two);

    ArrayBase copy(source);
    EXPECT_EQ((Tags{1001, 1002}), Of(copy));
    EXPECT_EQ((Tags{3, 1, 0}), (Tags{copy.GetCompareMode(), copy.IsMarkedAsSorted(), copy.ShouldDeleteElements()}));
    EXPECT_EQ(1, AreEqual(copy, source, 0));
    static_cast<Item &>(copy[0]).key = 5;
    EXPECT_EQ(0, AreEqual(copy, source, 0));
    copy.DeleteAll(1);

    Fill(target, {9, 9}, 50);  // owning: these go first
    log.destroyed.clear();
    const int context = 0;
    target.Assign(source, &context);
    target.Assign(target, nullptr);
    EXPECT_EQ((Tags{51, 50}), log.destroyed);
    EXPECT_EQ((Tags{2001, 2002}), Of(target));
    EXPECT_EQ((Tags{0, 1, 0}), (Tags{target.GetCompareMode(), target.IsMarkedAsSorted(), target.ShouldDeleteElements()}));
    target.DeleteAll(1);
}

TEST_F(ArrayBaseTest, InsertingArraysClones) {
    ArrayBase a, b;
    Fill(a, {1, 2, 3});
    Fill(b, {7, 8}, 10);
    a.Insert(b, 1);
    a.Insert(a, 2);  // into itself: the elements as they stood
    EXPECT_EQ((Tags{0, 1010, 1000, 2010, 2011, 1001, 1002, 1011, 1, 2}), Of(a));

    CollectionElement *last = a.GetLast();
    Item::failingClone = 11;  // the second clone fails; the tail closes up
    EXPECT_THROW(a.Insert(b, 1), std::runtime_error);
    EXPECT_EQ(11, a.GetCount());
    EXPECT_EQ(1010, Tag(&a[2]));
    EXPECT_EQ(last, a.GetLast());

    a.Absorb(a, 0);  // nothing
    EXPECT_EQ(11, a.GetCount());
}

TEST_F(ArrayBaseTest, SortOrdersEveryShapeAndLeavesTheMarkAlone) {
    std::mt19937 random(5);
    for (int n : {0, 1, 2, 3, 7, 100, 1000}) {
        for (int shape = 0; shape < 4; ++shape) {  // random, sorted, reversed, equal
            std::vector<int> keys;
            for (int i = 0; i < n; ++i)
                keys.push_back(shape == 0 ? static_cast<int>(random() % 50) : shape == 1 ? i : shape == 2 ? -i : 4);
            ArrayBase a, source;
            a.MarkAsSorted(shape == 3);
            Fill(source, keys);
            a.AbsorbAndSort(source);
            std::sort(keys.begin(), keys.end());
            EXPECT_EQ(keys, Of(a, &Item::key)) << n << " keys of shape " << shape;
            EXPECT_EQ(1, a.IsSorted());
            EXPECT_EQ(keys.empty() || keys.front() == keys.back(), a.IsSortedBackwards());
            EXPECT_EQ(shape == 3, a.IsMarkedAsSorted());
            a.SetCompareMode(1);
            a.Sort();
            std::reverse(keys.begin(), keys.end());
            EXPECT_EQ(keys, Of(a, &Item::key));
        }
    }
}

TEST_F(ArrayBaseTest, BinarySearchesAskTheKeySortedInsertionAndAddUnique) {
    ArrayBase a, empty;
    Fill(a, {10, 20, 20, 20, 30});
    const int any20 = 100;  // one of the 20s, whichever the halving meets
    // key, then the index from Equal, EqualOrGreater, ClosestGreater,
    // EqualOrSmaller and ClosestSmaller.
    const int cases[][6] = {{5, -1, 0, 0, -1, -1},         {10, 0, 0, 1, 0, -1},  {15, -1, 1, 1, 0, 0},
                            {20, any20, any20, 4, any20, 0}, {25, -1, 4, 4, 3, 3}, {35, -1, -1, -1, 4, 4}};
    using Search = CollectionElement *(ArrayBase::*)(const CollectionElement &, int *) const;
    const Search searches[] = {&ArrayBase::BinaryFindEqual, &ArrayBase::BinaryFindEqualOrGreater,
                               &ArrayBase::BinaryFindClosestGreater, &ArrayBase::BinaryFindEqualOrSmaller,
                               &ArrayBase::BinaryFindClosestSmaller};
    for (const auto &c : cases) {
        const Item key(c[0], -1, log);
        for (int s = 0; s < 5; ++s) {
            log.receivers.clear();
            int index = 99;
            CollectionElement *found = (a.*searches[s])(key, &index);
            if (c[s + 1] == any20)
                EXPECT_TRUE(index >= 1 && index <= 3) << "search " << s << " key " << c[0];
            else
                EXPECT_EQ(c[s + 1], index) << "search " << s << " key " << c[0];
            EXPECT_EQ(index < 0 ? nullptr : &a[index], found);
            EXPECT_EQ(log.receivers.size(), static_cast<size_t>(std::count(log.receivers.begin(), log.receivers.end(), &key)));
            EXPECT_EQ(nullptr, (empty.*searches[s])(key, &index));
            EXPECT_EQ(-1, index);
        }
    }

    // Sorted insertion finds its place by the same halving.
    log.destroyed.clear();  // the search keys
    a.InsertInSortedArray(new Item(20, 5, log));  // behind the equal ones
    a.InsertInSortedArray(new Item(40, 6, log));
    a.InsertInSortedArray(new Item(5, 7, log));
    EXPECT_EQ((Tags{7, 0, 1, 2, 3, 5, 4, 6}), Of(a));

    a.MarkAsSorted(1);
    EXPECT_EQ(1, Tag(a.AddUnique(new Item(20, 8, log))));  // the first of the equal ones
    Item *fresh = new Item(25, 9, log);
    EXPECT_EQ(fresh, a.AddUnique(fresh));
    EXPECT_EQ(fresh, &a[6]);
    EXPECT_EQ(fresh, a.AddUnique(fresh));  // already stored: not deleted
    EXPECT_EQ((Tags{8}), log.destroyed);

    ArrayBase borrowing(20, 20, 0);
    Item stored(3, 10, log), other(3, 11, log);
    borrowing.AddUnique(&stored);
    EXPECT_EQ(&stored, borrowing.AddUnique(&other));  // `other` is neither stored nor deleted
    EXPECT_EQ(1, borrowing.GetCount());
    EXPECT_EQ(1u, log.destroyed.size());
}

TEST_F(ArrayBaseTest, LinearSearchesKeepTheFirstFoundCallbacksVisitInOrder) {
    ArrayBase a, plain;
    Fill(a, {30, 10, 20, 10, 30, 20});
    const Item key(20, -5, log), high(35, -6, log);
    int index = 99;
    EXPECT_EQ(2, Tag(a.LinearFindEqual(key)));
    EXPECT_EQ(std::vector<const CollectionElement *>(3, &key), log.receivers);  // the key asks

    log.receivers.clear();  // the elements ask from here on
    EXPECT_EQ(1, Tag(a.LinearFindSmallest()));
    EXPECT_EQ(0, Tag(a.LinearFindGreatest()));
    EXPECT_EQ(1, Tag(a.LinearFindClosestSmaller(key)));
    EXPECT_EQ(0, Tag(a.LinearFindClosestGreater(key)));
    EXPECT_EQ((Tags{2, 2}), (Tags{Tag(a.LinearFindEqualOrSmaller(key)), Tag(a.LinearFindEqualOrGreater(key))}));
    EXPECT_EQ(0, Tag(a.LinearFindEqualOrSmaller(high)));
    EXPECT_EQ(nullptr, a.LinearFindEqualOrGreater(high, &index));
    EXPECT_EQ(-1, index);
    EXPECT_EQ(0, std::count(log.receivers.begin(), log.receivers.end(), &key) +
                     std::count(log.receivers.begin(), log.receivers.end(), &high));

    plain.Add(new CollectionElement);  // Compare always gives -1
    EXPECT_EQ(1, AreEqual(plain, plain, 0));
    EXPECT_EQ(nullptr, plain.LinearFindEqual(plain[0]));

    auto above = [](const CollectionElement &e, const void *limit) {
        return static_cast<int>(static_cast<const Item &>(e).key > *static_cast<const int *>(limit));
    };
    const int limit = 25, none = 100;
    EXPECT_EQ(&a[4], a.FindLastThat(above, &limit, &index));
    EXPECT_EQ(4, index);
    EXPECT_EQ(nullptr, a.FindFirstThat(above, &none, &index));
    EXPECT_EQ(-1, index);

    a.ForEach([](CollectionElement &e, void *array) {
        if (static_cast<Item &>(e).tag == 1)
            static_cast<ArrayBase *>(array)->CutDelete(1);  // itself: the next one is skipped
        else
            static_cast<Item &>(e).key += 1;
    }, &a);
    EXPECT_EQ((std::vector<int>{31, 20, 11, 31, 21}), Of(a, &Item::key));
}

// A value that records its destruction and refuses to copy `refused`.
struct Counted {
    Counted(int value, std::vector<int> *destroyed) : value(value), destroyed(destroyed) {}
    Counted(const Counted &other) : value(other.value), destroyed(other.destroyed) {
        if (value == refused)
            throw std::runtime_error("copy");
    }
    ~Counted() { destroyed->push_back(value); }
    int value;
    std::vector<int> *destroyed;
    static constexpr int refused = -1;
};

TEST(ArrayInPlace, ValuesAreConstructedAndDestroyedInPlace) {
    std::vector<int> destroyed;
    {
        ArrayInPlace<Counted> a(2);
        for (int i = 0; i < 4; ++i)
            a.Add(Counted(i, &destroyed));
        a += a[1];  // growing moves the block under its own value
        EXPECT_EQ(1, a[4].value);
        EXPECT_THROW(a.Add(Counted(Counted::refused, &destroyed)), std::runtime_error);
        EXPECT_EQ(5, a.GetCount());

        ArrayInPlace<Counted> copy(a);
        destroyed.clear();
        copy.Clear();
        EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 1}), destroyed);
        EXPECT_EQ(0, copy.HasAllocatedMemory());
        copy = a;
        destroyed.clear();
    }
    EXPECT_EQ(10u, destroyed.size());  // both arrays empty on destruction
}

}  // namespace
