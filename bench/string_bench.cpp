// String against std::string: copy, assignment, appending, finding,
// joining, trimming and comparing.
// Each case runs on both in the same process, so their times can be set
// side by side.
#include <benchmark/benchmark.h>

#include <string.h>
#include <strings.h>

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

// Appending one character at a time, a million times.
constexpr int kChars = 1000000;

void AppendChar_String(benchmark::State &state) {
    for (auto _ : state) {
        String s;
        for (int i = 0; i < kChars; ++i)
            s += 'x';
        benchmark::DoNotOptimize(s.c_str());
    }
    state.SetItemsProcessed(state.iterations() * kChars);
}
BENCHMARK(AppendChar_String)->Unit(benchmark::kMicrosecond);

void AppendChar_StdString(benchmark::State &state) {
    for (auto _ : state) {
        std::string s;
        for (int i = 0; i < kChars; ++i)
            s += 'x';
        benchmark::DoNotOptimize(s.data());
    }
    state.SetItemsProcessed(state.iterations() * kChars);
}
BENCHMARK(AppendChar_StdString)->Unit(benchmark::kMicrosecond);

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

// Comparisons of two texts, with the argument naming the pair: 0 equal,
// 1 different in the last character, 2 different in the first, 3 one a
// prefix of the other (different lengths), 4 different lengths and first
// characters.  Each pair is compared for equality and for order, bytewise
// and (the _IgnoringCase cases, against strcasecmp) ignoring case.
const char *const kPairs[][2] = {
    {kText, kText},
    {kText, "The quick brown fox jumps over the lazy dog, again and again and again!"},
    {kText, "the quick brown fox jumps over the lazy dog, again and again and again."},
    {kText, "The quick brown fox jumps over the lazy dog, again and again and again. And more."},
    {kText, "A quick brown fox"},
};
// The second text of each pair in other case, for the case-blind runs.
const char *const kOtherCase[] = {
    "THE QUICK BROWN FOX JUMPS OVER THE LAZY DOG, AGAIN AND AGAIN AND AGAIN.",
    "THE QUICK BROWN FOX JUMPS OVER THE LAZY DOG, AGAIN AND AGAIN AND AGAIN!",
    "xHE QUICK BROWN FOX JUMPS OVER THE LAZY DOG, AGAIN AND AGAIN AND AGAIN.",
    "THE QUICK BROWN FOX JUMPS OVER THE LAZY DOG, AGAIN AND AGAIN AND AGAIN. AND MORE.",
    "A QUICK BROWN FOX",
};

void Equal_String(benchmark::State &state) {
    String a(kPairs[state.range(0)][0]), b(kPairs[state.range(0)][1]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(a == b);
    }
}
BENCHMARK(Equal_String)->DenseRange(0, 4);

void Equal_StdString(benchmark::State &state) {
    std::string a(kPairs[state.range(0)][0]), b(kPairs[state.range(0)][1]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(a == b);
    }
}
BENCHMARK(Equal_StdString)->DenseRange(0, 4);

void Less_String(benchmark::State &state) {
    String a(kPairs[state.range(0)][0]), b(kPairs[state.range(0)][1]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(a < b);
    }
}
BENCHMARK(Less_String)->DenseRange(0, 4);

void Less_StdString(benchmark::State &state) {
    std::string a(kPairs[state.range(0)][0]), b(kPairs[state.range(0)][1]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(a < b);
    }
}
BENCHMARK(Less_StdString)->DenseRange(0, 4);

void EqualIgnoringCase_String(benchmark::State &state) {
    CaseSensitive mode(0);
    String a(kPairs[state.range(0)][0]), b(kOtherCase[state.range(0)]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(a == b);
    }
}
BENCHMARK(EqualIgnoringCase_String)->DenseRange(0, 4);

void EqualIgnoringCase_StdString(benchmark::State &state) {
    std::string a(kPairs[state.range(0)][0]), b(kOtherCase[state.range(0)]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(a.size() == b.size() && strcasecmp(a.c_str(), b.c_str()) == 0);
    }
}
BENCHMARK(EqualIgnoringCase_StdString)->DenseRange(0, 4);

void LessIgnoringCase_String(benchmark::State &state) {
    CaseSensitive mode(0);
    String a(kPairs[state.range(0)][0]), b(kOtherCase[state.range(0)]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(a < b);
    }
}
BENCHMARK(LessIgnoringCase_String)->DenseRange(0, 4);

void LessIgnoringCase_StdString(benchmark::State &state) {
    std::string a(kPairs[state.range(0)][0]), b(kOtherCase[state.range(0)]);
    for (auto _ : state) {
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(strcasecmp(a.c_str(), b.c_str()) < 0);
    }
}
BENCHMARK(LessIgnoringCase_StdString)->DenseRange(0, 4);

}  // namespace

BENCHMARK_MAIN();
