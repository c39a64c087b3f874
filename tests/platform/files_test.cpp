// Files: dispositions and their errors, share modes within the process and
// against a second process, byte-range locks, delete-on-close, attributes,
// times, the runtime's remove and rename, the mmio stream, and a full disk.
// The expectations hold for the POSIX layer and for Win32 (under wine);
// where wine strays from Windows the test says so and takes wine's answer
// under wine only.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <thread>
#include <vector>

#if !defined(_WIN32)
#include <sys/xattr.h>
#endif

namespace {

// Win32's numbers, which the library and its users compare.
static_assert(ERROR_SHARING_VIOLATION == 32 && ERROR_LOCK_VIOLATION == 33 && ERROR_HANDLE_DISK_FULL == 39 &&
              ERROR_FILE_EXISTS == 80 && ERROR_DISK_FULL == 112 && ERROR_NEGATIVE_SEEK == 131 &&
              ERROR_NOT_LOCKED == 158 && ERROR_ALREADY_EXISTS == 183);
static_assert(MMIO_READ == 0 && MMIO_WRITE == 1 && MMIO_READWRITE == 2 && MMIO_CREATE == 0x1000 &&
              MMIO_EXCLUSIVE == 0x10 && MMIO_DENYWRITE == 0x20 && MMIO_DENYREAD == 0x30 &&
              MMIO_DENYNONE == 0x40 && MMIO_ALLOCBUF == 0x10000 && MMIO_EMPTYBUF == 0x10);

const DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;
const DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

HANDLE Open(const std::string &name, DWORD access, DWORD share, DWORD disposition,
            DWORD flags = FILE_ATTRIBUTE_NORMAL) {
    return CreateFileA(name.c_str(), access, share, nullptr, disposition, flags, nullptr);
}

// The last error of an open that must fail; 0 if it succeeded.
DWORD OpenError(const std::string &name, DWORD access, DWORD share, DWORD disposition,
                DWORD flags = FILE_ATTRIBUTE_NORMAL) {
    HANDLE file = Open(name, access, share, disposition, flags);
    if (file == INVALID_HANDLE_VALUE)
        return GetLastError();
    CloseHandle(file);
    return 0;
}

bool Exists(const std::string &name) {
    return GetFileAttributesA(name.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// The content of a small file, or "<error>" when it cannot be opened.
std::string ReadWhole(const std::string &name) {
    HANDLE file = Open(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, OPEN_EXISTING);
    if (file == INVALID_HANDLE_VALUE)
        return "<" + std::to_string(GetLastError()) + ">";
    char buffer[4096];
    DWORD got = 0;
    ReadFile(file, buffer, sizeof buffer, &got, nullptr);
    CloseHandle(file);
    return std::string(buffer, got);
}

// Wine answers a few calls otherwise than Windows does.  Under wine the
// test takes `wine` as well, and says why where it calls this.
bool Is(DWORD actual, DWORD windows, DWORD wine) {
    return actual == windows || (RunningUnderWine() && actual == wine);
}

// A file name for one test, in the current folder, gone before and after.
class Scratch {
public:
    explicit Scratch(const std::string &name) : name(name) { Remove(); }
    ~Scratch() { Remove(); }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;

    const char *c_str() const { return name.c_str(); }
    operator const std::string &() const { return name; }

    // Creates the file with `content`.
    void Write(const std::string &content) const {
        HANDLE file = Open(name, GENERIC_WRITE, 0, CREATE_ALWAYS);
        ASSERT_NE(file, INVALID_HANDLE_VALUE) << GetLastError();
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr));
        EXPECT_EQ(written, content.size());
        CloseHandle(file);
    }

    std::string Read() const { return ReadWhole(name); }

    const std::string name;

private:
    void Remove() const {
        SetFileAttributesA(name.c_str(), FILE_ATTRIBUTE_NORMAL);
        DeleteFileA(name.c_str());
    }
};

TEST(Files, DispositionsAndTheirErrors) {
    Scratch name("files_test_dispositions.txt");
    SetLastError(12345);
    HANDLE file = Open(name, kReadWrite, 0, CREATE_NEW);
    ASSERT_NE(file, INVALID_HANDLE_VALUE) << GetLastError();
    EXPECT_EQ(GetLastError(), 0u) << "a file that CREATE_NEW made";
    DWORD written = 0;
    EXPECT_TRUE(WriteFile(file, "hello", 5, &written, nullptr));
    CloseHandle(file);

    EXPECT_EQ(OpenError(name, GENERIC_READ, 0, CREATE_NEW), ERROR_FILE_EXISTS);
    file = Open(name, GENERIC_READ, 0, OPEN_ALWAYS);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(GetFileSize(file, nullptr), 5u) << "OPEN_ALWAYS keeps the content";
    CloseHandle(file);
    file = Open(name, GENERIC_WRITE, 0, CREATE_ALWAYS);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(GetFileSize(file, nullptr), 0u) << "CREATE_ALWAYS empties";
    CloseHandle(file);
    name.Write("again");
    EXPECT_EQ(OpenError(name, GENERIC_WRITE, 0, TRUNCATE_EXISTING), 0u);
    EXPECT_EQ(name.Read(), "");

    EXPECT_EQ(OpenError("files_test_missing.txt", GENERIC_READ, 0, OPEN_EXISTING), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(OpenError("files_test_no_folder\\x.txt", GENERIC_READ, 0, OPEN_EXISTING), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(OpenError("files_test_no_folder\\x.txt", GENERIC_WRITE, 0, CREATE_ALWAYS), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(OpenError(".", GENERIC_READ, kShareAll, OPEN_EXISTING), ERROR_ACCESS_DENIED) << "a folder";
    EXPECT_EQ(OpenError(".", 0, kShareAll, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS), 0u)
        << "a folder for its attributes";

    ASSERT_TRUE(SetFileAttributesA(name.c_str(), FILE_ATTRIBUTE_READONLY));
    // Wine leaves the check to the Unix permissions, which root passes.
    EXPECT_TRUE(Is(OpenError(name, GENERIC_WRITE, 0, OPEN_EXISTING), ERROR_ACCESS_DENIED, 0)) << "read-only";
    EXPECT_TRUE(Is(OpenError(name, GENERIC_READ, 0, CREATE_ALWAYS), ERROR_ACCESS_DENIED, 0)) << "read-only";
    EXPECT_EQ(OpenError(name, GENERIC_READ, kShareAll, OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE),
              ERROR_ACCESS_DENIED);
    EXPECT_EQ(OpenError(name, GENERIC_READ, 0, OPEN_EXISTING), 0u) << "reading it is fine";
    EXPECT_TRUE(Exists(name));
}

// Reads, writes and the file pointer of a plain handle; the size grows and
// shrinks with SetEndOfFile, zeros filling the new part.
TEST(Files, ReadWriteAndTheFilePointer) {
    Scratch name("files_test_pointer.txt");
    HANDLE file = Open(name, kReadWrite, 0, CREATE_ALWAYS);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    DWORD count = 0;
    ASSERT_TRUE(WriteFile(file, "0123456789", 10, &count, nullptr));
    EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_CURRENT), 10u);
    EXPECT_EQ(SetFilePointer(file, -4, nullptr, FILE_END), 6u);
    char buffer[16] = {};
    ASSERT_TRUE(ReadFile(file, buffer, sizeof buffer, &count, nullptr));
    EXPECT_EQ(std::string(buffer, count), "6789") << "a short count at the end";
    EXPECT_TRUE(ReadFile(file, buffer, sizeof buffer, &count, nullptr));
    EXPECT_EQ(count, 0u) << "the end is no failure";

    EXPECT_EQ(SetFilePointer(file, -11, nullptr, FILE_END), INVALID_SET_FILE_POINTER);
    EXPECT_EQ(GetLastError(), ERROR_NEGATIVE_SEEK);
    EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_CURRENT), 10u) << "a failed seek stays put";
    LONG high = 0;
    EXPECT_EQ(SetFilePointer(file, 3, &high, FILE_BEGIN), 3u);
    EXPECT_EQ(high, 0);

    EXPECT_TRUE(SetEndOfFile(file));
    EXPECT_EQ(GetFileSize(file, nullptr), 3u);
    EXPECT_EQ(SetFilePointer(file, 100000, nullptr, FILE_BEGIN), 100000u);
    EXPECT_TRUE(SetEndOfFile(file));
    DWORD sizeHigh = 7;
    EXPECT_EQ(GetFileSize(file, &sizeHigh), 100000u);
    EXPECT_EQ(sizeHigh, 0u);
    SetFilePointer(file, 99990, nullptr, FILE_BEGIN);
    ASSERT_TRUE(ReadFile(file, buffer, sizeof buffer, &count, nullptr));
    EXPECT_EQ(std::string(buffer, count), std::string(10, '\0'));
    EXPECT_TRUE(FlushFileBuffers(file));
    CloseHandle(file);

    file = Open(name, GENERIC_READ, kShareAll, OPEN_EXISTING);
    EXPECT_FALSE(WriteFile(file, "x", 1, &count, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_FALSE(SetEndOfFile(file));
    EXPECT_TRUE(Is(GetLastError(), ERROR_ACCESS_DENIED, ERROR_INVALID_PARAMETER)) << "wine's error differs";
    CloseHandle(file);
    EXPECT_FALSE(CloseHandle(file));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

// The hints never make an open fail: no buffering (O_DIRECT where the file
// system takes it), write-through, and the access patterns.  Without
// buffering, whole aligned blocks go through.
TEST(Files, HintsOpenAndAlignedBlocksGoThrough) {
    Scratch name("files_test_hints.bin");
    const DWORD hints = FILE_FLAG_NO_BUFFERING | FILE_FLAG_WRITE_THROUGH | FILE_ATTRIBUTE_TEMPORARY;
    for (DWORD pattern : {FILE_FLAG_RANDOM_ACCESS, FILE_FLAG_SEQUENTIAL_SCAN}) {
        HANDLE file = Open(name, kReadWrite, 0, CREATE_ALWAYS, hints | pattern);
        ASSERT_NE(file, INVALID_HANDLE_VALUE) << GetLastError();
        alignas(4096) static char block[4096];
        memset(block, 'b', sizeof block);
        DWORD count = 0;
        EXPECT_TRUE(WriteFile(file, block, sizeof block, &count, nullptr)) << GetLastError();
        EXPECT_EQ(count, sizeof block);
        memset(block, 0, sizeof block);
        EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_BEGIN), 0u);
        EXPECT_TRUE(ReadFile(file, block, sizeof block, &count, nullptr)) << GetLastError();
        EXPECT_EQ(count, sizeof block);
        EXPECT_EQ(block[4095], 'b');
        CloseHandle(file);
    }
}

// A read with a control record and an event, as File::ReadAsync makes it:
// the event tells the end, GetOverlappedResult the count; the file pointer
// of an overlapped handle plays no part.
TEST(Files, OverlappedReadSignalsTheEvent) {
    Scratch name("files_test_overlapped.txt");
    name.Write("abcdefghij");
    HANDLE file = Open(name, GENERIC_READ, kShareAll, OPEN_EXISTING, FILE_FLAG_OVERLAPPED);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    OVERLAPPED control = {};
    control.Offset = 4;
    control.hEvent = event;
    char buffer[4] = {};
    if (!ReadFile(file, buffer, sizeof buffer, nullptr, &control)) {
        ASSERT_EQ(GetLastError(), static_cast<DWORD>(ERROR_IO_PENDING));
    }
    ASSERT_EQ(WaitForSingleObject(event, 5000), WAIT_OBJECT_0);
    DWORD count = 0;
    EXPECT_TRUE(GetOverlappedResult(file, &control, &count, TRUE));
    EXPECT_EQ(std::string(buffer, count), "efgh");

    control = {};
    control.Offset = 100;
    control.hEvent = event;
    BOOL done = ReadFile(file, buffer, sizeof buffer, nullptr, &control);
    if (!done && GetLastError() == ERROR_IO_PENDING) {
        ASSERT_EQ(WaitForSingleObject(event, 5000), WAIT_OBJECT_0);
        done = GetOverlappedResult(file, &control, &count, TRUE);
    }
    EXPECT_FALSE(done) << "beyond the end";
    EXPECT_EQ(GetLastError(), ERROR_HANDLE_EOF);

    DWORD plain = 0;
    EXPECT_FALSE(ReadFile(file, buffer, 1, &plain, nullptr)) << "an overlapped handle needs a record";
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    CloseHandle(event);
    CloseHandle(file);
}

struct ShareCase {
    DWORD firstAccess, firstShare, secondAccess, secondShare;
    DWORD expected;
};

// Share modes between two handles of the process: each open's access
// against the other's share mode, both ways; access 0 is outside it all.
// A refused CREATE_ALWAYS leaves the content alone.
TEST(Files, ShareModesBetweenHandles) {
    Scratch name("files_test_share.txt");
    name.Write("content");
    const DWORD R = GENERIC_READ, W = GENERIC_WRITE, SR = FILE_SHARE_READ, SW = FILE_SHARE_WRITE;
    const ShareCase cases[] = {
        {R, SR, R, SR, 0},
        {R, SR, W, SR | SW, ERROR_SHARING_VIOLATION},  // the first denies writing
        {R | W, SR | SW, R, SR, ERROR_SHARING_VIOLATION},  // the second denies the first's writing
        {R, SR | SW, W, SR | SW, 0},
        {W, SR, W, SR | SW, ERROR_SHARING_VIOLATION},
        {W, SR | SW, R, SW, 0},
        {R, 0, R, kShareAll, ERROR_SHARING_VIOLATION},
        {R, 0, 0, 0, 0},  // access 0: no part in share modes
        {0, 0, R | W, 0, 0},
    };
    for (const ShareCase &c : cases) {
        SCOPED_TRACE(testing::Message() << "first " << std::hex << c.firstAccess << "/" << c.firstShare
                                        << ", second " << c.secondAccess << "/" << c.secondShare);
        HANDLE first = Open(name, c.firstAccess, c.firstShare, OPEN_EXISTING);
        ASSERT_NE(first, INVALID_HANDLE_VALUE);
        EXPECT_EQ(OpenError(name, c.secondAccess, c.secondShare, OPEN_EXISTING), c.expected);
        CloseHandle(first);
    }

    HANDLE holder = Open(name, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    EXPECT_EQ(OpenError(name, GENERIC_WRITE, kShareAll, CREATE_ALWAYS), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(name.Read(), "content") << "nothing emptied";
    EXPECT_FALSE(DeleteFileA(name.c_str())) << "held without FILE_SHARE_DELETE";
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    CloseHandle(holder);
    EXPECT_EQ(OpenError(name, GENERIC_WRITE, 0, OPEN_EXISTING), 0u) << "the close lets go";

    holder = Open(name, GENERIC_READ, kShareAll, OPEN_EXISTING);
    EXPECT_TRUE(DeleteFileA(name.c_str())) << "held with FILE_SHARE_DELETE";
    CloseHandle(holder);
    EXPECT_FALSE(Exists(name));
}

// Threads that open one file without sharing at the same moment: exactly
// one gets it, whatever the timing.
TEST(Files, RacingExclusiveOpensGrantOne) {
    Scratch name("files_test_race.txt");
    name.Write("x");
    for (int round = 0; round < 20; ++round) {
        std::vector<HANDLE> handles(6, INVALID_HANDLE_VALUE);
        std::vector<std::thread> threads;
        for (HANDLE &handle : handles)
            threads.emplace_back([&handle, &name] { handle = Open(name, kReadWrite, 0, OPEN_EXISTING); });
        for (std::thread &thread : threads)
            thread.join();
        int opened = 0;
        for (HANDLE handle : handles) {
            if (handle != INVALID_HANDLE_VALUE) {
                ++opened;
                CloseHandle(handle);
            }
        }
        EXPECT_EQ(opened, 1) << "round " << round;
    }
}

// FILE_FLAG_DELETE_ON_CLOSE: the file goes with the last handle, and while
// it is open, other opens need FILE_SHARE_DELETE.
TEST(Files, DeleteOnClose) {
    Scratch name("files_test_delete_on_close.txt");
    HANDLE file = Open(name, kReadWrite, FILE_SHARE_READ | FILE_SHARE_DELETE, CREATE_ALWAYS,
                       FILE_ATTRIBUTE_NORMAL | FILE_FLAG_DELETE_ON_CLOSE);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    DWORD count = 0;
    EXPECT_TRUE(WriteFile(file, "temporary", 9, &count, nullptr));
    EXPECT_TRUE(Exists(name));
    EXPECT_EQ(OpenError(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING),
              ERROR_SHARING_VIOLATION);
    HANDLE reader = Open(name, GENERIC_READ, kShareAll, OPEN_EXISTING);
    EXPECT_NE(reader, INVALID_HANDLE_VALUE);
    CloseHandle(file);
    CloseHandle(reader);
    EXPECT_FALSE(Exists(name));
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

// LockFile ranges exclude each other between handles, the same handle's
// included; a handle for reading alone locks as firmly.  UnlockFile takes
// exactly a range of its handle.
TEST(Files, LockFileRanges) {
    Scratch name("files_test_locks.txt");
    name.Write("0123456789");
    HANDLE first = Open(name, kReadWrite, kShareAll, OPEN_EXISTING);
    HANDLE second = Open(name, kReadWrite, kShareAll, OPEN_EXISTING);
    ASSERT_TRUE(LockFile(first, 0, 0, 10, 0));
    EXPECT_FALSE(LockFile(second, 5, 0, 10, 0));
    EXPECT_EQ(GetLastError(), ERROR_LOCK_VIOLATION);
    EXPECT_FALSE(LockFile(first, 9, 0, 1, 0)) << "a handle's own ranges exclude it too";
    EXPECT_EQ(GetLastError(), ERROR_LOCK_VIOLATION);
    EXPECT_TRUE(LockFile(second, 10, 0, 5, 0)) << "beyond the end, touching";
    EXPECT_FALSE(UnlockFile(second, 0, 0, 10, 0)) << "another handle's range";
    EXPECT_TRUE(Is(GetLastError(), ERROR_NOT_LOCKED, ERROR_LOCK_VIOLATION)) << "wine's error differs";
    EXPECT_FALSE(UnlockFile(first, 0, 0, 5, 0)) << "part of a range";
    EXPECT_TRUE(Is(GetLastError(), ERROR_NOT_LOCKED, ERROR_LOCK_VIOLATION)) << "wine's error differs";
    EXPECT_TRUE(UnlockFile(first, 0, 0, 10, 0));
    EXPECT_TRUE(LockFile(second, 5, 0, 5, 0));

    HANDLE reader1 = Open(name, GENERIC_READ, kShareAll, OPEN_EXISTING);
    HANDLE reader2 = Open(name, GENERIC_READ, kShareAll, OPEN_EXISTING);
    EXPECT_TRUE(LockFile(reader1, 100, 0, 10, 0));
    EXPECT_FALSE(LockFile(reader2, 105, 0, 1, 0));
    EXPECT_EQ(GetLastError(), ERROR_LOCK_VIOLATION);
    CloseHandle(reader1);
    EXPECT_TRUE(LockFile(reader2, 105, 0, 1, 0)) << "a close ends the handle's ranges";
    CloseHandle(reader2);
    CloseHandle(second);
    CloseHandle(first);
}

// The program beside this one that holds a file in a second process.
std::string HolderProgram() {
    char self[1024];
    const DWORD length = GetModuleFileNameA(nullptr, self, sizeof self);
    std::string folder(self, length);
    folder.erase(folder.find_last_of('\\') + 1);
#if defined(_WIN32)
    return "\"" + folder + "share_holder.exe\"";
#else
    // Our layer names the program in drive-letter form: Z:\ is /.
    std::string native = folder.substr(2);
    for (char &c : native)
        c = c == '\\' ? '/' : c;
    return "'" + native + "share_holder'";
#endif
}

// A second process that holds `name` with `access` and `share`, and a
// range of it when `lockLength` is not 0, until destroyed.
class Holder {
public:
    Holder(const std::string &name, const char *access, const char *share, int lockOffset = 0,
           int lockLength = 0)
        : name(name) {
        DeleteFileA((name + ".ready").c_str());
        DeleteFileA((name + ".release").c_str());
        std::string command = HolderProgram() + " " + name + " " + access + " " + share;
        if (lockLength != 0)
            command += " " + std::to_string(lockOffset) + " " + std::to_string(lockLength);
        runner = std::thread([command] {
            const int status = system(command.c_str());
            (void)status;  // the holder answers through its file
        });
        for (int waited = 0; waited < 3000 && !Exists(name + ".ready"); ++waited)
            Sleep(10);
        state = ReadWhole(name + ".ready");
    }
    ~Holder() {
        HANDLE release = Open(name + ".release", GENERIC_WRITE, 0, CREATE_ALWAYS);
        CloseHandle(release);
        runner.join();
        DeleteFileA((name + ".ready").c_str());
        DeleteFileA((name + ".release").c_str());
    }
    Holder(const Holder &) = delete;
    Holder &operator=(const Holder &) = delete;

    std::string state;  // "ok", "error N", or "<2>" when it never answered

private:
    const std::string name;
    std::thread runner;
};

// Share modes and byte ranges hold against another process: a file held
// without sharing refuses every open, CREATE_ALWAYS included, and lets go
// when the holder ends; what a holder's share mode allows is allowed.
TEST(Files, ShareModesAndLocksBetweenProcesses) {
    Scratch name("files_test_processes.txt");
    name.Write("kept");
    {
        Holder holder(name, "rw", "-");
        ASSERT_EQ(holder.state, "ok");
        EXPECT_EQ(OpenError(name, GENERIC_READ, kShareAll, OPEN_EXISTING), ERROR_SHARING_VIOLATION);
        EXPECT_EQ(OpenError(name, GENERIC_WRITE, kShareAll, CREATE_ALWAYS), ERROR_SHARING_VIOLATION);
        EXPECT_EQ(OpenError(name, 0, 0, OPEN_EXISTING), 0u) << "access 0 passes";
        EXPECT_EQ(remove(name.c_str()), -1);
        EXPECT_EQ(errno, EACCES);
    }
    EXPECT_EQ(name.Read(), "kept");
    {
        Holder holder(name, "r", "r");
        ASSERT_EQ(holder.state, "ok");
        EXPECT_EQ(OpenError(name, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING), 0u);
        EXPECT_EQ(OpenError(name, GENERIC_WRITE, kShareAll, OPEN_EXISTING), ERROR_SHARING_VIOLATION);
        EXPECT_EQ(OpenError(name, GENERIC_READ, FILE_SHARE_WRITE, OPEN_EXISTING), ERROR_SHARING_VIOLATION)
            << "it holds read access, which this one would deny";
    }
    {
        HANDLE mine = Open(name, kReadWrite, FILE_SHARE_READ, OPEN_EXISTING);
        Holder holder(name, "r", "r");
        EXPECT_EQ(holder.state, "error 32") << "the other way round: it would deny this one's writing";
        CloseHandle(mine);
    }
    {
        Holder holder(name, "rw", "rw", 2, 4);
        ASSERT_EQ(holder.state, "ok");
        HANDLE file = Open(name, kReadWrite, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
        EXPECT_FALSE(LockFile(file, 5, 0, 1, 0));
        EXPECT_EQ(GetLastError(), ERROR_LOCK_VIOLATION);
        EXPECT_TRUE(LockFile(file, 6, 0, 10, 0));
        CloseHandle(file);
    }
}

// Attributes by name and by handle: archive on a new file, hidden and
// system kept, read-only as the write permission, directories marked.
TEST(Files, AttributesRoundTrip) {
    Scratch name("files_test_attributes.txt");
    name.Write("x");
    const DWORD kept = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    EXPECT_EQ(GetFileAttributesA(name.c_str()), static_cast<DWORD>(FILE_ATTRIBUTE_ARCHIVE))
        << "a new file has the archive bit";
    ASSERT_TRUE(SetFileAttributesA(name.c_str(), FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM));
    EXPECT_EQ(GetFileAttributesA(name.c_str()) & kept, static_cast<DWORD>(FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM));
#if !defined(_WIN32)
    // The form that Samba and wine read: hexadecimal text.
    char stored[32] = {};
    ASSERT_GT(getxattr(name.c_str(), "user.DOSATTRIB", stored, sizeof stored - 1), 0);
    EXPECT_EQ(strtoul(stored, nullptr, 16) & 6, 6u) << stored;
    EXPECT_EQ(strncmp(stored, "0x", 2), 0) << stored;
#endif
    EXPECT_TRUE(Is(OpenError(name, GENERIC_WRITE, 0, CREATE_ALWAYS), ERROR_ACCESS_DENIED, 0))
        << "overwriting a hidden file without asking for hidden, which wine allows";
    EXPECT_EQ(OpenError(name, GENERIC_WRITE, 0, CREATE_ALWAYS, FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM), 0u);

    ASSERT_TRUE(SetFileAttributesA(name.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
    EXPECT_EQ(GetFileAttributesA(name.c_str()) & kept, static_cast<DWORD>(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
    HANDLE file = Open(name, GENERIC_READ, kShareAll, OPEN_EXISTING);
    BY_HANDLE_FILE_INFORMATION information = {};
    ASSERT_TRUE(GetFileInformationByHandle(file, &information));
    EXPECT_EQ(information.dwFileAttributes & kept, static_cast<DWORD>(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN));
    EXPECT_EQ(information.nFileSizeLow, 0u);
    EXPECT_EQ(information.nNumberOfLinks, 1u);
    CloseHandle(file);
    EXPECT_FALSE(DeleteFileA(name.c_str()));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);

    ASSERT_TRUE(SetFileAttributesA(name.c_str(), FILE_ATTRIBUTE_NORMAL));
    // Wine reports the archive bit on every file.
    EXPECT_EQ(GetFileAttributesA(name.c_str()),
              static_cast<DWORD>(RunningUnderWine() ? FILE_ATTRIBUTE_ARCHIVE : FILE_ATTRIBUTE_NORMAL));
    EXPECT_EQ(OpenError(name, GENERIC_WRITE, 0, OPEN_EXISTING), 0u) << "writable again";

    EXPECT_NE(GetFileAttributesA(".") & FILE_ATTRIBUTE_DIRECTORY, 0u);
    EXPECT_EQ(GetFileAttributesA("files_test_missing.txt"), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(GetFileAttributesA("files_test_no_folder\\x"), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);

    Scratch created("files_test_created_hidden.txt");
    file = Open(created, GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY);
    DWORD count = 0;
    EXPECT_TRUE(WriteFile(file, "ok", 2, &count, nullptr)) << "the creating handle writes a read-only file";
    CloseHandle(file);
    EXPECT_EQ(GetFileAttributesA(created.c_str()) & kept,
              static_cast<DWORD>(FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY));
}

// Times to the 100 ns tick, and their DOS form.
TEST(Files, TimesToTheTick) {
    Scratch name("files_test_times.txt");
    name.Write("t");
    // 2021-03-04 05:06:07.1234567 and 2020-01-02 03:04:05.9876543.
    SYSTEMTIME when = {};
    FILETIME written, accessed, readBack[3];
    ASSERT_TRUE(DosDateTimeToFileTime(static_cast<WORD>((41 << 9) | (3 << 5) | 4),
                                      static_cast<WORD>((5 << 11) | (6 << 5) | 3), &written));
    ULONGLONG ticks = ((ULONGLONG(written.dwHighDateTime) << 32) | written.dwLowDateTime) + 11234567;
    written.dwLowDateTime = static_cast<DWORD>(ticks);
    written.dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    ASSERT_TRUE(DosDateTimeToFileTime(static_cast<WORD>((40 << 9) | (1 << 5) | 2),
                                      static_cast<WORD>((3 << 11) | (4 << 5) | 2), &accessed));
    ticks = ((ULONGLONG(accessed.dwHighDateTime) << 32) | accessed.dwLowDateTime) + 19876543;
    accessed.dwLowDateTime = static_cast<DWORD>(ticks);
    accessed.dwHighDateTime = static_cast<DWORD>(ticks >> 32);

    HANDLE file = Open(name, GENERIC_READ, kShareAll, OPEN_EXISTING);
    // Wine lets a handle for reading set them.
    if (!RunningUnderWine()) {
        EXPECT_FALSE(SetFileTime(file, nullptr, &accessed, &written)) << "times need the right to write";
        EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    }
    CloseHandle(file);
    file = Open(name, kReadWrite, kShareAll, OPEN_EXISTING);
    ASSERT_TRUE(SetFileTime(file, nullptr, &accessed, &written));
    ASSERT_TRUE(GetFileTime(file, &readBack[0], &readBack[1], &readBack[2]));
    EXPECT_EQ(readBack[1].dwLowDateTime, accessed.dwLowDateTime);
    EXPECT_EQ(readBack[1].dwHighDateTime, accessed.dwHighDateTime);
    EXPECT_EQ(readBack[2].dwLowDateTime, written.dwLowDateTime);
    EXPECT_EQ(readBack[2].dwHighDateTime, written.dwHighDateTime);
    EXPECT_NE(readBack[0].dwHighDateTime, 0u) << "a creation time";
    CloseHandle(file);

    WORD date = 0, time = 0;
    ASSERT_TRUE(FileTimeToDosDateTime(&written, &date, &time));
    EXPECT_EQ(date, (41 << 9) | (3 << 5) | 4);
    EXPECT_EQ(time, (5 << 11) | (6 << 5) | 3) << "7.12 s falls to the even second 6";
    ASSERT_TRUE(FileTimeToSystemTime(&written, &when));
    EXPECT_EQ(when.wSecond, 7);
    FILETIME early = {0, 0x01000000};  // 1601 and a bit: before 1980
    EXPECT_FALSE(FileTimeToDosDateTime(&early, &date, &time));
}

// The runtime's remove and rename on Windows names: rename never replaces,
// remove refuses a read-only file.
TEST(Files, RuntimeRemoveAndRename) {
    Scratch from("files_test_from.txt"), to("files_test_to.txt");
    from.Write("from");
    to.Write("to");
    errno = 0;
    EXPECT_EQ(rename(from.c_str(), to.c_str()), -1);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(to.Read(), "to") << "never replaced";
    EXPECT_EQ(remove(to.c_str()), 0);
    EXPECT_EQ(rename(from.c_str(), to.c_str()), 0);
    EXPECT_EQ(to.Read(), "from");
    EXPECT_FALSE(Exists(from));
    EXPECT_EQ(remove(from.c_str()), -1);
    EXPECT_EQ(errno, ENOENT);
    ASSERT_TRUE(SetFileAttributesA(to.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(remove(to.c_str()), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_TRUE(Exists(to));
}

// The buffered stream: what goes in comes out, seeks inside and outside
// the buffer, share modes as on the handle road.
TEST(Files, MmioStream) {
    Scratch name("files_test_mmio.txt");
    std::string path = name;
    HMMIO stream = mmioOpenA(&path[0], nullptr, MMIO_CREATE | MMIO_READWRITE | MMIO_EXCLUSIVE | MMIO_ALLOCBUF);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(OpenError(name, GENERIC_READ, kShareAll, OPEN_EXISTING), ERROR_SHARING_VIOLATION);
    std::string text;
    for (int i = 0; i < 3000; ++i)
        text += "line " + std::to_string(i) + "\n";
    for (size_t at = 0; at < text.size(); at += 7)
        ASSERT_EQ(mmioWrite(stream, text.data() + at, LONG(std::min<size_t>(7, text.size() - at))),
                  LONG(std::min<size_t>(7, text.size() - at)));
    EXPECT_EQ(mmioSeek(stream, 0, SEEK_CUR), LONG(text.size()));
    // Wine's end of a stream leaves out what was written through it.
    if (!RunningUnderWine()) {
        EXPECT_EQ(mmioSeek(stream, 0, SEEK_END), LONG(text.size()));
    }
    EXPECT_EQ(mmioSeek(stream, 5, SEEK_SET), 5);
    char buffer[64];
    EXPECT_EQ(mmioRead(stream, buffer, 4), 4);
    EXPECT_EQ(std::string(buffer, 4), "0\nli");
    EXPECT_EQ(mmioSeek(stream, -4, SEEK_CUR), 5);
    EXPECT_EQ(mmioWrite(stream, "X", 1), 1);
    EXPECT_EQ(mmioSeek(stream, 0, SEEK_SET), 0);
    EXPECT_EQ(mmioRead(stream, buffer, 8), 8);
    EXPECT_EQ(std::string(buffer, 8), "line X\nl");
    EXPECT_EQ(mmioSeek(stream, -1, SEEK_SET), -1);
    if (!RunningUnderWine()) {
        EXPECT_EQ(mmioSeek(stream, -3, SEEK_END), LONG(text.size() - 3));
    }
    EXPECT_EQ(mmioSeek(stream, LONG(text.size() - 3), SEEK_SET), LONG(text.size() - 3));
    EXPECT_EQ(mmioRead(stream, buffer, sizeof buffer), 3);
    EXPECT_EQ(mmioRead(stream, buffer, sizeof buffer), 0) << "the end";
    EXPECT_EQ(mmioFlush(stream, MMIO_EMPTYBUF), 0u);
    EXPECT_EQ(mmioClose(stream, 0), 0u);
    text[5] = 'X';
    HANDLE file = Open(name, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    std::vector<char> back(text.size() + 1);
    DWORD got = 0;
    ReadFile(file, back.data(), DWORD(back.size()), &got, nullptr);
    EXPECT_EQ(std::string(back.data(), got), text);
    HMMIO denied = mmioOpenA(&path[0], nullptr, MMIO_WRITE | MMIO_DENYNONE);
    EXPECT_EQ(denied, nullptr) << "the handle denies writing";
    HMMIO reader = mmioOpenA(&path[0], nullptr, MMIO_READ | MMIO_DENYWRITE | MMIO_ALLOCBUF);
    EXPECT_NE(reader, nullptr);
    CloseHandle(file);
    if (reader != nullptr) {
        EXPECT_EQ(mmioRead(reader, buffer, 4), 4);
        mmioClose(reader, 0);
    }
    std::string missing = "files_test_no_folder\\x";
    EXPECT_EQ(mmioOpenA(&missing[0], nullptr, MMIO_READ), nullptr);
}

// The folder of a small disk (a few hundred KB) that the tests may fill,
// or "" when none is mounted: the FullDisk fixture mounts one, as root.
std::string FullDiskFolder() {
    const char *folder = getenv("CVZ_TEST_FULL_DISK");
    if (folder == nullptr || *folder == '\0')
        return "";
    const std::string marker = std::string(folder) + "\\mounted";
    return Exists(marker) ? folder : "";
}

// A full disk: a size it cannot hold fails at once with ERROR_DISK_FULL
// and changes nothing; writes fail with it when the room is gone, the file
// stays usable, and what was reported written is there.
TEST(FullDisk, SetEndOfFileAndWriteFileReportADiskFull) {
    const std::string folder = FullDiskFolder();
    if (folder.empty())
        GTEST_SKIP() << "no small disk: the FullDisk fixture mounts one when run as root";
    Scratch name(folder + "\\files_test_full.bin");
    HANDLE file = Open(name, kReadWrite, 0, CREATE_ALWAYS);
    ASSERT_NE(file, INVALID_HANDLE_VALUE) << GetLastError();
    EXPECT_EQ(SetFilePointer(file, 10 << 20, nullptr, FILE_BEGIN), DWORD(10 << 20));
    if (RunningUnderWine() && SetEndOfFile(file)) {
        // Wine sets the size alone, reserving nothing.
        SetFilePointer(file, 0, nullptr, FILE_BEGIN);
        EXPECT_TRUE(SetEndOfFile(file));
    } else {
        EXPECT_FALSE(SetEndOfFile(file));
        EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
        EXPECT_EQ(GetFileSize(file, nullptr), 0u) << "the size stays";
    }

    SetFilePointer(file, 0, nullptr, FILE_BEGIN);
    std::vector<char> block(16384);
    DWORD total = 0, count = 0;
    BOOL ok = TRUE;
    for (int i = 0; ok && i < 1000; ++i) {
        for (size_t j = 0; j < block.size(); ++j)
            block[j] = static_cast<char>(i + j);
        ok = WriteFile(file, block.data(), DWORD(block.size()), &count, nullptr);
        total += count;
    }
    ASSERT_FALSE(ok) << "1000 blocks of 16 KB on a small disk";
    EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
    EXPECT_EQ(GetFileSize(file, nullptr), total) << "the count says what reached the file";
    EXPECT_EQ(SetFilePointer(file, 16384, nullptr, FILE_BEGIN), 16384u) << "still usable";
    ASSERT_TRUE(ReadFile(file, block.data(), 16, &count, nullptr));
    EXPECT_EQ(block[3], static_cast<char>(1 + 3));
    EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_BEGIN), 0u);
    EXPECT_TRUE(SetEndOfFile(file)) << "shrinking needs no room";
    CloseHandle(file);
}

// The stream road on a full disk: a short count, never a write reported
// and then lost.
TEST(FullDisk, MmioWriteGivesAShortCount) {
    const std::string folder = FullDiskFolder();
    if (folder.empty())
        GTEST_SKIP() << "no small disk: the FullDisk fixture mounts one when run as root";
    Scratch name(folder + "\\files_test_full_stream.bin");
    std::string path = name;
    HMMIO stream = mmioOpenA(&path[0], nullptr, MMIO_CREATE | MMIO_WRITE | MMIO_EXCLUSIVE | MMIO_ALLOCBUF);
    ASSERT_NE(stream, nullptr);
    const char piece[1000] = {'a'};
    LONG accepted = 0, last = 0;
    for (int i = 0; i < 10000; ++i) {
        last = mmioWrite(stream, piece, sizeof piece);
        if (last != LONG(sizeof piece))
            break;
        accepted += last;
    }
    if (RunningUnderWine() && last == LONG(sizeof piece)) {
        mmioClose(stream, 0);
        GTEST_SKIP() << "wine's mmioWrite accepted " << accepted << " bytes on a disk of 256 KB";
    }
    EXPECT_GE(last, 0) << "a short count, not a failure";
    EXPECT_LT(last, LONG(sizeof piece));
    accepted += last;
    EXPECT_EQ(mmioClose(stream, 0), 0u) << "nothing accepted is lost at the close";
    HANDLE file = Open(name, GENERIC_READ, kShareAll, OPEN_EXISTING);
    EXPECT_EQ(GetFileSize(file, nullptr), DWORD(accepted));
    CloseHandle(file);
}

}  // namespace
