// The file selection dialog, driven through its hook with the messages a
// user's clicks would send.  A dialog that cannot get a screen skips its
// test, and every driven test checks that the dialog really came up
// (CDN_INITDONE), so that a missing display never passes for a cancel.
#include "CommonVcZq/config/config.h"
#include "CommonVcZq/selector/file_selector.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <stdio.h>
#include <stdlib.h>

#include <string>

#if defined(_WIN32)
#include <windows.h>
#include <commdlg.h>
#include <dlgs.h>
#include <commctrl.h>
#endif

namespace {

// What the hook saw of one dialog.
struct Seen {
    int initDialog = 0;
    int initDone = 0;
    int destroy = 0;
};
Seen seen;

// The name the hook types on CDN_INITDONE, and the button it then posts.
std::string typedName;
int pressedButton = IDOK;

unsigned int DrivingHook(FileSelectorInfo *, HWND dialog, unsigned int message, WPARAM, LPARAM lParam) {
    if (message == WM_INITDIALOG)
        ++seen.initDialog;
    if (message == WM_DESTROY)
        ++seen.destroy;
    if (message == WM_NOTIFY && reinterpret_cast<NMHDR *>(lParam)->code == CDN_INITDONE) {
        ++seen.initDone;
        HWND frame = GetParent(dialog);
        if (pressedButton == IDOK)
            SetDlgItemTextA(frame, edt1, typedName.c_str());
        PostMessageA(frame, WM_COMMAND, static_cast<WPARAM>(pressedButton), 0);
    }
    return 0;
}

// The recent folders as the settings would store them.
std::string StoredRecentFolders() {
    Config config("Settings");
    SavePrefFileSelection(config);
    unsigned int size = 0;
    char *block = config.GetAsBlock(&size);
    std::string text(block, size);
    QX_Heap::FreeMem(block);
    return text;
}

void ResetSeen() {
    seen = Seen();
}

#if !defined(_WIN32)

// Without a screen the dialog cannot start: a failure, told from a cancel
// by its error code.  (Wine without a display reports no error at all, so
// this case is not asked of Windows.)
TEST(FileDialog, AFailureIsToldFromACancelAndChangesNoResult) {
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    Config config("Settings");
    LoadPrefFileSelection(config);
    ResetSeen();
    pressedButton = IDCANCEL;  // should the dialog come up after all, it ends
    FileSelectorInfo info;
    info.userHook = DrivingHook;
    info.selectedFolder = "C:\\before";
    EXPECT_EQ(UserSelectsFile(info), 0);
    EXPECT_NE(info.error, 0u);
    EXPECT_EQ(info.error, 2u) << "CDERR_INITIALIZATION";
    EXPECT_EQ(seen.initDone, 0);
    EXPECT_EQ(info.selectedFiles.GetCount(), 0);
    EXPECT_STREQ(info.selectedFolder.c_str(), "C:\\before");
    EXPECT_EQ(info.selectedFilterIndex, -1);
    EXPECT_TRUE(info.instance != nullptr) << "the program's module is filled in";
    EXPECT_TRUE(info.iconInstance == info.instance);
    EXPECT_EQ(StoredRecentFolders().find("Folder"), std::string::npos) << "nothing recorded";
}

#else

// False under wine without a display, where the dialog cannot come up.
bool HasDisplay() {
    const char *display = getenv("DISPLAY");
    return !RunningUnderWine() || (display != nullptr && *display != '\0');
}

// A fresh folder with the files `names`, in the temporary folder.
std::string MakeFolder(const char *leaf, std::initializer_list<const char *> names) {
    char temp[MAX_PATH];
    GetTempPathA(sizeof temp, temp);
    std::string folder = std::string(temp) + leaf;
    CreateDirectoryA(folder.c_str(), nullptr);
    for (const char *name : names) {
        HANDLE file = CreateFileA((folder + "\\" + name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0,
                                  nullptr);
        CloseHandle(file);
    }
    return folder;
}

// Runs one dialog that types `name` and presses `button`.
int Drive(FileSelectorInfo &info, const std::string &name, int button) {
    ResetSeen();
    typedName = name;
    pressedButton = button;
    info.userHook = DrivingHook;
    return UserSelectsFile(info);
}

TEST(FileDialog, ASingleFileWithItsFolderAndFileType) {
    if (!HasDisplay())
        GTEST_SKIP() << "no display for the dialog (run under xvfb-run)";
    const std::string folder = MakeFolder("cvz_dialog_single", {"one.txt"});
    FileSelectorInfo info;
    info.initialFolder = folder.c_str();
    info.filter = "Text|*.txt|All|*.*";  // no final bar
    info.filterIndex = 1;
    info.fileMustExist = 1;
    EXPECT_NE(Drive(info, "one.txt", IDOK), 0);
    EXPECT_EQ(seen.initDialog, 1);
    EXPECT_EQ(seen.initDone, 1);
    EXPECT_EQ(seen.destroy, 1);
    ASSERT_EQ(info.selectedFiles.GetCount(), 1);
    EXPECT_EQ(lstrcmpiA(info.selectedFiles.GetFirst()->c_str(), (folder + "\\one.txt").c_str()), 0);
    EXPECT_EQ(lstrcmpiA(info.selectedFolder.c_str(), folder.c_str()), 0);
    EXPECT_EQ(info.selectedFilterIndex, 1);
    EXPECT_EQ(info.HasMultiSelection(), 0);
    EXPECT_EQ(info.error, 0u);
}

TEST(FileDialog, ThreeFilesAtOnce) {
    if (!HasDisplay())
        GTEST_SKIP() << "no display for the dialog (run under xvfb-run)";
    const std::string folder = MakeFolder("cvz_dialog_multi", {"a.txt", "b.txt", "c.txt"});
    FileSelectorInfo info;
    info.initialFolder = folder.c_str();
    info.allowMultiSelect = 1;
    info.filterIndex = 5;  // beyond the one type: the first
    EXPECT_NE(Drive(info, "\"a.txt\" \"b.txt\" \"c.txt\"", IDOK), 0);
    EXPECT_EQ(seen.initDone, 1);
    ASSERT_EQ(info.selectedFiles.GetCount(), 3);
    EXPECT_EQ(info.HasMultiSelection(), 1);
    std::string names;
    for (FileName *file = info.selectedFiles.GetFirst(); file != nullptr; file = info.selectedFiles.GetNext(file))
        names += std::string(file->GetTitle(1).c_str()) + " ";
    EXPECT_EQ(names, "a.txt b.txt c.txt ");
    EXPECT_EQ(lstrcmpiA(info.selectedFiles.GetFirst()->GetPath().c_str(), folder.c_str()), 0);
    EXPECT_EQ(info.selectedFilterIndex, 0);
}

TEST(FileDialog, SaveAddsTheDefaultExtension) {
    if (!HasDisplay())
        GTEST_SKIP() << "no display for the dialog (run under xvfb-run)";
    const std::string folder = MakeFolder("cvz_dialog_save", {});
    FileSelectorInfo info;
    info.dialogType = 1;
    info.initialFolder = folder.c_str();
    info.defaultExtension = "dat";
    info.filter = "Data|*.dat|";
    EXPECT_NE(Drive(info, "report", IDOK), 0);
    EXPECT_EQ(seen.initDone, 1);
    ASSERT_EQ(info.selectedFiles.GetCount(), 1);
    EXPECT_EQ(lstrcmpiA(info.selectedFiles.GetFirst()->c_str(), (folder + "\\report.dat").c_str()), 0);
}

TEST(FileDialog, ACancelLeavesTheResultsAndNoError) {
    if (!HasDisplay())
        GTEST_SKIP() << "no display for the dialog (run under xvfb-run)";
    FileSelectorInfo info;
    info.selectedFolder = "C:\\before";
    EXPECT_EQ(Drive(info, "", IDCANCEL), 0);
    EXPECT_EQ(seen.initDone, 1) << "the dialog came up";
    EXPECT_EQ(seen.destroy, 1);
    EXPECT_EQ(info.error, 0u);
    EXPECT_EQ(info.selectedFiles.GetCount(), 0);
    EXPECT_STREQ(info.selectedFolder.c_str(), "C:\\before");
    EXPECT_EQ(info.selectedFilterIndex, -1);
}

TEST(FileDialog, RecentFoldersNewestFirstOnceWithoutCase) {
    if (!HasDisplay())
        GTEST_SKIP() << "no display for the dialog (run under xvfb-run)";
    Config config("Settings");
    LoadPrefFileSelection(config);
    const std::string first = MakeFolder("cvz_dialog_r1", {"x.txt"});
    const std::string second = MakeFolder("cvz_dialog_r2", {"x.txt"});
    for (const std::string &folder : {first, second, first}) {
        FileSelectorInfo info;
        info.initialFolder = folder.c_str();
        ASSERT_NE(Drive(info, "x.txt", IDOK), 0);
    }
    // The same folder in other case counts as the same.
    std::string upper = first;
    for (char &c : upper)
        c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    FileSelectorInfo info;
    info.initialFolder = upper.c_str();
    ASSERT_NE(Drive(info, "x.txt", IDOK), 0);
    const std::string stored = StoredRecentFolders();
    EXPECT_EQ(stored.find("Folder2"), std::string::npos) << stored;
    const size_t head = stored.find("cvz_dialog_r1"), next = stored.find("cvz_dialog_r2");
    EXPECT_NE(head, std::string::npos);
    EXPECT_LT(head, next) << stored;
}

// The jump to a recent folder, driven as a user's pick in the combo box:
// on CDN_INITDONE the name "x.txt" goes into the name box and the second
// recent folder is picked; when the dialog has reached it, OK.
struct Jump {
    int comboCount = -1;
    std::string folderText;  // control 502 when the dialog came up
    std::string target;
    int pressed = 0;
};
Jump jump;

unsigned int JumpingHook(FileSelectorInfo *, HWND dialog, unsigned int message, WPARAM, LPARAM lParam) {
    if (message != WM_NOTIFY)
        return 0;
    HWND frame = GetParent(dialog);
    const UINT code = reinterpret_cast<NMHDR *>(lParam)->code;
    if (code == CDN_INITDONE) {
        ++seen.initDone;
        HWND combo = GetDlgItem(dialog, 501);
        jump.comboCount = static_cast<int>(SendMessageA(combo, CB_GETCOUNT, 0, 0));
        char text[MAX_PATH] = {};
        GetDlgItemTextA(dialog, 502, text, sizeof text);
        jump.folderText = text;
        SetDlgItemTextA(frame, edt1, "x.txt");
        SendMessageA(combo, CB_SETCURSEL, 1, 0);
        SendMessageA(dialog, WM_COMMAND, MAKEWPARAM(501, CBN_SELCHANGE), reinterpret_cast<LPARAM>(combo));
    } else if (code == CDN_FOLDERCHANGE && !jump.pressed) {
        char folder[MAX_PATH] = {};
        SendMessageA(frame, CDM_GETFOLDERPATH, sizeof folder, reinterpret_cast<LPARAM>(folder));
        if (lstrcmpiA(folder, jump.target.c_str()) == 0) {
            jump.pressed = 1;  // the name comes back by the dialog's own command, queued before this
            PostMessageA(frame, WM_COMMAND, IDOK, 0);
        }
    }
    return 0;
}

TEST(FileDialog, TheTemplateShowsRecentFoldersAndJumpsToOne) {
    if (!HasDisplay())
        GTEST_SKIP() << "no display for the dialog (run under xvfb-run)";
    const std::string start = MakeFolder("cvz_dialog_j1", {"x.txt"});
    jump = Jump();
    jump.target = MakeFolder("cvz_dialog_j2", {"x.txt"});
    Config config("Settings");
    config.MoveDown("RecentPaths");
    config.SetValue(start.c_str(), "Folder", 0);
    config.SetValue(jump.target.c_str(), "Folder", 1);
    config.MoveUp();
    LoadPrefFileSelection(config);

    ResetSeen();
    FileSelectorInfo info;
    info.templateId = 300;
    info.initialFolder = start.c_str();
    info.userHook = JumpingHook;
    EXPECT_NE(UserSelectsFile(info), 0) << info.error;
    EXPECT_EQ(seen.initDone, 1);
    EXPECT_EQ(jump.comboCount, 2);
    EXPECT_EQ(lstrcmpiA(jump.folderText.c_str(), start.c_str()), 0) << jump.folderText;
    ASSERT_EQ(info.selectedFiles.GetCount(), 1);
    EXPECT_EQ(lstrcmpiA(info.selectedFiles.GetFirst()->c_str(), (jump.target + "\\x.txt").c_str()), 0)
        << info.selectedFiles.GetFirst()->c_str();
    const std::string stored = StoredRecentFolders();
    EXPECT_LT(stored.find("cvz_dialog_j2"), stored.find("cvz_dialog_j1")) << stored;
}

// The expand button pressed twice, once the dialog shows: the frame grows
// to 60 pixels short of the screen, then comes back to its size, centered;
// the OK button carries the caller's text and the file list the
// remembered view style.
struct Expand {
    RECT base = {}, expanded = {}, back = {};
    std::string okText;
    LONG_PTR listStyle = -1;
};
Expand expand;
const UINT kMeasure = WM_APP + 1;

unsigned int ExpandingHook(FileSelectorInfo *, HWND dialog, unsigned int message, WPARAM, LPARAM lParam) {
    HWND frame = GetParent(dialog);
    if (message == WM_NOTIFY && reinterpret_cast<NMHDR *>(lParam)->code == CDN_INITDONE) {
        ++seen.initDone;
        PostMessageA(dialog, kMeasure, 0, 0);  // after the first showing
    } else if (message == kMeasure) {
        char text[64] = {};
        GetDlgItemTextA(frame, IDOK, text, sizeof text);
        expand.okText = text;
        HWND list = GetWindow(GetDlgItem(frame, lst2), GW_CHILD);
        if (list != nullptr)
            expand.listStyle = GetWindowLongPtrA(list, GWL_STYLE);
        GetWindowRect(frame, &expand.base);
        SendMessageA(dialog, WM_COMMAND, 500, 0);
        GetWindowRect(frame, &expand.expanded);
        SendMessageA(dialog, WM_COMMAND, 500, 0);
        GetWindowRect(frame, &expand.back);
        PostMessageA(frame, WM_COMMAND, IDCANCEL, 0);
    }
    return 0;
}

TEST(FileDialog, ExpandTwiceOkTextAndViewStyle) {
    if (!HasDisplay())
        GTEST_SKIP() << "no display for the dialog (run under xvfb-run)";
    SetFileSelectionSettings(0, LVS_REPORT);
    ResetSeen();
    expand = Expand();
    FileSelectorInfo info;
    info.templateId = 300;
    info.okText = "Take";
    info.userHook = ExpandingHook;
    EXPECT_EQ(UserSelectsFile(info), 0);
    EXPECT_EQ(seen.initDone, 1);
    EXPECT_EQ(expand.okText, "Take");
    const int screenWidth = GetSystemMetrics(SM_CXSCREEN), screenHeight = GetSystemMetrics(SM_CYSCREEN);
    EXPECT_EQ(expand.expanded.right - expand.expanded.left, screenWidth - 60);
    EXPECT_EQ(expand.expanded.bottom - expand.expanded.top, screenHeight - 60);
    EXPECT_EQ(expand.expanded.left, 30);
    const int width = expand.base.right - expand.base.left, height = expand.base.bottom - expand.base.top;
    EXPECT_EQ(expand.back.right - expand.back.left, width);
    EXPECT_EQ(expand.back.bottom - expand.back.top, height);
    EXPECT_EQ(expand.back.left, (screenWidth - width) / 2) << "centered";
    int expanded = -1;
    int32_t style = 0;
    GetFileSelectionSettings(&expanded, &style);
    EXPECT_EQ(expanded, 0) << "pressed twice";
    EXPECT_EQ(expand.listStyle & 3, LVS_REPORT) << "the remembered view style";
    EXPECT_EQ(style, LVS_REPORT);
    SetFileSelectionSettings(0, -1);
}

#endif

}  // namespace
