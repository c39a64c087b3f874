// DoubleListOfPtr: a doubly linked list of plain pointers.
//
// The non-intrusive twin of DoubleList.  Each listed pointer sits in a
// small ListNode that the list allocates and frees, so any object can be
// listed, in several lists at once, without deriving from anything.  As
// the objects have no virtual members, three hooks on the list stand in
// for them: `comparer` orders two pointers, `cloner` makes the deep copies
// of Assign, Add and Insert, `deleter` destroys an object that the list
// deletes.  All three are null in a new list and no member tests them:
// whoever calls a member that needs a hook sets it first.  An owning list
// needs its deleter as soon as it holds something, since Clear, Assign and
// the destructor call it.
//
// Elements are named by their pointer.  A member that takes one walks from
// the first node to the first node holding that very pointer (comparer
// plays no part), so Detach, Delete, Swap, Replace, InsertAfter,
// InsertBefore, GetNext, GetPrev, DetachLast and DeleteLast are linear
// where DoubleList's are constant.  DetachLast and DeleteLast read the last
// pointer and then go through Detach and Delete, so a pointer listed twice
// loses its first node.  A pointer that is not listed is refused: the
// member changes nothing and gives null (Detach, Replace, InsertAfter,
// InsertBefore, GetNext, GetPrev) or simply does nothing (Delete, Swap,
// Rotate, Absorb, Insert).  A refused object stays the caller's.
//
// Everything else follows DoubleList: ownership by the `deleteElements`
// flag, the Delete... members deleting whatever the flag says, the stable
// merge Sort that sets `wasSorted`, AbsorbAndSort merging only when both
// lists are flagged, the same Shuffle sequence for the same seed.  The
// differences: there is no compare mode and none of the nearest-element
// searches; Swap and Replace change what nodes hold and leave the nodes in
// place; `a = b` copies neither flags nor hooks, while the copy constructor
// takes both; clones come from the source list's cloner.  A node moved by
// Rotate, Absorb, AbsorbAndSort or Split stays the same node, so a
// ListPtrIterator on it stays valid.
//
// Node allocation is the only allocation; it fails through operator new.
// A list is used by one thread at a time.
#ifndef CVZ_COLLECTIONS_DOUBLE_LIST_OF_PTR_H
#define CVZ_COLLECTIONS_DOUBLE_LIST_OF_PTR_H

#include <stdint.h>

#include "CommonVcZq/collections/collection.h"
#include "CommonVcZq/frame/api.h"

// The base of containers of plain pointers: the flags and count of
// Collection, and the three hooks that act for the pointed-to objects.
class CVZ_API CollectionOfPtr : public Collection {
public:
    // Destroys a listed object.
    typedef void (*Deleter)(void *object);
    // Below 0, 0 or above 0 as `a` orders before, with or after `b`.
    typedef int (*Comparer)(const void *a, const void *b);
    // A new object copied from `object`; `context` comes unchanged from
    // the list member that clones.
    typedef void *(*Cloner)(const void *object, const void *context);

    ~CollectionOfPtr() override;

    void SetDeleter(Deleter fn) { deleter = fn; }
    void SetComparer(Comparer fn) { comparer = fn; }
    void SetCloner(Cloner fn) { cloner = fn; }
    Deleter GetDeleter() const { return deleter; }
    Comparer GetComparer() const { return comparer; }
    Cloner GetCloner() const { return cloner; }

protected:
    // No hook set; a non-zero `deleteElements` makes the container own.
    explicit CollectionOfPtr(int deleteElements);
    // Flags and hooks of `other`; the count starts at 0.
    CollectionOfPtr(const CollectionOfPtr &other);
    CollectionOfPtr &operator=(const CollectionOfPtr &other);

    Deleter deleter;
    Comparer comparer;
    Cloner cloner;
};

// One link of a DoubleListOfPtr, owned by the list.
template <class Node>
class LinkedChain;

struct ListNode {
    ListNode *next;  // null at the end
    ListNode *prev;  // null at the start
    void *data;      // the listed pointer
};

// A cursor on one node of a DoubleListOfPtr, for walking a list without
// the linear search of GetNext and GetPrev.  It is valid while its node is
// in the list.
class CVZ_API ListPtrIterator {
public:
    explicit ListPtrIterator(ListNode *node = nullptr) : node(node) {}
    ListNode *GetNode() const { return node; }
    // 0 once the cursor has left either end of the list.
    int IsValid() const { return node != nullptr; }
    void Next() { node = node->next; }
    void Prev() { node = node->prev; }

private:
    ListNode *node;
};

class CVZ_API DoubleListOfPtr : public CollectionOfPtr {
public:
    // An empty list without hooks; by default it owns its elements.
    explicit DoubleListOfPtr(int deleteElements = 1);
    // Flags and hooks of `other`, then a clone of each of its elements
    // made by its cloner.
    DoubleListOfPtr(const DoubleListOfPtr &other);
    // Deletes the elements of an owning list; frees every node.
    ~DoubleListOfPtr() override;

    // Empties the list as Clear does, then appends a clone of each element
    // of `other`, made by `other`'s cloner.  Assigning a list to itself
    // changes nothing.
    void Assign(const DoubleListOfPtr &other, const void *context);
    // Assign(other, null) only: flags and hooks stay.
    DoubleListOfPtr &operator=(const DoubleListOfPtr &other);

    // Adding one pointer: each makes a node for `p` and returns `p`.
    void *Append(void *p);
    void *Add(void *p) { return Append(p); }
    void *Prepend(void *p);
    void *Push(void *p) { return Prepend(p); }
    // Behind the listed pointer `ref`; a null `ref` prepends.
    void *InsertAfter(void *p, const void *ref);
    // Ahead of the listed pointer `ref`; a null `ref` appends.
    void *InsertBefore(void *p, const void *ref);
    // Ahead of the first element that comparer(p, element) puts after `p`,
    // so behind those equal to it; at the end when there is none.
    void *InsertInSortedList(void *p);
    // Appends `p` unless comparer finds an equal element.  Then an owning
    // list calls deleter(p), and the equal pointer is returned.
    void *AddUnique(void *p);

    // Adding clones of another list's elements, in its order, made by
    // `other`'s cloner.  `other` must not be this list.
    // Ahead of `ref`, or at the end for a null `ref`.
    void Insert(const DoubleListOfPtr &other, const void *ref, const void *context);
    void Add(const DoubleListOfPtr &other, const void *context);
    void Append(const DoubleListOfPtr &other, const void *context) { Insert(other, nullptr, context); }
    DoubleListOfPtr &operator+=(const DoubleListOfPtr &other) {
        Insert(other, nullptr, nullptr);
        return *this;
    }
    // Moves all nodes of `other` ahead of `ref` (null: at the end); `other`
    // ends empty.  Constant time for a null `ref`.
    void Absorb(DoubleListOfPtr &other, const void *ref);
    // Empties `other` into this list in order: a merge when both lists are
    // flagged as sorted (this list's equal elements first), else each
    // element through InsertInSortedList.  This list's comparer decides.
    void AbsorbAndSort(DoubleListOfPtr &other);
    // `other.Clear()`, then the node `at` and all behind it move to `other`.
    void Split(DoubleListOfPtr &other, ListNode &at);

    // Removing.  Detach frees the node and leaves the object alone; Delete
    // also calls deleter, whatever the ownership flag says.
    void *Detach(void *p);  // null gives null
    void Delete(void *p);   // null does nothing
    void DetachAll();       // frees every node, touches no object
    void DeleteAll();
    void *Pop();
    void *DetachFirst() { return Pop(); }
    void *DetachLast() { return Detach(GetLast()); }
    void DeleteFirst();
    void DeleteLast() { Delete(GetLast()); }
    // The first element that comparer finds equal to `key`, detached or
    // deleted: 1, or 0 when there is none.
    int DetachEqual(const void *key);
    int DeleteEqual(const void *key);
    // An owning list deletes its elements; any other detaches them.
    void Clear();

    // Rearranging.
    // The nodes of `a` and `b` exchange what they hold.
    void Swap(void *a, void *b);
    // Moves `a` next to `b`: just behind it when `a` came first, just ahead
    // of it otherwise.  Nothing when they are the same or either is absent.
    void Rotate(void *a, void *b);
    // The node of `old` takes `p`; an owning list calls deleter(old) first.
    // Returns `p`.
    void *Replace(void *old, void *p);
    void Reverse();
    // Stable merge sort by comparer; sets the sorted flag, also with fewer
    // than two elements.
    void Sort();
    // The same seed on the same list gives the same order.  Quadratic.
    void Shuffle(int seed);

    // Reading.
    void *GetFirst() const { return first ? first->data : nullptr; }
    void *GetLast() const { return last ? last->data : nullptr; }
    // The neighbour of the listed pointer `p`, null at an end.
    void *GetNext(const void *p) const;
    void *GetPrev(const void *p) const;
    // The pointer `i` steps from the first; below 1 gives the first, and an
    // empty list gives null.  The caller keeps `i` below the count.
    void *operator[](int i) const;
    ListNode *FindNode(int i) const;
    // The first node holding `p`, null when there is none.
    ListNode *FindNode(const void *p) const;
    void *Get(const ListPtrIterator &position) const { return position.GetNode()->data; }
    int HasMember(const void *p) const { return FindNode(p) != nullptr; }
    // Position of the first node holding `p`, -1 when absent.
    int32_t FindIndexOfMember(const void *p) const;

    // Searches by comparer(element, key): null, or -1 for an index, when
    // nothing is equal.
    void *FindEqual(const void *key) const;
    int32_t FindIndexOfEqual(const void *key) const;
    void *FindFirstThat(int (*test)(const void *, const void *), const void *argument) const;
    void *FindLastThat(int (*test)(const void *, const void *), const void *argument) const;
    // Calls `fn` from first to last; the successor is read before each
    // call, so `fn` may detach or delete the pointer it receives.
    void ForEach(void (*fn)(void *, void *), void *argument);
    int IsSorted() const;
    int IsSortedBackwards() const;

protected:
    ListNode *first;
    ListNode *last;

private:
    // Links a new node for `p` between `before` and `after`, either of
    // which may be null.
    void *LinkNew(void *p, ListNode *before, ListNode *after);
    // Unlinks `node` and lowers the count; the node is not freed.
    void DetachNode(ListNode *node);
    // The first node for which comparer(p, node's pointer) is below 0.
    ListNode *FindSortedPlace(const void *p) const;
    // The list's ends and count, for the link work it shares with
    // DoubleList.
    LinkedChain<ListNode> Chain();
};

// 1 when `a` and `b` are the same list, or hold as many elements that pair
// up equal under `a`'s comparer.
CVZ_API int AreEqual(const DoubleListOfPtr &a, const DoubleListOfPtr &b);

#endif
