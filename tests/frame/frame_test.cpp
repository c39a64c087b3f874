#include <gtest/gtest.h>

#include <string>

#include "CommonVcZq/frame/frame.h"
#include "CommonVcZq/frame/heap.h"
#include "test_support.h"

namespace {

// The tests run on the thread that loaded the library.
TEST(Frame, TheLoadingThreadIsTheMainThreadAndTheStringHeapStandsFromLoad) {
    EXPECT_EQ(GetCurrentThreadId(), _mainThreadId);
    ASSERT_NE(nullptr, _stringHeap);
    EXPECT_STREQ("StringHeap", _stringHeap->GetName());
}

#if !defined(_WIN32)
// On Windows the line goes to a debugger, where a test cannot read it.
TEST(Frame, SendDebugStringWritesOneLineCutAt998Characters) {
    testing::internal::CaptureStderr();
    SendDebugString("value %d in %s", 42, "x.cfg");
    SendDebugString("%s", "");
    SendDebugString("%s", std::string(2000, 'a').c_str());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "value 42 in x.cfg\n\n" + std::string(998, 'a') + "\n");
}
#endif

}  // namespace
