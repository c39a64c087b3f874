#include "CommonVcZq/collections/double_list.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// An element with a key and a tag; it counts its destructions, so each test
// sees which operation deleted what.  Compare orders by key only, so the
// tags show stability.
struct Item : ListElement {
    explicit Item(int key, char tag = ' ') : key(key), tag(tag) {}
    ~Item() override { ++destroyed; }
    int32_t Compare(const CollectionElement &other, int mode) const override {
        const int c = key - static_cast<const Item &>(other).key;
        return mode == 1 ? -c : c;  // mode 1: descending
    }
    CollectionElement *CreateClone(const void *context) const override {
        ++cloned;
        return new Item(key + (context ? *static_cast<const int *>(context) : 0), tag);
    }
    int key;
    char tag;
    static inline int destroyed = 0;
    static inline int cloned = 0;
};

using Keys_ = std::vector<int>;

class DoubleListTest : public ::testing::Test {
protected:
    void SetUp() override { Item::destroyed = Item::cloned = 0; }

    // Appends items with `keys`, tagged in order by the characters of `tags`.
    static void Fill(List<Item> &list, const Keys_ &keys, const char *tags = nullptr) {
        for (size_t i = 0; i < keys.size(); ++i)
            list.Append(new Item(keys[i], tags ? tags[i] : ' '));
    }

    // The keys from first to last, checked against the walk from last to
    // first and the count.
    static Keys_ Keys(const List<Item> &list) {
        Keys_ forward, backward;
        for (Item *e = list.GetFirst(); e; e = list.GetNext(e))
            forward.push_back(e->key);
        for (Item *e = list.GetLast(); e; e = list.GetPrev(e))
            backward.insert(backward.begin(), e->key);
        EXPECT_EQ(forward, backward);
        EXPECT_EQ(static_cast<int32_t>(forward.size()), list.GetCount());
        return forward;
    }

    static std::string Tags(const List<Item> &list) {
        std::string tags;
        for (Item *e = list.GetFirst(); e; e = list.GetNext(e))
            tags += e->tag;
        return tags;
    }
};

TEST_F(DoubleListTest, LinkingAtEitherEndAndAroundAReference) {
    List<Item> list;
    EXPECT_EQ(list.Pop(), nullptr);  // removing from an empty list is harmless
    list.DeleteLast();
    Item *b = list.Append(new Item(2));
    list.Prepend(new Item(1));
    list.InsertAfter(new Item(0), nullptr);   // a null reference prepends
    list.InsertBefore(new Item(9), nullptr);  // a null reference appends
    list.InsertAfter(new Item(3), b);
    list.InsertBefore(new Item(4), b);
    EXPECT_EQ(Keys(list), (Keys_{0, 1, 4, 2, 3, 9}));
    EXPECT_EQ(&list[-5], list.GetFirst());
    EXPECT_EQ(list[3].key, 2);
    EXPECT_EQ(list.FindIndexOfMember(*b), 3);
    EXPECT_TRUE(list.HasMember(b));
    Item stranger(2);
    EXPECT_FALSE(list.HasMember(&stranger));
    EXPECT_EQ(list.FindIndexOfMember(stranger), -1);
    EXPECT_EQ(list.FindIndexOfEqual(stranger), 3);
}

TEST_F(DoubleListTest, DetachKeepsTheElementAndItsStaleLinksDeleteAlwaysDeletes) {
    List<Item> list(0);
    Fill(list, {1, 2, 3, 2}, "abcd");
    Item *a = &list[0], *b = &list[1], *c = &list[2], *d = &list[3];
    EXPECT_EQ(list.Detach(b), b);
    EXPECT_EQ(b->GetPrev(), a);
    EXPECT_EQ(b->GetNext(), c);
    list.Append(b);  // linking again renews both links
    EXPECT_EQ(Keys(list), (Keys_{1, 3, 2, 2}));
    EXPECT_EQ(list.DetachEqual(*b), 1);  // the first of the equal ones
    EXPECT_EQ(Tags(list), "acb");
    EXPECT_EQ(list.DeleteEqual(*d), 1);  // deletes although the list does not own
    EXPECT_EQ(list.DeleteEqual(*d), 0);
    list.DeleteAll();
    EXPECT_EQ(Item::destroyed, 3);
    delete d;  // detached: the caller's
}

TEST_F(DoubleListTest, OwnershipDecidesWhatClearReplaceAddUniqueAndTheDestructorDo) {
    {
        List<Item> owner;
        Fill(owner, {1, 2, 3});
        owner.Replace(owner.GetLast(), new Item(8));
        EXPECT_EQ(Keys(owner), (Keys_{1, 2, 8}));
        EXPECT_EQ(owner.AddUnique(new Item(2)), &owner[1]);  // the duplicate is deleted
        owner.Clear();
        EXPECT_EQ(Item::destroyed, 5);  // one replaced, one duplicate, three cleared
        Fill(owner, {4, 5});
    }
    EXPECT_EQ(Item::destroyed, 7);  // the destructor deletes

    Item a(1), b(2), c(3), duplicate(2);
    {
        List<Item> borrower(0);
        borrower.Append(&a);
        EXPECT_EQ(borrower.AddUnique(&b), &b);
        EXPECT_EQ(borrower.AddUnique(&duplicate), &b);  // neither listed nor deleted
        EXPECT_EQ(borrower.Replace(&a, &c), &c);  // at the start
        EXPECT_EQ(Keys(borrower), (Keys_{3, 2}));
        borrower.Clear();
        EXPECT_EQ(borrower.GetCount(), 0);
        borrower.Append(&a);
    }
    EXPECT_EQ(Item::destroyed, 7);  // nothing of a borrower's
}

TEST_F(DoubleListTest, CopiesCloneAndKeepTheirOwnFlags) {
    List<Item> source;
    source.SetCompareMode(1);
    Fill(source, {1, 2});
    List<Item> copy(source);
    EXPECT_EQ(Item::cloned, 2);
    EXPECT_EQ(copy.GetCompareMode(), 1);
    EXPECT_TRUE(AreEqual(copy, source, 0));
    copy.Append(new Item(3));
    EXPECT_FALSE(AreEqual(source, copy, 0));  // equal as far as the shorter goes
    copy = source;  // an owner deletes its old elements
    EXPECT_EQ(Item::destroyed, 3);

    List<Item> target(0);
    int offset = 10;
    target.Assign(source, &offset);  // the context reaches CreateClone
    EXPECT_EQ(Keys(target), (Keys_{11, 12}));
    EXPECT_FALSE(AreEqual(target, source, 0));
    EXPECT_EQ(target.GetCompareMode(), 0);
    EXPECT_FALSE(target.ShouldDeleteElements());
    target.DeleteAll();
    target = source;  // takes the compare mode
    target = target;  // self-assignment keeps the elements
    EXPECT_EQ(target.GetCompareMode(), 1);
    EXPECT_EQ(Keys(target), (Keys_{1, 2}));
    target.Insert(source, target.GetLast(), nullptr);
    target += source;
    EXPECT_EQ(Keys(target), (Keys_{1, 1, 2, 2, 1, 2}));
    target.DeleteAll();

    // The default Compare never gives 0, yet a list equals itself.
    DoubleList plain;
    plain.Append(new ListElement);
    EXPECT_TRUE(AreEqual(plain, plain, 0));
}

TEST_F(DoubleListTest, SwapAndRotateFollowTheEnds) {
    for (int reversed = 0; reversed < 2; ++reversed) {
        List<Item> list;
        Fill(list, {1, 2, 3, 4});
        Item *a = &list[0], *b = &list[1], *c = &list[2], *d = &list[3];
        reversed ? list.Swap(b, a) : list.Swap(a, b);  // neighbours at the start
        EXPECT_EQ(Keys(list), (Keys_{2, 1, 3, 4}));
        reversed ? list.Swap(d, c) : list.Swap(c, d);  // neighbours at the end
        EXPECT_EQ(Keys(list), (Keys_{2, 1, 4, 3}));
        reversed ? list.Swap(c, b) : list.Swap(b, c);  // the two ends
        list.Swap(a, a);
        EXPECT_EQ(Keys(list), (Keys_{3, 1, 4, 2}));
    }

    List<Item> list;
    Fill(list, {1, 2, 3, 4, 5});
    list.Rotate(&list[1], &list[3]);  // A B C D E -> A C D B E
    EXPECT_EQ(Keys(list), (Keys_{1, 3, 4, 2, 5}));
    list.Rotate(&list[4], &list[0]);  // E ahead of A, at the start
    EXPECT_EQ(Keys(list), (Keys_{5, 1, 3, 4, 2}));
    Item stranger(0), another(0);
    list.Rotate(&stranger, &another);
    EXPECT_EQ(Keys(list), (Keys_{5, 1, 3, 4, 2}));
}

TEST_F(DoubleListTest, SortIsStableReverseMirrorsItShuffleFollowsTheSeed) {
    List<Item> list;
    Fill(list, {3, 1, 2, 1, 3, 2, 1}, "abcdefg");
    list.Sort();
    EXPECT_EQ(Tags(list), "bdgcfae");
    EXPECT_TRUE(list.IsSorted());
    EXPECT_FALSE(list.IsSortedBackwards());
    list.Reverse();
    EXPECT_EQ(Keys(list), (Keys_{3, 3, 2, 2, 1, 1, 1}));
    EXPECT_FALSE(list.IsSorted());
    EXPECT_TRUE(list.IsSortedBackwards());
    list.SetCompareMode(1);  // descending: already in order
    EXPECT_TRUE(list.IsSorted());

    const Keys_ ordered{0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    List<Item> a, b;
    Fill(a, ordered);
    Fill(b, ordered);
    a.Shuffle(1234);
    b.Shuffle(1234);
    EXPECT_EQ(Keys(a), Keys(b));  // the same seed, the same order
    EXPECT_NE(Keys(a), ordered);
    a.Sort();
    EXPECT_EQ(Keys(a), ordered);
}

TEST_F(DoubleListTest, SplitAbsorbAndAbsorbAndSortMoveWithoutCloning) {
    List<Item> a, b, c;
    Fill(a, {1, 3, 5}, "aaa");
    Fill(b, {1, 2, 5, 6}, "bbbb");
    a.Sort();
    b.Sort();
    a.AbsorbAndSort(b);
    EXPECT_EQ(Tags(a), "abbaabb");  // the receiver's equal elements first
    EXPECT_EQ(Keys(b), Keys_{});

    // Without both flags each element goes behind its equals.
    Fill(c, {5, 1, 3}, "ccc");
    a.AbsorbAndSort(c);
    EXPECT_EQ(Tags(a), "abcbacabcb");

    // The flags outlive Sort and are trusted: b's 0 stays out of order.
    Fill(b, {4, 0});
    a.AbsorbAndSort(b);
    EXPECT_EQ(Keys(a), (Keys_{1, 1, 1, 2, 3, 3, 4, 0, 5, 5, 5, 6}));
    EXPECT_EQ(Item::destroyed, 0);

    List<Item> list, tail;
    Fill(list, {1, 2, 3, 4});
    Fill(tail, {8});  // cleared by Split: deleted, as tail owns it
    list.Split(tail, list[2]);
    EXPECT_EQ(Item::destroyed, 1);
    EXPECT_EQ(Keys(list), (Keys_{1, 2}));
    EXPECT_EQ(Keys(tail), (Keys_{3, 4}));
    list.Absorb(tail, list.GetLast());
    EXPECT_EQ(Keys(list), (Keys_{1, 3, 4, 2}));
    EXPECT_EQ(tail.GetCount(), 0);
    list.Split(tail, *list.GetFirst());
    list.Absorb(tail, nullptr);  // into an empty list
    EXPECT_EQ(Keys(list), (Keys_{1, 3, 4, 2}));
    EXPECT_EQ(Item::cloned, 0);
}

TEST_F(DoubleListTest, SearchesPreferTheFirstOfEqualsForEachMayDelete) {
    List<Item> list;
    Fill(list, {5, 1, 9, 1, 7, 9}, "abcdef");
    Item four(4), five(5), nine(9);
    EXPECT_EQ(list.FindSmallest()->tag, 'b');
    EXPECT_EQ(list.FindGreatest()->tag, 'c');
    EXPECT_EQ(list.FindClosestSmaller(five)->tag, 'b');
    EXPECT_EQ(list.FindClosestGreater(five)->tag, 'e');
    EXPECT_EQ(list.FindClosestGreater(nine), nullptr);
    EXPECT_EQ(list.FindEqualOrSmaller(five)->tag, 'a');
    EXPECT_EQ(list.FindEqualOrSmaller(four)->tag, 'b');
    EXPECT_EQ(list.FindEqualOrGreater(four)->tag, 'a');

    auto isNine = [](const CollectionElement &e, const void *) { return int(static_cast<const Item &>(e).key == 9); };
    EXPECT_EQ(list.FindFirstThat(isNine, nullptr)->tag, 'c');
    EXPECT_EQ(list.FindLastThat(isNine, nullptr)->tag, 'f');

    list.ForEach([](CollectionElement &e, void *l) { static_cast<List<Item> *>(l)->Delete(static_cast<Item *>(&e)); },
                 &list);  // may delete the element it is given
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_EQ(Item::destroyed, 6);
    EXPECT_EQ(list.FindSmallest(), nullptr);
    EXPECT_TRUE(list.IsSorted());
}

}  // namespace
