// The fast roads of String against the slow ones they stand for: comparisons
// of two Strings against Compare on their texts, and appends against Insert.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "CommonVcZq/text/string.h"

namespace {

// The protected view: Compare (the comparison of plain texts, the slow
// road), and Strings that adopt a body placed at any address.
struct Inspect : String {
    explicit Inspect(StringRef *body) : String(body) {}
    ~Inspect() { text = nullptr; }  // the body belongs to the test
    static int Slow(const String &a, const String &b) { return Compare(a.c_str(), b.c_str()); }
    static const StringRef *Body(const String &s) { return reinterpret_cast<const StringRef *>(s.c_str()) - 1; }
};

int Sign(int v) {
    return (v > 0) - (v < 0);
}

// A body with `text` (zeros included) `offset` bytes (a multiple of the
// header's alignment) into `storage`, never released.  Bodies from a heap
// all place their text alike; these put it at either half of 16 bytes.
StringRef *Place(std::vector<uint64_t> &storage, size_t offset, const std::string &text) {
    storage.assign(4 + (sizeof(StringRef) + text.size() + 16) / 8, 0xAAAAAAAAAAAAAAAAu);
    StringRef *body = reinterpret_cast<StringRef *>(reinterpret_cast<unsigned char *>(storage.data()) + offset);
    *body = StringRef{static_cast<uint32_t>(text.size()), static_cast<uint32_t>(text.size() + 1), 1, nullptr};
    memcpy(body->GetText(), text.data(), text.size());
    body->GetText()[text.size()] = 0;
    return body;
}

// Random texts from letters of both cases at the edges of the alphabet, the
// characters beside them, bytes above 127 and now and then a zero, as
// pairs that often share a long start, of every length from 0 to 90 (so
// that the scan ends at every place in its blocks of 16); at both places
// of both texts, in both modes, every operator agrees with Compare.
TEST(StringFastRoads, ComparisonsBetweenStringsAgreeWithCompare) {
    const char alphabet[] = "aAzZbB@[`{\x7f\x80\xc9\xe9\xff";
    std::mt19937 random(19);
    auto text = [&](size_t length) {
        std::string t;
        for (size_t i = 0; i < length; ++i)
            t += random() % 40 == 0 ? '\0' : alphabet[random() % (sizeof alphabet - 1)];
        return t;
    };
    std::vector<uint64_t> storageA, storageB;
    int mismatches = 0;
    for (int round = 0; round < 4000; ++round) {
        std::string a = text(random() % 70);
        std::string b = random() % 2 ? a : text(random() % 70);
        if (random() % 2 && !b.empty()) {  // a change of case, a character or the length
            size_t at = random() % b.size();
            b[at] = random() % 2 ? static_cast<char>(b[at] ^ 0x20) : alphabet[random() % (sizeof alphabet - 1)];
            if (random() % 4 == 0)
                b.resize(random() % (b.size() + 20), 'q');
        }
        Inspect x(Place(storageA, 8 * (random() % 2), a)), y(Place(storageB, 8 * (random() % 2), b));
        for (int mode : {1, 0}) {
            CaseSensitive scope(mode);
            const int slow = Inspect::Slow(x, y);
            mismatches += (x == y) != (slow == 0) || (x != y) != (slow != 0) || (x < y) != (slow < 0) ||
                          (x <= y) != (slow <= 0) || (x > y) != (slow > 0) || (x >= y) != (slow >= 0) ||
                          Sign(Inspect::Slow(y, x)) != -Sign(slow);
            if (mismatches == 1) {
                ADD_FAILURE() << "mode " << mode << " round " << round;
                ++mismatches;
            }
        }
    }
    EXPECT_EQ(0, mismatches);
}

// Appending through the inline road (a sole owner) and through Insert (a
// shared body, which the append must leave alone) builds the same text,
// with the buffer exactly the text's size once it has grown, and the block
// of the body always as large as the heap says; a zero appended as a
// character is a character.
TEST(StringFastRoads, AppendsAgreeWithInsert) {
    std::mt19937 random(7);
    const uint64_t bytesBefore = _stringHeap->GetByteCount();
    {
        String fast, slow, shared;
        std::string model;
        for (int step = 0; step < 20000; ++step) {
            if (random() % 500 == 0)
                shared = fast;  // the next append must unshare
            if (random() % 3) {
                const char c = random() % 50 ? static_cast<char>('a' + random() % 26) : '\0';
                fast += c;
                slow.Insert(0xFFFFFFFFu, c, 1);
                model += c;
            } else {
                const std::string word(random() % 12, static_cast<char>('A' + random() % 26));
                fast += word.c_str();
                slow.Insert(slow.GetLength(), word.c_str());
                model += word;
            }
            ASSERT_EQ(model.size(), fast.GetLength());
            ASSERT_EQ(0, memcmp(model.c_str(), fast.c_str(), model.size() + 1));
            ASSERT_EQ(0, memcmp(model.c_str(), slow.c_str(), model.size() + 1));
            ASSERT_EQ(fast.GetBufferSize(), slow.GetBufferSize());
            ASSERT_EQ(sizeof(StringRef) + fast.GetBufferSize(), QX_Heap::GetBlockSize(Inspect::Body(fast)));
        }
        EXPECT_NE(shared.c_str(), fast.c_str());
        EXPECT_EQ(model.size() + 1, fast.GetBufferSize());  // grown by Insert's rule: exactly
        fast += "";  // nothing to append: a shared body stays shared
        String copy = fast;
        copy += "";
        EXPECT_EQ(copy.c_str(), fast.c_str());
    }
    EXPECT_EQ(bytesBefore, _stringHeap->GetByteCount());
}

}  // namespace
