// Tests of MemoryStream: growth of an own block, the widths of typed values,
// line and text reading, and the guards at the end of a block.
#include "tools/memory_stream.h"

#include <gtest/gtest.h>

#include <stdint.h>
#include <string.h>

#include <memory>
#include <string>
#include <vector>

#include "qx_vc/qx_heap.h"

namespace {

uint32_t DefaultHeapBlocks() {
    return QX_Heap::GetDefault().GetBlockCount();
}

// An exactly sized heap copy of `bytes`, so that the sanitizer sees any
// read behind it.
std::unique_ptr<char[]> ExactCopy(const std::string &bytes) {
    std::unique_ptr<char[]> copy(new char[bytes.size()]);
    memcpy(copy.get(), bytes.data(), bytes.size());
    return copy;
}

TEST(MemoryStreamOwnBlock, TakenAtTheFirstByteAndGrownByItsStep) {
    const uint32_t before = DefaultHeapBlocks();
    MemoryStream s(10, 1);
    s.Put("abc", 0);
    s.Put('x', 0);
    s.Put('x', -1);
    EXPECT_EQ(nullptr, s.GetStart());
    EXPECT_EQ(0u, s.GetPosition());
    EXPECT_EQ(before, DefaultHeapBlocks());
    s.Put('x');
    EXPECT_EQ(32u, QX_Heap::GetBlockSize(s.GetStart()));  // a growth of 10 is raised to 32
    s.Reset(33, 1);
    EXPECT_EQ(before, DefaultHeapBlocks());
    s.Put('x');
    EXPECT_EQ(33u, QX_Heap::GetBlockSize(s.GetStart()));

    MemoryStream stepped(2048, 1);
    const std::vector<char> chunk(1500, 'a');
    for (uint32_t expected : {2048u, 4096u, 6144u, 6144u, 8192u}) {
        stepped.Put(chunk.data(), 1500);
        EXPECT_EQ(expected, QX_Heap::GetBlockSize(stepped.GetStart()));
    }
    EXPECT_EQ(7500u, stepped.GetPosition());
    EXPECT_EQ(0, memcmp(stepped.GetStart() + 6000, chunk.data(), 1500));  // contents follow the block
    const std::vector<char> large(10000, 'b');
    MemoryStream big(2048, 1);
    big.Put(large.data(), 10000);
    EXPECT_EQ(10000u, QX_Heap::GetBlockSize(big.GetStart()));
    big.SetPosition(20000);  // writing behind a cursor past the end grows up to it
    big.Put('z');
    EXPECT_EQ('z', *big.GetPointer(20000));
}

TEST(MemoryStreamOwnBlock, DeleteBlockDecidesWhoReleasesIt) {
    const uint32_t before = DefaultHeapBlocks();
    uint8_t *handedOver = nullptr;
    {
        MemoryStream s(64, 0);
        s.PutString("kept", 1);
        handedOver = s.GetStart();
    }
    EXPECT_STREQ("kept", reinterpret_cast<char *>(handedOver));
    QX_Heap::FreeMem(handedOver);
    {
        MemoryStream s(64, 1);
        s.Put('x');
    }
    EXPECT_EQ(before, DefaultHeapBlocks());
    MemoryStream s(64, 0);  // Reset releases even a block that was to be handed over
    s.Put('x');
    s.Reset(64, 0);
    EXPECT_EQ(before, DefaultHeapBlocks());
}

TEST(MemoryStreamValues, FixedWidthsAndRoundTrips) {
    MemoryStream s(32, 1);
    double d = -2.5;
    s.Put('c'), s.Put(static_cast<signed char>(-2)), s.Put(static_cast<unsigned char>(250));
    s.Put(static_cast<short>(-300)), s.Put(static_cast<unsigned short>(65000));
    EXPECT_EQ(7u, s.GetPosition());
    s.Put(-70000), s.Put(4000000000u), s.Put(-5L), s.Put(0xFFFFFFFFUL), s.Put(1.25f);
    EXPECT_EQ(27u, s.GetPosition());  // long takes 4 bytes on every platform
    s.Put(d);
    EXPECT_EQ(35u, s.GetPosition());

    signed char sc = 0;
    unsigned short us = 0;
    unsigned int ui = 0;
    long l = 0;
    unsigned long ul = 0;
    float f = 0;
    double back = 0;
    s.SetPosition(1);
    s.Get(sc);
    s.SetPosition(5);
    s.Get(us);
    s.SetPosition(11);
    s.Get(ui), s.Get(l), s.Get(ul), s.Get(f), s.Get(back);
    EXPECT_EQ(-2, sc);
    EXPECT_EQ(65000, us);
    EXPECT_EQ(4000000000u, ui);
    EXPECT_EQ(-5L, l);            // widened with its sign
    EXPECT_EQ(0xFFFFFFFFUL, ul);  // widened with zeros
    EXPECT_EQ(1.25f, f);
    EXPECT_EQ(-2.5, back);
}

TEST(MemoryStreamText, WritingStringsAndLines) {
    MemoryStream s(32, 1);
    s.PutEndl();
    EXPECT_EQ(1u, s.GetPosition());
    EXPECT_EQ(0, s.GetStart()[0]);
    s.PutString("abc", 0);
    EXPECT_EQ(4u, s.GetPosition());
    s.PutString(String("abc"), 1);
    EXPECT_EQ(8u, s.GetPosition());
    s.PutLine("xyz");
    s.PutLine(String("uv"));
    s.Put('-', 3);
    EXPECT_EQ(0, memcmp(s.GetStart(), "\0abcabc\0xyz\r\nuv\r\n---", 20));

    s.Seek(4);
    EXPECT_STREQ("abc", s.GetString());
    EXPECT_EQ(8u, s.GetPosition());  // behind the terminator
    EXPECT_STREQ("xyz", s.GetLine());
}

TEST(MemoryStreamText, GetLineAcceptsEveryLineEnd) {
    auto block = ExactCopy(std::string("a\r\nb\nc\rd\0\r\ne\r", 13));
    MemoryStream s(static_cast<const void *>(block.get()), 13);
    EXPECT_STREQ("a", s.GetLine());
    EXPECT_STREQ("b", s.GetLine());
    EXPECT_STREQ("c", s.GetLine());
    EXPECT_EQ(7u, s.GetPosition());  // at the d
    EXPECT_STREQ("d", s.GetLine());  // a zero ends a line too
    EXPECT_STREQ("", s.GetLine());   // CR LF: one empty line, two bytes
    EXPECT_EQ(11u, s.GetPosition());
    EXPECT_STREQ("e", s.GetLine());  // a CR at the very end: nothing behind it is read
    EXPECT_EQ(13u, s.GetPosition());
}

TEST(MemoryStreamBorrowed, ReadsStopAtTheEndOfTheBlock) {
    auto block = ExactCopy("last line");
    MemoryStream s(static_cast<const void *>(block.get()), 9);
    EXPECT_STREQ("last line", s.GetLine());
    EXPECT_EQ(9u, s.GetPosition());
    EXPECT_STREQ("", s.GetLine());
    s.SetPosition(5);
    EXPECT_STREQ("line", s.GetString());
    EXPECT_EQ(9u, s.GetPosition());
    s.SetPosition(7);
    int value = -1;
    s.Get(value);  // what is there, then zeros
    EXPECT_EQ(0, memcmp(&value, "ne\0\0", 4));
    EXPECT_EQ(9u, s.GetPosition());
    s.SetPosition(50);  // past the end: nothing is read, the cursor stays
    EXPECT_STREQ("", s.GetLine());
    EXPECT_STREQ("", s.GetString());
    EXPECT_EQ(50u, s.GetPosition());
}

TEST(MemoryStreamBorrowed, WritesThatDoNotFitAreRefused) {
    char bytes[6] = {'-', '-', '-', '-', '-', '-'};
    const uint32_t before = DefaultHeapBlocks();
    {
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
        EXPECT_EQ(s.GetPointer(4), s.GetHeadPointer());
        EXPECT_EQ(1, s.End());
        s.Reset(static_cast<void *>(bytes), 4);  // a borrowed block is never released
    }
    EXPECT_EQ(0, memcmp(bytes, "abxx--", 6));
    EXPECT_EQ(before, DefaultHeapBlocks());

    const char fixed[4] = {'a', 'b', 'c', 'd'};
    MemoryStream readOnly(static_cast<const void *>(fixed), 4);
    readOnly.Put('x');
    readOnly.PutEndl();
    EXPECT_EQ(0u, readOnly.GetPosition());
    EXPECT_EQ(0, memcmp(fixed, "abcd", 4));
}

}  // namespace
