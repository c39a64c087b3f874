// The block cache: the pool and its resizing, replacement order, the
// statistics, and File's cached reads and writes against real files.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "CommonVcZq/files/file_cache.h"
#include "CommonVcZq/text/messages.h"
#include "file_test_support.h"

namespace {

const uint32_t kBlock = 4096;

// The manager with its insides in view.
class Manager : public FileCacheManager {
public:
    using FileCacheManager::FileCacheManager;
    using FileCacheManager::AllocBlock;
    using FileCacheManager::Free;

    // All blocks, most recently used first.
    std::vector<CacheBlock *> Blocks() const {
        std::vector<CacheBlock *> all;
        for (CacheBlock *b = blocks.GetFirst(); b; b = blocks.GetNext(b))
            all.push_back(b);
        return all;
    }
    char *Memory() const { return memory; }
    uint32_t Reserved() const { return reservedBytes; }
    uint32_t Committed() const { return committedBytes; }

    struct Statistics {
        double hit, disk, cache;
    };
    Statistics Get() {
        Statistics s;
        GetStatistics(&s.hit, &s.disk, &s.cache);
        return s;
    }
};

// Byte `i` of the test files: no period that a block size divides.
char Pattern(size_t i, int seed = 0) {
    return static_cast<char>((i * 131 + i / 251 + static_cast<size_t>(seed) * 17) & 0xFF);
}

std::string PatternBytes(size_t size, int seed = 0) {
    std::string bytes(size, '\0');
    for (size_t i = 0; i < size; ++i)
        bytes[i] = Pattern(i, seed);
    return bytes;
}

// A buffer aligned for unbuffered transfers.
struct AlignedBlock {
    alignas(4096) char bytes[kBlock];
};

// Construction: 0 blocks is one; the pool lies in one reservation, block i
// at memory + i * blockSize with block 0 at the head, all free; a request
// beyond the reservation gets what fits.  A block size of 0 builds no pool:
// the manager is disabled for good, and a File registered with it works
// uncached, without OpenNoBuffering.
TEST(FileCache, PoolConstruction) {
    EXPECT_EQ(FileCacheManager(0, kBlock).GetNumBlocks(), 1u);

    Manager pool(8, kBlock);
    ASSERT_EQ(pool.GetNumBlocks(), 8u);
    EXPECT_EQ(pool.GetBlockSize(), kBlock);
    EXPECT_EQ(pool.Committed(), 8 * kBlock);
    EXPECT_EQ(pool.Reserved() % 65536, 0u);
    EXPECT_LE(pool.Reserved(), 0x8000000u);
    std::vector<CacheBlock *> blocks = pool.Blocks();
    for (size_t i = 0; i < blocks.size(); ++i) {
        EXPECT_EQ(blocks[i]->data, pool.Memory() + i * kBlock);
        EXPECT_EQ(blocks[i]->state, CacheBlock::BlockFree);
    }

    const uint32_t big = 1 << 20;
    Manager huge(100000, big);
    EXPECT_EQ(huge.GetNumBlocks(), huge.Reserved() / big);

    Manager disabled(4, 0);
    EXPECT_EQ(disabled.GetNumBlocks(), 0u);
    EXPECT_EQ(disabled.SetSize(4, kBlock), 0);
    ScratchFolder folder;
    WriteWholeFile(folder.Name() + "\\a", "uncached");
    File file(folder / "a", File::OpenRead | File::OpenNoBuffering, disabled);
    EXPECT_EQ(file.GetCache(), nullptr);
    EXPECT_EQ(file.GetOpenFlags() & File::OpenNoBuffering, 0);
    char text[9] = {};
    int32_t got = -1;
    EXPECT_EQ(file.ReadCache(2, text, 6, &got, 1), 1);
    EXPECT_EQ(got, 6);
    EXPECT_STREQ(text, "cached");
}

// Growing commits more of the reservation and puts the new blocks ahead of
// the last one, their data continuing the pool; growing past the
// reservation changes nothing; shrinking decommits the tail and deletes
// its blocks.  The blocks that stay never move.
TEST(FileCache, PoolResize) {
    Manager pool(4, kBlock);
    char *memory = pool.Memory();
    EXPECT_EQ(pool.SetSize(6, kBlock), 6);
    std::vector<CacheBlock *> blocks = pool.Blocks();
    ASSERT_EQ(blocks.size(), 6u);
    const size_t order[] = {0, 1, 2, 4, 5, 3};
    for (size_t i = 0; i < 6; ++i)
        EXPECT_EQ(blocks[i]->data, memory + order[i] * kBlock) << i;
    EXPECT_EQ(pool.Committed(), 6 * kBlock);
    memset(memory, 'x', 6 * kBlock);  // all of it is committed

    EXPECT_EQ(pool.SetSize(pool.Reserved() / kBlock + 1, kBlock), 6);
    EXPECT_EQ(pool.Blocks().size(), 6u);

    EXPECT_EQ(pool.SetSize(2, kBlock), 2);
    EXPECT_EQ(pool.Memory(), memory);
    EXPECT_EQ(pool.Committed(), 2 * kBlock);
    for (CacheBlock *b : pool.Blocks())
        EXPECT_LT(b->data, memory + 2 * kBlock);
    EXPECT_EQ(pool.SetSize(0, kBlock), 1);
}

// With every block free the first claim takes the last block of the pool;
// a freed block is the next one claimed; a pool all claimed gives null.
TEST(FileCache, ClaimOrder) {
    Manager pool(3, kBlock);
    std::vector<CacheBlock *> blocks = pool.Blocks();
    CacheBlock *first = pool.AllocBlock();
    EXPECT_EQ(first, blocks[2]);
    EXPECT_EQ(first->state, CacheBlock::BlockClaimed);
    CacheBlock *second = pool.AllocBlock();
    EXPECT_EQ(second, blocks[1]);
    pool.Free(first);
    EXPECT_EQ(first->state, CacheBlock::BlockFree);
    EXPECT_EQ(pool.Blocks().back(), first);
    EXPECT_EQ(pool.AllocBlock(), first);
    EXPECT_EQ(pool.AllocBlock(), blocks[0]);
    EXPECT_EQ(pool.AllocBlock(), nullptr);
}

// A read across three blocks loads each whole and leaves them at the head
// in the order of the read, the last first; counting the bytes asked for
// against the whole blocks loaded gives a negative hit rate.  A second read
// of the range is all hits.  A resize to the same size keeps the blocks,
// any other loses them.
TEST(FileCache, ReadsAndStatistics) {
    ScratchFolder folder;
    const std::string bytes = PatternBytes(7 * kBlock / 2);  // 3.5 blocks
    WriteWholeFile(folder.Name() + "\\data", bytes);
    Manager pool(8, kBlock);
    File file(folder / "data", File::OpenRead, pool);
    ASSERT_NE(file.GetCache(), nullptr);
    EXPECT_NE(file.GetOpenFlags() & File::OpenNoBuffering, 0);

    std::string buffer(2 * kBlock, '\0');
    int32_t got = -1;
    ASSERT_EQ(file.ReadCache(4000, &buffer[0], 2 * kBlock, &got, 1), 1);
    EXPECT_EQ(got, int32_t(2 * kBlock));
    EXPECT_EQ(buffer, bytes.substr(4000, 2 * kBlock));
    std::vector<CacheBlock *> blocks = pool.Blocks();
    EXPECT_EQ(blocks[0]->start, int32_t(2 * kBlock));
    EXPECT_EQ(blocks[1]->start, int32_t(kBlock));
    EXPECT_EQ(blocks[2]->start, 0);
    EXPECT_EQ(blocks[0]->state, CacheBlock::BlockCached);
    Manager::Statistics s = pool.Get();
    EXPECT_EQ(s.disk, 3.0 * kBlock);
    EXPECT_EQ(s.cache, 2.0 * kBlock - 3.0 * kBlock);
    EXPECT_EQ(s.hit, -50.0);

    ASSERT_EQ(file.ReadCache(4000, &buffer[0], 2 * kBlock, &got, 1), 1);
    s = pool.Get();
    EXPECT_EQ(s.disk, 3.0 * kBlock);
    EXPECT_EQ(s.cache, 1.0 * kBlock);
    EXPECT_EQ(s.hit, 25.0);

    pool.ResetStatisticCounters();
    s = pool.Get();
    EXPECT_EQ(s.hit, 0.0);
    EXPECT_EQ(s.disk, 0.0);
    EXPECT_EQ(s.cache, 0.0);

    EXPECT_EQ(pool.SetSize(8, kBlock), 8);
    ASSERT_EQ(file.ReadCache(0, &buffer[0], 100, &got, 1), 1);
    EXPECT_EQ(pool.Get().disk, 0.0) << "the same size keeps the data";
    EXPECT_EQ(pool.SetSize(9, kBlock), 9);
    EXPECT_EQ(pool.SetSize(8, kBlock), 8);
    ASSERT_EQ(file.ReadCache(0, &buffer[0], 100, &got, 1), 1);
    EXPECT_EQ(pool.Get().disk, 1.0 * kBlock) << "any other size loses it";
}

// The end of the file: a read past it delivers what there is and fails, or
// raises 0x4652 with the name; an offset past the last byte but within the
// last block fetches that block, frees it and fails; a file of whole blocks
// read beyond its end meets an empty block.
TEST(FileCache, EndOfFile) {
    ScratchFolder folder;
    const std::string bytes = PatternBytes(7 * kBlock / 2);
    WriteWholeFile(folder.Name() + "\\part", bytes);
    WriteWholeFile(folder.Name() + "\\whole", bytes.substr(0, 2 * kBlock));
    Manager pool(4, kBlock);
    File part(folder / "part", File::OpenRead, pool);

    std::string buffer(3 * kBlock, '\0');
    int32_t got = -1;
    EXPECT_EQ(part.ReadCache(3 * kBlock + 100, &buffer[0], 3000, &got, 0), 0);
    EXPECT_EQ(got, int32_t(kBlock / 2 - 100));
    EXPECT_EQ(buffer.substr(0, size_t(got)), bytes.substr(3 * kBlock + 100));
    ExpectFailure([&] { part.ReadCache(3 * kBlock, &buffer[0], kBlock, nullptr, 1); },
                  FormattedMessage(MSG_FILE_READ_ERROR, part.GetName().c_str()));

    pool.ResetStatisticCounters();
    EXPECT_EQ(part.ReadCache(3 * kBlock + kBlock / 2 + 10, &buffer[0], 10, &got, 0), 0);
    EXPECT_EQ(got, 0);
    EXPECT_EQ(pool.Get().disk, kBlock / 2.0) << "the last block was read again";
    EXPECT_EQ(pool.Blocks().back()->state, CacheBlock::BlockFree) << "and freed";

    File whole(folder / "whole", File::OpenRead, pool);
    EXPECT_EQ(whole.ReadCache(0, &buffer[0], 3 * kBlock, &got, 0), 0);
    EXPECT_EQ(got, int32_t(2 * kBlock));
    EXPECT_EQ(buffer.substr(0, 2 * kBlock), bytes.substr(0, 2 * kBlock));
    EXPECT_EQ(whole.ReadCache(0, &buffer[0], -1, &got, 0), 0);
    EXPECT_EQ(whole.ReadCache(0, &buffer[0], 0, &got, 1), 1);
    EXPECT_EQ(got, 0);
}

// Close(0) keeps a file's blocks over a re-open, Close(1) drops them; so
// does the end of the File.  The freed blocks are claimed first.
TEST(FileCache, CloseKeepsOrDropsBlocks) {
    ScratchFolder folder;
    const std::string bytes = PatternBytes(2 * kBlock);
    WriteWholeFile(folder.Name() + "\\data", bytes);
    Manager pool(4, kBlock);
    char buffer[64];
    {
        File file(folder / "data", File::OpenRead, pool);
        ASSERT_EQ(file.ReadCache(kBlock, buffer, 64, nullptr, 1), 1);
        file.Close(0);
        file.Open(folder / "data", File::OpenRead | File::OpenNoBuffering);
        pool.ResetStatisticCounters();
        ASSERT_EQ(file.ReadCache(kBlock, buffer, 64, nullptr, 1), 1);
        EXPECT_EQ(pool.Get().disk, 0.0);
        file.Close(1);
        file.Open(folder / "data", File::OpenRead | File::OpenNoBuffering);
        ASSERT_EQ(file.ReadCache(kBlock, buffer, 64, nullptr, 1), 1);
        EXPECT_EQ(pool.Get().disk, 1.0 * kBlock);
        EXPECT_EQ(pool.Blocks().front()->state, CacheBlock::BlockCached);
    }
    for (CacheBlock *b : pool.Blocks())
        EXPECT_EQ(b->state, CacheBlock::BlockFree);
}

// WriteCache fills around the caller's bytes from the cache: the prefix,
// and the tail up to the end of the file, zeroing beyond it.  The block
// goes to the file whole and stays cached, replacing the block that
// started there; AdjustSizeOfCachedFile then trims the file.  A filled
// part that reaches the block's end reads no tail.
TEST(FileCache, WriteThrough) {
    ScratchFolder folder;
    const std::string old = PatternBytes(kBlock + 904);  // 5000 bytes
    const std::string name = folder.Name() + "\\data";
    WriteWholeFile(name, old);
    Manager pool(4, kBlock);
    File file(folder / "data", File::OpenReadWrite, pool);
    static AlignedBlock block;
    ASSERT_EQ(file.ReadCache(kBlock, block.bytes, 10, nullptr, 1), 1);  // caches block 1

    memset(block.bytes, '?', kBlock);
    memset(block.bytes + 100, 'N', 200);
    file.WriteCache(kBlock, block.bytes, kBlock, 100, 200);
    std::string expected = old.substr(kBlock, 100) + std::string(200, 'N') + old.substr(kBlock + 300);
    expected.resize(kBlock, '\0');
    EXPECT_EQ(std::string(block.bytes, kBlock), expected);
    EXPECT_EQ(ReadWholeFile(name).substr(kBlock), expected) << "the whole block, past the old end";

    file.AdjustSizeOfCachedFile(kBlock + 904, 0);
    EXPECT_EQ(ReadWholeFile(name), old.substr(0, kBlock) + expected.substr(0, 904));
    pool.ResetStatisticCounters();
    char check[300];
    ASSERT_EQ(file.ReadCache(kBlock, check, 300, nullptr, 1), 1);
    EXPECT_EQ(std::string(check, 300), expected.substr(0, 300));
    EXPECT_EQ(pool.Get().disk, 0.0) << "the written block serves the read";

    // Only the prefix is read when the caller's bytes reach the end.
    pool.ResetStatisticCounters();
    memset(block.bytes, 'M', kBlock);
    file.WriteCache(0, block.bytes, kBlock, 16, kBlock - 16);
    EXPECT_EQ(std::string(block.bytes, 16), old.substr(0, 16));
    Manager::Statistics s = pool.Get();
    EXPECT_EQ(s.disk + s.cache, 16.0);
    EXPECT_EQ(ReadWholeFile(name).substr(16, kBlock - 16), std::string(kBlock - 16, 'M'));
}

// On a full disk (the FullDisk fixture's small file system, which refuses
// unbuffered transfers, so the file falls back to buffered ones) a
// WriteCache that fails raises 0x4663 with the drive and keeps nothing in
// the pool: what the cache delivers afterwards is what the file holds.
TEST(FullDiskCache, WriteCacheOnAFullDisk) {
    const char *disk = getenv("CVZ_TEST_FULL_DISK");
    if (!disk || !*disk || !File::Exist(FileName((LibraryName(disk) + "\\mounted").c_str())))
        GTEST_SKIP() << "no small disk is mounted";
    ScratchFolder folder(LibraryName(disk));
    const FileName name = folder / "data";
    Manager pool(4, kBlock);
    File file(name, File::OpenCreate, pool);
    static AlignedBlock block;
    int32_t written = 0;
    for (;; ++written) {
        ASSERT_LT(written, 1000) << "the disk never filled";
        memset(block.bytes, 'A' + written % 26, kBlock);
        try {
            file.WriteCache(written * int32_t(kBlock), block.bytes, kBlock, 0, 0);
        } catch (const Exception &e) {
            EXPECT_EQ(FormattedMessage(MSG_DISK_FULL, String(name.GetDrive()).c_str()),
                      e.message ? e.message->c_str() : "");
            break;
        }
    }
    const int32_t size = file.GetSize();
    const int32_t failedAt = written * int32_t(kBlock);
    ASSERT_GE(size, failedAt);
    // The block that failed first, while the pool holds the last ones
    // written; then the whole file.
    std::string tail(kBlock, '\0');
    int32_t got = -1;
    EXPECT_EQ(file.ReadCache(failedAt, &tail[0], kBlock, &got, 0), 0);
    EXPECT_EQ(got, size - failedAt);
    std::string cached(size_t(size) + kBlock, '\0');
    EXPECT_EQ(file.ReadCache(0, &cached[0], size + int32_t(kBlock), &got, 0), 0);
    EXPECT_EQ(got, size);
    cached.resize(size_t(got));
    file.Close(1);
    const std::string bytes = ReadWholeFile(name.c_str());
    EXPECT_EQ(cached, bytes);
    EXPECT_EQ(tail.substr(0, size_t(size - failedAt)), bytes.substr(size_t(failedAt)));
    for (int32_t n = 0; n < written; ++n)
        ASSERT_EQ(bytes.substr(size_t(n) * kBlock, kBlock), std::string(kBlock, char('A' + n % 26))) << n;
}

}  // namespace
