// Drives, volumes and message boxes.  The drive answers of the POSIX layer
// come from its drive table and are tested on that side with a letter of
// its own; on Windows the drive of the temporary folder serves.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <ctype.h>
#include <string.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>

#if !defined(_WIN32)
#include <sys/statvfs.h>
#endif

namespace fs = std::filesystem;

namespace {

// The root "X:\" of a drive that exists, and the letter of one that doesn't.
struct Drives {
    Drives() {
#if defined(_WIN32)
        letter = static_cast<char>(toupper(fs::temp_directory_path().string()[0]));
#else
        folder = fs::temp_directory_path() / ("cvz-volume-" + std::to_string(GetCurrentThreadId()));
        fs::create_directories(folder);
        letter = 'Q';
        MapDriveLetter(letter, folder.c_str());
#endif
        root = std::string(1, letter) + ":\\";
        for (char c = 'Z'; c >= 'D'; --c)
            if (!(GetLogicalDrives() & (1u << (c - 'A'))))
                missing = std::string(1, c) + ":\\";
    }
    ~Drives() {
#if !defined(_WIN32)
        MapDriveLetter(letter, nullptr);
        std::error_code ignored;
        fs::remove_all(folder, ignored);
#endif
    }
    char letter;
    std::string root;
    std::string missing;
    fs::path folder;
};

TEST(Volumes, DrivesAndSpace) {
    Drives drives;
    EXPECT_TRUE(GetLogicalDrives() & (1u << (drives.letter - 'A')));
    EXPECT_EQ(UINT(DRIVE_FIXED), GetDriveTypeA(drives.root.c_str()));
    ASSERT_FALSE(drives.missing.empty());
    EXPECT_EQ(UINT(DRIVE_NO_ROOT_DIR), GetDriveTypeA(drives.missing.c_str()));

    DWORD perCluster = 0, perSector = 0, freeClusters = 0, totalClusters = 0;
    ASSERT_TRUE(GetDiskFreeSpaceA(drives.root.c_str(), &perCluster, &perSector, &freeClusters, &totalClusters));
    EXPECT_GT(perCluster * perSector, 0u);
    EXPECT_LE(freeClusters, totalClusters);
    EXPECT_FALSE(GetDiskFreeSpaceA(drives.missing.c_str(), &perCluster, &perSector, &freeClusters,
                                   &totalClusters));
#if !defined(_WIN32)
    struct statvfs stats;
    ASSERT_EQ(0, statvfs(drives.folder.c_str(), &stats));
    EXPECT_EQ(stats.f_frsize, uint64_t{perCluster} * perSector);
    EXPECT_EQ(stats.f_blocks, totalClusters);
#endif

    DWORD flags = 0, longest = 0;
    char label[64] = "untouched";
    ASSERT_TRUE(GetVolumeInformationA(drives.root.c_str(), label, sizeof label, nullptr, &longest, &flags,
                                      nullptr, 0));
    EXPECT_GT(longest, 0u);
    EXPECT_TRUE(flags & FILE_CASE_PRESERVED_NAMES);
    EXPECT_FALSE(GetVolumeInformationA(drives.missing.c_str(), label, sizeof label, nullptr, nullptr,
                                       nullptr, nullptr, 0));
}

#if !defined(_WIN32)
// The label lives in the drive's folder, where wine keeps it too.
TEST(Volumes, LabelsOnPosix) {
    Drives drives;
    char label[64] = "";
    ASSERT_TRUE(GetVolumeInformationA(drives.root.c_str(), label, sizeof label, nullptr, nullptr, nullptr,
                                      nullptr, 0));
    EXPECT_STREQ("", label);
    ASSERT_TRUE(SetVolumeLabelA(drives.root.c_str(), "Backups 2026"));
    ASSERT_TRUE(GetVolumeInformationA(drives.root.c_str(), label, sizeof label, nullptr, nullptr, nullptr,
                                      nullptr, 0));
    EXPECT_STREQ("Backups 2026", label);
    EXPECT_TRUE(fs::exists(drives.folder / ".windows-label"));
    char small[4];
    EXPECT_FALSE(GetVolumeInformationA(drives.root.c_str(), small, sizeof small, nullptr, nullptr, nullptr,
                                       nullptr, 0));
    EXPECT_EQ(DWORD(ERROR_MORE_DATA), GetLastError());
    EXPECT_FALSE(SetVolumeLabelA(drives.root.c_str(), std::string(33, 'x').c_str()));
    EXPECT_EQ(DWORD(ERROR_LABEL_TOO_LONG), GetLastError());
    ASSERT_TRUE(SetVolumeLabelA(drives.root.c_str(), nullptr));
    EXPECT_FALSE(fs::exists(drives.folder / ".windows-label"));
    EXPECT_FALSE(SetVolumeLabelA("Q:\\sub\\", "x"));
    EXPECT_EQ(DWORD(ERROR_INVALID_NAME), GetLastError());
}

// No device namespace: the floppy question stops at the open, and a
// create must not make a file of the device's name.
TEST(Volumes, NoDevicesOnPosix) {
    EXPECT_EQ(INVALID_HANDLE_VALUE,
              CreateFileA("\\\\.\\Q:", 0, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, 0, nullptr));
    EXPECT_EQ(DWORD(ERROR_FILE_NOT_FOUND), GetLastError());
    EXPECT_FALSE(fs::exists("/Q:"));
}

std::string lastText, lastCaption;
UINT lastStyle;

int AnswerNo(LPCSTR text, LPCSTR caption, UINT style) {
    lastText = text;
    lastCaption = caption;
    lastStyle = style;
    return IDNO;
}

TEST(MessageBoxes, AnsweredWithoutScreen) {
    // The default: the box's default button.
    EXPECT_EQ(IDOK, MessageBoxA(nullptr, "text", "", MB_OK));
    EXPECT_EQ(IDYES, MessageBoxA(nullptr, "text", "", MB_YESNOCANCEL));
    EXPECT_EQ(IDCANCEL, MessageBoxA(nullptr, "text", "", MB_YESNOCANCEL | MB_DEFBUTTON3));
    EXPECT_EQ(IDOK, MessageBoxA(nullptr, "text", "", MB_OKCANCEL | MB_DEFBUTTON3));
    EXPECT_EQ(0, MessageBoxA(nullptr, "text", "", 7));
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());

    SetMessageBoxAnswer(AnswerNo);
    EXPECT_EQ(IDNO, MessageBoxA(nullptr, "Keep it?", "Editor", MB_YESNOCANCEL | MB_TOPMOST));
    EXPECT_EQ("Keep it?", lastText);
    EXPECT_EQ("Editor", lastCaption);
    EXPECT_EQ(UINT(MB_YESNOCANCEL | MB_TOPMOST), lastStyle);
    // No is no button of this box: the default button answers.
    EXPECT_EQ(IDRETRY, MessageBoxA(nullptr, nullptr, nullptr, MB_RETRYCANCEL));
    EXPECT_EQ("", lastText);
    SetMessageBoxAnswer(nullptr);
    EXPECT_EQ(IDYES, MessageBoxA(nullptr, "text", "", MB_YESNO));
}
#endif

TEST(Windows, TextOfAWindow) {
    HWND window = CreateWindowExA(0, "STATIC", "Report 12", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                  nullptr, nullptr);
    ASSERT_NE(nullptr, window);
    char text[64];
    EXPECT_EQ(9, GetWindowTextA(window, text, sizeof text));
    EXPECT_STREQ("Report 12", text);
    EXPECT_EQ(3, GetWindowTextA(window, text, 4));
    EXPECT_STREQ("Rep", text);
    DestroyWindow(window);
    EXPECT_EQ(0, GetWindowTextA(window, text, sizeof text));
    EXPECT_STREQ("", text);
}

}  // namespace
