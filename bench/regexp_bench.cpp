// RegularExp beside std::regex (ECMAScript) and, when it is installed, RE2:
// each counts all the matches of a pattern in 1 MB of text.  The patterns
// mean the same in the three languages.  Then searches that fail: "q.*z"
// over 1 MB and 64 KB of the same kind of text, once with no z in it at all,
// and once with a z at the start of every line, in front of all its q's.
// After the runs a table gives, for each case, the best CPU time of
// RegularExp over the repetitions (--benchmark_repetitions) divided by that
// of each peer (below 1: RegularExp is faster), and checks that all found
// as many matches.
#include <benchmark/benchmark.h>

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <map>
#include <regex>
#include <string>
#include <vector>

#ifdef CVZ_HAVE_RE2
#include <re2/re2.h>
#endif

#include "CommonVcZq/text/regexp.h"

namespace {

const char *const kPatterns[] = {
    "zebra",                // a literal that is rare
    "qu[a-z]+",             // a literal, then a set repeated
    "[0-9]+\\.[0-9]+",      // sets around an escaped dot
    "colou?r",              // an optional character
    "[a-z]*ing",            // a repeat that has to give back
    "o.*z",                 // any character up to the last z of a line
    "[A-Z][a-z]+ [a-z]+s",  // a capital word, then a plural
};

// Lines of words, about `size` bytes, made the same in every run.  Without
// z, the words that hold one are left out; with a leading z, each line
// begins with "zone" and has no other z.
enum class Zs { Some, None, Leading };

std::string MakeText(size_t size, Zs zs) {
    static const char *const words[] = {
        "the",   "quick", "brown",   "fox",     "jumps",   "over",  "lazy",     "dog",   "colour",
        "color", "queue", "quietly", "nothing", "singing", "thing", "question", "Alpha", "Bravo",
        "maze",  "zone",  "apples",  "3.14",    "2024",    "ring",  "Charlie",  "ideas", "zebra",
    };
    const size_t wordCount = sizeof words / sizeof words[0];
    std::string result;
    uint32_t seed = 12345;
    size_t lineLength = 0;
    if (zs == Zs::Leading)
        result += "zone ";
    while (result.size() < size) {
        seed = seed * 1103515245u + 12345u;
        // The last word, "zebra", comes about once in 1000.
        size_t pick = (seed >> 16) % (wordCount - 1);
        if ((seed >> 8) % 1000 == 0)
            pick = wordCount - 1;
        if (zs != Zs::Some && strchr(words[pick], 'z'))
            continue;
        result += words[pick];
        lineLength += 6;
        if (lineLength > 70) {
            result += '\n';
            if (zs == Zs::Leading)
                result += "zone ";
            lineLength = 0;
        } else {
            result += ' ';
        }
    }
    return result;
}

const std::string &Text() {
    static const std::string text = MakeText(1u << 20, Zs::Some);
    return text;
}

// A search that fails, on one text.
struct FailingCase {
    const char *name;
    const char *pattern;
    std::string text;
};

const std::vector<FailingCase> &FailingCases() {
    static const std::vector<FailingCase> cases = {
        {"q.*z, no z, 1 MB", "q.*z", MakeText(1u << 20, Zs::None)},
        {"q.*z, no z, 64 KB", "q.*z", MakeText(1u << 16, Zs::None)},
        {"q.*z, z first, 1 MB", "q.*z", MakeText(1u << 20, Zs::Leading)},
        {"q.*z, z first, 64 KB", "q.*z", MakeText(1u << 16, Zs::Leading)},
    };
    return cases;
}

std::vector<std::string> caseNames;                                    // in the order of the runs
std::map<std::string, std::map<std::string, double>> timesByCase;    // case, engine: time
std::map<std::string, std::map<std::string, int64_t>> countsByCase;  // case, engine: matches

void Record(benchmark::State &state, const std::string &name, const char *engine, int64_t matches,
            size_t textSize) {
    state.counters["matches"] = static_cast<double>(matches);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(textSize));
    countsByCase[name][engine] = matches;
}

void FindAll_RegularExp(benchmark::State &state, const char *pattern) {
    const String text(Text().c_str());
    const RegularExp e(pattern);
    int64_t matches = 0;
    for (auto _ : state) {
        matches = 0;
        unsigned int length = 0;
        for (int32_t at = e.Find(text, &length, 0); at >= 0;
             at = e.Find(text, &length, static_cast<unsigned int>(at) + (length ? length : 1)))
            ++matches;
        benchmark::DoNotOptimize(matches);
    }
    Record(state, pattern, "RegularExp", matches, Text().size());
}

void FindAll_StdRegex(benchmark::State &state, const char *pattern) {
    const std::string &text = Text();
    const std::regex re(pattern, std::regex::ECMAScript);
    int64_t matches = 0;
    for (auto _ : state) {
        matches = std::distance(std::sregex_iterator(text.begin(), text.end(), re), std::sregex_iterator());
        benchmark::DoNotOptimize(matches);
    }
    Record(state, pattern, "std::regex", matches, Text().size());
}

#ifdef CVZ_HAVE_RE2
void FindAll_RE2(benchmark::State &state, const char *pattern) {
    const RE2 re(pattern);
    int64_t matches = 0;
    for (auto _ : state) {
        matches = 0;
        re2::StringPiece input(Text());
        while (RE2::FindAndConsume(&input, re))
            ++matches;
        benchmark::DoNotOptimize(matches);
    }
    Record(state, pattern, "RE2", matches, Text().size());
}
#endif

void Fail_RegularExp(benchmark::State &state, const FailingCase *c) {
    const String text(c->text.c_str());
    const RegularExp e(c->pattern);
    int64_t matches = 0;
    for (auto _ : state) {
        unsigned int length = 0;
        matches = e.Find(text, &length, 0) >= 0;
        benchmark::DoNotOptimize(matches);
    }
    Record(state, c->name, "RegularExp", matches, c->text.size());
}

void Fail_StdRegex(benchmark::State &state, const FailingCase *c) {
    const std::regex re(c->pattern, std::regex::ECMAScript);
    int64_t matches = 0;
    for (auto _ : state) {
        matches = std::regex_search(c->text, re);
        benchmark::DoNotOptimize(matches);
    }
    Record(state, c->name, "std::regex", matches, c->text.size());
}

#ifdef CVZ_HAVE_RE2
void Fail_RE2(benchmark::State &state, const FailingCase *c) {
    const RE2 re(c->pattern);
    int64_t matches = 0;
    for (auto _ : state) {
        matches = RE2::PartialMatch(c->text, re);
        benchmark::DoNotOptimize(matches);
    }
    Record(state, c->name, "RE2", matches, c->text.size());
}
#endif

// The console report, with each run's time kept for the table of ratios.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override {
        ConsoleReporter::ReportRuns(runs);
        // The best of the repetitions: on a shared machine the others
        // measure the neighbours as well.
        for (const Run &run : runs) {
            const std::string name = run.benchmark_name();
            const size_t slash = name.rfind(" / ");
            if (slash == std::string::npos || run.run_type != Run::RT_Iteration)
                continue;
            double &best = timesByCase[name.substr(0, slash)][name.substr(slash + 3)];
            if (best == 0 || run.GetAdjustedCPUTime() < best)
                best = run.GetAdjustedCPUTime();
        }
    }
};

void PrintRatios() {
    printf("\n%-22s %12s %12s %12s %14s %10s\n", "case (best CPU time)", "RegularExp", "std::regex", "RE2",
           "/std::regex", "/RE2");
    for (const std::string &name : caseNames) {
        std::map<std::string, double> &times = timesByCase[name];
        const double ours = times["RegularExp"];
        printf("%-22s %10.1fus %10.1fus ", name.c_str(), ours * 1000, times["std::regex"] * 1000);
        if (times.count("RE2"))
            printf("%10.1fus ", times["RE2"] * 1000);
        else
            printf("%12s ", "-");
        printf("%14.3f ", times["std::regex"] > 0 ? ours / times["std::regex"] : 0.0);
        if (times.count("RE2") && times["RE2"] > 0)
            printf("%10.3f\n", ours / times["RE2"]);
        else
            printf("%10s\n", "-");
        const std::map<std::string, int64_t> &counts = countsByCase[name];
        for (const auto &engine : counts) {
            if (engine.second != counts.at("RegularExp"))
                printf("  matches differ: %s found %lld, RegularExp %lld\n", engine.first.c_str(),
                       static_cast<long long>(engine.second), static_cast<long long>(counts.at("RegularExp")));
        }
    }
}

}  // namespace

int main(int argc, char **argv) {
    for (const char *pattern : kPatterns) {
        caseNames.push_back(pattern);
        const std::string prefix = std::string(pattern) + " / ";
        benchmark::RegisterBenchmark((prefix + "RegularExp").c_str(), FindAll_RegularExp, pattern)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((prefix + "std::regex").c_str(), FindAll_StdRegex, pattern)
            ->Unit(benchmark::kMillisecond);
#ifdef CVZ_HAVE_RE2
        benchmark::RegisterBenchmark((prefix + "RE2").c_str(), FindAll_RE2, pattern)->Unit(benchmark::kMillisecond);
#endif
    }
    for (const FailingCase &c : FailingCases()) {
        caseNames.push_back(c.name);
        const std::string prefix = std::string(c.name) + " / ";
        benchmark::RegisterBenchmark((prefix + "RegularExp").c_str(), Fail_RegularExp, &c)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((prefix + "std::regex").c_str(), Fail_StdRegex, &c)
            ->Unit(benchmark::kMillisecond);
#ifdef CVZ_HAVE_RE2
        benchmark::RegisterBenchmark((prefix + "RE2").c_str(), Fail_RE2, &c)->Unit(benchmark::kMillisecond);
#endif
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    PrintRatios();
    return 0;
}
