// The small tools beside their peers, in the same run.
//
//  - ComputeCrc32 against zlib's crc32 and ISA-L's crc32_gzip_refl (each
//    when installed) on a 4 KB block, which stays in the first-level cache,
//    and a 16 MB block, which comes from memory; ComputeCrc16 on the same
//    blocks, with no peer.  Throughput shows as bytes per second.  Then
//    ComputeCrc32 held to the table method and to 16-byte folding
//    (PCLMULQDQ) in turn, as on processors without the faster paths.
//  - Randomizer::Get against std::minstd_rand with the same bound, drawn
//    through std::uniform_int_distribution as a program using the standard
//    library would, and through a plain modulo as Get does.
#include <benchmark/benchmark.h>

#include <stdint.h>

#include <random>
#include <vector>

#include "CommonVcZq/tools/checksums.h"
#include "CommonVcZq/tools/randomizer.h"
#include "tools/crc_fold.h"

#if defined(CVZ_HAVE_ZLIB)
#include <zlib.h>
#endif
#if defined(CVZ_HAVE_ISAL)
#include <isa-l/crc.h>
#endif

namespace {

constexpr uint32_t kDrawBound = 1000;

const std::vector<uint8_t> &Block(int64_t size) {
    static std::vector<uint8_t> block;
    if (block.size() != static_cast<size_t>(size)) {
        block.resize(static_cast<size_t>(size));
        std::minstd_rand fill(7);
        for (uint8_t &byte : block)
            byte = static_cast<uint8_t>(fill());
    }
    return block;
}

void Crc32(benchmark::State &state) {
    const std::vector<uint8_t> &block = Block(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(ComputeCrc32(block.data(), static_cast<uint32_t>(block.size())));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void Crc16(benchmark::State &state) {
    const std::vector<uint8_t> &block = Block(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(ComputeCrc16(block.data(), static_cast<uint32_t>(block.size())));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

// Argument 0 is the CrcPath, 1 the size.
void Crc32OnPath(benchmark::State &state) {
    const CrcPath chosen = GetCrcPath();
    if (!SetCrcPathForTesting(static_cast<CrcPath>(state.range(0)))) {
        state.SkipWithError("not on this processor");
        return;
    }
    const std::vector<uint8_t> &block = Block(state.range(1));
    for (auto _ : state)
        benchmark::DoNotOptimize(ComputeCrc32(block.data(), static_cast<uint32_t>(block.size())));
    state.SetBytesProcessed(state.iterations() * state.range(1));
    SetCrcPathForTesting(chosen);
}

#if defined(CVZ_HAVE_ZLIB)
void ZlibCrc32(benchmark::State &state) {
    const std::vector<uint8_t> &block = Block(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(crc32(0, block.data(), static_cast<uInt>(block.size())));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
#endif

#if defined(CVZ_HAVE_ISAL)
void IsalCrc32(benchmark::State &state) {
    const std::vector<uint8_t> &block = Block(state.range(0));
    for (auto _ : state)
        benchmark::DoNotOptimize(crc32_gzip_refl(0, block.data(), block.size()));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
#endif

void RandomizerGet(benchmark::State &state) {
    Randomizer randomizer(1);
    for (auto _ : state)
        benchmark::DoNotOptimize(randomizer.Get(kDrawBound));
}

void MinstdUniform(benchmark::State &state) {
    std::minstd_rand engine(1);
    std::uniform_int_distribution<uint32_t> draw(0, kDrawBound - 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(draw(engine));
}

void MinstdModulo(benchmark::State &state) {
    std::minstd_rand engine(1);
    for (auto _ : state)
        benchmark::DoNotOptimize(static_cast<uint32_t>(engine()) % kDrawBound);
}

}  // namespace

BENCHMARK(Crc32)->Arg(4 << 10)->Arg(16 << 20);
#if defined(CVZ_HAVE_ZLIB)
BENCHMARK(ZlibCrc32)->Arg(4 << 10)->Arg(16 << 20);
#endif
#if defined(CVZ_HAVE_ISAL)
BENCHMARK(IsalCrc32)->Arg(4 << 10)->Arg(16 << 20);
#endif
BENCHMARK(Crc16)->Arg(4 << 10)->Arg(16 << 20);
BENCHMARK(Crc32OnPath)->ArgsProduct({{static_cast<int>(CrcPath::Table), static_cast<int>(CrcPath::Pclmul)},
                                     {4 << 10, 16 << 20}});
BENCHMARK(RandomizerGet);
BENCHMARK(MinstdUniform);
BENCHMARK(MinstdModulo);

BENCHMARK_MAIN();
