#include <gtest/gtest.h>

#include <string.h>
#include <thread>

#include "CommonVcZq/text/string.h"

namespace {

// Opens the protected view of a String: its body and the buffer rules.
struct Inspect : String {
    static uint32_t Round(uint32_t n) { return RoundBufferSize(n); }
    static const StringRef *Body(const String &s) { return reinterpret_cast<const StringRef *>(s.c_str()) - 1; }
};

uint32_t Count(const String &s) { return Inspect::Body(s)->refCount; }
uint32_t Size(const String &s) { return Inspect::Body(s)->bufferSize; }

TEST(StringBody, EmptyStringsShareOnlyTheBodiesOfDefaultAndClear) {
    EXPECT_EQ(8u, Inspect::Round(0));
    EXPECT_EQ(8u, Inspect::Round(8));
    EXPECT_EQ(16u, Inspect::Round(9));

    String fromLiteral("");
    String a, b;
    EXPECT_EQ(1u, Count(fromLiteral));
    EXPECT_EQ(8u, Size(fromLiteral));
    EXPECT_EQ(a.c_str(), b.c_str());
    EXPECT_NE(a.c_str(), fromLiteral.c_str());
    // The shared empty body stays shared: a writer gets a private copy.
    a.EnsureBufferSize(20);
    EXPECT_NE(a.c_str(), b.c_str());
    EXPECT_TRUE(b.IsEmpty());
    EXPECT_EQ(0u, SubString::CreateNull().c_str()[0]);

    String big('x', 5000);
    String other("y");
    other.Clear();
    uint32_t blocks = _stringHeap->GetBlockCount();
    big.Clear();
    EXPECT_EQ(blocks - 1, _stringHeap->GetBlockCount());  // the buffer goes back
    EXPECT_EQ(other.c_str(), big.c_str());                // both share the empty body of Clear
    String viaEmptyText("abc");
    viaEmptyText = "";
    EXPECT_EQ(other.c_str(), viaEmptyText.c_str());
}

TEST(StringBody, CopiesShareUntilOneIsChangedTheSoleOwnerResizesInPlace) {
    String a("hello");
    String b = a;
    EXPECT_EQ(a.c_str(), b.c_str());
    EXPECT_EQ(2u, Count(a));
    b.EnsureBufferSize(100);
    EXPECT_NE(a.c_str(), b.c_str());
    EXPECT_STREQ("hello", b);
    EXPECT_EQ(104u, Size(b));
    EXPECT_EQ(5u, b.GetLength());
    EXPECT_EQ(1u, Count(a));

    String s("abc");
    s.EnsureBufferSize(1000);
    EXPECT_EQ(1008u, Size(s));
    s.FreeExtraBufferSize();
    EXPECT_EQ(8u, Size(s));
    EXPECT_STREQ("abc", s);
    // On a shared body the spare room goes with a private copy.
    s.EnsureBufferSize(50);
    String t = s;
    t.FreeExtraBufferSize();
    EXPECT_NE(s.c_str(), t.c_str());
    EXPECT_EQ(56u, Size(s));
    EXPECT_EQ(8u, Size(t));

    // SetChar writes into the body as it is, shared or not.
    t = s;
    t.SetChar(0, 'X');
    EXPECT_STREQ("Xbc", s);
}

TEST(StringBody, SubStringHandsOverOneReference) {
    String a("abcdef");
    String b = a;
    String moved(SubString::TransformToSubString(b));
    EXPECT_EQ(nullptr, b.c_str());  // b can only be destroyed now
    EXPECT_EQ(a.c_str(), moved.c_str());
    EXPECT_EQ(2u, Count(a));
    EXPECT_STREQ("xy", String(SubString::Create("xyz", 2)));

    // A SubString assigned to the string it was taken from replaces it.
    String c("hello");
    String d = c;
    c = SubString::TransformToSubString(d);
    EXPECT_STREQ("hello", c);
    EXPECT_EQ(1u, Count(c));
}

TEST(StringConstruction, PiecesRepeatsNumbersAndReading) {
    EXPECT_STREQ("cde", String("abcdefg", 2, 3));
    EXPECT_STREQ("cdefg", String("abcdefg", 2, 0xFFFFFFFFu));
    String s("abcdefg");
    EXPECT_STREQ("defg", String(s, 3, 0xFFFFFFFFu));
    EXPECT_STREQ("", String(s, 7, 0xFFFFFFFFu));
    EXPECT_STREQ("zzzz", String('z', 4));
    EXPECT_STREQ("", String('z', 0));

    EXPECT_STREQ("-2147483648", String(static_cast<int>(INT32_MIN)));
    EXPECT_STREQ("4294967295", String(0xFFFFFFFFu));
    EXPECT_STREQ("0", String(0));
    EXPECT_STREQ("1.50", String(1.5f));
    EXPECT_STREQ("2.25", String(2.25));
    EXPECT_STREQ("0x00ff", String(255, "0x%04x"));
    EXPECT_STREQ("1.5e+00", String(1.5, "%.1e"));
    // A format that makes more than 79 characters is cut there.
    EXPECT_EQ(79u, String(1.0e100, "%.70f").GetLength());

    EXPECT_EQ('g', s.GetLastChar());
    EXPECT_EQ(0, String().GetLastChar());
}

TEST(StringConversions, ReadLikeTheRuntimeWith32BitResults) {
    EXPECT_EQ(0, String("abc").to_int(10));
    EXPECT_EQ(-12, String("  -12xyz").to_int32());
    EXPECT_EQ(INT32_MAX, String("99999999999").to_int32());
    EXPECT_EQ(INT32_MIN, String("-99999999999").to_long());
    EXPECT_EQ(0xFFFFFFFFu, String("-1").to_uint32());
    EXPECT_EQ(0xFFFFFFFFu, String("4294967296").to_ulong());
    EXPECT_EQ(0xFFFFFFFFu, String("-4294967296").to_uint());
    EXPECT_EQ(4294967295u, String("4294967295").to_uint32());
    EXPECT_EQ(static_cast<char>(0x34), String("0x1234").to_char(16));
    EXPECT_EQ(static_cast<short>(0x5678), String("12345678").to_short(16));
    EXPECT_EQ(0xFFFF, String("-1").to_ushort());
    EXPECT_DOUBLE_EQ(2.5, String("2.5kg").to_double());
    EXPECT_FLOAT_EQ(-0.25f, String("-.25").to_float());
}

TEST(StringCompare, OrderingFollowsTheThreadsMode) {
    EXPECT_TRUE(String("abc") != "ABC");
    EXPECT_TRUE(String("B") < String("a"));
    // Bytes above 127 order after ASCII: the comparison is unsigned.
    EXPECT_TRUE(String("z") < String("\xe9"));
    {
        CaseSensitive insensitive(0);
        EXPECT_TRUE(String("abc") == "ABC");
        EXPECT_TRUE(String("a") < String("B"));
        {
            CaseSensitive sensitive(1);
            EXPECT_TRUE(String("abc") != "ABC");
        }
        EXPECT_TRUE(String("abc") == "ABC");
    }
    EXPECT_EQ(1, CaseSensitive::GetMode());
}

TEST(StringHeapUse, ObjectsAndBodiesLiveOnTheStringHeap) {
    uint32_t before = _stringHeap->GetBlockCount();
    String *s = new String("on the heap");
    EXPECT_EQ(before + 2, _stringHeap->GetBlockCount());  // the object and its body
    delete s;
    EXPECT_EQ(before, _stringHeap->GetBlockCount());

    // A body keeps the heap that made it, for growth and release.
    QX_Heap other(1, "Other");
    String *elsewhere = new (other) String("x");
    EXPECT_EQ(&other, QX_Heap::GetHeapOf(elsewhere));
    delete elsewhere;
    EXPECT_EQ(0u, other.GetBlockCount());
}

TEST(StringThreads, EmptyStringsAreSharedSafelyAcrossThreads) {
    // Every thread makes and drops empty strings and copies of them at once;
    // the shared empty bodies must survive it unchanged.
    std::thread workers[4];
    for (auto &w : workers)
        w = std::thread([] {
            for (int i = 0; i < 20000; ++i) {
                String a;
                String b = a;
                String c(SubString::CreateNull());
                c.Clear();
                b = c;
            }
        });
    for (auto &w : workers)
        w.join();
    String a;
    a.EnsureBufferSize(3);
    EXPECT_TRUE(String().IsEmpty());
}

}  // namespace
