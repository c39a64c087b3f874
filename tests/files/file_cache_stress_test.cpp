// Many readers through one small pool while the pool is rebuilt under
// them: every byte delivered must be the file's.  Built under
// ThreadSanitizer (preset tsan) this is the race check of the cache's
// locks, the gate and the count of readers.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "CommonVcZq/files/file_cache.h"
#include "file_test_support.h"

namespace {

const uint32_t kBlock = 4096;
const int kFiles = 4;
const int kReaders = 8;

std::string FileBytes(int file, size_t size) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<char>((i * 7 + i / 509 + static_cast<size_t>(file) * 61) & 0xFF);
    return bytes;
}

// 8 threads read random, overlapping ranges of 4 files (shared File
// objects with their own locks) through a pool of a few blocks, fewer than
// the readers, so that claims wait for blocks; meanwhile another thread
// resizes the pool and reads the statistics.
TEST(FileCacheStress, ReadersAgainstResizes) {
    ScratchFolder folder;
    std::vector<std::string> contents;
    for (int f = 0; f < kFiles; ++f) {
        contents.push_back(FileBytes(f, 5 * kBlock + 1000 * static_cast<size_t>(f) + 7));
        WriteWholeFile(folder.Name() + "\\f" + std::to_string(f), contents.back());
    }
    FileCacheManager pool(3, kBlock);
    ASSERT_EQ(pool.GetNumBlocks(), 3u);
    std::vector<std::unique_ptr<File>> files;
    for (int f = 0; f < kFiles; ++f)
        files.emplace_back(new File(folder / ("f" + std::to_string(f)).c_str(),
                                    File::OpenRead | File::OpenThreadSafe, pool));

    const int rounds = 400;
    std::atomic<int> mismatches(0), readersDone(0);
    std::vector<std::thread> readers;
    for (int t = 0; t < kReaders; ++t) {
        readers.emplace_back([&, t] {
            std::minstd_rand random(static_cast<unsigned>(t + 1));
            std::string buffer;
            for (int i = 0; i < rounds; ++i) {
                const int f = static_cast<int>(random() % kFiles);
                const std::string &bytes = contents[static_cast<size_t>(f)];
                const int32_t fileSize = static_cast<int32_t>(bytes.size());
                const int32_t offset = static_cast<int32_t>(random() % (fileSize + 100));
                const int32_t size = 1 + static_cast<int32_t>(random() % (3 * kBlock));
                buffer.assign(static_cast<size_t>(size), '\0');
                int32_t got = -1;
                const int all = files[static_cast<size_t>(f)]->ReadCache(offset, &buffer[0], size, &got, 0);
                const int32_t expected = offset >= fileSize ? 0 : std::min(size, fileSize - offset);
                if (all != (expected == size) || got != expected ||
                    (got > 0 && buffer.compare(0, static_cast<size_t>(got), bytes, static_cast<size_t>(offset),
                                   static_cast<size_t>(got)) != 0))
                    ++mismatches;
            }
            ++readersDone;
        });
    }
    std::thread resizer([&] {
        const uint32_t sizes[] = {1, 4, 2, 5, 3};
        for (int i = 0; readersDone.load() < kReaders; ++i) {
            pool.SetSize(sizes[i % 5], kBlock);
            double hit;
            pool.GetStatistics(&hit, nullptr, nullptr);
            Pause(2);
        }
    });
    for (std::thread &reader : readers)
        reader.join();
    resizer.join();
    EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
