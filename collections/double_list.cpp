// ListElement, DoubleList and the free AreEqual for lists.
//
// The pointer work on the links is LinkedChain's, shared with
// DoubleListOfPtr; what is here decides which elements move, which are
// cloned and which are deleted.
#include "CommonVcZq/collections/double_list.h"

#include "collections/linked_chain.h"

#include "CommonVcZq/tools/randomizer.h"

ListElement::~ListElement() {}

// ------------------------------------------------------------ construction

DoubleList::DoubleList(int deleteElements)
    : Collection(deleteElements), compareMode(0), first(nullptr), last(nullptr) {}

DoubleList::DoubleList(const DoubleList &other)
    : Collection(other), compareMode(other.compareMode), first(nullptr), last(nullptr) {
    Add(other, nullptr);
}

DoubleList::~DoubleList() {
    if (!deleteElements || count == 0)
        return;
    for (ListElement *e = first; e;) {
        ListElement *next = e->next;
        delete e;
        e = next;
    }
}

void DoubleList::Assign(const DoubleList &other, const void *context) {
    // Emptying first would lose the very elements to be copied.
    if (&other == this)
        return;
    Clear();
    Add(other, context);
}

DoubleList &DoubleList::operator=(const DoubleList &other) {
    compareMode = other.compareMode;
    Assign(other, nullptr);
    return *this;
}

// ------------------------------------------------------------------ adding

LinkedChain<ListElement> DoubleList::Chain() {
    return LinkedChain<ListElement>(first, last, count);
}

ListElement *DoubleList::Append(ListElement *e) {
    Chain().Link(e, last, nullptr);
    return e;
}

ListElement *DoubleList::Prepend(ListElement *e) {
    Chain().Link(e, nullptr, first);
    return e;
}

ListElement *DoubleList::InsertAfter(ListElement *e, ListElement *ref) {
    if (!ref)
        return Prepend(e);
    Chain().Link(e, ref, ref->next);
    return e;
}

ListElement *DoubleList::InsertBefore(ListElement *e, ListElement *ref) {
    if (!ref)
        return Append(e);
    Chain().Link(e, ref->prev, ref);
    return e;
}

ListElement *DoubleList::InsertInSortedList(ListElement *e) {
    ListElement *x = first;
    while (x && e->Compare(*x, compareMode) >= 0)
        x = x->next;
    return InsertBefore(e, x);
}

ListElement *DoubleList::AddUnique(ListElement *e) {
    // A null element has nothing to compare and is not added.
    if (!e)
        return nullptr;
    ListElement *found = FindEqual(*e);
    if (!found)
        return Append(e);
    if (deleteElements)
        delete e;
    return found;
}

// A clone that the heap could not make (null) is left out: the list stays
// whole, one element short.
void DoubleList::Insert(const DoubleList &other, ListElement *ref, const void *context) {
    for (ListElement *e = other.first; e; e = e->next)
        if (ListElement *clone = static_cast<ListElement *>(e->CreateClone(context)))
            InsertBefore(clone, ref);
}

void DoubleList::Add(const DoubleList &other, const void *context) {
    for (ListElement *e = other.first; e; e = e->next)
        if (ListElement *clone = static_cast<ListElement *>(e->CreateClone(context)))
            Append(clone);
}

void DoubleList::Absorb(DoubleList &other, ListElement *ref) {
    if (&other != this)
        Chain().Splice(other.Chain(), ref);
}

void DoubleList::AbsorbAndSort(DoubleList &other) {
    if (&other == this)
        return;
    if (!(wasSorted && other.wasSorted)) {
        for (ListElement *e = other.first; e;) {
            ListElement *next = e->next;
            InsertInSortedList(e);
            e = next;
        }
        other.DetachAll();
        return;
    }
    // Both flagged sorted: merge, trusting the flags.
    const int mode = compareMode;
    Chain().Merge(other.Chain(), [mode](ListElement *a, ListElement *b) { return a->Compare(*b, mode) <= 0; });
}

void DoubleList::Split(DoubleList &other, const ListElement &at) {
    if (&other == this)
        return;
    other.Clear();
    Chain().CutFrom(const_cast<ListElement *>(&at), other.Chain());
}

// ---------------------------------------------------------------- removing

ListElement *DoubleList::Detach(ListElement *e) {
    if (e)
        Chain().Unlink(e);
    return e;
}

void DoubleList::Delete(ListElement *e) {
    if (e)
        delete Detach(e);
}

void DoubleList::DetachAll() {
    Chain().Forget();
}

void DoubleList::DeleteAll() {
    while (first)
        Delete(first);
}

int DoubleList::DetachEqual(const ListElement &key) {
    ListElement *e = FindEqual(key);
    Detach(e);
    return e != nullptr;
}

int DoubleList::DeleteEqual(const ListElement &key) {
    ListElement *e = FindEqual(key);
    Delete(e);
    return e != nullptr;
}

void DoubleList::Clear() {
    if (deleteElements)
        DeleteAll();
    else
        DetachAll();
}

// ------------------------------------------------------------- rearranging

void DoubleList::Swap(ListElement *a, ListElement *b) {
    if (a == b)
        return;
    if (b->next == a) {
        ListElement *t = a;
        a = b;
        b = t;
    }
    if (a->next == b) {
        // Neighbours: p a b n becomes p b a n.
        ListElement *p = a->prev;
        ListElement *n = b->next;
        b->prev = p;
        b->next = a;
        a->prev = b;
        a->next = n;
        if (p)
            p->next = b;
        else
            first = b;
        if (n)
            n->prev = a;
        else
            last = a;
        return;
    }
    ListElement *ap = a->prev, *an = a->next;
    ListElement *bp = b->prev, *bn = b->next;
    a->prev = bp;
    a->next = bn;
    b->prev = ap;
    b->next = an;
    if (ap)
        ap->next = b;
    else
        first = b;
    if (an)
        an->prev = b;
    else
        last = b;
    if (bp)
        bp->next = a;
    else
        first = a;
    if (bn)
        bn->prev = a;
    else
        last = a;
}

void DoubleList::Rotate(ListElement *a, ListElement *b) {
    if (a == b)
        return;
    for (ListElement *e = first; e; e = e->next) {
        if (e == a) {
            Detach(a);
            InsertAfter(a, b);
            return;
        }
        if (e == b) {
            Detach(a);
            InsertBefore(a, b);
            return;
        }
    }
}

ListElement *DoubleList::Replace(ListElement *old, ListElement *e) {
    if (old == e)
        return e;
    ListElement *before = old->prev;
    if (deleteElements)
        Delete(old);
    else
        Detach(old);
    return InsertAfter(e, before);
}

void DoubleList::Reverse() {
    Chain().Reverse();
}

void DoubleList::Sort() {
    wasSorted = 1;
    const int mode = compareMode;
    Chain().Sort([mode](ListElement *a, ListElement *b) { return a->Compare(*b, mode) <= 0; });
}

void DoubleList::Shuffle(int seed) {
    if (count < 2)
        return;
    Randomizer random(seed);
    ListElement *cursor = last;
    for (int32_t i = 0; i < count; ++i) {
        ListElement *e = &(*this)[static_cast<int>(random.Get(static_cast<uint32_t>(count - i)))];
        ListElement *remembered = cursor->prev;
        Swap(e, cursor);
        cursor = remembered;
    }
}

// ----------------------------------------------------------------- reading

ListElement &DoubleList::operator[](int i) const {
    ListElement *e = first;
    for (int k = 1; k <= i; ++k)
        e = e->next;
    return *e;
}

int DoubleList::HasMember(const ListElement *e) const {
    for (const ListElement *x = first; x; x = x->next)
        if (x == e)
            return 1;
    return 0;
}

int32_t DoubleList::FindIndexOfMember(const ListElement &e) const {
    int32_t index = 0;
    for (const ListElement *x = first; x; x = x->next, ++index)
        if (x == &e)
            return index;
    return -1;
}

ListElement *DoubleList::FindEqual(const ListElement &key) const {
    for (ListElement *e = first; e; e = e->next)
        if (e->Compare(key, compareMode) == 0)
            return e;
    return nullptr;
}

int32_t DoubleList::FindIndexOfEqual(const ListElement &key) const {
    int32_t index = 0;
    for (const ListElement *e = first; e; e = e->next, ++index)
        if (e->Compare(key, compareMode) == 0)
            return index;
    return -1;
}

ListElement *DoubleList::FindSmallest() const {
    ListElement *best = first;
    if (best)
        for (ListElement *e = best->next; e; e = e->next)
            if (e->Compare(*best, compareMode) < 0)
                best = e;
    return best;
}

ListElement *DoubleList::FindGreatest() const {
    ListElement *best = first;
    if (best)
        for (ListElement *e = best->next; e; e = e->next)
            if (e->Compare(*best, compareMode) > 0)
                best = e;
    return best;
}

// The searches for the closest element on one side.  `side` is -1 for the
// smaller side, 1 for the greater.  With `stopAtEqual` the first element
// equal to `key` ends the walk and is the result.  Among the elements on
// that side the one nearest to `key` wins; a later one replaces the best so
// far only when strictly nearer, so the first of equals stays.
static ListElement *FindClosest(ListElement *first, const ListElement &key, int mode, int side, bool stopAtEqual) {
    ListElement *best = nullptr;
    for (ListElement *e = first; e; e = e->GetNext()) {
        const int32_t c = e->Compare(key, mode);
        if (c == 0 && stopAtEqual)
            return e;
        const bool onSide = side < 0 ? c < 0 : c > 0;
        if (!onSide)
            continue;
        // Nearer to the key means greater on the smaller side, and smaller
        // on the greater side.
        if (!best || (side < 0 ? e->Compare(*best, mode) > 0 : e->Compare(*best, mode) < 0))
            best = e;
    }
    return best;
}

ListElement *DoubleList::FindClosestSmaller(const ListElement &key) const {
    return FindClosest(first, key, compareMode, -1, false);
}

ListElement *DoubleList::FindClosestGreater(const ListElement &key) const {
    return FindClosest(first, key, compareMode, 1, false);
}

ListElement *DoubleList::FindEqualOrSmaller(const ListElement &key) const {
    return FindClosest(first, key, compareMode, -1, true);
}

ListElement *DoubleList::FindEqualOrGreater(const ListElement &key) const {
    return FindClosest(first, key, compareMode, 1, true);
}

ListElement *DoubleList::FindFirstThat(int (*test)(const CollectionElement &, const void *),
                                       const void *argument) const {
    for (ListElement *e = first; e; e = e->next)
        if (test(*e, argument))
            return e;
    return nullptr;
}

ListElement *DoubleList::FindLastThat(int (*test)(const CollectionElement &, const void *),
                                      const void *argument) const {
    for (ListElement *e = last; e; e = e->prev)
        if (test(*e, argument))
            return e;
    return nullptr;
}

void DoubleList::ForEach(void (*fn)(CollectionElement &, void *), void *argument) {
    for (ListElement *e = first; e;) {
        ListElement *next = e->next;
        fn(*e, argument);
        e = next;
    }
}

int DoubleList::IsSorted() const {
    for (const ListElement *e = first; e && e->next; e = e->next)
        if (e->Compare(*e->next, compareMode) > 0)
            return 0;
    return 1;
}

int DoubleList::IsSortedBackwards() const {
    for (const ListElement *e = first; e && e->next; e = e->next)
        if (e->Compare(*e->next, compareMode) < 0)
            return 0;
    return 1;
}

int AreEqual(const DoubleList &a, const DoubleList &b, int mode) {
    if (&a == &b)
        return 1;
    if (a.GetCount() != b.GetCount())
        return 0;
    for (const ListElement *x = a.GetFirst(), *y = b.GetFirst(); x; x = x->GetNext(), y = y->GetNext())
        if (x->Compare(*y, mode) != 0)
            return 0;
    return 1;
}
