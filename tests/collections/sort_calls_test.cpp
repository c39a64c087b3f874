// The sorts make exactly the comparisons their algorithms fix, in the same
// order, whatever they do to go faster: the array's quicksort against a
// plain Hoare partition, the lists' merge sort over an array of nodes
// against the same sort on the linked chain.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "CommonVcZq/collections/array_base.h"
#include "collections/linked_chain.h"

namespace {

typedef std::vector<std::pair<int, int>> Calls;  // (receiver, argument) by tag

struct Keyed : CollectionElement {
    Keyed(int key, int tag, Calls &calls) : key(key), tag(tag), calls(calls) {}
    int32_t Compare(const CollectionElement &other, int mode) const override {
        const Keyed &o = static_cast<const Keyed &>(other);
        calls.emplace_back(tag, o.tag);
        return mode ? (o.key > key) - (o.key < key) : (key > o.key) - (key < o.key);
    }
    int key, tag;
    Calls &calls;
};

// The quicksort as its steps are written: middle pivot held by pointer,
// both scans unbounded, exchange unless the same cell, recursion on the
// left part and a loop on the right.
void ReferenceQuickSort(CollectionElement **a, int left, int right, int mode) {
    for (;;) {
        int i = left, j = right;
        const CollectionElement *pivot = a[left + (right - left) / 2];
        do {
            while (a[i]->Compare(*pivot, mode) < 0)
                ++i;
            while (a[j]->Compare(*pivot, mode) > 0)
                --j;
            if (i > j)
                break;
            if (i != j)
                std::swap(a[i], a[j]);
            ++i;
            --j;
        } while (i <= j);
        if (left < j)
            ReferenceQuickSort(a, left, j, mode);
        if (i >= right)
            return;
        left = i;
    }
}

TEST(SortCalls, ArrayQuickSortMakesThePartitionsCalls) {
    std::mt19937 random(3);
    for (int n : {2, 3, 5, 9, 17, 100, 1000, 5000}) {
        for (int shape = 0; shape < 4; ++shape) {  // random with repeats, sorted, reversed, equal
            Calls calls, expected;
            std::vector<Keyed> elements, copies;
            elements.reserve(n);
            copies.reserve(n);
            for (int i = 0; i < n; ++i) {
                int key = shape == 0 ? static_cast<int>(random() % (n / 2 + 1)) : shape == 1 ? i : shape == 2 ? -i : 7;
                elements.emplace_back(key, i, calls);
                copies.emplace_back(key, i, expected);
            }
            const int mode = static_cast<int>(random() % 2);
            ArrayBase array(0, 0, 0);
            array.SetCompareMode(mode);
            std::vector<CollectionElement *> reference;
            for (int i = 0; i < n; ++i) {
                array.Add(&elements[i]);
                reference.push_back(&copies[i]);
            }
            array.Sort();
            ReferenceQuickSort(reference.data(), 0, n - 1, mode);
            EXPECT_EQ(expected, calls) << n << " elements of shape " << shape;
            for (int i = 0; i < n; ++i)
                ASSERT_EQ(static_cast<Keyed *>(reference[i])->tag, static_cast<Keyed &>(array[i]).tag);
        }
    }
}

struct Node {
    Node *next, *prev;
    int key, tag;
};

// Sorts nodes with the given keys both ways and compares the calls, the
// order and both directions of links.
void SortBothWays(const std::vector<int> &keys) {
    const int32_t n = static_cast<int32_t>(keys.size());
    std::vector<Node> nodes[2];
    Calls calls[2];
    for (int way = 0; way < 2; ++way) {
        Node *first = nullptr, *last = nullptr;
        int32_t count = 0;
        LinkedChain<Node> chain(first, last, count);
        nodes[way].resize(n);
        for (int32_t i = 0; i < n; ++i) {
            nodes[way][i].key = keys[i];
            nodes[way][i].tag = i;
            chain.Link(&nodes[way][i], last, nullptr);
        }
        Calls &log = calls[way];
        auto inOrder = [&log](Node *a, Node *b) {
            log.emplace_back(a->tag, b->tag);
            return a->key <= b->key;
        };
        if (way == 0)
            chain.Sort(inOrder);
        else
            chain.SortLinked(inOrder);
        std::vector<int> forward, backward;
        for (Node *node = first; node; node = node->next)
            forward.push_back(node->tag);
        for (Node *node = last; node; node = node->prev)
            backward.insert(backward.begin(), node->tag);
        EXPECT_EQ(forward, backward);
        ASSERT_EQ(size_t(n), forward.size());
        for (int32_t i = 1; i < n; ++i)  // stable: equal keys keep their order
            ASSERT_TRUE(keys[forward[i - 1]] < keys[forward[i]] ||
                        (keys[forward[i - 1]] == keys[forward[i]] && forward[i - 1] < forward[i]));
    }
    EXPECT_EQ(calls[1], calls[0]) << n << " nodes";
}

TEST(SortCalls, ListMergeSortOverAnArrayMakesTheChainsCalls) {
    std::mt19937 random(11);
    for (int n : {0, 1, 2, 3, 4, 7, 16, 33, 1000, 4097}) {
        std::vector<int> keys(n);
        for (int &key : keys)
            key = static_cast<int>(random() % (n / 3 + 1));  // many repeats
        SortBothWays(keys);
        std::sort(keys.begin(), keys.end());
        SortBothWays(keys);
        std::reverse(keys.begin(), keys.end());
        SortBothWays(keys);
    }
}

}  // namespace
