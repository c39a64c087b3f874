// DoubleList: the intrusive doubly linked list, and List<T>, its typed face.
//
// The links live in the element, which derives from ListElement, so linking
// allocates nothing and an element stands in at most one list at a time.
// There is no sentinel: the ends are null links and the list's `first` and
// `last`.  The list does not record which elements belong to it; a member
// that takes an element trusts the caller that it does.
//
// An element has valid links only from the moment a list links it.  Copying
// an element copies its links, which are stale until a list links the copy;
// Detach and DetachAll leave the links of what they remove as they were.
//
// Ownership is a flag, not a type.  With `deleteElements` set the list
// deletes its elements in the destructor, Clear, Assign, Replace and
// AddUnique; the Delete... members delete whatever the flag says, and the
// Detach... members never do.  Absorb, AbsorbAndSort and Split move
// elements and never clone them; copies of lists clone through
// CollectionElement::CreateClone, which must not give null for them.
//
// Every Compare call receives the list's compare mode unchanged.  Searches
// ask `element.Compare(key, mode)` with the stored element as the receiver;
// among equal elements the first one wins.  Sort is a stable merge sort
// and sets the `wasSorted` flag, which only AbsorbAndSort reads: with both
// lists flagged it merges, trusting the flag.
//
// Constant time: adding, detaching, Swap, Absorb, DetachAll, the ends and
// the count.  Linear: operator[], Split, HasMember and every search.  A list
// is used by one thread at a time.
#ifndef CVZ_COLLECTIONS_DOUBLE_LIST_H
#define CVZ_COLLECTIONS_DOUBLE_LIST_H

#include <stdint.h>

#include "CommonVcZq/collections/collection.h"
#include "CommonVcZq/frame/api.h"

class DoubleList;
template <class Node>
class LinkedChain;

class CVZ_API ListElement : public CollectionElement {
public:
    // Leaves the links unset: a list sets them when it links the element.
    ListElement() {}
    // Copies the links of `other` (stale until a list links this element).
    ListElement(const ListElement &other) : CollectionElement(other), next(other.next), prev(other.prev) {}
    ListElement &operator=(const ListElement &other) {
        next = other.next;
        prev = other.prev;
        return *this;
    }
    ~ListElement() override;

    ListElement *GetNext() const { return next; }
    ListElement *GetPrev() const { return prev; }

private:
    friend class DoubleList;
    friend class LinkedChain<ListElement>;
    ListElement *next;  // following element, null at the end
    ListElement *prev;  // preceding element, null at the start
};

class CVZ_API DoubleList : public Collection {
public:
    // An empty list; by default it owns its elements.
    explicit DoubleList(int deleteElements = 1);
    // Takes the flags and compare mode of `other`, then clones its elements.
    DoubleList(const DoubleList &other);
    ~DoubleList() override;

    // Empties the list as Clear does, then appends a clone of each element
    // of `other`.  Flags and compare mode stay.  Assigning a list to itself
    // changes nothing.
    void Assign(const DoubleList &other, const void *context);
    // Takes `other`'s compare mode, then Assign(other, null).
    DoubleList &operator=(const DoubleList &other);

    void SetCompareMode(int mode) { compareMode = mode; }
    int GetCompareMode() const { return compareMode; }

    // Adding one element: each links `e` (overwriting both of its links) and
    // returns it.
    ListElement *Append(ListElement *e);
    ListElement *Add(ListElement *e) { return Append(e); }
    ListElement *Prepend(ListElement *e);
    ListElement *Push(ListElement *e) { return Prepend(e); }
    // Behind `ref`; a null `ref` prepends.
    ListElement *InsertAfter(ListElement *e, ListElement *ref);
    // Ahead of `ref`; a null `ref` appends.
    ListElement *InsertBefore(ListElement *e, ListElement *ref);
    // Ahead of the first element that `e` compares below, so behind those
    // equal to it; at the end when there is none.
    ListElement *InsertInSortedList(ListElement *e);
    // Appends `e` unless an equal element is present.  Then an owning list
    // deletes `e`, and the equal element is returned: the caller's `e` may
    // be gone.
    ListElement *AddUnique(ListElement *e);

    // Adding clones of another list's elements, in its order.  `other` must
    // not be this list.
    // Ahead of `ref`, or at the end for a null `ref`.
    void Insert(const DoubleList &other, ListElement *ref, const void *context);
    void Add(const DoubleList &other, const void *context);
    void Append(const DoubleList &other, const void *context) { Insert(other, nullptr, context); }
    DoubleList &operator+=(const DoubleList &other) {
        Insert(other, nullptr, nullptr);
        return *this;
    }
    // Splices all of `other` ahead of `ref` (null: at the end) in constant
    // time; `other` ends empty.
    void Absorb(DoubleList &other, ListElement *ref);
    // Empties `other` into this list in order: a merge when both lists are
    // flagged as sorted (this list's equal elements first), else each
    // element through InsertInSortedList.  This list's compare mode governs.
    void AbsorbAndSort(DoubleList &other);
    // `other.Clear()`, then `at` and all behind it move to `other`.
    void Split(DoubleList &other, const ListElement &at);

    // Removing.  Detach leaves the element alive; Delete destroys it
    // through its virtual destructor, whatever the ownership flag says.
    ListElement *Detach(ListElement *e);  // null gives null
    void Delete(ListElement *e);          // null does nothing
    void DetachAll();                     // touches no element
    void DeleteAll();
    ListElement *Pop() { return Detach(first); }
    ListElement *DetachFirst() { return Detach(first); }
    ListElement *DetachLast() { return Detach(last); }
    void DeleteFirst() { Delete(first); }
    void DeleteLast() { Delete(last); }
    // The first element equal to `key`, detached or deleted: 1, or 0 when
    // there is none.
    int DetachEqual(const ListElement &key);
    int DeleteEqual(const ListElement &key);
    // An owning list deletes its elements; any other detaches them.
    void Clear();

    // Rearranging.
    // `a` and `b` exchange places, adjacent or not.
    void Swap(ListElement *a, ListElement *b);
    // Moves `a` next to `b`: just behind it when `a` came first, just ahead
    // of it otherwise.  Nothing when they are the same or neither is found.
    void Rotate(ListElement *a, ListElement *b);
    // `old` leaves as Clear would remove it and `e` takes its place.
    ListElement *Replace(ListElement *old, ListElement *e);
    void Reverse();
    // Stable merge sort; sets the sorted flag, also with fewer than two.
    void Sort();
    // The same seed on the same list gives the same order.  Quadratic.
    void Shuffle(int seed);

    // Reading.
    ListElement *GetFirst() const { return first; }
    ListElement *GetLast() const { return last; }
    ListElement *GetNext(const ListElement *e) const { return e->next; }
    ListElement *GetPrev(const ListElement *e) const { return e->prev; }
    // The element `i` steps from the first; below 1 gives the first.  The
    // caller keeps `i` below the count.
    ListElement &operator[](int i) const;
    int HasMember(const ListElement *e) const;
    // Position of that very element, -1 when absent.
    int32_t FindIndexOfMember(const ListElement &e) const;

    // Searches: null, or -1 for an index, when nothing qualifies.
    ListElement *FindEqual(const ListElement &key) const;
    int32_t FindIndexOfEqual(const ListElement &key) const;
    ListElement *FindSmallest() const;
    ListElement *FindGreatest() const;
    // The greatest element strictly below `key`, the smallest strictly above.
    ListElement *FindClosestSmaller(const ListElement &key) const;
    ListElement *FindClosestGreater(const ListElement &key) const;
    // The first equal element, else the closest one on that side.
    ListElement *FindEqualOrSmaller(const ListElement &key) const;
    ListElement *FindEqualOrGreater(const ListElement &key) const;
    ListElement *FindFirstThat(int (*test)(const CollectionElement &, const void *), const void *argument) const;
    ListElement *FindLastThat(int (*test)(const CollectionElement &, const void *), const void *argument) const;
    // Calls `fn` from first to last; the successor is read before each
    // call, so `fn` may detach or delete the element it receives.
    void ForEach(void (*fn)(CollectionElement &, void *), void *argument);
    int IsSorted() const;
    int IsSortedBackwards() const;

protected:
    int32_t compareMode;
    ListElement *first;
    ListElement *last;

private:
    // The list's ends and count, for the link work it shares with
    // DoubleListOfPtr.
    LinkedChain<ListElement> Chain();
};

// 1 when `a` and `b` are the same list, or hold as many elements that pair
// up equal under Compare with `mode` (not either list's own mode).
CVZ_API int AreEqual(const DoubleList &a, const DoubleList &b, int mode);

// The typed face of DoubleList for elements of class T, derived from
// ListElement.  It adds no field: each member casts and forwards.
template <class T>
class List : public DoubleList {
public:
    explicit List(int deleteElements = 1) : DoubleList(deleteElements) {}
    List(const List &other) : DoubleList(other) {}
    List &operator=(const List &other) {
        DoubleList::operator=(other);
        return *this;
    }

    T *Append(T *e) { return Cast(DoubleList::Append(e)); }
    T *Add(T *e) { return Cast(DoubleList::Add(e)); }
    T *Prepend(T *e) { return Cast(DoubleList::Prepend(e)); }
    T *Push(T *e) { return Cast(DoubleList::Push(e)); }
    T *InsertAfter(T *e, T *ref) { return Cast(DoubleList::InsertAfter(e, ref)); }
    T *InsertBefore(T *e, T *ref) { return Cast(DoubleList::InsertBefore(e, ref)); }
    T *InsertInSortedList(T *e) { return Cast(DoubleList::InsertInSortedList(e)); }
    T *AddUnique(T *e) { return Cast(DoubleList::AddUnique(e)); }
    void Insert(const List &other, T *ref, const void *context) { DoubleList::Insert(other, ref, context); }
    void Add(const List &other, const void *context) { DoubleList::Add(other, context); }
    void Append(const List &other, const void *context) { DoubleList::Append(other, context); }
    List &operator+=(const List &other) {
        DoubleList::operator+=(other);
        return *this;
    }
    void Absorb(List &other, T *ref) { DoubleList::Absorb(other, ref); }
    void AbsorbAndSort(List &other) { DoubleList::AbsorbAndSort(other); }
    void Split(List &other, const T &at) { DoubleList::Split(other, at); }

    T *Detach(T *e) { return Cast(DoubleList::Detach(e)); }
    void Delete(T *e) { DoubleList::Delete(e); }
    T *Pop() { return Cast(DoubleList::Pop()); }
    T *DetachFirst() { return Cast(DoubleList::DetachFirst()); }
    T *DetachLast() { return Cast(DoubleList::DetachLast()); }
    int DetachEqual(const T &key) { return DoubleList::DetachEqual(key); }
    int DeleteEqual(const T &key) { return DoubleList::DeleteEqual(key); }

    void Swap(T *a, T *b) { DoubleList::Swap(a, b); }
    void Rotate(T *a, T *b) { DoubleList::Rotate(a, b); }
    T *Replace(T *old, T *e) { return Cast(DoubleList::Replace(old, e)); }

    T *GetFirst() const { return Cast(first); }
    T *GetLast() const { return Cast(last); }
    T *GetNext(const T *e) const { return Cast(DoubleList::GetNext(e)); }
    T *GetPrev(const T *e) const { return Cast(DoubleList::GetPrev(e)); }
    T &operator[](int i) const { return static_cast<T &>(DoubleList::operator[](i)); }
    int HasMember(const T *e) const { return DoubleList::HasMember(e); }
    int32_t FindIndexOfMember(const T &e) const { return DoubleList::FindIndexOfMember(e); }
    T *FindEqual(const T &key) const { return Cast(DoubleList::FindEqual(key)); }
    int32_t FindIndexOfEqual(const T &key) const { return DoubleList::FindIndexOfEqual(key); }
    T *FindSmallest() const { return Cast(DoubleList::FindSmallest()); }
    T *FindGreatest() const { return Cast(DoubleList::FindGreatest()); }
    T *FindClosestSmaller(const T &key) const { return Cast(DoubleList::FindClosestSmaller(key)); }
    T *FindClosestGreater(const T &key) const { return Cast(DoubleList::FindClosestGreater(key)); }
    T *FindEqualOrSmaller(const T &key) const { return Cast(DoubleList::FindEqualOrSmaller(key)); }
    T *FindEqualOrGreater(const T &key) const { return Cast(DoubleList::FindEqualOrGreater(key)); }
    T *FindFirstThat(int (*test)(const CollectionElement &, const void *), const void *argument) const {
        return Cast(DoubleList::FindFirstThat(test, argument));
    }
    T *FindLastThat(int (*test)(const CollectionElement &, const void *), const void *argument) const {
        return Cast(DoubleList::FindLastThat(test, argument));
    }

private:
    static T *Cast(ListElement *e) { return static_cast<T *>(e); }
};

#endif
