// Tests of MemoryStream: growth of an own block, the widths of typed values,
// line and text reading, and the guards at the end of a block.
#include "CommonVcZq/tools/memory_stream.h"

#include <gtest/gtest.h>

#include <stdint.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "CommonVcZq/qx_vc/qx_heap.h"

namespace {

TEST(MemoryStreamOwnBlock, TakenAtTheFirstByteAndGrownByItsStep) {
    MemoryStream s(10, 1);
    s.Put("abc", 0);
    s.Put('x', -1);
    EXPECT_EQ(nullptr, s.GetStart());
    s.Put('x');
    EXPECT_EQ(32u, QX_Heap::GetBlockSize(s.GetStart()));  // a growth of 10 is raised to 32

    s.Reset(2048, 1);
    const std::vector<char> chunk(1500, 'a');
    for (uint32_t expected : {2048u, 4096u, 6144u, 6144u, 8192u}) {
        s.Put(chunk.data(), 1500);
        EXPECT_EQ(expected, QX_Heap::GetBlockSize(s.GetStart()));
    }
    EXPECT_EQ(0, memcmp(s.GetStart() + 6000, chunk.data(), 1500));  // contents follow the block
    const std::vector<char> large(10000, 'b');
    s.Put(large.data(), 10000);  // more than a step: just what is needed
    EXPECT_EQ(17500u, QX_Heap::GetBlockSize(s.GetStart()));
    s.SetPosition(20000);  // writing behind a cursor past the end grows up to it
    s.Put('z');
    EXPECT_EQ('z', *s.GetPointer(20000));
}

TEST(MemoryStreamOwnBlock, DeleteBlockDecidesWhoReleasesIt) {
    const uint32_t before = QX_Heap::GetDefault().GetBlockCount();
    uint8_t *handedOver = nullptr;
    {
        MemoryStream kept(64, 0), released(64, 1);
        kept.PutString("kept", 1);
        released.Put('x');
        handedOver = kept.GetStart();
    }
    EXPECT_STREQ("kept", reinterpret_cast<char *>(handedOver));
    QX_Heap::FreeMem(handedOver);
    EXPECT_EQ(before, QX_Heap::GetDefault().GetBlockCount());
    MemoryStream s(64, 0);  // Reset releases even a block that was to be handed over
    s.Put('x');
    s.Reset(64, 0);
    EXPECT_EQ(before, QX_Heap::GetDefault().GetBlockCount());
}

TEST(MemoryStreamValues, FixedWidthsAndRoundTrips) {
    MemoryStream s(32, 1);
    double d = -2.5;
    s.Put('c'), s.Put(static_cast<signed char>(-2)), s.Put(static_cast<unsigned char>(250));
    s.Put(static_cast<short>(-300)), s.Put(static_cast<unsigned short>(65000));
    s.Put(-70000), s.Put(4000000000u), s.Put(-5L), s.Put(0xFFFFFFFFUL), s.Put(1.25f), s.Put(d);
    EXPECT_EQ(35u, s.GetPosition());  // long takes 4 bytes on every platform

    unsigned int ui = 0;
    long l = 0;
    unsigned long ul = 0;
    float f = 0;
    double back = 0;
    s.SetPosition(11);
    s.Get(ui), s.Get(l), s.Get(ul), s.Get(f), s.Get(back);
    EXPECT_EQ(4000000000u, ui);
    EXPECT_EQ(-5L, l);            // widened with its sign
    EXPECT_EQ(0xFFFFFFFFUL, ul);  // widened with zeros
    EXPECT_EQ(1.25f, f);
    EXPECT_EQ(-2.5, back);
}

TEST(MemoryStreamText, WritingStringsAndLines) {
    MemoryStream s(32, 1);
    s.PutEndl();
    s.PutString("abc", 0);
    s.PutString(String("abc"), 1);
    s.PutLine("xyz");
    s.PutLine(String("uv"));
    s.Put('-', 3);
    EXPECT_EQ(0, memcmp(s.GetStart(), "\0abcabc\0xyz\r\nuv\r\n---", 20));
}

TEST(MemoryStreamBorrowed, ReadsAcceptEveryLineEndAndStopAtTheEndOfTheBlock) {
    // An exactly sized heap copy, so that the sanitizer sees any read behind it.
    const std::string bytes("a\r\nb\nc\rd\0\r\ne\r", 13);
    const std::vector<char> block(bytes.begin(), bytes.end());
    MemoryStream s(static_cast<const void *>(block.data()), 13);
    for (const char *line : {"a", "b", "c", "d", "", "e"})  // a zero ends a line; CR LF is one end
        EXPECT_STREQ(line, s.GetLine());
    EXPECT_EQ(13u, s.GetPosition());  // a CR at the very end: nothing behind it is read
    s.Reset(static_cast<const void *>(block.data()), 12);  // a borrowed block is never released
    s.SetPosition(11);
    EXPECT_STREQ("e", s.GetLine());  // a last line without a line end
    EXPECT_EQ(12u, s.GetPosition());
    s.SetPosition(8);
    EXPECT_STREQ("", s.GetString());
    EXPECT_STREQ("\r\ne", s.GetString());
    EXPECT_EQ(12u, s.GetPosition());
    s.SetPosition(10);
    int value = -1;
    s.Get(value);  // what is there, then zeros
    EXPECT_EQ(0, memcmp(&value, "\ne\0\0", 4));
    EXPECT_EQ(12u, s.GetPosition());
    s.SetPosition(50);  // past the end: nothing is read, the cursor stays
    EXPECT_STREQ("", s.GetLine());
    EXPECT_STREQ("", s.GetString());
    EXPECT_EQ(50u, s.GetPosition());
}

// Lines of every length up to a few blocks of the fast scan, at every
// offset, with bytes just around the line ends (9, 11, 12, 14, 0x8A, 0xFF)
// in them: GetLine ends each where the byte-by-byte rule ends it.
TEST(MemoryStreamBorrowed, LinesAtEveryLengthAndOffset) {
    static const char kBytes[] = {'a', 'b', '\t', '\v', '\f', 14, '\x8A', '\xFF', '\n', '\r', '\0'};
    std::mt19937 random(77);
    std::vector<char> block(8192);
    for (size_t i = 0; i < block.size(); ++i)  // line ends rarer from stretch to stretch
        block[i] = random() % (2 + i / 256) ? kBytes[random() % 8] : kBytes[random() % 11];
    for (uint32_t offset = 0; offset < 40; ++offset) {
        const uint32_t size = static_cast<uint32_t>(block.size()) - offset;
        MemoryStream s(static_cast<const void *>(block.data() + offset), size);
        uint32_t at = 0;
        while (!s.End()) {
            std::string expected;
            while (at < size && block[offset + at] != '\n' && block[offset + at] != '\r' && block[offset + at])
                expected += block[offset + at++];
            if (at < size && block[offset + at++] == '\r' && at < size && block[offset + at] == '\n')
                ++at;
            const String line = s.GetLine();
            ASSERT_EQ(expected, std::string(line.c_str(), line.GetLength())) << offset;
            ASSERT_EQ(at, s.GetPosition());
        }
    }
}

TEST(MemoryStreamBorrowed, WritesThatDoNotFitAreRefused) {
    char bytes[6] = {'-', '-', '-', '-', '-', '-'};
    MemoryStream s(static_cast<void *>(bytes), 4);
    s.Put("ab", 2);
    s.Put(0x41424344);  // 4 more bytes do not fit behind 2
    s.Put('x', 3);
    s.PutLine("cd");  // a line and its end go in whole or not at all
    EXPECT_EQ(2u, s.GetPosition());
    s.SetPosition(3);
    EXPECT_EQ(0, s.End());
    s.Seek(2);
    s.Put('x', 2);
    EXPECT_EQ(1, s.End());
    EXPECT_EQ(0, memcmp(bytes, "abxx--", 6));

    const char fixed[4] = {'a', 'b', 'c', 'd'};
    MemoryStream readOnly(static_cast<const void *>(fixed), 4);
    readOnly.Put('x');
    readOnly.PutEndl();
    EXPECT_EQ(0u, readOnly.GetPosition());
    EXPECT_EQ(0, memcmp(fixed, "abcd", 4));
}

}  // namespace
