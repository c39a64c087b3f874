// MemoryStream beside the standard streams, in the same run.
//
//  - Writing 10,000 values into a fresh stream: ints and doubles as their
//    bytes (std::ostringstream::write with the same bytes), and lines of
//    text with a CR LF behind each (operator<< on the ostringstream).
//  - Reading 10,000 lines of 0 to 60 characters ended by LF: GetLine on a
//    borrowed block against std::getline on an std::istringstream over the
//    same bytes.  Beside them, the same 10,000 Strings made from lines whose
//    ends are known beforehand: the part of GetLine's time that is the
//    String's own (a block from the string heap for each line, released
//    again), which std::getline, reusing one std::string, does not pay.
#include <benchmark/benchmark.h>

#include <stdint.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "CommonVcZq/text/string.h"
#include "CommonVcZq/tools/memory_stream.h"

namespace {

constexpr int kCount = 10000;

const std::string &Lines() {
    static const std::string lines = [] {
        std::string text;
        uint32_t x = 12345;
        for (int i = 0; i < kCount; ++i) {
            x = x * 1103515245u + 12345u;
            text.append((x >> 16) % 61, static_cast<char>('a' + i % 26));
            text += '\n';
        }
        return text;
    }();
    return lines;
}

const char kLine[] = "name = a value of some length";

void WriteInts_MemoryStream(benchmark::State &state) {
    for (auto _ : state) {
        MemoryStream s(4096, 1);
        for (int i = 0; i < kCount; ++i)
            s.Put(i);
        benchmark::DoNotOptimize(s.GetStart());
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(WriteInts_MemoryStream);

void WriteInts_OStringStream(benchmark::State &state) {
    for (auto _ : state) {
        std::ostringstream s;
        for (int i = 0; i < kCount; ++i)
            s.write(reinterpret_cast<const char *>(&i), sizeof i);
        benchmark::DoNotOptimize(s.tellp());
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(WriteInts_OStringStream);

void WriteDoubles_MemoryStream(benchmark::State &state) {
    for (auto _ : state) {
        MemoryStream s(4096, 1);
        for (int i = 0; i < kCount; ++i) {
            double d = i * 0.5;
            s.Put(d);
        }
        benchmark::DoNotOptimize(s.GetStart());
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(WriteDoubles_MemoryStream);

void WriteDoubles_OStringStream(benchmark::State &state) {
    for (auto _ : state) {
        std::ostringstream s;
        for (int i = 0; i < kCount; ++i) {
            const double d = i * 0.5;
            s.write(reinterpret_cast<const char *>(&d), sizeof d);
        }
        benchmark::DoNotOptimize(s.tellp());
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(WriteDoubles_OStringStream);

void WriteLines_MemoryStream(benchmark::State &state) {
    const String line(kLine);
    for (auto _ : state) {
        MemoryStream s(4096, 1);
        for (int i = 0; i < kCount; ++i)
            s.PutLine(line);
        benchmark::DoNotOptimize(s.GetStart());
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(WriteLines_MemoryStream);

void WriteLines_OStringStream(benchmark::State &state) {
    const std::string line(kLine);
    for (auto _ : state) {
        std::ostringstream s;
        for (int i = 0; i < kCount; ++i)
            s << line << "\r\n";
        benchmark::DoNotOptimize(s.tellp());
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(WriteLines_OStringStream);

void ReadLines_MemoryStream(benchmark::State &state) {
    const std::string &lines = Lines();
    for (auto _ : state) {
        MemoryStream s(static_cast<const void *>(lines.data()), static_cast<unsigned>(lines.size()));
        uint32_t total = 0;
        while (!s.End())
            total += s.GetLine().GetLength();
        benchmark::DoNotOptimize(total);
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(ReadLines_MemoryStream);

void ReadLines_StringsAlone(benchmark::State &state) {
    const std::string &lines = Lines();
    static const std::vector<std::pair<uint32_t, uint32_t>> bounds = [&lines] {
        std::vector<std::pair<uint32_t, uint32_t>> result;  // start, length
        for (size_t start = 0, end; start < lines.size(); start = end + 1) {
            end = lines.find('\n', start);
            result.emplace_back(static_cast<uint32_t>(start), static_cast<uint32_t>(end - start));
        }
        return result;
    }();
    for (auto _ : state) {
        uint32_t total = 0;
        for (const auto &line : bounds)
            total += (line.second ? String(SubString::Create(lines.data() + line.first, line.second)) : String())
                         .GetLength();
        benchmark::DoNotOptimize(total);
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(ReadLines_StringsAlone);

void ReadLines_StdGetline(benchmark::State &state) {
    const std::string &lines = Lines();
    std::istringstream s(lines);  // made once: only the reading is timed
    std::string line;
    for (auto _ : state) {
        s.clear();
        s.seekg(0);
        size_t total = 0;
        while (std::getline(s, line))
            total += line.size();
        benchmark::DoNotOptimize(total);
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(ReadLines_StdGetline);

}  // namespace

BENCHMARK_MAIN();
