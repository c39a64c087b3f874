// File beside the system's own calls, on the same files in the same run.
//
//  - Reading a 256 MB file in 64 KB pieces: File::Read beside read(2) and
//    fread.  The file is read once before, so every peer reads from the
//    page cache and the comparison is of the layers, not of the disk.
//  - Writing 256 MB in 64 KB pieces into a fresh file: File::Write beside
//    write(2).
//  - Reading a 16 MB text of lines of 0 to 80 characters: File::ReadLine on
//    both roads beside std::getline on an std::ifstream.  ReadLine asks the
//    size and the position, reads a piece and sets the position back behind
//    the line end: a few system calls a line, where getline reads through a
//    buffer of its own.
//
// The files live in $TMPDIR (or /tmp) and are removed at the end.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include "bench_files.h"
#include "CommonVcZq/files/file.h"

namespace {

constexpr int32_t kPiece = 64 * 1024;
constexpr int32_t kBigSize = 256 * 1024 * 1024;
constexpr int32_t kTextSize = 16 * 1024 * 1024;

std::string Folder() {
    const char *folder = getenv("TMPDIR");
    return folder && *folder ? folder : "/tmp";
}


struct Files {
    std::string big = Folder() + "/cvz_bench_big.bin";
    std::string written = Folder() + "/cvz_bench_written.bin";
    std::string text = Folder() + "/cvz_bench_text.txt";

    Files() {
        std::vector<char> piece(kPiece);
        for (int32_t i = 0; i < kPiece; ++i)
            piece[i] = static_cast<char>(i * 31);
        FILE *out = fopen(big.c_str(), "wb");
        for (int32_t done = 0; done < kBigSize; done += kPiece)
            fwrite(piece.data(), 1, kPiece, out);
        fclose(out);

        std::string lines;
        uint32_t x = 12345;
        while (lines.size() < static_cast<size_t>(kTextSize)) {
            x = x * 1103515245u + 12345u;
            lines.append((x >> 16) % 81, static_cast<char>('a' + lines.size() % 26));
            lines += (x & 1) ? "\r\n" : "\n";
        }
        lines.resize(kTextSize - 1);
        lines += '\n';
        out = fopen(text.c_str(), "wb");
        fwrite(lines.data(), 1, lines.size(), out);
        fclose(out);
    }
    ~Files() {
        unlink(big.c_str());
        unlink(written.c_str());
        unlink(text.c_str());
    }
};

const Files &TheFiles() {
    static const Files files;
    return files;
}

std::vector<char> &Buffer() {
    static std::vector<char> buffer(kPiece);
    return buffer;
}

void Read_File(benchmark::State &state) {
    const FileName name = LibraryName(TheFiles().big);
    char *buffer = Buffer().data();
    for (auto _ : state) {
        File file(name, File::OpenRead | File::OpenSequentialScan);
        int32_t got = 0;
        while (file.Read(buffer, kPiece, 0, &got))
            benchmark::DoNotOptimize(buffer);
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kBigSize));
}

void Read_read2(benchmark::State &state) {
    const std::string &name = TheFiles().big;
    char *buffer = Buffer().data();
    for (auto _ : state) {
        const int fd = open(name.c_str(), O_RDONLY);
        while (read(fd, buffer, kPiece) == kPiece)
            benchmark::DoNotOptimize(buffer);
        close(fd);
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kBigSize));
}

void Read_fread(benchmark::State &state) {
    const std::string &name = TheFiles().big;
    char *buffer = Buffer().data();
    for (auto _ : state) {
        FILE *in = fopen(name.c_str(), "rb");
        while (fread(buffer, 1, kPiece, in) == static_cast<size_t>(kPiece))
            benchmark::DoNotOptimize(buffer);
        fclose(in);
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kBigSize));
}

void Write_File(benchmark::State &state) {
    const FileName name = LibraryName(TheFiles().written);
    const char *buffer = Buffer().data();
    for (auto _ : state) {
        File file(name, File::OpenCreate | File::OpenWrite);
        for (int32_t done = 0; done < kBigSize; done += kPiece)
            file.Write(buffer, kPiece);
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kBigSize));
}

void Write_write2(benchmark::State &state) {
    const std::string &name = TheFiles().written;
    const char *buffer = Buffer().data();
    for (auto _ : state) {
        const int fd = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        for (int32_t done = 0; done < kBigSize; done += kPiece)
            benchmark::DoNotOptimize(write(fd, buffer, kPiece));
        close(fd);
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kBigSize));
}

void ReadLines(benchmark::State &state, int road) {
    const FileName name = LibraryName(TheFiles().text);
    int64_t lines = 0;
    for (auto _ : state) {
        File file(name, File::OpenRead | road);
        const int32_t size = file.GetSize();
        while (file.GetPosition() < size) {
            benchmark::DoNotOptimize(file.ReadLine().c_str());
            ++lines;
        }
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kTextSize));
    state.counters["lines"] = benchmark::Counter(double(lines), benchmark::Counter::kAvgIterations);
}

void ReadLine_File(benchmark::State &state) {
    ReadLines(state, 0);
}

void ReadLine_FileStream(benchmark::State &state) {
    ReadLines(state, File::OpenBufferedStream);
}

// ReadLine's lines from pieces: read up to 256 bytes, cut the line, and
// seek back to the byte behind its end.
void ReadLine_getline(benchmark::State &state) {
    int64_t lines = 0;
    for (auto _ : state) {
        std::ifstream in(TheFiles().text, std::ios::binary);
        std::string line;
        while (std::getline(in, line)) {
            benchmark::DoNotOptimize(line.data());
            ++lines;
        }
    }
    state.SetBytesProcessed(state.iterations() * int64_t(kTextSize));
    state.counters["lines"] = benchmark::Counter(double(lines), benchmark::Counter::kAvgIterations);
}

}  // namespace

BENCHMARK(Read_File)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(Read_read2)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(Read_fread)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(Write_File)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(Write_write2)->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(ReadLine_File)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(ReadLine_FileStream)->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(ReadLine_getline)->Unit(benchmark::kMillisecond)->MinTime(1);

BENCHMARK_MAIN();
