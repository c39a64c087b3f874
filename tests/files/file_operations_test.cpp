// The operations of File on names: copying and moving, folders, backups
// with their questions, comparison, lines, and the drive questions.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "CommonVcZq/collections/array_base.h"
#include "CommonVcZq/files/mapped_file.h"
#include "CommonVcZq/frame/heap.h"
#include "CommonVcZq/text/messages.h"
#include "CommonVcZq/text/text_functions.h"
#include "file_test_support.h"

namespace {

using Lines = List<StringItem<ListElement>>;

// The answers of a message box.
enum Answer { Ok = 1, Cancel = 2, Yes = 6, No = 7 };

std::string Joined(const Lines &lines) {
    std::string all;
    for (const StringItem<ListElement> *line = lines.GetFirst(); line; line = lines.GetNext(line))
        all += std::string(line->c_str()) + "|";
    return all;
}

// Answers the message boxes of the calling test with `answer`, and keeps
// the text of the last one.  Without a screen (POSIX) through the layer's
// answer function; on Windows a thread finds the box and presses the
// button.
class BoxAnswer {
public:
    explicit BoxAnswer(int answer) {
        current = this;
        this->answer = answer;
#if defined(_WIN32)
        presser = std::thread([this] {
            while (!stop) {
                HWND box = FindWindowA("#32770", nullptr);
                if (box && GetWindowThreadProcessId(box, nullptr) != GetCurrentThreadId()) {
                    char buffer[1024] = "";
                    GetDlgItemTextA(box, 0xFFFF, buffer, sizeof buffer);
                    text = buffer;
                    ++count;
                    PostMessageA(box, WM_COMMAND, static_cast<WPARAM>(this->answer), 0);
                    while (IsWindow(box) && !stop)
                        Sleep(5);
                }
                Sleep(5);
            }
        });
#else
        SetMessageBoxAnswer([](LPCSTR text, LPCSTR, UINT) {
            current->text = text;
            ++current->count;
            return current->answer;
        });
#endif
    }
    ~BoxAnswer() {
#if defined(_WIN32)
        stop = true;
        presser.join();
#else
        SetMessageBoxAnswer(nullptr);
#endif
    }
    std::string text;
    std::atomic<int> count{0};

private:
    static BoxAnswer *current;
    int answer;
#if defined(_WIN32)
    std::atomic<bool> stop{false};
    std::thread presser;
#endif
};
BoxAnswer *BoxAnswer::current = nullptr;

// Whether a message box can be shown and answered here.  Wine without a
// display shows none: MessageBoxA fails at once, and the questions of
// CanWrite can't be tested.
bool BoxesWork() {
#if defined(_WIN32)
    static const bool work = [] {
        BoxAnswer ok(Ok);
        return MessageBoxA(nullptr, "probe", "probe", MB_OK) == Ok;
    }();
    return work;
#else
    return true;
#endif
}

class FileOperations : public ::testing::Test {
protected:
    FileName Write(const char *title, const std::string &bytes) {
        const FileName name = folder / title;
        WriteWholeFile(name.c_str(), bytes);
        return name;
    }
    std::string Read(const char *title) { return ReadWholeFile((folder / title).c_str()); }
    ScratchFolder folder;
};

TEST_F(FileOperations, CopyMoveRename) {
    const FileName a = Write("a.txt", "alpha"), b = Write("b.txt", "old");
    File::Copy(b, a);
    EXPECT_EQ("alpha", Read("b.txt"));
    const FileName deep = folder / "x\\y\\c.txt";
    File::CopyEx(deep, a);
    EXPECT_EQ("alpha", ReadWholeFile(deep.c_str()));
    ExpectFailure([&] { File::Copy(b, folder / "missing"); }, FormattedMessage(MSG_FILE_COPY_ERROR), 2);

    Write("a.txt", "newer");
    File::Move(b, a);  // replaces the file b.txt
    EXPECT_EQ("newer", Read("b.txt"));
    EXPECT_FALSE(File::Exist(a));
    ExpectFailure([&] { File::Move(folder / "c.txt", a); }, FormattedMessage(MSG_FILE_MOVE_ERROR), 2);
    ExpectFailure([&] { File::Rename(b, deep); }, FormattedMessage(MSG_FILE_RENAME_ERROR));
    File::Rename(b, a);
    EXPECT_EQ("newer", Read("a.txt"));
}

TEST_F(FileOperations, EnsureDirectory) {
    File::EnsureDirectory(folder / "one\\two\\three");
    EXPECT_TRUE(File::Exist(folder / "one\\two\\three", File::TypeDirectory));
    File::EnsureDirectory(folder / "one\\two\\three\\");  // all there: nothing to do
    Write("one\\file", "f");
    const std::string failure = FormattedMessage(MSG_DIRECTORY_CREATE_ERROR);
    ExpectFailure([&] { File::EnsureDirectory(folder / "one\\file\\below"); }, failure);
    EXPECT_FALSE(File::Exist(folder / "one\\file\\below", File::TypeAny));
    ExpectFailure([&] { File::EnsureDirectory(FileName("relative\\folder")); }, failure);
}

TEST_F(FileOperations, CanWriteMakesBackups) {
    if (!BoxesWork())
        GTEST_SKIP() << "no display: message boxes can't be answered";
    EXPECT_EQ(1, File::CanWrite(0, folder / "missing.txt", 1, File::BackupAsk, "~"));
    const FileName plain = Write("plain", "p"), text = Write("notes.txt", "n");
    {
        BoxAnswer yes(Yes);
        EXPECT_EQ(1, File::CanWrite(0, plain, 1, File::BackupAsk, "~"));
        EXPECT_EQ(1, File::CanWrite(0, text, 1, File::BackupAsk, "~"));
        EXPECT_EQ(2, yes.count);
        EXPECT_EQ(FormattedMessage(MSG_FILE_BACKUP_QUESTION), yes.text);
    }
    EXPECT_EQ("p", Read("plain.~"));
    EXPECT_EQ("n", Read("notes.~xt"));
    EXPECT_FALSE(File::Exist(text));

    Write("notes.txt", "n2");
    {
        BoxAnswer cancel(Cancel);
        EXPECT_EQ(0, File::CanWrite(0, text, 1, File::BackupAsk, "~"));
    }
    {
        BoxAnswer no(No);
        EXPECT_EQ(1, File::CanWrite(0, text, 1, File::BackupAsk, "~"));
    }
    EXPECT_EQ("n2", Read("notes.txt"));
    // Always, with an extension of the caller's: an older backup goes.
    Write("notes.bak", "older");
    EXPECT_EQ(1, File::CanWrite(0, text, 1, File::BackupAlways, "bak"));
    EXPECT_EQ("n2", Read("notes.bak"));
    EXPECT_FALSE(File::Exist(text));
    Write("plain", "p2");
    EXPECT_EQ(1, File::CanWrite(0, plain, 1, File::BackupNone, "~"));
    EXPECT_EQ("p2", Read("plain"));
    EXPECT_EQ("p", Read("plain.~"));
}

TEST_F(FileOperations, CanWriteOnAFileAnotherProcessHolds) {
    if (!BoxesWork())
        GTEST_SKIP() << "no display: message boxes can't be answered";
    const FileName name = Write("held.txt", "held");
    FileHolder holder(name, File::OpenRead | File::ShareRead);
    ASSERT_TRUE(holder.Holding());
    {
        BoxAnswer ok(Ok);
        EXPECT_EQ(0, File::CanWrite(0, name, 1, File::BackupAlways, "~"));
        EXPECT_EQ(FormattedMessage(MSG_FILE_IN_USE_OVERWRITE), ok.text);
    }
    // Not reported: backed up by a copy, the file stays.
    EXPECT_EQ(1, File::CanWrite(0, name, 0, File::BackupAlways, "~"));
    EXPECT_EQ("held", Read("held.~xt"));
    EXPECT_EQ("held", Read("held.txt"));
}

TEST_F(FileOperations, AreEqual) {
    const FileName a = Write("a", std::string(70000, 'q')), b = Write("b", std::string(70000, 'q'));
    int32_t difference = 77;
    EXPECT_EQ(1, File::AreEqual(a, b, &difference));
    EXPECT_EQ(77, difference);
    Write("b", std::string(69999, 'q') + "r");
    EXPECT_EQ(0, File::AreEqual(a, b, &difference));
    EXPECT_EQ(69999, difference);
    EXPECT_EQ(0, File::AreEqual(a, Write("c", "short"), &difference));
    EXPECT_EQ(-1, difference);
    EXPECT_EQ(0, File::AreEqual(a, folder / "missing", &difference));
    EXPECT_EQ(-2, difference);
    // Empty files can't be mapped.
    EXPECT_EQ(0, File::AreEqual(Write("e1", ""), Write("e2", ""), &difference));
    EXPECT_EQ(-2, difference);
    FileName upper(a);
    upper.MakeUpper();
    EXPECT_EQ(1, File::AreEqual(a, upper, &difference));
    EXPECT_EQ(0, difference);
    EXPECT_EQ(0, File::AreEqual(a, folder / "missing", nullptr));
}

TEST_F(FileOperations, ReadLines) {
    const FileName name = Write("lines", " one \r\n\r\n\ttwo\nlost");
    Lines lines;
    File::ReadLines(name, lines, 0, 0);
    EXPECT_EQ(" one ||\ttwo|", Joined(lines));
    File::ReadLines(name, lines, 1, 1);
    EXPECT_EQ("one|two|", Joined(lines));
    ArrayInPlace<String> array;
    File::ReadLines(name, array, 1, 0);
    ASSERT_EQ(3, array.GetCount());
    EXPECT_STREQ("two", array[2].c_str());
    // An empty file can't be mapped; the list stays as it was.
    ExpectFailure([&] { File::ReadLines(Write("empty", ""), lines, 0, 0); },
                  FormattedMessage(MSG_MAPPED_FILE_ERROR));
    EXPECT_EQ("one|two|", Joined(lines));
}

TEST_F(FileOperations, WriteLines) {
    const FileName name = folder / "written";
    Lines lines;
    File::WriteLines(name, lines, 1);  // append to a missing file creates it
    EXPECT_EQ("\r\n", Read("written"));
    File::WriteLines(name, lines, 1);
    EXPECT_EQ("\r\n\r\n", Read("written"));
    lines.Append(new StringItem<ListElement>("a"));
    lines.Append(new StringItem<ListElement>(""));
    lines.Append(new StringItem<ListElement>("bc"));
    File::WriteLines(name, lines, 0);
    EXPECT_EQ("a\r\n\r\nbc\r\n", Read("written"));
    File::WriteLines(name, lines, 1);
    EXPECT_EQ("a\r\n\r\nbc\r\na\r\n\r\nbc\r\n", Read("written"));
}

TEST_F(FileOperations, WholeFilesAndTimes) {
    const FileName name = folder / "whole.bin";
    File::SaveFile(name, "0123456789", 10);
    EXPECT_EQ(10, File::GetSize(name));
    unsigned int size = 0;
    char *block = static_cast<char *>(File::LoadFile(name, &size, nullptr));
    EXPECT_EQ(10u, size);
    EXPECT_EQ("0123456789", std::string(block, size));
    QX_Heap::FreeMem(block);
    ExpectFailure([&] { File::GetSize(folder / "missing"); },
                  FormattedMessage(MSG_FILE_OPEN_ERROR, (folder / "missing").c_str()), 2);

    FILETIME when = {0x12345670, 0x01D00000};
    File::SetDateTime(name, nullptr, nullptr, &when);
    FILETIME created = {}, accessed = {}, written = {};
    File::GetDateTime(name, &created, &accessed, &written);
    EXPECT_EQ(when.dwLowDateTime, written.dwLowDateTime);
    EXPECT_EQ(when.dwHighDateTime, written.dwHighDateTime);
    unsigned short date = 0, time = 0;
    File::GetDateTime(name, &date, &time);
    EXPECT_NE(0, date);

    EXPECT_EQ(0, File::IsWriteProtected(name));
    EXPECT_EQ(0, File::IsWriteProtected(folder / "missing"));
    EXPECT_EQ(1, File::IsWritableDirectory(FileName(folder.Name().c_str())));
    EXPECT_EQ(0, File::IsWritableDirectory(folder / "missing"));
    EXPECT_EQ(0, File::IsWritableDirectory(FileName("")));
}

TEST_F(FileOperations, DrivesAndVolumes) {
    const FileName here(folder.Name().c_str());
    EXPECT_EQ(1, File::ExistDrive(here));
    EXPECT_EQ(0, File::ExistDrive(FileName("relative")));
    EXPECT_EQ(File::DriveFixed, File::GetDriveTypeA(here));
    EXPECT_EQ(1, File::IsFastPhysicalDrive(here));
    EXPECT_EQ(0, File::IsFloppyDrive(here));
    EXPECT_EQ(0, File::IsCompressedVolume(here));
    File::GetVolumeName(here);  // readable; the label is the system's

    int32_t total = -5;
    const uint32_t free = File::GetDiskSpace(here.GetDriveIndex(), &total);
    EXPECT_NE(-5, total);
    (void)free;
    // A drive that doesn't exist: 0, and the total stays.
    int missing = -1;
    for (int drive = 25; drive >= 3 && missing < 0; --drive)
        if (!File::ExistDrive(FileName((std::string(1, char('A' + drive)) + ":\\").c_str())))
            missing = drive;
    ASSERT_GE(missing, 0);
    total = -5;
    EXPECT_EQ(0u, File::GetDiskSpace(missing, &total));
    EXPECT_EQ(-5, total);
    const FileName gone((std::string(1, char('A' + missing)) + ":\\").c_str());
    EXPECT_EQ(File::DriveInvalid, File::GetDriveTypeA(gone));
    ExpectFailure([&] { File::GetVolumeName(gone); }, FormattedMessage(MSG_PARTITION_ACCESS_ERROR));
    ExpectFailure([&] { File::SetVolumeName(gone, "x"); }, FormattedMessage(MSG_PARTITION_LABEL_ERROR));

    const FileName app = File::GetAppPath(nullptr);
    EXPECT_TRUE(File::Exist(app, File::TypeDirectory)) << app.c_str();
}

// Copying and moving onto a full disk fail as the full disk, with the
// destination's drive, and leave neither a part of the copy nor a damaged
// source.
using FullDiskOperations = FileOperations;

TEST_F(FullDiskOperations, CopyAndMoveFailWithTheDrive) {
    if (SmallDisk().empty())
        GTEST_SKIP() << "no small disk is mounted";
    ScratchFolder full(SmallDisk());
    const std::string big(4 << 20, 'B');  // more than the small disk holds
    const FileName source = Write("big", big);
    const FileName target = full / "big";
    const std::string diskFull = FormattedMessage(MSG_DISK_FULL, String(target.GetDrive()).c_str());
    // Wine leaves the part of the copy that it wrote.
    EXPECT_EQ(target.GetDriveIndex(), ExpectFailure([&] { File::Copy(target, source); }, diskFull, 112));
    EXPECT_TRUE(RunningUnderWine() || !File::Exist(target));
    EXPECT_EQ(target.GetDriveIndex(), ExpectFailure([&] { File::Move(target, source); }, diskFull, 112));
    EXPECT_TRUE(RunningUnderWine() || !File::Exist(target));
    EXPECT_EQ(big.size(), ReadWholeFile(source.c_str()).size());
}

}  // namespace
