// Undo, pointer lists and cached messages, each beside its peer in the same
// run.
//
//  - Undo_Adopt*: a million mementos through AUndoable::AdoptMemento with a
//    limit of 1000.  GroupingPacking runs a pattern in cycles of ten: six
//    packable "type" steps of one instance (packed to one when the next
//    action comes), two "move" steps (the second grouped by CanGroup), a
//    "bold" step and a repeat of its state (grouped by IsSameState).
//    Plain adopts mementos that take part in neither.  AllocOnly makes and
//    deletes the same mementos and nothing else: the floor under both.
//  - List_Append, List_Sort (for each list type) and *List_Find: DoubleListOfPtr beside
//    DoubleList on the same elements in the same random order, compared by
//    the same virtual Compare (the pointer list's comparer calls it).  Find
//    searches for the last element, a full walk.
//  - Messages_*: FindCachedString on a hit beside FindString, which builds
//    and releases a String, over the same 27 ids.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "CommonVcZq/collections/double_list.h"
#include "CommonVcZq/collections/double_list_of_ptr.h"
#include "CommonVcZq/text/message_cache.h"
#include "CommonVcZq/text/messages.h"
#include "CommonVcZq/undo/undoable.h"

namespace {

// ------------------------------------------------------------------- undo

constexpr int kMementos = 1000000;

enum Kind { kType, kMove, kBold, kPlain };

struct BenchStep : AUndoMemento {
    BenchStep(const String &name, int instance, int state, int packable, Kind kind)
        : AUndoMemento(name, instance, packable, 0), state(state), kind(kind) {}
    int32_t IsSameState(const AUndoMemento &other) const override {
        return state == static_cast<const BenchStep &>(other).state;
    }
    int32_t IsMergeable() const override { return kind != kPlain; }
    int32_t CanGroup(const AUndoMemento &other) const override {
        return kind == kMove && static_cast<const BenchStep &>(other).kind == kMove;
    }
    int state;
    Kind kind;
};

struct BenchDocument : AUndoable {
    BenchDocument() : AUndoable(1000) {}
    AUndoMemento *RestoreMemento(AUndoMemento *, int) override { return nullptr; }
};

// The names are made once, so that a memento shares its name's text.
const String &TypeName() {
    static const String name("type");
    return name;
}
const String &MoveName() {
    static const String name("move");
    return name;
}
const String &BoldName() {
    static const String name("bold");
    return name;
}

BenchStep *MakeStep(int i) {
    const int cycle = i / 10;
    const int phase = i % 10;
    if (phase < 6)
        return new BenchStep(TypeName(), cycle, i, 1, kType);
    if (phase < 8)
        return new BenchStep(MoveName(), cycle, i, 0, kMove);
    // Phase 9 repeats the state of phase 8.
    return new BenchStep(BoldName(), cycle, phase == 8 ? i : i - 1, 0, kBold);
}

void Undo_AdoptGroupingPacking(benchmark::State &state) {
    int32_t stored = 0;
    for (auto _ : state) {
        BenchDocument doc;
        for (int i = 0; i < kMementos; ++i)
            doc.AdoptMemento(MakeStep(i));
        stored = doc.GetNumUndoMementos();
        benchmark::DoNotOptimize(stored);
    }
    state.SetItemsProcessed(state.iterations() * kMementos);
    state.counters["kept"] = stored;
}

void Undo_AdoptPlain(benchmark::State &state) {
    for (auto _ : state) {
        BenchDocument doc;
        for (int i = 0; i < kMementos; ++i)
            doc.AdoptMemento(new BenchStep(TypeName(), i, i, 0, kPlain));
        benchmark::DoNotOptimize(doc.GetNumUndoMementos());
    }
    state.SetItemsProcessed(state.iterations() * kMementos);
}

void Undo_AllocOnly(benchmark::State &state) {
    for (auto _ : state)
        for (int i = 0; i < kMementos; ++i) {
            BenchStep *step = MakeStep(i);
            benchmark::DoNotOptimize(step);
            delete step;
        }
    state.SetItemsProcessed(state.iterations() * kMementos);
}

// ------------------------------------------------------------------ lists

constexpr int kElements = 200000;

struct Item : ListElement {
    explicit Item(int key) : key(key) {}
    int32_t Compare(const CollectionElement &other, int) const override {
        const int k = static_cast<const Item &>(other).key;
        return key < k ? -1 : key > k ? 1 : 0;
    }
    int key;
};

int CompareItems(const void *a, const void *b) {
    return static_cast<const Item *>(a)->Compare(*static_cast<const Item *>(b), 0);
}

// The items, allocated once in a random order of their keys.
const std::vector<std::unique_ptr<Item>> &Items() {
    static const std::vector<std::unique_ptr<Item>> items = [] {
        std::vector<int> keys(kElements);
        for (int i = 0; i < kElements; ++i)
            keys[i] = i;
        std::shuffle(keys.begin(), keys.end(), std::mt19937(42));
        std::vector<std::unique_ptr<Item>> v;
        v.reserve(kElements);
        for (int key : keys)
            v.push_back(std::make_unique<Item>(key));
        return v;
    }();
    return items;
}

void Fill(DoubleList &list) {
    for (const auto &item : Items())
        list.Append(item.get());
}

void Fill(DoubleListOfPtr &list) {
    for (const auto &item : Items())
        list.Append(item.get());
}

// The same timings on both kinds of list: a list of `ListType` that owns
// nothing, given the comparison of Items where it needs one.
void Prepare(DoubleList &) {}
void Prepare(DoubleListOfPtr &list) {
    list.SetComparer(CompareItems);
}

template <class ListType>
void List_Append(benchmark::State &state) {
    ListType list(0);
    for (auto _ : state) {
        Fill(list);
        benchmark::DoNotOptimize(list.GetLast());
        state.PauseTiming();
        list.DetachAll();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}

template <class ListType>
void List_Sort(benchmark::State &state) {
    ListType list(0);
    Prepare(list);
    for (auto _ : state) {
        state.PauseTiming();
        list.DetachAll();
        Fill(list);
        state.ResumeTiming();
        list.Sort();
        benchmark::DoNotOptimize(list.GetFirst());
    }
    state.SetItemsProcessed(state.iterations() * kElements);
}

void DoubleList_Find(benchmark::State &state) {
    DoubleList list(0);
    Fill(list);
    const Item key(Items().back()->key);
    for (auto _ : state)
        benchmark::DoNotOptimize(list.FindEqual(key));
    state.SetItemsProcessed(state.iterations() * kElements);
    list.DetachAll();
}

void PtrList_Find(benchmark::State &state) {
    DoubleListOfPtr list(0);
    Prepare(list);
    Fill(list);
    const Item key(Items().back()->key);
    for (auto _ : state)
        benchmark::DoNotOptimize(list.FindEqual(&key));
    state.SetItemsProcessed(state.iterations() * kElements);
}

// --------------------------------------------------------------- messages

constexpr unsigned int kFirstId = 18000, kLastId = 18026;

void Messages_FindCachedStringHit(benchmark::State &state) {
    for (unsigned int id = kFirstId; id <= kLastId; ++id)
        FindCachedString(id);  // fill the cache before timing
    for (auto _ : state)
        for (unsigned int id = kFirstId; id <= kLastId; ++id)
            benchmark::DoNotOptimize(FindCachedString(id).c_str());
    state.SetItemsProcessed(state.iterations() * (kLastId - kFirstId + 1));
}

void Messages_FindString(benchmark::State &state) {
    for (auto _ : state)
        for (unsigned int id = kFirstId; id <= kLastId; ++id) {
            String text(FindString(id));
            benchmark::DoNotOptimize(text.c_str());
        }
    state.SetItemsProcessed(state.iterations() * (kLastId - kFirstId + 1));
}

}  // namespace

BENCHMARK(Undo_AdoptGroupingPacking)->Unit(benchmark::kMillisecond);
BENCHMARK(Undo_AdoptPlain)->Unit(benchmark::kMillisecond);
BENCHMARK(Undo_AllocOnly)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(List_Append, DoubleList)->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(List_Append, DoubleListOfPtr)->Unit(benchmark::kMicrosecond);
BENCHMARK(DoubleList_Find)->Unit(benchmark::kMicrosecond);
BENCHMARK(PtrList_Find)->Unit(benchmark::kMicrosecond);
BENCHMARK_TEMPLATE(List_Sort, DoubleList)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(List_Sort, DoubleListOfPtr)->Unit(benchmark::kMillisecond);
BENCHMARK(Messages_FindCachedStringHit);
BENCHMARK(Messages_FindString);

BENCHMARK_MAIN();
