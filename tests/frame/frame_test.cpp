#include <gtest/gtest.h>

#include <stdio.h>
#include <string>
#include <thread>

#include "frame/frame.h"
#include "test_support.h"
#include "text/string.h"

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace {

TEST(Frame, TheLoadingThreadIsTheMainThread) {
    uint32_t seen = 0;
    std::thread([&] { seen = _mainThreadId; }).join();
    EXPECT_EQ(GetCurrentThreadId(), seen);
}

TEST(Frame, StringHeapStandsFromLoad) {
    ASSERT_NE(nullptr, _stringHeap);
    EXPECT_STREQ("StringHeap", _stringHeap->GetName());
}

TEST(Frame, NewThreadsStartCaseSensitive) {
    CaseSensitive insensitive(0);
    int mode = -1;
    std::thread([&] { mode = CaseSensitive::GetMode(); }).join();
    EXPECT_EQ(1, mode);
}

#if !defined(_WIN32)
// Runs `send` with standard error going to a file, and gives what it wrote.
template <typename F>
std::string CaptureDebugChannel(F send) {
    fflush(stderr);
    FILE *file = tmpfile();
    int saved = dup(2);
    dup2(fileno(file), 2);
    send();
    dup2(saved, 2);
    close(saved);
    std::string text;
    rewind(file);
    int c;
    while ((c = fgetc(file)) != EOF)
        text += static_cast<char>(c);
    fclose(file);
    return text;
}

TEST(Frame, SendDebugStringWritesOneLine) {
    EXPECT_EQ("value 42 in x.cfg\n", CaptureDebugChannel([] { SendDebugString("value %d in %s", 42, "x.cfg"); }));
    EXPECT_EQ("\n", CaptureDebugChannel([] { SendDebugString("%s", ""); }));
    std::string longText(2000, 'a');
    EXPECT_EQ(std::string(998, 'a') + "\n",
              CaptureDebugChannel([&] { SendDebugString("%s", longText.c_str()); }));
}
#endif

}  // namespace
