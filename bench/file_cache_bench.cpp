// The block cache beside the system's page cache, on the same files and
// the same offsets in the same run.
//
//  - Random 4 KB reads at 4 KB-aligned offsets: File::ReadCache through a
//    pool of 64 blocks of 64 KB (4 MB), over a file that fits the pool and
//    over one twice its size, beside pread(2) on a plain descriptor.  The
//    offsets are read once before the clock starts, so the pool holds what
//    it can and pread reads from a warm page cache.
//  - A sequential read of a 256 MB file in 64 KB pieces: ReadCache through
//    the same pool, every block a miss, beside read(2).  The cached file is
//    opened without system buffering, so where the file system takes
//    direct I/O this is a read from the disk beside a read from the page
//    cache.
//
// Each cached benchmark reports the manager's hit percentage over the timed
// part (counter "hit%").  The files live in $TMPDIR (or /tmp) and are
// removed at the end.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <random>
#include <string>
#include <vector>

#include "CommonVcZq/files/file.h"
#include "CommonVcZq/files/file_cache.h"

namespace {

constexpr int32_t kRead = 4096;
constexpr uint32_t kBlockSize = 64 * 1024;
constexpr uint32_t kPoolBlocks = 64;
constexpr int32_t kPoolBytes = kBlockSize * kPoolBlocks;
constexpr int32_t kBigSize = 256 * 1024 * 1024;
constexpr int kOffsets = 1 << 16;

std::string Folder() {
    const char *folder = getenv("TMPDIR");
    return folder && *folder ? folder : "/tmp";
}

FileName Name(const std::string &path) {
    return FileName(path.c_str());
}

void WriteFile(const std::string &path, int32_t size) {
    std::vector<char> piece(kBlockSize);
    for (uint32_t i = 0; i < kBlockSize; ++i)
        piece[i] = static_cast<char>(i * 31 + i / 4093);
    FILE *out = fopen(path.c_str(), "wb");
    for (int32_t done = 0; done < size; done += kBlockSize)
        fwrite(piece.data(), 1, kBlockSize, out);
    fclose(out);
}

struct Files {
    std::string fits = Folder() + "/cvz_cache_bench_fits.bin";
    std::string twice = Folder() + "/cvz_cache_bench_twice.bin";
    std::string big = Folder() + "/cvz_cache_bench_big.bin";

    Files() {
        WriteFile(fits, kPoolBytes);
        WriteFile(twice, 2 * kPoolBytes);
        WriteFile(big, kBigSize);
    }
    ~Files() {
        unlink(fits.c_str());
        unlink(twice.c_str());
        unlink(big.c_str());
    }
};

Files &TheFiles() {
    static Files files;
    return files;
}

const std::string &RandomFile(int which) {
    return which == 0 ? TheFiles().fits : TheFiles().twice;
}

// The same aligned offsets for both peers.
std::vector<int32_t> Offsets(int32_t fileSize) {
    std::minstd_rand random(42);
    std::vector<int32_t> offsets(kOffsets);
    for (int32_t &offset : offsets)
        offset = static_cast<int32_t>(random() % static_cast<uint32_t>(fileSize / kRead)) * kRead;
    return offsets;
}

void ReportHits(benchmark::State &state, FileCacheManager &pool) {
    double hit = 0;
    pool.GetStatistics(&hit, nullptr, nullptr);
    state.counters["hit%"] = hit;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kRead);
}

// Argument 0: the file that fits the pool; 1: the file twice its size.
void BM_Random4K_ReadCache(benchmark::State &state) {
    const std::string &path = RandomFile(static_cast<int>(state.range(0)));
    FileCacheManager pool(kPoolBlocks, kBlockSize);
    File file(Name(path), File::OpenRead, pool);
    const std::vector<int32_t> offsets = Offsets(state.range(0) ? 2 * kPoolBytes : kPoolBytes);
    std::vector<char> buffer(kRead);
    for (int32_t offset : offsets)
        file.ReadCache(offset, buffer.data(), kRead, nullptr, 1);
    pool.ResetStatisticCounters();
    size_t i = 0;
    for (auto _ : state) {
        file.ReadCache(offsets[i], buffer.data(), kRead, nullptr, 1);
        i = (i + 1) % offsets.size();
        benchmark::DoNotOptimize(buffer.data());
    }
    ReportHits(state, pool);
}
BENCHMARK(BM_Random4K_ReadCache)->Arg(0)->Arg(1);

void BM_Random4K_Pread(benchmark::State &state) {
    const std::string &path = RandomFile(static_cast<int>(state.range(0)));
    const int fd = open(path.c_str(), O_RDONLY);
    const std::vector<int32_t> offsets = Offsets(state.range(0) ? 2 * kPoolBytes : kPoolBytes);
    std::vector<char> buffer(kRead);
    for (int32_t offset : offsets)
        benchmark::DoNotOptimize(pread(fd, buffer.data(), kRead, offset));
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(pread(fd, buffer.data(), kRead, offsets[i]));
        i = (i + 1) % offsets.size();
    }
    close(fd);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kRead);
}
BENCHMARK(BM_Random4K_Pread)->Arg(0)->Arg(1);

void BM_Sequential256M_ReadCache(benchmark::State &state) {
    FileCacheManager pool(kPoolBlocks, kBlockSize);
    File file(Name(TheFiles().big), File::OpenRead, pool);
    std::vector<char> buffer(kBlockSize);
    pool.ResetStatisticCounters();
    for (auto _ : state) {
        for (int32_t offset = 0; offset < kBigSize; offset += kBlockSize)
            file.ReadCache(offset, buffer.data(), kBlockSize, nullptr, 1);
        benchmark::DoNotOptimize(buffer.data());
    }
    double hit = 0;
    pool.GetStatistics(&hit, nullptr, nullptr);
    state.counters["hit%"] = hit;
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBigSize);
}
BENCHMARK(BM_Sequential256M_ReadCache)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_Sequential256M_Read(benchmark::State &state) {
    const int fd = open(TheFiles().big.c_str(), O_RDONLY);
    std::vector<char> buffer(kBlockSize);
    for (auto _ : state) {
        lseek(fd, 0, SEEK_SET);
        while (read(fd, buffer.data(), kBlockSize) > 0) {
        }
        benchmark::DoNotOptimize(buffer.data());
    }
    close(fd);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kBigSize);
}
BENCHMARK(BM_Sequential256M_Read)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
