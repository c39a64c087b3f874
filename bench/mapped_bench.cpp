// A walk over a file of 256 MB through the default view of a MappedFile,
// beside the same walk over a plain mmap(2) of the file: the same sum over
// 64-bit words, the mapping made and ended in each round.  What MappedFile
// adds is its File, a mapping object and a counted view; the walk itself
// is a plain pointer in both.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "CommonVcZq/files/mapped_file.h"
#include "bench_files.h"

namespace {

constexpr size_t kSize = size_t{256} << 20;

const std::string &DataFile() {
    static const std::string path = MakeRandomFile("/tmp/cvz_bench_mapped.bin", kSize);
    return path;
}

uint64_t Walk(const char *start, size_t size) {
    const uint64_t *word = reinterpret_cast<const uint64_t *>(start);
    const uint64_t *end = word + size / sizeof *word;
    uint64_t sum = 0;
    for (; word < end; ++word)
        sum += *word ^ (sum >> 3);
    return sum;
}

void Walk_MappedFile(benchmark::State &state) {
    const FileName name = LibraryName(DataFile());
    for (auto _ : state) {
        MappedFile file(name, File::OpenRead);
        benchmark::DoNotOptimize(Walk(file.GetStart(), file.GetSize()));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
}
BENCHMARK(Walk_MappedFile)->Unit(benchmark::kMillisecond)->UseRealTime();

void Walk_mmap(benchmark::State &state) {
    const std::string &path = DataFile();
    for (auto _ : state) {
        const int fd = open(path.c_str(), O_RDONLY);
        struct stat st;
        fstat(fd, &st);
        const size_t size = static_cast<size_t>(st.st_size);
        void *start = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
        benchmark::DoNotOptimize(Walk(static_cast<const char *>(start), size));
        munmap(start, size);
        close(fd);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
}
BENCHMARK(Walk_mmap)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

// The data file goes at the end of the run.
int main(int argc, char **argv) {
    return RunBenchmarksThenRemove(argc, argv, DataFile());
}
