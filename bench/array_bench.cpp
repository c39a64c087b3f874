// ArrayBase::Sort beside std::sort, in the same run.
//
// Both sort the same 1,000,000 pointers to elements with an int key, with
// the same comparison: the element's virtual Compare, which std::sort calls
// through a function pointer.  The input is in
// random order (argument 0) or already sorted (argument 1); each iteration
// restores it with the clock stopped, so only the sort is timed.
#include <benchmark/benchmark.h>

#include <stdint.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "CommonVcZq/collections/array_base.h"

namespace {

constexpr int kElements = 1000000;

class Keyed : public CollectionElement {
public:
    explicit Keyed(int32_t key) : key(key) {}
    int32_t Compare(const CollectionElement &other, int) const override {
        const int32_t otherKey = static_cast<const Keyed &>(other).key;
        return key < otherKey ? -1 : key > otherKey ? 1 : 0;
    }

private:
    int32_t key;
};

// The elements, and the order of their pointers for each input shape.
struct Input {
    std::vector<std::unique_ptr<Keyed>> elements;
    std::vector<CollectionElement *> order[2];

    Input() {
        std::mt19937 random(42);
        for (int i = 0; i < kElements; ++i)
            elements.emplace_back(new Keyed(static_cast<int32_t>(random() >> 1)));
        for (const auto &e : elements)
            order[0].push_back(e.get());
        order[1] = order[0];
        std::sort(order[1].begin(), order[1].end(),
                  [](const CollectionElement *a, const CollectionElement *b) { return a->Compare(*b, 0) < 0; });
    }
};

const std::vector<CollectionElement *> &Order(int shape) {
    static const Input input;
    return input.order[shape];
}

void ArrayBaseSort(benchmark::State &state) {
    const std::vector<CollectionElement *> &order = Order(static_cast<int>(state.range(0)));
    ArrayBase source(0, 0, 0), work(0, 0, 0);
    for (CollectionElement *e : order)
        source.Add(e);
    for (auto _ : state) {
        state.PauseTiming();
        work.CellSequence::Assign(source, 1);  // the pointers as raw cells
        state.ResumeTiming();
        work.Sort();
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}

// std::sort's comparison, passed as a function pointer.
bool ComparesBelow(const CollectionElement *a, const CollectionElement *b) {
    return a->Compare(*b, 0) < 0;
}

void StdSort(benchmark::State &state) {
    const std::vector<CollectionElement *> &order = Order(static_cast<int>(state.range(0)));
    std::vector<CollectionElement *> work;
    for (auto _ : state) {
        state.PauseTiming();
        work = order;
        state.ResumeTiming();
        std::sort(work.begin(), work.end(), &ComparesBelow);
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}

}  // namespace

BENCHMARK(ArrayBaseSort)->ArgName("sorted")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(StdSort)->ArgName("sorted")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
