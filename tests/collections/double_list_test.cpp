#include "collections/double_list.h"

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
        const int k = static_cast<const Item &>(other).key;
        const int c = key < k ? -1 : key > k ? 1 : 0;
        return mode == 1 ? -c : c;  // mode 1: descending
    }
    CollectionElement *CreateClone(const void *context) const override {
        ++cloned;
        return new Item(key + (context ? *static_cast<const int *>(context) : 0), tag);
    }
    int key;
    char tag;
    static int destroyed;
    static int cloned;
};
int Item::destroyed = 0;
int Item::cloned = 0;

class DoubleListTest : public ::testing::Test {
protected:
    void SetUp() override { Item::destroyed = Item::cloned = 0; }

    // Appends items with `keys`, tagged in order by the characters of `tags`.
    static void Fill(List<Item> &list, const std::vector<int> &keys, const char *tags = nullptr) {
        for (size_t i = 0; i < keys.size(); ++i)
            list.Append(new Item(keys[i], tags ? tags[i] : ' '));
    }

    // The keys from first to last, checked against the walk from last to
    // first, the ends and the count.
    static std::vector<int> Keys(const List<Item> &list) {
        std::vector<int> forward, backward;
        for (Item *e = list.GetFirst(); e; e = list.GetNext(e))
            forward.push_back(e->key);
        for (Item *e = list.GetLast(); e; e = list.GetPrev(e))
            backward.insert(backward.begin(), e->key);
        EXPECT_EQ(forward, backward);
        EXPECT_EQ(static_cast<int32_t>(forward.size()), list.GetCount());
        if (list.GetFirst()) {
            EXPECT_EQ(list.GetFirst()->GetPrev(), nullptr);
            EXPECT_EQ(list.GetLast()->GetNext(), nullptr);
        }
        return forward;
    }

    static std::string Tags(const List<Item> &list) {
        std::string tags;
        for (Item *e = list.GetFirst(); e; e = list.GetNext(e))
            tags += e->tag;
        return tags;
    }
};

using Keys_ = std::vector<int>;

TEST_F(DoubleListTest, LinkingAtEitherEndAndAroundAReference) {
    List<Item> list;
    Item *b = list.Append(new Item(2));
    list.Prepend(new Item(1));
    list.InsertAfter(new Item(0), nullptr);  // a null reference prepends
    list.InsertBefore(new Item(9), nullptr);  // a null reference appends
    list.InsertAfter(new Item(3), b);
    list.InsertBefore(new Item(4), b);
    EXPECT_EQ(Keys(list), (Keys_{0, 1, 4, 2, 3, 9}));
    EXPECT_EQ(&list[0], list.GetFirst());
    EXPECT_EQ(&list[-5], list.GetFirst());
    EXPECT_EQ(list[3].key, 2);
    EXPECT_EQ(list.FindIndexOfMember(*b), 3);
    EXPECT_TRUE(list.HasMember(b));
    Item stranger(2);
    EXPECT_FALSE(list.HasMember(&stranger));
    EXPECT_EQ(list.FindIndexOfMember(stranger), -1);
    EXPECT_EQ(list.FindIndexOfEqual(stranger), 3);
}

TEST_F(DoubleListTest, RemovingFromEmptyListsIsHarmless) {
    List<Item> list;
    EXPECT_EQ(list.Pop(), nullptr);
    EXPECT_EQ(list.DetachLast(), nullptr);
    EXPECT_EQ(list.Detach(nullptr), nullptr);
    list.DeleteFirst();
    list.DeleteLast();
    list.Delete(nullptr);
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_EQ(Item::destroyed, 0);
}

TEST_F(DoubleListTest, DetachKeepsTheElementAndItsStaleLinks) {
    List<Item> list(0);
    Fill(list, {1, 2, 3});
    Item *middle = &list[1];
    Item *before = list.GetPrev(middle), *after = list.GetNext(middle);
    EXPECT_EQ(list.Detach(middle), middle);
    EXPECT_EQ(middle->GetPrev(), before);
    EXPECT_EQ(middle->GetNext(), after);
    EXPECT_EQ(Keys(list), (Keys_{1, 3}));
    list.Append(middle);  // linking again renews both links
    EXPECT_EQ(middle->GetNext(), nullptr);
    EXPECT_EQ(Keys(list), (Keys_{1, 3, 2}));
    list.DeleteAll();  // deletes although the list does not own
    EXPECT_EQ(Item::destroyed, 3);
}

TEST_F(DoubleListTest, OwnershipDecidesWhatClearReplaceAndTheDestructorDo) {
    {
        List<Item> owner;
        Fill(owner, {1, 2, 3});
        owner.Replace(owner.GetFirst(), new Item(7));
        EXPECT_EQ(Item::destroyed, 1);
        EXPECT_EQ(Keys(owner), (Keys_{7, 2, 3}));
        owner.Replace(owner.GetLast(), new Item(8));
        EXPECT_EQ(Keys(owner), (Keys_{7, 2, 8}));
        owner.Clear();
        EXPECT_EQ(Item::destroyed, 5);
        Fill(owner, {4, 5});
    }
    EXPECT_EQ(Item::destroyed, 7);  // the destructor deletes

    Item a(1), b(2), c(3);
    {
        List<Item> borrower(0);
        borrower.Append(&a);
        borrower.Append(&b);
        EXPECT_EQ(borrower.Replace(&a, &c), &c);
        EXPECT_EQ(Keys(borrower), (Keys_{3, 2}));
        borrower.Clear();
        EXPECT_EQ(borrower.GetCount(), 0);
        borrower.Append(&a);
    }
    EXPECT_EQ(Item::destroyed, 7);  // nothing of a borrower's

    List<Item> list;
    Fill(list, {1, 2, 1});
    Item key(1);
    Item *firstOne = list.GetFirst();
    EXPECT_EQ(list.DetachEqual(key), 1);  // the first of the equal ones
    EXPECT_EQ(Keys(list), (Keys_{2, 1}));
    EXPECT_EQ(list.DeleteEqual(key), 1);
    EXPECT_EQ(list.DeleteEqual(key), 0);
    EXPECT_EQ(Item::destroyed, 8);  // the detached one is the caller's now
    delete firstOne;
}

TEST_F(DoubleListTest, AddUniqueDeletesTheDuplicateOnlyWhenOwning) {
    List<Item> owner;
    Item *one = owner.AddUnique(new Item(1));
    EXPECT_EQ(owner.AddUnique(new Item(1)), one);
    EXPECT_EQ(Item::destroyed, 1);
    EXPECT_EQ(owner.GetCount(), 1);

    List<Item> borrower(0);
    Item x(1), duplicate(1);
    borrower.AddUnique(&x);
    EXPECT_EQ(borrower.AddUnique(&duplicate), &x);
    EXPECT_EQ(borrower.GetCount(), 1);
    EXPECT_EQ(Item::destroyed, 1);
}

TEST_F(DoubleListTest, CopiesCloneAndKeepTheirOwnFlags) {
    List<Item> source;
    source.SetCompareMode(1);
    Fill(source, {1, 2});
    List<Item> copy(source);
    EXPECT_EQ(Item::cloned, 2);
    EXPECT_EQ(copy.GetCompareMode(), 1);
    EXPECT_TRUE(copy.ShouldDeleteElements());
    EXPECT_NE(copy.GetFirst(), source.GetFirst());
    EXPECT_TRUE(AreEqual(copy, source, 0));

    List<Item> target(0);
    int offset = 10;
    target.Assign(source, &offset);  // the context reaches CreateClone
    EXPECT_EQ(Keys(target), (Keys_{11, 12}));
    EXPECT_EQ(target.GetCompareMode(), 0);
    EXPECT_FALSE(target.ShouldDeleteElements());
    target.DeleteAll();

    List<Item> assigned;
    Fill(assigned, {5});
    assigned = source;  // takes the compare mode, deletes its old element
    EXPECT_EQ(assigned.GetCompareMode(), 1);
    EXPECT_EQ(Keys(assigned), (Keys_{1, 2}));
    const int before = Item::destroyed;
    assigned = assigned;  // self-assignment keeps the elements
    EXPECT_EQ(Item::destroyed, before);
    EXPECT_EQ(assigned.GetCount(), 2);

    List<Item> list;
    Fill(list, {0, 9});
    list.Insert(source, list.GetLast(), nullptr);
    list += source;
    EXPECT_EQ(Keys(list), (Keys_{0, 1, 2, 9, 1, 2}));
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
        EXPECT_EQ(Keys(list), (Keys_{3, 1, 4, 2}));
        list.Swap(a, a);
        EXPECT_EQ(Keys(list), (Keys_{3, 1, 4, 2}));
    }

    List<Item> list;
    Fill(list, {1, 2, 3, 4, 5});
    list.Rotate(&list[1], &list[3]);  // A B C D E -> A C D B E
    EXPECT_EQ(Keys(list), (Keys_{1, 3, 4, 2, 5}));
    List<Item> other;
    Fill(other, {1, 2, 3, 4, 5});
    other.Rotate(&other[3], &other[1]);  // A B C D E -> A D B C E
    EXPECT_EQ(Keys(other), (Keys_{1, 4, 2, 3, 5}));
    Item stranger(0), another(0);
    other.Rotate(&stranger, &another);
    EXPECT_EQ(Keys(other), (Keys_{1, 4, 2, 3, 5}));
}

TEST_F(DoubleListTest, SortIsStableAndReverseMirrorsIt) {
    List<Item> list;
    EXPECT_FALSE(list.IsMarkedAsSorted());
    list.Sort();  // empty: only the flag
    Fill(list, {3, 1, 2, 1, 3, 2, 1}, "abcdefg");
    EXPECT_FALSE(list.IsSorted());
    list.Sort();
    EXPECT_EQ(Keys(list), (Keys_{1, 1, 1, 2, 2, 3, 3}));
    EXPECT_EQ(Tags(list), "bdgcfae");
    EXPECT_TRUE(list.IsSorted());
    EXPECT_FALSE(list.IsSortedBackwards());
    list.Reverse();
    EXPECT_EQ(Keys(list), (Keys_{3, 3, 2, 2, 1, 1, 1}));
    EXPECT_FALSE(list.IsSorted());
    EXPECT_TRUE(list.IsSortedBackwards());
    list.SetCompareMode(1);  // descending: already in order
    EXPECT_TRUE(list.IsSorted());

    // A large shuffled list against the keys' own order.
    List<Item> big;
    for (int i = 0; i < 1000; ++i)
        big.Append(new Item((i * 7919) % 1000));
    big.Sort();
    std::vector<int> keys = Keys(big);
    for (int i = 0; i < 1000; ++i)
        ASSERT_EQ(keys[i], i);
}

TEST_F(DoubleListTest, AbsorbAndSortMergesOnlyWhenBothAreFlagged) {
    List<Item> a, b;
    Fill(a, {1, 3, 5}, "aaa");
    Fill(b, {1, 2, 5, 6}, "bbbb");
    a.Sort();
    b.Sort();
    a.AbsorbAndSort(b);
    EXPECT_EQ(Keys(a), (Keys_{1, 1, 2, 3, 5, 5, 6}));
    EXPECT_EQ(Tags(a), "abbaabb");  // the receiver's equal elements first
    EXPECT_EQ(b.GetCount(), 0);
    EXPECT_EQ(b.GetFirst(), nullptr);

    // The flag is trusted: a small key appended after Sort stays put.
    List<Item> c, d;
    Fill(c, {2, 4});
    c.Sort();
    c.Append(new Item(1));
    Fill(d, {3});
    d.Sort();
    c.AbsorbAndSort(d);
    EXPECT_EQ(Keys(c), (Keys_{2, 3, 4, 1}));

    // Without the flags each element is inserted in order.
    List<Item> e, f;
    Fill(e, {2, 4});
    Fill(f, {5, 1, 3});
    e.AbsorbAndSort(f);
    EXPECT_EQ(Keys(e), (Keys_{1, 2, 3, 4, 5}));

    // An empty flagged receiver takes the other list in one splice.
    List<Item> empty, g;
    empty.Sort();
    Fill(g, {9, 8});
    g.Sort();
    Item *head = g.GetFirst();
    empty.AbsorbAndSort(g);
    EXPECT_EQ(empty.GetFirst(), head);
    EXPECT_EQ(Item::destroyed, 0);
}

TEST_F(DoubleListTest, SplitAndAbsorbMoveWithoutCloning) {
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
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_EQ(list.GetLast(), nullptr);
    EXPECT_EQ(Keys(tail), (Keys_{1, 3, 4, 2}));
    EXPECT_EQ(Item::cloned, 0);
}

TEST_F(DoubleListTest, SearchesPreferTheFirstOfEquals) {
    List<Item> list;
    Fill(list, {5, 1, 9, 1, 7, 9}, "abcdef");
    Item four(4), five(5), nine(9), ten(10), zero(0);
    EXPECT_EQ(list.FindSmallest()->tag, 'b');
    EXPECT_EQ(list.FindGreatest()->tag, 'c');
    EXPECT_EQ(list.FindClosestSmaller(five)->tag, 'b');
    EXPECT_EQ(list.FindClosestGreater(five)->tag, 'e');
    EXPECT_EQ(list.FindClosestGreater(nine), nullptr);
    EXPECT_EQ(list.FindClosestSmaller(zero), nullptr);
    EXPECT_EQ(list.FindEqualOrSmaller(five)->tag, 'a');
    EXPECT_EQ(list.FindEqualOrSmaller(four)->tag, 'b');
    EXPECT_EQ(list.FindEqualOrGreater(four)->tag, 'a');
    EXPECT_EQ(list.FindEqualOrGreater(ten), nullptr);
    EXPECT_EQ(list.FindEqual(nine)->tag, 'c');

    auto isNine = [](const CollectionElement &e, const void *) { return int(static_cast<const Item &>(e).key == 9); };
    EXPECT_EQ(list.FindFirstThat(isNine, nullptr)->tag, 'c');
    EXPECT_EQ(list.FindLastThat(isNine, nullptr)->tag, 'f');

    List<Item> empty;
    EXPECT_EQ(empty.FindSmallest(), nullptr);
    EXPECT_EQ(empty.FindGreatest(), nullptr);
    EXPECT_TRUE(empty.IsSorted());
}

TEST_F(DoubleListTest, ForEachMayDeleteTheElementItIsGiven) {
    List<Item> list;
    Fill(list, {1, 2, 3});
    list.ForEach([](CollectionElement &e, void *owner) { static_cast<List<Item> *>(owner)->Delete(static_cast<Item *>(&e)); },
                 &list);
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_EQ(Item::destroyed, 3);
}

TEST_F(DoubleListTest, ShuffleIsAPermutationFixedByTheSeed) {
    List<Item> a, b;
    for (int i = 0; i < 50; ++i) {
        a.Append(new Item(i));
        b.Append(new Item(i));
    }
    a.Shuffle(1234);
    b.Shuffle(1234);
    std::vector<int> keys = Keys(a);
    EXPECT_EQ(keys, Keys(b));
    a.Sort();
    for (int i = 0; i < 50; ++i)
        ASSERT_EQ(a[i].key, i);
    bool moved = false;
    for (int i = 0; i < 50; ++i)
        moved |= keys[i] != i;
    EXPECT_TRUE(moved);
}

TEST_F(DoubleListTest, AreEqualUsesTheGivenMode) {
    List<Item> a, b;
    Fill(a, {1, 2});
    Fill(b, {1, 2});
    EXPECT_TRUE(AreEqual(a, b, 0));
    b.Append(new Item(3));
    EXPECT_FALSE(AreEqual(a, b, 0));
    // The default Compare never gives 0, yet a list equals itself.
    DoubleList plain;
    plain.Append(new ListElement);
    EXPECT_TRUE(AreEqual(plain, plain, 0));
    DoubleList other;
    other.Append(new ListElement);
    EXPECT_FALSE(AreEqual(plain, other, 0));
}

}  // namespace
