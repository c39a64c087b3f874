// MultiFileBuffer with plain and mapped channels: the window arithmetic,
// walks in both directions checked byte by byte, the table's quota, the
// commit status, writing through the staging block, and failures.
#include <gtest/gtest.h>

#include <string.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "CommonVcZq/files/file_cache.h"
#include "CommonVcZq/files/multi_file_buffer.h"
#include "CommonVcZq/text/messages.h"
#include "file_test_support.h"

namespace {

// Bytes that differ from their neighbours, so that a window one byte off
// shows.
std::string Pattern(size_t size, unsigned seed) {
    std::string bytes(size, '\0');
    uint32_t x = seed * 2654435761u + 1;
    for (size_t i = 0; i < size; ++i) {
        x = x * 1103515245u + 12345u;
        bytes[i] = static_cast<char>(x >> 23);
    }
    return bytes;
}

char *At(void *pointer) { return static_cast<char *>(pointer); }

class MultiFileBufferTest : public ::testing::Test {
protected:
    FileName MakeFile(const char *title, const std::string &bytes) {
        const FileName name = folder / title;
        WriteWholeFile(name.c_str(), bytes);
        return name;
    }

    ScratchFolder folder;
};

TEST_F(MultiFileBufferTest, PlainWindowsFollowTheUnitsAndPages) {
    const std::string bytes = Pattern(1000000, 1);
    File file(MakeFile("plain", bytes), File::OpenRead);
    MultiFileBuffer buffer(1, 3);
    ClassicBufferedFile::Register(buffer, 0, file, 0, 1000000, 4, 1, 102400, 0);

    char *p = At(buffer.GetVirtualPointer(300002, 0));
    EXPECT_EQ(300000, buffer.GetBuffer(0).fileOffset);
    EXPECT_EQ(106496, buffer.GetBuffer(0).size);
    EXPECT_EQ(0, memcmp(p, &bytes[300002], 100));

    MultiFileBuffer backward(1, 3);
    ClassicBufferedFile::Register(backward, 0, file, 0, 1000000, 4, 1, 102400, 0);
    p = At(backward.GetVirtualPointerBackward(300002, 0));
    EXPECT_EQ(197608, backward.GetBuffer(0).fileOffset);
    EXPECT_EQ(106496, backward.GetBuffer(0).size);
    EXPECT_EQ(300002 - 197608, backward.GetAvailableBytesBeforeVirtualPointer(p, 0));
    EXPECT_EQ(0, memcmp(p - 100, &bytes[300002 - 100], 100));

    // Near the start a backward window starts at the segment's start, and
    // offset 0 gives the window's first byte.
    p = At(buffer.GetVirtualPointerBackward(0, 0));
    EXPECT_EQ(0, buffer.GetBuffer(0).fileOffset);
    EXPECT_EQ(p, buffer.GetStartOfCurrentBuffer(0));

    // The last window is cut at the segment's end.
    p = At(buffer.GetVirtualPointer(999990, 0));
    EXPECT_EQ(999988, buffer.GetBuffer(0).fileOffset);
    EXPECT_EQ(12, buffer.GetBuffer(0).size);
    EXPECT_EQ(0, memcmp(p, &bytes[999990], 10));
    // Pointers beyond the window still know their offsets.
    EXPECT_EQ(1000010, buffer.VirtualPointerToFileOffset(p + 20, 0));
    EXPECT_EQ(-10, buffer.GetAvailableBytesFromVirtualPointer(p + 20, 0));
}

TEST_F(MultiFileBufferTest, MappedWindowsBeginOnTheGranularity) {
    const std::string bytes = Pattern(1000000, 2);
    MappedFile file(MakeFile("mapped", bytes), File::OpenRead, 0);
    MultiFileBuffer buffer(1, 3);
    MappedBufferedFile::Register(buffer, 0, file, 0, 1000000, 4, 1, 131072, 0);

    char *p = At(buffer.GetVirtualPointer(300002, 0));
    const MultiFileBuffer::Buffer &b = buffer.GetBuffer(0);
    EXPECT_EQ(262144, b.fileOffset);
    EXPECT_EQ(196608, b.size);
    ASSERT_NE(nullptr, b.view);
    EXPECT_EQ(262144u, b.view->offset);
    EXPECT_EQ(196608u, b.view->size);
    EXPECT_EQ(0, memcmp(p, &bytes[300002], 100));

    // A segment that starts off the granularity: the window starts before
    // it, and the pointers count from there.
    MappedBufferedFile::Register(buffer, 0, file, 70001, 500000, 1, 4, 65536, 0);
    p = At(buffer.GetVirtualPointer(70001, 0));
    EXPECT_EQ(65537, buffer.GetChannelInfo(0).fileOffset);
    EXPECT_EQ(0, memcmp(p, &bytes[70001], 4));

    // bufferSize 0: one window with the whole segment, and only hits after.
    MultiFileBuffer whole(1, 3);
    MappedBufferedFile::Register(whole, 0, file, 100, 0, 1, 1, 0, 0);
    p = At(whole.GetVirtualPointer(999999, 0));
    EXPECT_EQ(100, whole.GetBuffer(0).fileOffset);
    EXPECT_EQ(999900, whole.GetBuffer(0).size);
    EXPECT_EQ(bytes[999999], *p);
    p = At(whole.GetVirtualPointerBackward(101, 0));
    EXPECT_EQ(bytes[100], p[-1]);
    EXPECT_EQ(1, whole.GetNumBuffers());
}

TEST_F(MultiFileBufferTest, RegisteringTheSameSegmentKeepsItsObject) {
    File file(MakeFile("same", Pattern(10000, 3)), File::OpenRead);
    MultiFileBuffer buffer(1, 3);
    ClassicBufferedFile::Register(buffer, 0, file, 0, 0, 1, 1, 4096, 0);
    BufferedFile *first = buffer.GetFile(0);
    EXPECT_EQ(10000, first->GetSegmentSize());
    void *p = buffer.GetVirtualPointer(5, 0);
    ClassicBufferedFile::Register(buffer, 0, file, 0, 0, 1, 1, 4096, 0);
    EXPECT_EQ(first, buffer.GetFile(0));
    EXPECT_EQ(p, buffer.GetVirtualPointer(5, 0));
    ClassicBufferedFile::Register(buffer, 0, file, 0, 0, 1, 1, 8192, 0);
    EXPECT_NE(first, buffer.GetFile(0));
    // Writing with a size of 0 keeps the size.
    ClassicBufferedFile::Register(buffer, 0, file, 0, 0, 1, 1, 8192, 1);
    EXPECT_EQ(0, buffer.GetFile(0)->GetSegmentSize());
}

TEST_F(MultiFileBufferTest, ValidationMovesAtTheEdgesAndTheQuotaHolds) {
    const std::string bytes = Pattern(200000, 4);
    File file(MakeFile("edges", bytes), File::OpenRead);
    MultiFileBuffer buffer;  // one channel, three places
    ClassicBufferedFile::Register(buffer, 0, file, 0, 0, 1, 4, 4096, 0);

    void *p = buffer.GetVirtualPointer(0, 0);
    const MultiFileBuffer::ChannelInfo &c = buffer.GetChannelInfo(0);
    void *at = c.high;
    buffer.ValidateVirtualPointer(&at, 0);
    EXPECT_EQ(static_cast<void *>(c.high), at);  // one element still fits
    const int32_t first = c.fileOffset;
    void *beyond = At(c.high) + 1;
    const int32_t offset = buffer.VirtualPointerToFileOffset(beyond, 0);
    buffer.ValidateVirtualPointer(&beyond, 0);
    EXPECT_NE(first, c.fileOffset);
    EXPECT_EQ(offset, buffer.VirtualPointerToFileOffset(beyond, 0));
    EXPECT_EQ(0, memcmp(beyond, &bytes[offset], 4));

    void *low = c.low;
    buffer.ValidateVirtualPointerBackward(&low, 0);
    EXPECT_EQ(static_cast<void *>(c.low), low);
    void *below = At(c.low) - 1;
    const int32_t lowOffset = buffer.VirtualPointerToFileOffset(below, 0);
    buffer.ValidateVirtualPointerBackward(&below, 0);
    EXPECT_EQ(0, memcmp(At(below) - 4, &bytes[lowOffset - 4], 4));

    // A forward walk keeps to the file's two places; the third stays free.
    p = buffer.GetVirtualPointer(0, 0);
    for (int32_t i = 0; i < 100000; i += 4, p = At(p) + 4)
        buffer.ValidateVirtualPointer(&p, 0);
    EXPECT_EQ(2, buffer.GetNumBuffers());
}

TEST_F(MultiFileBufferTest, ChannelsShareBuffersAndWaitForTheirCommit) {
    const std::string bytes = Pattern(100000, 5);
    File file(MakeFile("shared", bytes), File::OpenRead);
    MultiFileBuffer buffer(2, 3);
    buffer.Flush(0, 0);  // no file yet: nothing happens
    ClassicBufferedFile::Register(buffer, 0, file, 0, 0, 1, 1, 8192, 0);
    ClassicBufferedFile::Register(buffer, 1, file, 0, 0, 1, 1, 8192, 0);

    buffer.SetCommitStatus(0);
    void *p = buffer.GetVirtualPointer(50000, 0);
    EXPECT_EQ(nullptr, buffer.GetStartOfCurrentBuffer(0));
    EXPECT_EQ(50000, buffer.VirtualPointerToFileOffset(p, 0));
    EXPECT_EQ(50000, buffer.GetBuffer(0).pendingOffset);
    buffer.GetVirtualPointer(50001, 0);  // a hit that still doesn't read
    EXPECT_EQ(nullptr, buffer.GetBuffer(0).data);
    buffer.SetCommitStatus(1);
    p = buffer.GetVirtualPointer(50001, 1);
    EXPECT_EQ(-1, buffer.GetBuffer(0).pendingOffset);
    EXPECT_EQ(bytes[50001], *At(p));
    EXPECT_EQ(2, buffer.GetBuffer(0).users);
}

// A walk by varying steps on several channels at once, forward and then
// backward, every element compared with the file.
TEST_F(MultiFileBufferTest, WalksOnManyChannelsSeeTheFile) {
    FileCacheManager manager(8, 65536);
    const std::string a = Pattern(1500000, 6), b = Pattern(700000, 7);
    const FileName aName = MakeFile("a", a), bName = MakeFile("b", b);
    File plain(aName, File::OpenRead);
    File cached(bName, File::OpenRead, manager);
    MappedFile mappedA(aName, File::OpenRead, 0);
    MappedFile mappedB(bName, File::OpenRead, 0);

    struct Channel {
        const std::string *bytes;
        int32_t start, end, elementSize;
    };
    const Channel channels[] = {
        {&a, 0, 1500000, 4},      {&a, 13, 1400013, 1},     {&b, 1000, 700000, 4},
        {&a, 70001, 1300001, 12}, {&b, 0, 700000, 2},       {&a, 0, 1500000, 4},
    };
    const int n = 6;
    MultiFileBuffer buffer(n, 9);
    ClassicBufferedFile::Register(buffer, 0, plain, 0, 1500000, 2, 4, 30000, 0);
    ClassicBufferedFile::Register(buffer, 1, plain, 13, 1400000, 3, 1, 65536, 0);
    ClassicBufferedFile::Register(buffer, 2, cached, 1000, 0, 1, 4, 30000, 0);
    MappedBufferedFile::Register(buffer, 3, mappedA, 70001, 1230000, 1, 12, 100000, 0);
    MappedBufferedFile::Register(buffer, 4, mappedB, 0, 0, 8, 2, 65536, 0);
    ClassicBufferedFile::Register(buffer, 5, plain, 0, 1500000, 2, 4, 30000, 0);

    std::mt19937 random(42);
    for (int forward = 1; forward >= 0; --forward) {
        void *p[n];
        int32_t offset[n];
        bool done[n] = {};
        for (int i = 0; i < n; ++i) {
            offset[i] = forward ? channels[i].start : channels[i].end;
            p[i] = forward ? buffer.GetVirtualPointer(offset[i], i) : buffer.GetVirtualPointerBackward(offset[i], i);
        }
        for (int left = n; left;) {
            const int i = static_cast<int>(random() % n);
            if (done[i])
                continue;
            const Channel &c = channels[i];
            const int32_t step = static_cast<int32_t>(random() % 3 ? random() % 64 : random() % 150000) + 1;
            if (forward ? offset[i] + step + c.elementSize > c.end : offset[i] - step - c.elementSize < c.start) {
                done[i] = true;
                --left;
                continue;
            }
            offset[i] += forward ? step : -step;
            p[i] = At(p[i]) + (forward ? step : -step);
            if (forward) {
                buffer.ValidateVirtualPointer(&p[i], i);
                ASSERT_EQ(0, memcmp(p[i], &(*c.bytes)[offset[i]], c.elementSize)) << i << " at " << offset[i];
            } else {
                buffer.ValidateVirtualPointerBackward(&p[i], i);
                ASSERT_EQ(0, memcmp(At(p[i]) - c.elementSize, &(*c.bytes)[offset[i] - c.elementSize], c.elementSize))
                    << i << " at " << offset[i];
            }
            ASSERT_EQ(offset[i], buffer.VirtualPointerToFileOffset(p[i], i));
        }
    }
    for (int i = 0; i < buffer.GetNumBuffers(); ++i)
        EXPECT_LE(buffer.GetBuffer(i).users, n);
    buffer.Reset();
    EXPECT_EQ(0, buffer.GetNumBuffers());
}

// Writing a segment that doesn't begin on a block, with and without the
// cache: the bytes before and after the segment keep their values.
TEST_F(MultiFileBufferTest, WritingASegmentOffTheBlocks) {
    for (int withCache = 0; withCache < 2; ++withCache) {
        SCOPED_TRACE(withCache);
        const std::string old(300000, 'x'), data = Pattern(150001, 8);
        const FileName name = MakeFile(withCache ? "written-cached" : "written", old);
        FileCacheManager manager(4, 65536);
        std::unique_ptr<File> file(withCache ? new File(name, File::OpenReadWrite, manager)
                                             : new File(name, File::OpenReadWrite));
        {
            MultiFileBuffer buffer(1, 0, MultiFileBuffer::ModeWrite);
            ClassicBufferedFile::Register(buffer, 0, *file, 5000, 0, 1, 1, 10000, 1);
            EXPECT_EQ(withCache ? 65536 : 12288, buffer.GetFile(0)->GetBufferSize());
            void *p = buffer.GetVirtualPointer(5000, 0);
            EXPECT_EQ(0, buffer.GetBuffer(0).stageOffset);
            EXPECT_EQ(5000, buffer.GetBuffer(0).stagePrefix);
            for (size_t i = 0; i < data.size(); ++i, p = At(p) + 1) {
                buffer.ValidateVirtualPointer(&p, 0);
                *At(p) = data[i];
            }
            buffer.ValidateWriting(static_cast<int32_t>(data.size()), -1, 0, 0);
            EXPECT_EQ(-1, buffer.GetChannelInfo(0).bufferId);
        }
        file.reset();
        EXPECT_EQ(old.substr(0, 5000) + data + old.substr(5000 + data.size()), ReadWholeFile(name.c_str()));
    }
}

TEST_F(MultiFileBufferTest, WritingPastTheEndSetsTheSize) {
    FileCacheManager manager(4, 65536);
    const FileName name = MakeFile("grown", std::string(1000, 'y'));
    const std::string data = Pattern(100000, 9);
    {
        File file(name, File::OpenReadWrite, manager);
        MultiFileBuffer buffer(1, 0, MultiFileBuffer::ModeWrite);
        ClassicBufferedFile::Register(buffer, 0, file, 500, 0, 1, 1, 0, 1);
        void *p = buffer.GetVirtualPointer(500, 0);
        for (size_t i = 0; i < data.size(); ++i, p = At(p) + 1) {
            buffer.ValidateVirtualPointer(&p, 0);
            *At(p) = data[i];
        }
        EXPECT_EQ(500 + 65536, buffer.GetBuffer(0).fileOffset);
        buffer.ValidateWriting(static_cast<int32_t>(data.size()), 100500, 0, 0);
    }
    EXPECT_EQ(std::string(500, 'y') + data, ReadWholeFile(name.c_str()));
}

// A mapped channel writes into the views themselves, window after window,
// to the end of the mapped file.
TEST_F(MultiFileBufferTest, MappedWritingGoesIntoTheViews) {
    const std::string old(400000, 'z'), data = Pattern(300000, 14);
    const FileName name = MakeFile("mapped-written", old);
    {
        MappedFile file(name, File::OpenReadWrite, 0);
        MultiFileBuffer buffer(1, 0, MultiFileBuffer::ModeWrite);
        MappedBufferedFile::Register(buffer, 0, file, 100000, 10, 1, 1, 65536, 1);
        EXPECT_EQ(300000, buffer.GetFile(0)->GetSegmentSize());
        void *p = buffer.GetVirtualPointer(100000, 0);
        for (size_t i = 0; i < data.size(); ++i, p = At(p) + 1) {
            buffer.ValidateVirtualPointer(&p, 0);
            *At(p) = data[i];
        }
        EXPECT_EQ(1, buffer.GetNumBuffers());
        buffer.ValidateWriting(300000, -1, 0, 0);
        EXPECT_EQ(0, file.GetViews().GetCount());
    }
    EXPECT_EQ(old.substr(0, 100000) + data, ReadWholeFile(name.c_str()));
}

TEST_F(MultiFileBufferTest, StopUsingFileBeforeARemap) {
    const std::string bytes = Pattern(200000, 10), other = Pattern(70000, 11);
    MappedFile mapped(MakeFile("remapped", bytes), File::OpenReadWrite, 0);
    File plain(MakeFile("other", other), File::OpenRead);
    MultiFileBuffer buffer(2, 4);
    MappedBufferedFile::Register(buffer, 0, mapped, 0, 0, 1, 1, 65536, 0);
    ClassicBufferedFile::Register(buffer, 1, plain, 0, 0, 1, 1, 4096, 0);
    EXPECT_EQ(bytes[150000], *At(buffer.GetVirtualPointer(150000, 0)));
    EXPECT_EQ(other[100], *At(buffer.GetVirtualPointer(100, 1)));

    buffer.StopUsingFile(mapped);
    EXPECT_EQ(-1, buffer.GetChannelInfo(0).bufferId);
    EXPECT_NE(-1, buffer.GetChannelInfo(1).bufferId);
    EXPECT_EQ(2, buffer.GetNumBuffers());
    EXPECT_EQ(0, mapped.GetViews().GetCount());

    mapped.SetFileSize(300000, 0, 0);
    // The segment was registered as the rest of the old file.
    EXPECT_EQ(bytes[199999], *At(buffer.GetVirtualPointer(199999, 0)));
    EXPECT_EQ(other[69999], *At(buffer.GetVirtualPointer(69999, 1)));
}

// A window past the data fails in ReadCache; the failure reaches the
// caller of ValidateVirtualPointer, and the buffer retries its transfer.
TEST_F(MultiFileBufferTest, AReadFailurePassesUpAndIsRetried) {
    const std::string bytes = Pattern(100000, 12);
    const FileName name = MakeFile("short", bytes);
    File file(name, File::OpenRead | File::ShareReadWrite);
    MultiFileBuffer buffer(1, 3);
    ClassicBufferedFile::Register(buffer, 0, file, 0, 200000, 1, 1, 8192, 0);
    void *p = buffer.GetVirtualPointer(80000, 0);
    p = At(p) + 25000;
    ExpectFailure([&] { buffer.ValidateVirtualPointer(&p, 0); },
                  FormattedMessage(MSG_FILE_READ_ERROR, file.GetName().c_str()));
    EXPECT_EQ(105000, buffer.GetBuffer(0).pendingOffset);

    WriteWholeFile(name.c_str(), bytes + Pattern(100000, 13));
    buffer.ValidateVirtualPointer(&p, 0);
    EXPECT_EQ(-1, buffer.GetBuffer(0).pendingOffset);
    EXPECT_EQ(Pattern(100000, 13)[5000], *At(p));
}

}  // namespace
