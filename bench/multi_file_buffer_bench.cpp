// A forward and a backward walk over a file of 256 MB with a virtual
// pointer of a MultiFileBuffer, validated before each 64-bit word, on a
// mapped channel and on a plain channel with and without the block cache;
// beside a raw mmap(2) walk and a read(2) (pread(2) backward) loop over the
// same file doing the same arithmetic.  256 MB rather than 1 GB keeps a run
// short on a small machine; the file stays in the page cache between
// rounds, so that the walks compare the buffer's costs, not the disk's.
//
// Windows: 1 MB on every channel and in the read(2) loop (the cached plain
// channel reads windows of half its 64 KB blocks, from a pool of 64).
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "CommonVcZq/files/file_cache.h"
#include "CommonVcZq/files/multi_file_buffer.h"
#include "bench_files.h"

namespace {

constexpr int32_t kSize = int32_t{256} << 20;
constexpr int32_t kWindow = 1 << 20;

const std::string &DataFile() {
    static const std::string path = MakeRandomFile("/tmp/cvz_bench_multibuffer.bin", size_t(kSize));
    return path;
}


inline void Step(uint64_t &sum, const void *word) {
    uint64_t w;
    memcpy(&w, word, sizeof w);
    sum += w ^ (sum >> 3);
}

uint64_t WalkChannel(MultiFileBuffer &buffer, int forward) {
    uint64_t sum = 0;
    if (forward) {
        void *p = buffer.GetVirtualPointer(0, 0);
        for (int32_t offset = 0; offset < kSize; offset += 8, p = static_cast<char *>(p) + 8) {
            buffer.ValidateVirtualPointer(&p, 0);
            Step(sum, p);
        }
    } else {
        void *p = buffer.GetVirtualPointerBackward(kSize, 0);
        for (int32_t offset = kSize; offset > 0; offset -= 8, p = static_cast<char *>(p) - 8) {
            buffer.ValidateVirtualPointerBackward(&p, 0);
            Step(sum, static_cast<char *>(p) - 8);
        }
    }
    return sum;
}

void Finish(benchmark::State &state) {
    state.SetBytesProcessed(int64_t(state.iterations()) * kSize);
}

void Walk_MappedChannel(benchmark::State &state) {
    const FileName name = LibraryName(DataFile());
    for (auto _ : state) {
        MappedFile file(name, File::OpenRead, 0);
        MultiFileBuffer buffer(1, 3);
        MappedBufferedFile::Register(buffer, 0, file, 0, 0, 1, 8, kWindow, 0);
        benchmark::DoNotOptimize(WalkChannel(buffer, int(state.range(0))));
        buffer.StopUsingFile(file);
    }
    Finish(state);
}

// The plain channel; with a pool of 64 blocks of 64 KB when `cached`.
void WalkPlain(benchmark::State &state, int cached) {
    const FileName name = LibraryName(DataFile());
    FileCacheManager manager(64, 65536);
    for (auto _ : state) {
        File file = cached ? File(name, File::OpenRead, manager) : File(name, File::OpenRead);
        MultiFileBuffer buffer(1, 3);
        ClassicBufferedFile::Register(buffer, 0, file, 0, 0, 1, 8, kWindow, 0);
        benchmark::DoNotOptimize(WalkChannel(buffer, int(state.range(0))));
        buffer.StopUsingFile(file);
    }
    Finish(state);
}

void Walk_PlainChannel(benchmark::State &state) { WalkPlain(state, 0); }
void Walk_PlainChannelCached(benchmark::State &state) { WalkPlain(state, 1); }

void Walk_mmap(benchmark::State &state) {
    const int forward = int(state.range(0));
    for (auto _ : state) {
        const int fd = open(DataFile().c_str(), O_RDONLY);
        const char *start = static_cast<const char *>(mmap(nullptr, kSize, PROT_READ, MAP_SHARED, fd, 0));
        uint64_t sum = 0;
        if (forward)
            for (int32_t offset = 0; offset < kSize; offset += 8)
                Step(sum, start + offset);
        else
            for (int32_t offset = kSize; offset > 0; offset -= 8)
                Step(sum, start + offset - 8);
        benchmark::DoNotOptimize(sum);
        munmap(const_cast<char *>(start), kSize);
        close(fd);
    }
    Finish(state);
}

void Walk_read(benchmark::State &state) {
    const int forward = int(state.range(0));
    std::vector<char> block(kWindow);
    for (auto _ : state) {
        const int fd = open(DataFile().c_str(), O_RDONLY);
        uint64_t sum = 0;
        for (int32_t done = 0; done < kSize; done += kWindow) {
            const off_t at = forward ? done : kSize - done - kWindow;
            if (pread(fd, block.data(), kWindow, at) != kWindow)
                state.SkipWithError("short read");
            if (forward)
                for (int32_t i = 0; i < kWindow; i += 8)
                    Step(sum, &block[size_t(i)]);
            else
                for (int32_t i = kWindow; i > 0; i -= 8)
                    Step(sum, &block[size_t(i - 8)]);
        }
        benchmark::DoNotOptimize(sum);
        close(fd);
    }
    Finish(state);
}

// Argument 1: forward; 0: backward.
BENCHMARK(Walk_MappedChannel)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Walk_mmap)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Walk_PlainChannel)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Walk_read)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Walk_PlainChannelCached)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

// The data file goes at the end of the run.
int main(int argc, char **argv) {
    return RunBenchmarksThenRemove(argc, argv, DataFile());
}
