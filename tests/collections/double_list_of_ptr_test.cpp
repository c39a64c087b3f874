#include "CommonVcZq/collections/double_list_of_ptr.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// A plain object that counts its destructions, so each test sees which
// operation deleted what.  The comparers order by key only, so the tags
// show stability; a clone has the tag 'x'.
struct Obj {
    explicit Obj(int key, char tag = ' ') : key(key), tag(tag) {}
    ~Obj() { ++destroyed; }
    int key;
    char tag;
    static inline int destroyed = 0;
};

void DeleteObj(void *p) { delete static_cast<Obj *>(p); }
int CompareObj(const void *a, const void *b) {
    return static_cast<const Obj *>(a)->key - static_cast<const Obj *>(b)->key;
}
int CompareDescending(const void *a, const void *b) { return -CompareObj(a, b); }
void *CloneObj(const void *p, const void *context) {
    return new Obj(static_cast<const Obj *>(p)->key + (context ? *static_cast<const int *>(context) : 0), 'x');
}

// A list with all three hooks set for Obj.
struct ObjList : DoubleListOfPtr {
    explicit ObjList(int deleteElements = 1) : DoubleListOfPtr(deleteElements) {
        SetDeleter(DeleteObj);
        SetComparer(CompareObj);
        SetCloner(CloneObj);
    }
};

using Keys_ = std::vector<int>;

class DoubleListOfPtrTest : public ::testing::Test {
protected:
    void SetUp() override { Obj::destroyed = 0; }

    static std::vector<Obj *> Fill(DoubleListOfPtr &list, const Keys_ &keys, const char *tags = nullptr) {
        std::vector<Obj *> objects;
        for (size_t i = 0; i < keys.size(); ++i)
            objects.push_back(static_cast<Obj *>(list.Append(new Obj(keys[i], tags ? tags[i] : ' '))));
        return objects;
    }
    // The keys from first to last, checking the links, the last pointer
    // and the count on the way.
    static Keys_ Keys(const DoubleListOfPtr &list) {
        Keys_ keys;
        ListNode *prev = nullptr;
        for (ListNode *n = list.FindNode(0); n; prev = n, n = n->next) {
            EXPECT_EQ(n->prev, prev);
            keys.push_back(static_cast<Obj *>(n->data)->key);
        }
        EXPECT_EQ(list.GetLast(), prev ? prev->data : nullptr);
        EXPECT_EQ(static_cast<int32_t>(keys.size()), list.GetCount());
        return keys;
    }
    static std::string Tags(const DoubleListOfPtr &list) {
        std::string tags;
        for (ListPtrIterator it(list.FindNode(0)); it.IsValid(); it.Next())
            tags += static_cast<Obj *>(list.Get(it))->tag;
        return tags;
    }
};

TEST_F(DoubleListOfPtrTest, LinkingFindsReferencesByPointerAndRefusesStrangers) {
    ObjList list;
    Obj *b = static_cast<Obj *>(list.Append(new Obj(2)));
    list.Prepend(new Obj(1));
    list.InsertAfter(new Obj(0), nullptr);   // a null reference prepends
    list.InsertBefore(new Obj(9), nullptr);  // a null reference appends
    list.InsertAfter(new Obj(3), b);
    list.InsertBefore(new Obj(4), b);
    EXPECT_EQ(Keys(list), (Keys_{0, 1, 4, 2, 3, 9}));
    EXPECT_EQ(list[3], b);
    EXPECT_EQ(static_cast<Obj *>(list.GetNext(b))->key, 3);
    EXPECT_EQ(static_cast<Obj *>(list.GetPrev(b))->key, 4);

    Obj stranger(2), refused(7);
    EXPECT_EQ(list.FindEqual(&stranger), b);  // by comparer, not by pointer
    EXPECT_EQ(list.InsertAfter(&refused, &stranger), nullptr);
    list.Delete(&stranger);
    EXPECT_EQ(list.Replace(&stranger, &refused), nullptr);
    EXPECT_EQ(list.GetCount(), 6);
    EXPECT_EQ(Obj::destroyed, 0);

    DoubleListOfPtr twice(0);  // no hooks: Append, DetachLast and an empty list's Pop need none
    Obj a(1);
    twice.Append(&a);
    twice.Append(b);
    twice.Append(&a);
    ListNode *third = twice.FindNode(2);
    EXPECT_EQ(twice.DetachLast(), &a);  // reads the last pointer, detaches its first node
    EXPECT_EQ(twice.FindNode(1), third);
    EXPECT_EQ(twice.Pop(), b);
    EXPECT_EQ(twice.Pop(), &a);
    EXPECT_EQ(twice.Pop(), nullptr);
    twice.DeleteLast();
}

TEST_F(DoubleListOfPtrTest, OwnershipDecidesWhatIsDeleted) {
    Obj a(5), c(6);
    {
        DoubleListOfPtr borrower(0);  // no hooks: Add, Detach, Replace, HasMember need none
        borrower.Append(&c);
        EXPECT_EQ(borrower.Detach(&c), &c);
        borrower.Append(&a);
        EXPECT_EQ(borrower.Replace(&a, &c), &c);  // no deleter called
        EXPECT_TRUE(borrower.HasMember(&c));
    }
    EXPECT_EQ(Obj::destroyed, 0);  // only the nodes went

    {
        ObjList owner;
        std::vector<Obj *> o = Fill(owner, {1, 2, 3, 4, 5});
        owner.Delete(o[0]);
        owner.DeleteFirst();
        owner.DeleteLast();
        Obj *ten = new Obj(10);
        EXPECT_EQ(owner.Replace(o[2], ten), ten);      // the owner deletes the old one
        EXPECT_EQ(owner.AddUnique(new Obj(4)), o[3]);  // and the duplicate
        EXPECT_EQ(owner.AddUnique(o[3]), o[3]);        // but not a listed pointer
        owner.Append(new Obj(4, 'b'));
        Obj key(4);
        EXPECT_EQ(owner.DeleteEqual(&key), 1);  // the first equal one only
        EXPECT_EQ(Tags(owner), " b");
        EXPECT_EQ(Obj::destroyed, 6);
    }
    EXPECT_EQ(Obj::destroyed, 9);  // the destructor, and `key`
}

TEST_F(DoubleListOfPtrTest, SwapAndRotateKeepTheNodesShuffleFollowsTheSeed) {
    ObjList list;
    std::vector<Obj *> o = Fill(list, {1, 2, 3, 4, 5});
    ListNode *firstNode = list.FindNode(0), *lastNode = list.FindNode(4);
    list.Swap(o[0], o[4]);
    EXPECT_EQ(firstNode->data, o[4]);  // the nodes stay, the pointers move
    EXPECT_EQ(Keys(list), (Keys_{5, 2, 3, 4, 1}));

    list.Rotate(o[1], o[3]);  // 2 came first: behind 4
    EXPECT_EQ(Keys(list), (Keys_{5, 3, 4, 2, 1}));
    list.Rotate(o[0], o[4]);  // 1 came last: ahead of 5, at the start
    EXPECT_EQ(Keys(list), (Keys_{1, 5, 3, 4, 2}));
    EXPECT_EQ(list.FindNode(o[0]), lastNode);  // moved, not remade

    list.Sort();
    list.Reverse();
    EXPECT_EQ(Keys(list), (Keys_{5, 4, 3, 2, 1}));
    EXPECT_FALSE(list.IsSorted());
    EXPECT_TRUE(list.IsSortedBackwards());

    DoubleListOfPtr copy(list);
    list.Shuffle(17);
    copy.Shuffle(17);
    EXPECT_EQ(Keys(list), Keys(copy));  // the same seed, the same order
    EXPECT_NE(Keys(list), (Keys_{5, 4, 3, 2, 1}));

    list.ForEach([](void *p, void *l) { static_cast<DoubleListOfPtr *>(l)->Delete(p); }, &list);
    EXPECT_EQ(list.GetCount(), 0);  // ForEach may delete the pointer it is given
    EXPECT_EQ(Obj::destroyed, 5);
}

TEST_F(DoubleListOfPtrTest, SortIsStableAndAbsorbAndSortMerges) {
    ObjList list, other, unsorted;
    Fill(list, {3, 1, 2, 1, 3, 2}, "abcdef");
    list.Sort();
    EXPECT_EQ(Tags(list), "bdcfae");

    Fill(other, {2, 0, 4}, "xyz");
    other.Sort();
    list.AbsorbAndSort(other);  // both flagged: the receiver's equals come first
    EXPECT_EQ(Tags(list), "ybdcfxaez");
    EXPECT_EQ(other.GetCount(), 0);

    Fill(unsorted, {5, 2}, "pq");  // never sorted: each goes to its place
    list.AbsorbAndSort(unsorted);
    EXPECT_EQ(Tags(list), "ybdcfxqaezp");
    EXPECT_EQ(unsorted.GetFirst(), nullptr);

    list.Split(other, *list.FindNode(9));
    EXPECT_EQ(Keys(other), (Keys_{4, 5}));
    list.Split(other, *list.FindNode(0));  // other's old elements are deleted
    EXPECT_EQ(Obj::destroyed, 2);
    Fill(list, {7, 8});
    other.Absorb(list, other.FindNode(1)->data);
    EXPECT_EQ(Keys(other), (Keys_{0, 7, 8, 1, 1, 2, 2, 2, 2, 3, 3}));
    EXPECT_EQ(list.GetCount(), 0);
}

TEST_F(DoubleListOfPtrTest, CopiesCloneThroughTheSourcesCloner) {
    ObjList source;
    Fill(source, {1, 2, 3});
    DoubleListOfPtr copy(source);  // takes flags and hooks
    EXPECT_EQ(Tags(copy), "xxx");
    EXPECT_EQ(AreEqual(copy, source), 1);
    copy.InsertInSortedList(new Obj(2, 'n'));  // behind the equal one
    EXPECT_EQ(Tags(copy), "xxnx");
    EXPECT_EQ(AreEqual(copy, source), 0);

    // Assignment copies neither flags nor hooks.
    DoubleListOfPtr target(0);
    target.SetComparer(CompareDescending);
    Obj nine(9);
    target.Append(&nine);
    target = source;  // a non-owner detaches its old element
    EXPECT_EQ(Obj::destroyed, 0);
    EXPECT_EQ(target.ShouldDeleteElements(), 0);
    target.Sort();
    EXPECT_EQ(Keys(target), (Keys_{3, 2, 1}));
    target.SetDeleter(DeleteObj);
    target.DeleteAll();  // deletes whatever the flag says
    EXPECT_EQ(Obj::destroyed, 3);

    const int ten = 10;
    copy.Assign(source, &ten);  // an owner deletes its old elements
    EXPECT_EQ(Obj::destroyed, 7);
    copy.Insert(source, copy.FindNode(1)->data, nullptr);
    copy += source;
    EXPECT_EQ(Keys(copy), (Keys_{11, 1, 2, 3, 12, 13, 1, 2, 3}));
}

}  // namespace
