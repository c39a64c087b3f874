// DoubleList::Sort beside std::list::sort, in the same run.
//
// A million elements in a fixed random order.  Before each timed sort the
// list is rebuilt in that order (untimed) from elements allocated in that
// order, so both lists start with the same memory layout.
//
//  - DoubleList_Sort: elements are Items whose virtual Compare orders by an
//    int key, as any element class of the library does.
//  - StdList_SortSameCompare: std::list<Item *> sorted with the same virtual
//    Compare call, the like-for-like peer.
//  - StdList_SortInts: std::list<int> with operator<, the idiomatic peer
//    with an inlined comparison.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <list>
#include <memory>
#include <random>
#include <vector>

#include "CommonVcZq/collections/double_list.h"

namespace {

constexpr int kCount = 1000000;

struct Item : ListElement {
    explicit Item(int key) : key(key) {}
    int32_t Compare(const CollectionElement &other, int) const override {
        const int k = static_cast<const Item &>(other).key;
        return key < k ? -1 : key > k ? 1 : 0;
    }
    int key;
};

const std::vector<int> &RandomKeys() {
    static const std::vector<int> keys = [] {
        std::vector<int> k(kCount);
        for (int i = 0; i < kCount; ++i)
            k[i] = i;
        std::shuffle(k.begin(), k.end(), std::mt19937(42));
        return k;
    }();
    return keys;
}

// The items, allocated once in the random order of their keys.
const std::vector<std::unique_ptr<Item>> &Items() {
    static const std::vector<std::unique_ptr<Item>> items = [] {
        std::vector<std::unique_ptr<Item>> v;
        v.reserve(kCount);
        for (int key : RandomKeys())
            v.push_back(std::make_unique<Item>(key));
        return v;
    }();
    return items;
}

void DoubleList_Sort(benchmark::State &state) {
    const auto &items = Items();
    DoubleList list(0);
    for (auto _ : state) {
        state.PauseTiming();
        list.DetachAll();
        for (const auto &item : items)
            list.Append(item.get());
        state.ResumeTiming();
        list.Sort();
        benchmark::DoNotOptimize(list.GetFirst());
    }
    list.DetachAll();
}

void StdList_SortSameCompare(benchmark::State &state) {
    const auto &items = Items();
    for (auto _ : state) {
        state.PauseTiming();
        std::list<Item *> list;
        for (const auto &item : items)
            list.push_back(item.get());
        state.ResumeTiming();
        list.sort([](const Item *a, const Item *b) { return a->Compare(*b, 0) < 0; });
        benchmark::DoNotOptimize(list.front());
        state.PauseTiming();
        list.clear();
        state.ResumeTiming();
    }
}

void StdList_SortInts(benchmark::State &state) {
    const auto &keys = RandomKeys();
    for (auto _ : state) {
        state.PauseTiming();
        std::list<int> list(keys.begin(), keys.end());
        state.ResumeTiming();
        list.sort();
        benchmark::DoNotOptimize(list.front());
        state.PauseTiming();
        list.clear();
        state.ResumeTiming();
    }
}

}  // namespace

BENCHMARK(DoubleList_Sort)->Unit(benchmark::kMillisecond);
BENCHMARK(StdList_SortSameCompare)->Unit(benchmark::kMillisecond);
BENCHMARK(StdList_SortInts)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
