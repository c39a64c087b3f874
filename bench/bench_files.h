// What the file benchmarks share: the library's name of a native path, a
// data file of random words, and a main that removes that file at the end.
#ifndef CVZ_BENCH_BENCH_FILES_H
#define CVZ_BENCH_BENCH_FILES_H

#include <benchmark/benchmark.h>

#include <stdint.h>
#include <stdio.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "CommonVcZq/files/file_name.h"

// The library's name of a native path: the root is drive Z:, and the
// separator a backslash.
inline FileName LibraryName(const std::string &path) {
    std::string name = "Z:" + path;
    for (char &c : name)
        if (c == '/')
            c = '\\';
    return FileName(name.c_str());
}

// `size` bytes of xorshift words at `path`, written unless a file of that
// size is there already.
inline const std::string &MakeRandomFile(const std::string &path, size_t size) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0 || static_cast<size_t>(st.st_size) != size) {
        FILE *f = fopen(path.c_str(), "wb");
        std::vector<uint64_t> chunk(1 << 16);
        uint64_t x = 88172645463325252ull;
        for (size_t written = 0; written < size; written += chunk.size() * sizeof chunk[0]) {
            for (uint64_t &word : chunk) {
                x ^= x << 13;
                x ^= x >> 7;
                x ^= x << 17;
                word = x;
            }
            fwrite(chunk.data(), sizeof chunk[0], chunk.size(), f);
        }
        fclose(f);
    }
    return path;
}

// Runs the benchmarks named on the command line, then removes `file`.
inline int RunBenchmarksThenRemove(int argc, char **argv, const std::string &file) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    remove(file.c_str());
    return 0;
}

#endif
