// RegularExp beside std::regex (ECMAScript) and, when it is installed, RE2:
// each counts all the matches of a pattern in 1 MB of text.  The patterns
// mean the same in the three languages.  After the runs a table gives, for
// each pattern, the time of RegularExp divided by the time of each peer
// (below 1: RegularExp is faster), and checks that all found as many matches.
#include <benchmark/benchmark.h>

#include <stdint.h>
#include <stdio.h>

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

// About 1 MB of lines of words, made the same in every run.
const std::string &Text() {
    static const std::string text = [] {
        static const char *const words[] = {
            "the",   "quick", "brown",   "fox",     "jumps",  "over",   "lazy",     "dog",   "colour",
            "color", "queue", "quietly", "nothing", "singing", "thing", "question", "Alpha", "Bravo",
            "maze",  "zone",  "apples",  "3.14",    "2024",   "ring",   "Charlie",  "ideas", "zebra",
        };
        const size_t wordCount = sizeof words / sizeof words[0];
        std::string result;
        uint32_t seed = 12345;
        size_t lineLength = 0;
        while (result.size() < (1u << 20)) {
            seed = seed * 1103515245u + 12345u;
            // The last word, "zebra", comes about once in 1000.
            size_t pick = (seed >> 16) % (wordCount - 1);
            if ((seed >> 8) % 1000 == 0)
                pick = wordCount - 1;
            result += words[pick];
            lineLength += 6;
            if (lineLength > 70) {
                result += '\n';
                lineLength = 0;
            } else {
                result += ' ';
            }
        }
        return result;
    }();
    return text;
}

std::map<std::string, std::map<std::string, double>> timesByPattern;   // pattern, engine: ms
std::map<std::string, std::map<std::string, int64_t>> countsByPattern;  // pattern, engine: matches

void Record(benchmark::State &state, const char *pattern, const char *engine, int64_t matches) {
    state.counters["matches"] = static_cast<double>(matches);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(Text().size()));
    countsByPattern[pattern][engine] = matches;
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
    Record(state, pattern, "RegularExp", matches);
}

void FindAll_StdRegex(benchmark::State &state, const char *pattern) {
    const std::string &text = Text();
    const std::regex re(pattern, std::regex::ECMAScript);
    int64_t matches = 0;
    for (auto _ : state) {
        matches = std::distance(std::sregex_iterator(text.begin(), text.end(), re), std::sregex_iterator());
        benchmark::DoNotOptimize(matches);
    }
    Record(state, pattern, "std::regex", matches);
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
    Record(state, pattern, "RE2", matches);
}
#endif

// The console report, with each run's time kept for the table of ratios.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs) {
            const std::string name = run.benchmark_name();
            const size_t slash = name.rfind(" / ");
            if (slash != std::string::npos)
                timesByPattern[name.substr(0, slash)][name.substr(slash + 3)] = run.GetAdjustedRealTime();
        }
    }
};

void PrintRatios() {
    printf("\n%-22s %12s %12s %12s %14s %10s\n", "pattern", "RegularExp", "std::regex", "RE2", "/std::regex",
           "/RE2");
    for (const char *pattern : kPatterns) {
        std::map<std::string, double> &times = timesByPattern[pattern];
        const double ours = times["RegularExp"];
        printf("%-22s %10.2fms %10.2fms ", pattern, ours, times["std::regex"]);
        if (times.count("RE2"))
            printf("%10.2fms ", times["RE2"]);
        else
            printf("%12s ", "-");
        printf("%14.3f ", times["std::regex"] > 0 ? ours / times["std::regex"] : 0.0);
        if (times.count("RE2") && times["RE2"] > 0)
            printf("%10.3f\n", ours / times["RE2"]);
        else
            printf("%10s\n", "-");
        const std::map<std::string, int64_t> &counts = countsByPattern[pattern];
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
        const std::string prefix = std::string(pattern) + " / ";
        benchmark::RegisterBenchmark((prefix + "RegularExp").c_str(), FindAll_RegularExp, pattern)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((prefix + "std::regex").c_str(), FindAll_StdRegex, pattern)
            ->Unit(benchmark::kMillisecond);
#ifdef CVZ_HAVE_RE2
        benchmark::RegisterBenchmark((prefix + "RE2").c_str(), FindAll_RE2, pattern)->Unit(benchmark::kMillisecond);
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
