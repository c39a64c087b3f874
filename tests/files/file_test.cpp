// File on both roads: the flag word and its defaults, values and lines,
// positions and sizes, closing with its clean-ups, times and attributes,
// and the operations by name.
#include <gtest/gtest.h>

#include <string.h>

#include <string>

#include "CommonVcZq/text/messages.h"
#include "CommonVcZq/threads/locks.h"
#include "file_test_support.h"

namespace {

// The road a test runs on: 0 for the file handle, OpenBufferedStream for
// the stream.
class FileRoad : public ::testing::TestWithParam<int> {
protected:
    int Road() const { return GetParam(); }
    ScratchFolder folder;
};

INSTANTIATE_TEST_SUITE_P(Roads, FileRoad, ::testing::Values(0, int(File::OpenBufferedStream)),
                         [](const ::testing::TestParamInfo<int> &info) {
                             return info.param ? "Stream" : "Handle";
                         });

TEST_P(FileRoad, DefaultsAreRecordedInTheFlags) {
    const FileName name = folder / "a.bin";
    {
        File file(name, File::OpenCreate | Road());
        EXPECT_EQ(File::OpenCreate | File::OpenReadWrite | File::ShareRead | Road(), file.GetOpenFlags());
    }
    File attributesOnly(name, File::OpenAttributesOnly | File::ShareReadWrite | Road());
    EXPECT_TRUE(attributesOnly.IsOpen());
    EXPECT_EQ(File::OpenAttributesOnly | File::ShareReadWrite | Road(), attributesOnly.GetOpenFlags());
}

TEST_P(FileRoad, ValuesRoundTripWithTheirSizes) {
    const FileName name = folder / "values.bin";
    {
        File file(name, File::OpenCreate | Road());
        file.Write('a');
        file.Write(static_cast<signed char>(-2));
        file.Write(static_cast<unsigned char>(250));
        file.Write(static_cast<short>(-30000));
        file.Write(static_cast<unsigned short>(60000));
        file.Write(-100000);
        file.Write(4000000000u);
        file.Write(-5L);
        file.Write(0xFFFFFFFFUL);
        file.Write(1.5f);
        file.Write(2.25);
    }
    File file(name, File::OpenRead | Road());
    EXPECT_EQ(3 + 2 * 2 + 4 * 5 + 8, file.GetSize());
    char c;
    signed char sc;
    unsigned char uc;
    short s;
    unsigned short us;
    int i;
    unsigned int ui;
    long l;
    unsigned long ul;
    float f;
    double d;
    file.Read(&c), file.Read(&sc), file.Read(&uc), file.Read(&s), file.Read(&us), file.Read(&i);
    file.Read(&ui), file.Read(&l), file.Read(&ul), file.Read(&f), file.Read(&d);
    EXPECT_EQ('a', c);
    EXPECT_EQ(-2, sc);
    EXPECT_EQ(250, uc);
    EXPECT_EQ(-30000, s);
    EXPECT_EQ(60000, us);
    EXPECT_EQ(-100000, i);
    EXPECT_EQ(4000000000u, ui);
    EXPECT_EQ(-5L, l);
    EXPECT_EQ(0xFFFFFFFFUL, ul);
    EXPECT_EQ(1.5f, f);
    EXPECT_EQ(2.25, d);
    ExpectFailure([&] { file.Read(&c); }, FormattedMessage(MSG_FILE_READ_ERROR, name.c_str()));
}

TEST_P(FileRoad, ReadReportsShortAndEmptyReads) {
    const FileName name = folder / "short.bin";
    WriteWholeFile(name.c_str(), "12345");
    File file(name, File::OpenRead | Road());
    char buffer[16];
    int32_t got = 99;
    EXPECT_EQ(1, file.Read(buffer, 0, 1, &got));
    EXPECT_EQ(0, got);
    EXPECT_EQ(0, file.Read(buffer, -1, 0, &got));
    EXPECT_EQ(-1, got);
    EXPECT_EQ(0, file.Read(buffer, 8, 0, &got));
    EXPECT_EQ(5, got);
    EXPECT_EQ(0, memcmp(buffer, "12345", 5));
    EXPECT_EQ(0, file.Read(buffer, 8, 0, &got));
    EXPECT_EQ(0, got);
    ExpectFailure([&] { file.Read(buffer, -1, 1, nullptr); }, FormattedMessage(MSG_FILE_READ_ERROR, name.c_str()));
}

TEST_P(FileRoad, LinesWrittenAndReadBack) {
    const FileName name = folder / "lines.txt";
    {
        File file(name, File::OpenCreate | Road());
        file.WriteLine("x", 13, 10);
        file.WriteLine(String("y"), 10, '\xFF');
        // Wine's stream reports the size on disk, without what its buffer
        // holds.
        if (!Road() || !RunningUnderWine()) {
            EXPECT_EQ(5, file.GetSize());
        }
        file.WriteString("lone cr\rnext");
        file.WriteString(String("zero"), 1);
        file.WriteString("\r\n\nlast\r");
    }
    EXPECT_EQ(std::string("x\r\ny\nlone cr\rnextzero\0\r\n\nlast\r", 30), ReadWholeFile(name.c_str()));
    File file(name, File::OpenRead | Road());
    const char *expected[] = {"x", "y", "lone cr", "nextzero", "", ""};
    for (const char *line : expected)
        EXPECT_STREQ(line, String(file.ReadLine()).c_str());
    EXPECT_EQ(25, file.GetPosition());
    // The last byte is a CR: the read of its partner fails.
    ExpectFailure([&] { file.ReadLine(); }, FormattedMessage(MSG_FILE_READ_ERROR, name.c_str()));
    EXPECT_TRUE(file.ReadLine().IsEmpty());
}

TEST_P(FileRoad, SeekForms) {
    const FileName name = folder / "seek.bin";
    WriteWholeFile(name.c_str(), "0123456789");
    File file(name, File::OpenRead | Road());
    EXPECT_EQ(10, file.GetSize());
    EXPECT_EQ(10, file.SeekEnd());
    EXPECT_EQ(7, file.Seek(-3, File::OriginCurrent));
    char c;
    file.Read(&c);
    EXPECT_EQ('7', c);
    EXPECT_EQ(8, file.GetPosition());
    EXPECT_EQ(2, file.Seek(2, File::OriginBegin));
    EXPECT_EQ(0, file.SeekStart());
    EXPECT_EQ(-1, file.Seek(-5, File::OriginBegin, 0));
    ExpectFailure([&] { file.Seek(-5, File::OriginBegin, 1); }, FormattedMessage(MSG_FILE_SEEK_ERROR));
}

TEST_P(FileRoad, DeleteOnCloseRemovesTheFile) {
    const FileName byFile = folder / "by_file.tmp";
    const FileName bySystem = folder / "by_system.tmp";
    const FileName later = folder / "later.tmp";
    {
        File a(byFile, File::OpenCreate | File::DeleteOnCloseByFile | Road());
        File b(bySystem, File::OpenCreate | File::DeleteOnCloseBySystem | Road());
        File c(later, File::OpenCreate | Road());
        a.WriteString("some bytes");
        b.WriteString("some bytes");
        c.WriteString("some bytes");
        c.SetDeleteOnClose();
        EXPECT_NE(0, c.ShouldBeDeletedOnClose());
        const int expected = Road() ? File::DeleteOnCloseByFile : File::DeleteOnCloseBySystem;
        EXPECT_EQ(expected, b.GetOpenFlags() & 0x600);
    }
    EXPECT_FALSE(File::Exist(byFile));
    EXPECT_FALSE(File::Exist(bySystem));
    EXPECT_FALSE(File::Exist(later));
}

TEST_P(FileRoad, KeepWriteProtectionLiftsReadOnlyWhileOpen) {
    const FileName name = folder / "protected.txt";
    WriteWholeFile(name.c_str(), "old");
    File::SetAttributes(name, File::AttrReadOnly);
    {
        File file(name, File::OpenWrite | File::KeepWriteProtection | Road());
        file.WriteString("new");
    }
    EXPECT_EQ("new", ReadWholeFile(name.c_str()));
    EXPECT_EQ(uint32_t(File::AttrReadOnly), File::GetAttributes(name) & File::AttrReadOnly);
}

TEST_P(FileRoad, TempNameIsMadeInTheFolder) {
    File file(FileName(folder.Name().c_str()), File::OpenTempName | Road());
    EXPECT_STREQ((folder.Name() + "\\XX0.$$$").c_str(), file.GetName().c_str());
    EXPECT_EQ(File::OpenCreate, file.GetOpenFlags() & File::OpenCreate);
    EXPECT_TRUE(File::Exist(file.GetName()));
}

TEST(File, ClosedFilesAndFailedOpens) {
    ScratchFolder folder;
    const FileName missing = folder / "missing.txt";
    File file(missing, File::OpenRead | File::OpenNoThrow | File::OpenThreadSafe);
    EXPECT_FALSE(file.IsOpen());
    EXPECT_EQ(nullptr, file.GetHandle());
    file.Close(1);
    EXPECT_EQ(0, file.Open(missing, File::OpenRead | File::OpenNoThrow));
    EXPECT_STREQ(missing.c_str(), file.GetName().c_str());
    EXPECT_EQ(1, file.Open(missing, File::OpenCreate));
    file.Close(1);
    file.Close(1);
    EXPECT_FALSE(file.IsOpen());
    EXPECT_TRUE(File::Exist(missing));
}

TEST(File, SizeGrowsAndShrinks) {
    ScratchFolder folder;
    File file(folder / "size.bin", File::OpenCreate);
    file.WriteString("abc");
    file.SetSize(100000);
    EXPECT_EQ(100000, file.GetSize());
    EXPECT_EQ(100000, file.GetPosition());
    file.SetSize(2);
    EXPECT_EQ(2, file.GetSize());
    EXPECT_EQ(2, file.GetPosition());
    file.AdjustSizeOfCachedFile(2, 0);
    EXPECT_EQ(2, file.GetSize());
    file.AdjustSizeOfCachedFile(5, 0);
    EXPECT_EQ(5, file.GetSize());
    file.SeekStart();
    char bytes[5];
    file.Read(bytes, 5);
    EXPECT_EQ(0, memcmp(bytes, "ab\0\0\0", 5));
}

TEST(File, DeleteOnCloseTruncatesOnTheHandleRoad) {
    // A second handle, which doesn't share deletion, keeps the file in
    // place past the first one's close, so its length can be looked at.
    ScratchFolder folder;
    const FileName name = folder / "truncated.bin";
    File keeper(name, File::OpenCreate | File::ShareReadWrite);
    keeper.WriteString("0123456789");
    {
        File file(name, File::OpenReadWrite | File::ShareReadWrite);
        file.SetDeleteOnClose();
    }
    EXPECT_EQ(0, keeper.GetSize());
}

TEST(File, TimesAndAttributesOfTheOpenFile) {
    ScratchFolder folder;
    const FileName name = folder / "times.bin";
    File file(name, File::OpenCreate);
    // 2024-03-15 10:20:30 as a FILETIME.
    const uint64_t ticks = 133549716300000000ULL;
    FILETIME written;
    written.dwLowDateTime = static_cast<uint32_t>(ticks);
    written.dwHighDateTime = static_cast<uint32_t>(ticks >> 32);
    file.SetDateTime(nullptr, nullptr, &written);
    FILETIME created, readBack;
    file.GetDateTime(&created, nullptr, &readBack);
    EXPECT_EQ(written.dwLowDateTime, readBack.dwLowDateTime);
    EXPECT_EQ(written.dwHighDateTime, readBack.dwHighDateTime);
    EXPECT_NE(0u, created.dwLowDateTime | created.dwHighDateTime);
    unsigned short date = 1, time = 1;
    file.GetDateTime(&date, &time);
    EXPECT_EQ((2024 - 1980) << 9 | 3 << 5 | 15, date);
    EXPECT_EQ(10 << 11 | 20 << 5 | 30 / 2, time);
    EXPECT_EQ(0u, file.GetAttributes() & (File::AttrReadOnly | File::AttrDirectory | File::AttrHidden));
}

TEST(File, AttributesByName) {
    ScratchFolder folder;
    const FileName name = folder / "attributes.txt";
    WriteWholeFile(name.c_str(), "x");
    EXPECT_EQ(1, File::SetAttributes(name, File::AttrHidden | File::AttrReadOnly));
    EXPECT_EQ(uint32_t(File::AttrHidden | File::AttrReadOnly),
              File::GetAttributes(name) & (File::AttrHidden | File::AttrReadOnly));
    EXPECT_EQ(1, File::SetAttributes(name, File::AttrNormal));
    EXPECT_EQ(0u, File::GetAttributes(name) & (File::AttrHidden | File::AttrReadOnly));
    EXPECT_EQ(uint32_t(File::AttrDirectory), File::GetAttributes(FileName(folder.Name().c_str())) & File::AttrDirectory);
    const FileName missing = folder / "missing.txt";
    EXPECT_EQ(0xFFFFFFFFu, File::GetAttributes(missing));
    EXPECT_EQ(0, File::SetAttributes(missing, File::AttrNormal, 0));
    ExpectFailure([&] { File::SetAttributes(missing, File::AttrNormal, 1); },
                  FormattedMessage(MSG_FILE_ATTRIBUTES_ERROR), 2);
}

TEST(File, ExistAndDeleteByName) {
    ScratchFolder folder;
    const FileName directory(folder.Name().c_str());
    EXPECT_EQ(0, File::Exist(directory, File::TypeFile));
    EXPECT_EQ(1, File::Exist(directory, File::TypeDirectory));
    EXPECT_EQ(1, File::Exist(directory, File::TypeAny));
    EXPECT_EQ(1, File::Delete(directory, 1, 0));
    EXPECT_EQ(1, File::Exist(directory, File::TypeDirectory));
    EXPECT_EQ(1, File::Delete(folder / "missing.txt", 1, 0));
    const FileName name = folder / "plain.txt";
    WriteWholeFile(name.c_str(), "x");
    EXPECT_EQ(1, File::Exist(name, File::TypeFile));
    EXPECT_EQ(0, File::Exist(name, File::TypeDirectory));
    EXPECT_EQ(1, File::Delete(name, 1, 0));
    EXPECT_EQ(0, File::Exist(name, File::TypeAny));
}

TEST(File, TempNamesCountUpFromZero) {
    ScratchFolder folder;
    const std::string first = folder.Name() + "\\XX0.$$$";
    EXPECT_STREQ(first.c_str(), File::GetTempName(FileName(folder.Name().c_str())).c_str());
    EXPECT_STREQ(first.c_str(), File::GetTempName(FileName((folder.Name() + "\\").c_str())).c_str());
    WriteWholeFile(first, "");
    EXPECT_STREQ((folder.Name() + "\\XX1.$$$").c_str(),
                 File::GetTempName(FileName(folder.Name().c_str())).c_str());
    ExpectFailure([&] { File::GetTempName(folder / "no such folder"); },
                  FormattedMessage(MSG_INVALID_DIRECTORY), 0);
    ExpectFailure([&] { File::GetTempName(FileName(first.c_str())); },
                  FormattedMessage(MSG_INVALID_DIRECTORY), 0);
}

TEST(File, LockedRangeAndAnotherHandle) {
    ScratchFolder folder;
    const FileName name = folder / "locked.bin";
    WriteWholeFile(name.c_str(), "0123456789");
    File owner(name, File::OpenReadWrite | File::ShareReadWrite);
    File other(name, File::OpenRead | File::ShareReadWrite);
    owner.Lock(2, 4);
    char buffer[10];
    int32_t got = 0;
    if (LockedRangesRefuseReads()) {
        EXPECT_EQ(0, other.Read(buffer, 10, 0, &got));
        EXPECT_EQ(-1, got);
    }
    owner.Unlock(2, 4);
    other.SeekStart();
    EXPECT_EQ(1, other.Read(buffer, 10, 0, &got));
    EXPECT_EQ(0, memcmp(buffer, "0123456789", 10));
}

TEST(File, ReadAsyncSignalsItsEvent) {
    ScratchFolder folder;
    const FileName name = folder / "async.bin";
    WriteWholeFile(name.c_str(), "0123456789");
    File file(name, File::OpenRead | File::OpenOverlapped);
    ThreadEvent done(1, 0);
    char buffer[4] = {};
    file.ReadAsync(buffer, 4, 3, done.GetHandle());
    ASSERT_EQ(1, done.WaitForIt(10000));
    EXPECT_EQ(0, memcmp(buffer, "3456", 4));
}

}  // namespace
