// What the File tests share: a scratch folder per test, names in the
// library's drive-letter form for native paths and back, plain reading and
// writing of whole files beside the library, and a second process that
// holds a file open (the program file_holder).
#ifndef CVZ_TESTS_FILES_FILE_TEST_SUPPORT_H
#define CVZ_TESTS_FILES_FILE_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <stdint.h>

#include <string>

#include "CommonVcZq/files/file.h"
#include "CommonVcZq/frame/exception.h"
#include "test_support.h"

// A native path in drive-letter form: unchanged on Windows; elsewhere the
// root "/" is drive Z:, so "/tmp/a" is "Z:\tmp\a".  Under wine a Unix path
// (from the environment or the build) turns into its Z: name the same way.
std::string LibraryName(const std::string &native);

// Whether a range that one handle locked refuses the reads of others, as
// on Windows.  Wine and our POSIX layer hold locked ranges against other
// locks only.
inline bool LockedRangesRefuseReads() {
#if defined(_WIN32)
    return !RunningUnderWine();
#else
    return false;
#endif
}

// The bytes of a whole file, read without the library; empty when missing.
std::string ReadWholeFile(const std::string &name);
// Writes `bytes` as the whole file, without the library.
void WriteWholeFile(const std::string &name, const std::string &bytes);

// Creates the folder `name` and those above it.
void MakeFolder(const std::string &name);

// A fresh folder for one test, removed with everything in it at the end.
class ScratchFolder {
public:
    // Under `parent` (a library name), or under the system's temporary
    // folder when `parent` is empty.
    explicit ScratchFolder(const std::string &parent = std::string());
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder &) = delete;
    ScratchFolder &operator=(const ScratchFolder &) = delete;

    // The folder, in drive-letter form, without a last '\'.
    const std::string &Name() const { return name; }
    // `title` in the folder.
    FileName operator/(const char *title) const;

private:
    std::string name;
};

// The message id's text with `argument` in its %s, as File formats it.
std::string FormattedMessage(unsigned int id, const char *argument = nullptr);

// Runs `operation`, which must raise an Exception: its message must be
// `expectedMessage`, and its code `expectedCode` unless that is negative.
// Returns the drive index of the failure.
template <typename Operation>
int32_t ExpectFailure(Operation operation, const std::string &expectedMessage, int64_t expectedCode = -1) {
    try {
        operation();
        ADD_FAILURE() << "no failure, expected \"" << expectedMessage << "\"";
    } catch (const Exception &e) {
        EXPECT_EQ(expectedMessage, e.message ? e.message->c_str() : "");
        if (expectedCode >= 0) {
            EXPECT_EQ(uint32_t(expectedCode), e.code);
        }
        return e.drive;
    }
    return -1;
}

// The second process: file_holder opens `name` with `flags` and holds it
// until the object ends.  Construction waits until the file is open.
class FileHolder {
public:
    FileHolder(const FileName &name, int flags);
    ~FileHolder();
    FileHolder(const FileHolder &) = delete;
    FileHolder &operator=(const FileHolder &) = delete;

    // Whether the holder could open the file.
    bool Holding() const { return holding; }

private:
    std::string stopName;
    intptr_t process;
    bool holding;
};

// The small disk of the FullDisk fixture, in drive-letter form, or an
// empty text when none is mounted (no CVZ_TEST_FULL_DISK, or a folder
// without the fixture's marker file "mounted").
std::string SmallDisk();

#endif
