// MappedFile: the mapping follows the File's flags, views are shared and
// counted, and SetFileSize remaps.
#include <gtest/gtest.h>

#include <string.h>

#include <string>

#include "CommonVcZq/files/mapped_file.h"
#include "CommonVcZq/text/messages.h"
#include "file_test_support.h"

namespace {

const uint32_t kGranule = 65536;

class MappedFileTest : public ::testing::Test {
protected:
    ScratchFolder folder;
};

TEST_F(MappedFileTest, EmptyAndClosedFilesRaise) {
    const FileName empty = folder / "empty";
    WriteWholeFile(empty.c_str(), "");
    ExpectFailure([&] { MappedFile file(empty, File::OpenRead, 1, 0); },
                  FormattedMessage(MSG_MAPPED_FILE_ERROR), 1006);
    File closed(folder / "missing", File::OpenRead | File::OpenNoThrow);
    const std::string name = closed.GetName().c_str();
    ExpectFailure([&] { MappedFile file(closed); }, FormattedMessage(MSG_FILE_OPEN_ERROR, name.c_str()));
}

TEST_F(MappedFileTest, SizeExtendsWithoutAView) {
    const FileName name = folder / "grown";
    WriteWholeFile(name.c_str(), "abc");
    {
        MappedFile file(name, File::OpenReadWrite, 0, 3 * kGranule);
        EXPECT_EQ(nullptr, file.GetStart());
        EXPECT_EQ(0u, file.GetSize());
        EXPECT_EQ(int32_t(3 * kGranule), file.GetFileSize());
        EXPECT_EQ(3 * kGranule, ReadWholeFile(name.c_str()).size());
        // The first view in the list is the one GetStart speaks of.
        MappedFile::View *second = file.CreateView(kGranule, 0);
        EXPECT_EQ(second->address, file.GetStart());
        EXPECT_EQ(2 * kGranule, file.GetSize());
        EXPECT_EQ(3 * kGranule, second->end);
        ExpectFailure([&] { file.CreateView(100, 10); }, FormattedMessage(MSG_MAPPED_FILE_ERROR), 1132);
        EXPECT_EQ(1, file.GetViews().GetCount());
    }
    EXPECT_EQ("abc", ReadWholeFile(name.c_str()).substr(0, 3));
}

TEST_F(MappedFileTest, ViewsAreSharedAndCounted) {
    const FileName name = folder / "counted";
    WriteWholeFile(name.c_str(), std::string(4 * kGranule, 'v'));
    MappedFile file(name, File::OpenRead);
    MappedFile::View *whole = file.GetView();
    // A range inside the default view is the default view.
    EXPECT_EQ(whole, file.FindElseCreate(kGranule, 100));
    EXPECT_EQ(2, whole->refCount);
    file.Release(whole);
    EXPECT_EQ(1, whole->refCount);
    EXPECT_EQ(1, file.GetViews().GetCount());

    // Two asks for a range beyond it share one new view; the second
    // release ends it.
    file.CloseView(whole);
    MappedFile::View *a = file.FindElseCreate(kGranule, kGranule);
    EXPECT_EQ(a, file.FindElseCreate(kGranule + 10, 100));
    EXPECT_EQ(2, a->refCount);
    // Only an overlap: a separate view.
    MappedFile::View *b = file.FindElseCreate(kGranule, 2 * kGranule);
    EXPECT_NE(a, b);
    EXPECT_EQ(2, file.GetViews().GetCount());
    file.Release(a);
    file.Release(a);
    EXPECT_EQ(1, file.GetViews().GetCount());
    EXPECT_EQ(b, &file.GetView(0));
    EXPECT_EQ('v', b->address[2 * kGranule - 1]);
}

TEST_F(MappedFileTest, FlagsChooseTheProtection) {
    const FileName name = folder / "flags";
    WriteWholeFile(name.c_str(), std::string(kGranule, 'r'));
    {
        File readOnly(name, File::OpenRead);
        MappedFile mapped(readOnly, 1, 0);
        EXPECT_EQ('r', mapped.GetStart()[0]);
        // A read-only mapping cannot make the file longer: the platform
        // finds the mapping too big, a lack of memory.
        ExpectFailure([&] { mapped.SetFileSize(2 * kGranule, 1, 0); },
                      FormattedMessage(MSG_VIRTUAL_MEMORY_ERROR), 8);
        EXPECT_EQ(nullptr, mapped.GetStart());
        EXPECT_EQ(nullptr, mapped.SetFileSize(3 * kGranule, 1, 0));  // unmapped now
    }
    MappedFile writable(name, File::OpenReadWrite);
    writable.GetStart()[0] = 'w';
    writable.FlushViews();
    EXPECT_EQ('w', ReadWholeFile(name.c_str())[0]);
}

TEST_F(MappedFileTest, SetFileSizeRemaps) {
    const FileName name = folder / "resized";
    WriteWholeFile(name.c_str(), std::string(1000, 'o'));
    MappedFile file(name, File::OpenReadWrite);
    MappedFile::View *view = file.GetView();
    EXPECT_EQ(nullptr, file.SetFileSize(1000, 1, 1));  // the same size: all stays
    EXPECT_EQ(view, file.GetView());

    char *start = file.SetFileSize(5000, 1, 1);
    ASSERT_NE(nullptr, start);
    EXPECT_EQ(1, file.GetViews().GetCount());
    EXPECT_EQ(int32_t(5000), file.GetFileSize());
    EXPECT_EQ('o', start[999]);
    EXPECT_EQ(std::string(4000, '\0'), std::string(start + 1000, 4000));

    // Below the size on disk: the file keeps its length, the view is the
    // smaller mapping.
    EXPECT_EQ(nullptr, file.SetFileSize(2000, 0, 0));
    EXPECT_EQ(nullptr, file.GetView());
    EXPECT_EQ(int32_t(5000), file.GetFileSize());
    EXPECT_EQ(2000u, file.CreateView(0, 0)->size);
    file.Close();
    EXPECT_FALSE(file.GetFile().IsOpen());
    EXPECT_EQ(5000u, ReadWholeFile(name.c_str()).size());
}

}  // namespace
