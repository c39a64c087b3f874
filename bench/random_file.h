// The data file of the file benchmarks: `size` bytes of xorshift words at
// `path`, written unless a file of that size is there already.
#ifndef CVZ_BENCH_RANDOM_FILE_H
#define CVZ_BENCH_RANDOM_FILE_H

#include <stdint.h>
#include <stdio.h>
#include <sys/stat.h>

#include <string>
#include <vector>

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

#endif
