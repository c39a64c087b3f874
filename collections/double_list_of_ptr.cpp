// CollectionOfPtr, DoubleListOfPtr and the free AreEqual for pointer lists.
//
// The pointer work on the links is LinkedChain's, shared with DoubleList.
// Nodes are allocated in LinkNew and freed where a pointer leaves the list;
// moving a node between places or lists never reallocates it.
#include "CommonVcZq/collections/double_list_of_ptr.h"

#include "collections/linked_chain.h"

#include "CommonVcZq/tools/randomizer.h"

// --------------------------------------------------------- CollectionOfPtr

CollectionOfPtr::CollectionOfPtr(int deleteElements)
    : Collection(deleteElements), deleter(nullptr), comparer(nullptr), cloner(nullptr) {}

CollectionOfPtr::CollectionOfPtr(const CollectionOfPtr &other)
    : Collection(other), deleter(other.deleter), comparer(other.comparer), cloner(other.cloner) {}

CollectionOfPtr &CollectionOfPtr::operator=(const CollectionOfPtr &other) {
    Collection::operator=(other);
    deleter = other.deleter;
    comparer = other.comparer;
    cloner = other.cloner;
    return *this;
}

CollectionOfPtr::~CollectionOfPtr() {}

// ------------------------------------------------------------ construction

DoubleListOfPtr::DoubleListOfPtr(int deleteElements)
    : CollectionOfPtr(deleteElements), first(nullptr), last(nullptr) {}

DoubleListOfPtr::DoubleListOfPtr(const DoubleListOfPtr &other)
    : CollectionOfPtr(other), first(nullptr), last(nullptr) {
    Add(other, nullptr);
}

DoubleListOfPtr::~DoubleListOfPtr() {
    if (count == 0)
        return;
    if (deleteElements)
        DeleteAll();
    else
        DetachAll();
}

void DoubleListOfPtr::Assign(const DoubleListOfPtr &other, const void *context) {
    // Emptying first would lose the very elements to be copied.
    if (&other == this)
        return;
    Clear();
    Add(other, context);
}

DoubleListOfPtr &DoubleListOfPtr::operator=(const DoubleListOfPtr &other) {
    Assign(other, nullptr);
    return *this;
}

// ------------------------------------------------------------------ adding

LinkedChain<ListNode> DoubleListOfPtr::Chain() {
    return LinkedChain<ListNode>(first, last, count);
}

void *DoubleListOfPtr::LinkNew(void *p, ListNode *before, ListNode *after) {
    ListNode *node = new ListNode;
    node->data = p;
    Chain().Link(node, before, after);
    return p;
}

void *DoubleListOfPtr::Append(void *p) {
    return LinkNew(p, last, nullptr);
}

void *DoubleListOfPtr::Prepend(void *p) {
    return LinkNew(p, nullptr, first);
}

void *DoubleListOfPtr::InsertAfter(void *p, const void *ref) {
    if (!ref)
        return Prepend(p);
    ListNode *at = FindNode(ref);
    return at ? LinkNew(p, at, at->next) : nullptr;
}

void *DoubleListOfPtr::InsertBefore(void *p, const void *ref) {
    if (!ref)
        return Append(p);
    ListNode *at = FindNode(ref);
    return at ? LinkNew(p, at->prev, at) : nullptr;
}

ListNode *DoubleListOfPtr::FindSortedPlace(const void *p) const {
    ListNode *node = first;
    while (node && comparer(p, node->data) >= 0)
        node = node->next;
    return node;
}

void *DoubleListOfPtr::InsertInSortedList(void *p) {
    ListNode *place = FindSortedPlace(p);
    return LinkNew(p, place ? place->prev : last, place);
}

void *DoubleListOfPtr::AddUnique(void *p) {
    for (ListNode *node = first; node; node = node->next)
        if (comparer(node->data, p) == 0) {
            // A pointer that is listed already is not deleted under itself.
            if (deleteElements && node->data != p)
                deleter(p);
            return node->data;
        }
    return Append(p);
}

// The cloner's result is listed as it is, null included.
void DoubleListOfPtr::Insert(const DoubleListOfPtr &other, const void *ref, const void *context) {
    ListNode *at = nullptr;
    if (ref && !(at = FindNode(ref)))
        return;
    for (ListNode *node = other.first; node; node = node->next)
        LinkNew(other.cloner(node->data, context), at ? at->prev : last, at);
}

void DoubleListOfPtr::Add(const DoubleListOfPtr &other, const void *context) {
    for (ListNode *node = other.first; node; node = node->next)
        Append(other.cloner(node->data, context));
}

void DoubleListOfPtr::Absorb(DoubleListOfPtr &other, const void *ref) {
    if (other.count == 0 || &other == this)
        return;
    ListNode *after = nullptr;
    if (ref && !(after = FindNode(ref)))
        return;
    Chain().Splice(other.Chain(), after);
}

void DoubleListOfPtr::AbsorbAndSort(DoubleListOfPtr &other) {
    if (&other == this)
        return;
    if (!(wasSorted && other.wasSorted)) {
        for (ListNode *node = other.first; node;) {
            ListNode *next = node->next;
            ListNode *place = FindSortedPlace(node->data);
            Chain().Link(node, place ? place->prev : last, place);
            node = next;
        }
        other.Chain().Forget();
        return;
    }
    // Both flagged sorted: merge, trusting the flags.  The nodes of `other`
    // move over as they are.
    const Comparer compare = comparer;
    Chain().Merge(other.Chain(), [compare](ListNode *a, ListNode *b) { return compare(a->data, b->data) <= 0; });
}

void DoubleListOfPtr::Split(DoubleListOfPtr &other, ListNode &at) {
    if (&other == this)
        return;
    other.Clear();
    Chain().CutFrom(&at, other.Chain());
}

// ---------------------------------------------------------------- removing

void DoubleListOfPtr::DetachNode(ListNode *node) {
    Chain().Unlink(node);
}

void *DoubleListOfPtr::Detach(void *p) {
    if (!p)
        return nullptr;
    ListNode *node = FindNode(p);
    if (!node)
        return nullptr;
    DetachNode(node);
    delete node;
    return p;
}

void DoubleListOfPtr::Delete(void *p) {
    if (Detach(p))
        deleter(p);
}

void DoubleListOfPtr::DetachAll() {
    for (ListNode *node = first; node;) {
        ListNode *next = node->next;
        delete node;
        node = next;
    }
    Chain().Forget();
}

// Each node leaves the list before its object is deleted, so a deleter
// that looks at the list sees it whole.
void DoubleListOfPtr::DeleteAll() {
    while (first) {
        ListNode *node = first;
        void *p = node->data;
        DetachNode(node);
        delete node;
        deleter(p);
    }
}

void *DoubleListOfPtr::Pop() {
    ListNode *node = first;
    if (!node)
        return nullptr;
    void *p = node->data;
    DetachNode(node);
    delete node;
    return p;
}

void DoubleListOfPtr::DeleteFirst() {
    if (first)
        deleter(Pop());
}

int DoubleListOfPtr::DetachEqual(const void *key) {
    for (ListNode *node = first; node; node = node->next)
        if (comparer(node->data, key) == 0) {
            DetachNode(node);
            delete node;
            return 1;
        }
    return 0;
}

int DoubleListOfPtr::DeleteEqual(const void *key) {
    for (ListNode *node = first; node; node = node->next)
        if (comparer(node->data, key) == 0) {
            void *p = node->data;
            DetachNode(node);
            delete node;
            deleter(p);
            return 1;
        }
    return 0;
}

void DoubleListOfPtr::Clear() {
    if (deleteElements)
        DeleteAll();
    else
        DetachAll();
}

// ------------------------------------------------------------- rearranging

void DoubleListOfPtr::Swap(void *a, void *b) {
    if (a == b)
        return;
    ListNode *na = FindNode(a);
    ListNode *nb = FindNode(b);
    if (!na || !nb)
        return;
    na->data = b;
    nb->data = a;
}

void DoubleListOfPtr::Rotate(void *a, void *b) {
    if (a == b)
        return;
    // One walk finds both nodes and which comes first.
    ListNode *na = nullptr, *nb = nullptr;
    bool aFirst = false;
    for (ListNode *node = first; node && !(na && nb); node = node->next) {
        if (!na && node->data == a) {
            na = node;
            aFirst = nb == nullptr;
        } else if (!nb && node->data == b) {
            nb = node;
        }
    }
    if (!na || !nb)
        return;
    DetachNode(na);
    if (aFirst)
        Chain().Link(na, nb, nb->next);
    else
        Chain().Link(na, nb->prev, nb);
}

void *DoubleListOfPtr::Replace(void *old, void *p) {
    if (old == p)
        return p;
    ListNode *node = FindNode(old);
    if (!node)
        return nullptr;
    if (deleteElements)
        deleter(old);
    node->data = p;
    return p;
}

void DoubleListOfPtr::Reverse() {
    Chain().Reverse();
}

void DoubleListOfPtr::Sort() {
    wasSorted = 1;
    const Comparer compare = comparer;
    Chain().Sort([compare](ListNode *a, ListNode *b) { return compare(a->data, b->data) <= 0; });
}

// Nodes stay in place and only their pointers move, so the cursor walks
// straight back from the last node.
void DoubleListOfPtr::Shuffle(int seed) {
    if (count < 2)
        return;
    Randomizer random(seed);
    ListNode *cursor = last;
    for (int32_t i = 0; i < count; ++i) {
        ListNode *node = FindNode(static_cast<int>(random.Get(static_cast<uint32_t>(count - i))));
        void *p = node->data;
        node->data = cursor->data;
        cursor->data = p;
        cursor = cursor->prev;
    }
}

// ----------------------------------------------------------------- reading

ListNode *DoubleListOfPtr::FindNode(int i) const {
    ListNode *node = first;
    for (int k = 1; k <= i && node; ++k)
        node = node->next;
    return node;
}

ListNode *DoubleListOfPtr::FindNode(const void *p) const {
    for (ListNode *node = first; node; node = node->next)
        if (node->data == p)
            return node;
    return nullptr;
}

void *DoubleListOfPtr::operator[](int i) const {
    ListNode *node = FindNode(i);
    return node ? node->data : nullptr;
}

void *DoubleListOfPtr::GetNext(const void *p) const {
    ListNode *node = FindNode(p);
    return node && node->next ? node->next->data : nullptr;
}

void *DoubleListOfPtr::GetPrev(const void *p) const {
    ListNode *node = FindNode(p);
    return node && node->prev ? node->prev->data : nullptr;
}

int32_t DoubleListOfPtr::FindIndexOfMember(const void *p) const {
    int32_t index = 0;
    for (ListNode *node = first; node; node = node->next, ++index)
        if (node->data == p)
            return index;
    return -1;
}

void *DoubleListOfPtr::FindEqual(const void *key) const {
    for (ListNode *node = first; node; node = node->next)
        if (comparer(node->data, key) == 0)
            return node->data;
    return nullptr;
}

int32_t DoubleListOfPtr::FindIndexOfEqual(const void *key) const {
    int32_t index = 0;
    for (ListNode *node = first; node; node = node->next, ++index)
        if (comparer(node->data, key) == 0)
            return index;
    return -1;
}

void *DoubleListOfPtr::FindFirstThat(int (*test)(const void *, const void *), const void *argument) const {
    for (ListNode *node = first; node; node = node->next)
        if (test(node->data, argument))
            return node->data;
    return nullptr;
}

void *DoubleListOfPtr::FindLastThat(int (*test)(const void *, const void *), const void *argument) const {
    for (ListNode *node = last; node; node = node->prev)
        if (test(node->data, argument))
            return node->data;
    return nullptr;
}

void DoubleListOfPtr::ForEach(void (*fn)(void *, void *), void *argument) {
    for (ListNode *node = first; node;) {
        ListNode *next = node->next;
        fn(node->data, argument);
        node = next;
    }
}

int DoubleListOfPtr::IsSorted() const {
    for (const ListNode *node = first; node && node->next; node = node->next)
        if (comparer(node->data, node->next->data) > 0)
            return 0;
    return 1;
}

int DoubleListOfPtr::IsSortedBackwards() const {
    for (const ListNode *node = first; node && node->next; node = node->next)
        if (comparer(node->data, node->next->data) < 0)
            return 0;
    return 1;
}

int AreEqual(const DoubleListOfPtr &a, const DoubleListOfPtr &b) {
    if (&a == &b)
        return 1;
    if (a.GetCount() != b.GetCount())
        return 0;
    CollectionOfPtr::Comparer compare = a.GetComparer();
    for (const ListNode *x = a.FindNode(0), *y = b.FindNode(0); x; x = x->next, y = y->next)
        if (compare(x->data, y->data) != 0)
            return 0;
    return 1;
}
