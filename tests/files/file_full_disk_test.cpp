// A full disk, for real: a small file system mounted for the tests by the
// FullDisk fixture, named by the environment variable CVZ_TEST_FULL_DISK
// and marked by the file "mounted" in it (without root there is no such
// disk, and the tests skip).  Every write path must report the full disk as
// message 0x4663 with the drive, keep the file open and usable, and leave
// on disk every byte of each write that reported success.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <memory>
#include <string>

#include "CommonVcZq/text/messages.h"
#include "file_test_support.h"

namespace {

const uint32_t kChunk = 4096;
// Far more than the small disk holds: a write loop that meets no failure
// ends here.
const uint32_t kMostChunks = 16384;

class FullDisk : public ::testing::Test {
protected:
    void SetUp() override {
        const char *disk = getenv("CVZ_TEST_FULL_DISK");
        if (!disk || !*disk || !File::Exist(FileName((LibraryName(disk) + "\\mounted").c_str())))
            GTEST_SKIP() << "no small disk is mounted";
        folder.reset(new ScratchFolder(LibraryName(disk)));
        // Ballast, given back once the disk is full, so that the file can
        // go on.
        WriteWholeFile((*folder / "ballast").c_str(), std::string(8 * kChunk, 'b'));
    }

    std::string DiskFullText(const FileName &name) const {
        return FormattedMessage(MSG_DISK_FULL, String(name.GetDrive()).c_str());
    }

    // One chunk, each of its bytes the chunk's number.
    static std::string Chunk(uint32_t n) { return std::string(kChunk, static_cast<char>('A' + n % 26)); }

    // Writes chunks until the disk is full; returns how many reported
    // success, or kMostChunks when none failed.  The failure must be the
    // full disk, or with `asWriteError` the general write failure.
    uint32_t FillUp(File &file, const FileName &name, bool asWriteError = false) {
        for (uint32_t n = 0; n < kMostChunks; ++n) {
            const std::string chunk = Chunk(n);
            try {
                file.Write(chunk.data(), kChunk);
            } catch (const Exception &e) {
                const std::string expected = asWriteError ? FormattedMessage(MSG_FILE_WRITE_ERROR) : DiskFullText(name);
                EXPECT_STREQ(expected.c_str(), e.message ? e.message->c_str() : "");
                if (!asWriteError) {
                    EXPECT_TRUE(e.code == 112 || e.code == 39) << e.code;
                    EXPECT_EQ(name.GetDriveIndex(), e.drive);
                }
                return n;
            }
        }
        return kMostChunks;
    }

    // After the failure: space again, one more chunk, and the file holds
    // every chunk that reported success, then the last one.
    void ContinueAndCheck(File &file, const FileName &name, uint32_t written) {
        File::Delete(*folder / "ballast");
        const std::string last = Chunk(written + 1);
        file.Write(last.data(), kChunk);
        file.Close(1);
        const std::string bytes = ReadWholeFile(name.c_str());
        ASSERT_GE(bytes.size(), (written + 1) * kChunk);
        for (uint32_t n = 0; n < written; ++n)
            ASSERT_EQ(Chunk(n), bytes.substr(n * kChunk, kChunk)) << "chunk " << n;
        EXPECT_EQ(last, bytes.substr(bytes.size() - kChunk));
    }

    std::unique_ptr<ScratchFolder> folder;
};

TEST_F(FullDisk, WriteOnTheHandleRoad) {
    const FileName name = *folder / "fill.bin";
    File file(name, File::OpenCreate);
    const uint32_t written = FillUp(file, name);
    ASSERT_LT(written, kMostChunks);
    EXPECT_TRUE(file.IsOpen());
    EXPECT_GE(file.GetSize(), int32_t(written * kChunk));
    ContinueAndCheck(file, name, written);
}

TEST_F(FullDisk, WriteOnTheStreamRoad) {
    const FileName name = *folder / "fill.bin";
    File file(name, File::OpenCreate | File::OpenBufferedStream);
    const uint32_t written = FillUp(file, name);
    if (written == kMostChunks && RunningUnderWine())
        GTEST_SKIP() << "wine's mmio stream drops the failures of its buffer's writes";
    ASSERT_LT(written, kMostChunks);
    EXPECT_TRUE(file.IsOpen());
    ContinueAndCheck(file, name, written);
}

TEST_F(FullDisk, WriteOnTheUnbufferedStreamRoad) {
    // Under wine an unbuffered mmioWrite that fails gives -1 rather than
    // the count that reached the disk, which is the general write failure.
    const FileName name = *folder / "fill.bin";
    File file(name, File::OpenCreate | File::OpenBufferedStream | File::OpenNoBuffering);
    const uint32_t written = FillUp(file, name, RunningUnderWine());
    ASSERT_LT(written, kMostChunks);
    EXPECT_TRUE(file.IsOpen());
    ContinueAndCheck(file, name, written);
}

TEST_F(FullDisk, SetSizeBeyondTheDisk) {
    const FileName name = *folder / "big.bin";
    File file(name, File::OpenCreate);
    file.WriteString("start");
    if (RunningUnderWine()) {
        // Wine grows a file without reserving its blocks: a size beyond
        // the disk is accepted, as a sparse file.
        file.SetSize(10 << 20);
        EXPECT_EQ(10 << 20, file.GetSize());
        return;
    }
    const int32_t drive = ExpectFailure([&] { file.SetSize(10 << 20); }, DiskFullText(name), 112);
    EXPECT_EQ(name.GetDriveIndex(), drive);
    EXPECT_TRUE(file.IsOpen());
    EXPECT_EQ(5, file.GetSize());
    file.SetSize(1000);
    file.SeekEnd();
    file.WriteString("end");
    file.Close(1);
    const std::string bytes = ReadWholeFile(name.c_str());
    EXPECT_EQ(1003u, bytes.size());
    EXPECT_EQ("start", bytes.substr(0, 5));
    EXPECT_EQ("end", bytes.substr(1000));
}

}  // namespace
