// LinkedChain: the link work that the two doubly linked lists share.
//
// DoubleList links its elements through the links they carry, and
// DoubleListOfPtr links nodes that point at the listed objects; the
// pointer surgery is the same.  A LinkedChain is a view of a list's three
// fields, its ends and its count, and does that surgery on nodes of any type
// with `next` and `prev` members.  It never allocates or frees a node, and
// it never compares: an ordering comes in as `inOrder(a, b)`, true when `a`
// may stand ahead of `b` (for a compare function, "a compared with b is not
// above 0").
//
// This header is internal to the library.
#ifndef CVZ_COLLECTIONS_LINKED_CHAIN_H
#define CVZ_COLLECTIONS_LINKED_CHAIN_H

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <new>

template <class Node>
class LinkedChain {
public:
    LinkedChain(Node *&first, Node *&last, int32_t &count) : first(first), last(last), count(count) {}

    // Links `node` between `before` and `after`, neighbours or null for an
    // end, overwriting both of its links, and counts it.
    void Link(Node *node, Node *before, Node *after) {
        node->prev = before;
        node->next = after;
        (before ? before->next : first) = node;
        (after ? after->prev : last) = node;
        ++count;
    }

    // Unlinks `node` and counts it out; its own links stay as they were.
    void Unlink(Node *node) {
        (node->prev ? node->prev->next : first) = node->next;
        (node->next ? node->next->prev : last) = node->prev;
        --count;
    }

    // Forgets every node: both ends null, the count 0.
    void Forget() {
        first = last = nullptr;
        count = 0;
    }

    // Moves all of `other` in ahead of `after` (null: behind the last node)
    // in constant time; `other` ends empty.
    void Splice(LinkedChain other, Node *after) {
        if (other.count == 0)
            return;
        Node *before = after ? after->prev : last;
        other.first->prev = before;
        other.last->next = after;
        (before ? before->next : first) = other.first;
        (after ? after->prev : last) = other.last;
        count += other.count;
        other.Forget();
    }

    // Moves `at` and every node behind it to `other`, which must be empty.
    // What stays is counted by a walk.
    void CutFrom(Node *at, LinkedChain other) {
        Node *before = at->prev;
        other.first = at;
        other.last = last;
        at->prev = nullptr;
        (before ? before->next : first) = nullptr;
        last = before;
        int32_t kept = 0;
        for (Node *node = first; node; node = node->next)
            ++kept;
        other.count = count - kept;
        count = kept;
    }

    // Exchanges the links of every node, then the ends.
    void Reverse() {
        for (Node *node = first; node;) {
            Node *next = node->next;
            node->next = node->prev;
            node->prev = next;
            node = next;
        }
        Node *oldFirst = first;
        first = last;
        last = oldFirst;
    }

    // Merges the nodes of `other` into this chain, both taken to be in
    // order: a node of `other` goes ahead of the first node here that it
    // must precede, so of equal nodes, this chain's come first.  Once this
    // chain runs out, the rest of `other` is spliced on.  `other` ends empty.
    template <class InOrder>
    void Merge(LinkedChain other, InOrder inOrder) {
        Node *a = first;
        while (Node *b = other.first) {
            if (!a) {
                Splice(other, nullptr);
                return;
            }
            if (inOrder(a, b)) {
                a = a->next;
            } else {
                other.Unlink(b);
                Link(b, a->prev, a);
            }
        }
    }

    // A stable top-down merge sort: the first count / 2 nodes and the rest
    // are sorted, then merged with a node of the first half ahead of an
    // equal one of the second, and when either half runs out the rest of the
    // other follows without a comparison.  The nodes are sorted as an array
    // of pointers, which lets the merges read ahead and fetch the nodes they
    // will compare before they need them; when that array cannot be had,
    // SortLinked does the same on the `next` chain.  Both make the same calls
    // of `inOrder`, in the same order.
    template <class InOrder>
    void Sort(InOrder inOrder) {
        if (count < 2)
            return;
        const int32_t n = count;
        std::unique_ptr<Node *[]> array(new (std::nothrow) Node *[2 * static_cast<size_t>(n)]);
        Node **nodes = array.get();
        if (!nodes) {
            SortLinked(inOrder);
            return;
        }
        Node *node = first;
        for (int32_t i = 0; i < n; ++i, node = node->next)
            nodes[i] = node;
        SortRange(nodes, nodes + n, n, false, inOrder);
        Node *prev = nullptr;
        for (int32_t i = 0; i < n; ++i) {
            if (i + kAhead < n)
                __builtin_prefetch(nodes[i + kAhead], 1);
            nodes[i]->prev = prev;
            if (prev)
                prev->next = nodes[i];
            prev = nodes[i];
        }
        prev->next = nullptr;
        first = nodes[0];
        last = prev;
    }

    // The same sort on the `next` chain alone, renewing the `prev` links in
    // one pass at the end.
    template <class InOrder>
    void SortLinked(InOrder inOrder) {
        if (count < 2)
            return;
        Node *cursor = first;
        first = SortRun(&cursor, count, inOrder);
        Node *prev = nullptr;
        for (Node *node = first; node; node = node->next) {
            node->prev = prev;
            prev = node;
        }
        last = prev;
    }

private:
    // How many places ahead the array sort fetches the nodes it will reach.
    static constexpr int32_t kAhead = 8;

    // Sorts the `n` (at least 1) nodes at `a`, leaving them sorted at `b`
    // when `intoB` is set, else at `a`; the other array of `n` is scratch.
    template <class InOrder>
    static void SortRange(Node **a, Node **b, int32_t n, bool intoB, InOrder &inOrder) {
        if (n == 1) {
            if (intoB)
                b[0] = a[0];
            return;
        }
        const int32_t half = n / 2;
        SortRange(a, b, half, !intoB, inOrder);
        SortRange(a + half, b + half, n - half, !intoB, inOrder);
        if (intoB)
            MergeTo(a, half, a + half, n - half, b, inOrder);
        else
            MergeTo(b, half, b + half, n - half, a, inOrder);
    }

    // Merges the sorted runs `a` and `b` into `out`, a node of `a` first
    // when `inOrder(a, b)`.
    template <class InOrder>
    static void MergeTo(Node **a, int32_t aCount, Node **b, int32_t bCount, Node **out, InOrder &inOrder) {
        int32_t i = 0, j = 0;
        while (i < aCount && j < bCount) {
            if (i + kAhead < aCount)
                __builtin_prefetch(a[i + kAhead]);
            if (j + kAhead < bCount)
                __builtin_prefetch(b[j + kAhead]);
            if (inOrder(a[i], b[j]))
                *out++ = a[i++];
            else
                *out++ = b[j++];
        }
        while (i < aCount)
            *out++ = a[i++];
        while (j < bCount)
            *out++ = b[j++];
    }

    // Sorts the `n` nodes that start at `*cursor` and leaves `*cursor` on
    // the node behind them.  Taking the halves from a moving cursor spares
    // the walk to the middle.  Returns the head of the sorted run, whose
    // last node has a null `next`.
    template <class InOrder>
    static Node *SortRun(Node **cursor, int32_t n, InOrder &inOrder) {
        if (n == 1) {
            Node *node = *cursor;
            *cursor = node->next;
            node->next = nullptr;
            return node;
        }
        Node *a = SortRun(cursor, n / 2, inOrder);
        Node *b = SortRun(cursor, n - n / 2, inOrder);
        Node *head = nullptr;
        Node **tail = &head;
        while (a && b) {
            Node *&taken = inOrder(a, b) ? a : b;
            *tail = taken;
            tail = &taken->next;
            taken = taken->next;
        }
        *tail = a ? a : b;
        return head;
    }

    Node *&first;
    Node *&last;
    int32_t &count;
};

#endif
