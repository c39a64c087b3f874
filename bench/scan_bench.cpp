// A directory walk with two masks, beside its peers, in the same run.
//
// The tree: 100,000 empty files in 1,000 folders (20 groups of 50 folders
// of 100 files), a quarter each named *.txt, *.log, *.dat and *.c, made
// once under the temporary folder and kept for later runs.  Each walk
// finds the 50,000 files that match "*.txt" or "*.log", counts them and
// checks the count, after a first walk that warms the caches:
//
//  - FileScanner with the masks "*.txt" and "*.log", delivering to OnFile;
//  - std::filesystem::recursive_directory_iterator, testing each regular
//    file's name with MatchFileType against the same two masks, as a
//    program on the standard library would walk;
//  - find(1) with -name '*.txt' -o -name '*.log', its output read through
//    a pipe, as a program would run it.  find matches names only, with no
//    sizes or times: it reads the folders and asks nothing of the files;
//  - the same find printing each match's size and times (-printf), which
//    makes it ask for the state of the matching half of the files.  The
//    scanner's record holds the state of every entry, so it asks for all.
// The scanner's cost is in those calls (a statx and a getxattr for each
// entry); both peers above take the kind of an entry from the folder.
#include <benchmark/benchmark.h>

#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "CommonVcZq/files/file_scanner.h"

namespace {

namespace fs = std::filesystem;

constexpr int kGroups = 20;
constexpr int kFoldersPerGroup = 50;
constexpr int kFilesPerFolder = 100;
constexpr int64_t kExpected = int64_t{kGroups} * kFoldersPerGroup * kFilesPerFolder / 2;
const char *const kExtensions[] = {".txt", ".log", ".dat", ".c"};

// The tree's folder, made at the first call.
const fs::path &Tree() {
    static const fs::path root = [] {
        const fs::path path = fs::temp_directory_path() / "cvz_scan_bench";
        if (fs::exists(path / "complete"))
            return path;
        fs::remove_all(path);
        for (int g = 0; g < kGroups; ++g) {
            for (int f = 0; f < kFoldersPerGroup; ++f) {
                const fs::path folder = path / ("group" + std::to_string(g)) / ("folder" + std::to_string(f));
                fs::create_directories(folder);
                for (int i = 0; i < kFilesPerFolder; ++i)
                    std::ofstream(folder / ("file" + std::to_string(i) + kExtensions[i % 4]));
            }
        }
        std::ofstream(path / "complete");
        return path;
    }();
    return root;
}

std::string WindowsName(const fs::path &path) {
    std::string name = "Z:" + path.string();
    std::replace(name.begin(), name.end(), '/', '\\');
    return name;
}

class Counter : public FileScanner {
public:
    Counter(const FileName &root, const String *mask) : FileScanner(root, mask, 0, 1) {}
    int64_t count = 0;

protected:
    int OnFile(const FileName &, const WIN32_FIND_DATAA *, uint32_t) override {
        ++count;
        return 1;
    }
};

void Check(benchmark::State &state, int64_t count) {
    if (count != kExpected)
        state.SkipWithError(("found " + std::to_string(count) + " files").c_str());
}

void Scanner(benchmark::State &state) {
    const FileName root(WindowsName(Tree()).c_str());
    const String txt("*.txt");
    for (auto _ : state) {
        Counter counter(root, &txt);
        counter.AddFileType("*.log");
        counter.Run();
        Check(state, counter.count);
    }
    state.SetItemsProcessed(state.iterations() * kGroups * kFoldersPerGroup * kFilesPerFolder);
}

void RecursiveDirectoryIterator(benchmark::State &state) {
    const fs::path &root = Tree();
    for (auto _ : state) {
        int64_t count = 0;
        for (auto it = fs::recursive_directory_iterator(root); it != fs::recursive_directory_iterator(); ++it) {
            const std::string name = it->path().filename().string();
            if (it->is_directory()) {
                if (name[0] == '.')
                    it.disable_recursion_pending();
                continue;
            }
            count += MatchFileType("*.txt", name.c_str()) || MatchFileType("*.log", name.c_str());
        }
        Check(state, count);
    }
    state.SetItemsProcessed(state.iterations() * kGroups * kFoldersPerGroup * kFilesPerFolder);
}

void Find(benchmark::State &state, const char *action) {
    const std::string command =
        "find '" + Tree().string() + "' -type f \\( -name '*.txt' -o -name '*.log' \\) " + action;
    for (auto _ : state) {
        FILE *pipe = popen(command.c_str(), "r");
        if (pipe == nullptr) {
            state.SkipWithError("find cannot be run");
            break;
        }
        int64_t count = 0;
        char line[4096];
        while (fgets(line, sizeof line, pipe) != nullptr)
            ++count;
        pclose(pipe);
        Check(state, count);
    }
    state.SetItemsProcessed(state.iterations() * kGroups * kFoldersPerGroup * kFilesPerFolder);
}

}  // namespace

BENCHMARK(Scanner)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);
BENCHMARK(RecursiveDirectoryIterator)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);
BENCHMARK_CAPTURE(Find, names, "-print")->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);
BENCHMARK_CAPTURE(Find, sizesAndTimes, "-printf '%s %A@ %T@ %p\\n'")->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

BENCHMARK_MAIN();
