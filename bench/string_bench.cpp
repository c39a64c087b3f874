// String against std::string: copy, assignment, appending, finding,
// joining and trimming.
// Each case runs on both in the same process, so their times can be set
// side by side.
#include <benchmark/benchmark.h>

#include <string.h>

#include <string>

#include "CommonVcZq/text/string.h"

namespace {

const char kText[] = "The quick brown fox jumps over the lazy dog, again and again and again.";

void Copy_String(benchmark::State &state) {
    String source(kText);
    for (auto _ : state) {
        String copy(source);
        benchmark::DoNotOptimize(copy.c_str());
    }
}
BENCHMARK(Copy_String);

void Copy_StdString(benchmark::State &state) {
    std::string source(kText);
    for (auto _ : state) {
        std::string copy(source);
        benchmark::DoNotOptimize(copy.data());
    }
}
BENCHMARK(Copy_StdString);

void AssignText_String(benchmark::State &state) {
    String target;
    for (auto _ : state) {
        target = kText;
        benchmark::DoNotOptimize(target.c_str());
    }
}
BENCHMARK(AssignText_String);

void AssignText_StdString(benchmark::State &state) {
    std::string target;
    for (auto _ : state) {
        target = kText;
        benchmark::DoNotOptimize(target.data());
    }
}
BENCHMARK(AssignText_StdString);

void AssignShared_String(benchmark::State &state) {
    String source(kText), target;
    for (auto _ : state) {
        target = source;
        benchmark::DoNotOptimize(target.c_str());
    }
}
BENCHMARK(AssignShared_String);

void AssignShared_StdString(benchmark::State &state) {
    std::string source(kText), target;
    for (auto _ : state) {
        target = source;
        benchmark::DoNotOptimize(target.data());
    }
}
BENCHMARK(AssignShared_StdString);

// Appending a short word at a time, state.range(0) times.
void AppendLoop_String(benchmark::State &state) {
    const int64_t n = state.range(0);
    for (auto _ : state) {
        String s;
        for (int64_t i = 0; i < n; ++i)
            s += "word ";
        benchmark::DoNotOptimize(s.c_str());
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(AppendLoop_String)->Arg(64)->Arg(4096);

void AppendLoop_StdString(benchmark::State &state) {
    const int64_t n = state.range(0);
    for (auto _ : state) {
        std::string s;
        for (int64_t i = 0; i < n; ++i)
            s += "word ";
        benchmark::DoNotOptimize(s.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(AppendLoop_StdString)->Arg(64)->Arg(4096);

// Finding a word near the end of a text of about 4 KB.
std::string MakeHaystack() {
    std::string text;
    while (text.size() < 4000)
        text += "lorem ipsum dolor sit amet ";
    return text + "needle";
}

void Find_String(benchmark::State &state) {
    String haystack(MakeHaystack().c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(haystack.FindFirst("needle"));
}
BENCHMARK(Find_String);

void Find_StdString(benchmark::State &state) {
    std::string haystack = MakeHaystack();
    for (auto _ : state)
        benchmark::DoNotOptimize(haystack.find("needle"));
}
BENCHMARK(Find_StdString);

void FindIgnoringCase_String(benchmark::State &state) {
    String haystack(MakeHaystack().c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(haystack.FindFirst("NEEDLE", 0));
}
BENCHMARK(FindIgnoringCase_String);

void FindLast_String(benchmark::State &state) {
    String haystack(MakeHaystack().c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(haystack.FindLast("ipsum"));
}
BENCHMARK(FindLast_String);

void FindLast_StdString(benchmark::State &state) {
    std::string haystack = MakeHaystack();
    for (auto _ : state)
        benchmark::DoNotOptimize(haystack.rfind("ipsum"));
}
BENCHMARK(FindLast_StdString);

// Joining two texts into a new one.
void Join_String(benchmark::State &state) {
    String a(kText), b(" and a tail");
    for (auto _ : state) {
        String joined(a + b);
        benchmark::DoNotOptimize(joined.c_str());
    }
}
BENCHMARK(Join_String);

void Join_StdString(benchmark::State &state) {
    std::string a(kText), b(" and a tail");
    for (auto _ : state) {
        std::string joined(a + b);
        benchmark::DoNotOptimize(joined.data());
    }
}
BENCHMARK(Join_StdString);

// Trimming blanks from both ends of a copy.
void Trim_String(benchmark::State &state) {
    String padded("   \t  some words in the middle  \t   ");
    for (auto _ : state) {
        String s(padded);
        s.Trim();
        benchmark::DoNotOptimize(s.c_str());
    }
}
BENCHMARK(Trim_String);

void Trim_StdString(benchmark::State &state) {
    std::string padded("   \t  some words in the middle  \t   ");
    for (auto _ : state) {
        std::string s(padded);
        s.erase(s.find_last_not_of(" \t") + 1);
        s.erase(0, s.find_first_not_of(" \t"));
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(Trim_StdString);

void Compare_String(benchmark::State &state) {
    String a(kText), b(kText);
    for (auto _ : state)
        benchmark::DoNotOptimize(a == b);
}
BENCHMARK(Compare_String);

void Compare_StdString(benchmark::State &state) {
    std::string a(kText), b(kText);
    for (auto _ : state)
        benchmark::DoNotOptimize(a == b);
}
BENCHMARK(Compare_StdString);

}  // namespace

BENCHMARK_MAIN();
