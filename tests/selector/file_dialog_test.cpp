// The file selection dialog, the platform's real one (the common dialog on
// Windows and under wine, a GTK file chooser elsewhere), driven through
// its hook with the messages a user's clicks would send.  One source serves
// both systems, as one hook's source serves an application.
//
// A dialog needs a screen: the tests run under xvfb-run (with_display.sh)
// and skip without a display.  Every driven test checks that the dialog
// really came up (CDN_INITDONE), so that a missing display never passes
// for a cancel.
#include "CommonVcZq/config/config.h"
#include "CommonVcZq/platform/find_data.h"
#include "CommonVcZq/selector/file_selector.h"

#include <gtest/gtest.h>

#include "temp_folder.h"
#include "test_support.h"

#include <ctype.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include <stdexcept>
#include <string>
#include <vector>

#if defined(_WIN32)
#include <commdlg.h>
#include <dlgs.h>
#else
#include <unistd.h>
#endif

namespace {

// The low style bits of a list view in its report view (LVS_REPORT).
const int32_t kReportView = 1;

// What the hook saw of one dialog.
struct Seen {
    int initDialog = 0;
    int initDone = 0;
    int selChange = 0;
    int destroy = 0;
};
Seen seen;
// Set once a dialog of this process has come up, and with it the display.
bool aDialogCameUp = false;

// Counts a message of the dialog in `seen`; the code of a WM_NOTIFY, else 0.
UINT Note(unsigned int message, LPARAM lParam) {
    if (message == WM_INITDIALOG) {
        ++seen.initDialog;
        aDialogCameUp = true;
    }
    if (message == WM_DESTROY)
        ++seen.destroy;
    if (message != WM_NOTIFY)
        return 0;
    const UINT code = reinterpret_cast<NMHDR *>(lParam)->code;
    seen.initDone += code == CDN_INITDONE;
    seen.selChange += code == CDN_SELCHANGE;
    return code;
}

// The name the driving hook types on CDN_INITDONE, and the button it then
// presses.
std::string typedName;
int pressedButton = IDOK;

unsigned int DrivingHook(FileSelectorInfo *, HWND dialog, unsigned int message, WPARAM, LPARAM lParam) {
    if (Note(message, lParam) == CDN_INITDONE) {
        HWND frame = GetParent(dialog);
        if (pressedButton == IDOK)
            SetDlgItemTextA(frame, edt1, typedName.c_str());
        PostMessageA(frame, WM_COMMAND, static_cast<WPARAM>(pressedButton), 0);
    }
    return 0;
}

// The recent folders as the settings store them, newest first.  Saving
// releases the recent list, so a test asks this at its end.
std::vector<std::string> StoredRecentFolders() {
    Config config("Settings");
    SavePrefFileSelection(config);
    std::vector<std::string> folders;
    if (config.MoveDown("RecentPaths") == nullptr)
        return folders;
    for (int i = 0; config.ExistValue("Folder", i); ++i)
        folders.push_back(config.GetValue("", "Folder", i).c_str());
    return folders;
}

// Loads the recent list from settings that hold `folders`, newest first.
void LoadRecentFolders(std::initializer_list<std::string> folders) {
    Config config("Settings");
    config.MoveDown("RecentPaths");
    int i = 0;
    for (const std::string &folder : folders)
        config.SetValue(folder.c_str(), "Folder", i++);
    config.MoveUp();
    LoadPrefFileSelection(config);
}

// File names compare as the library compares them: without case.
::testing::AssertionResult SameName(const String &actual, const std::string &expected) {
    CaseSensitive ignoringCase(0);
    if (actual == expected.c_str())
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "\"" << actual.c_str() << "\" is not \"" << expected << "\"";
}

bool IsSet(const char *variable) {
    const char *value = getenv(variable);
    return value != nullptr && *value != '\0';
}

// False without a screen: under wine or on a POSIX system without
// DISPLAY (or WAYLAND_DISPLAY).
bool HasDisplay() {
#if defined(_WIN32)
    return !RunningUnderWine() || IsSet("DISPLAY");
#else
    return IsSet("DISPLAY") || IsSet("WAYLAND_DISPLAY");
#endif
}

#if !defined(_WIN32)

// Takes a variable out of the environment for its scope.
class Unset {
public:
    explicit Unset(const char *name) : name(name), had(getenv(name) != nullptr) {
        if (had)
            value = getenv(name);
        unsetenv(name);
    }
    ~Unset() {
        if (had)
            setenv(name, value.c_str(), 1);
    }

private:
    const char *name;
    bool had;
    std::string value;
};

// Without a screen the dialog cannot start: a failure, told from a cancel
// by its error code, and no hook call.  (Wine without a display reports no
// error at all, so this is not asked of Windows.)  Once a dialog has come
// up the process keeps its display, so the case needs a process of its own,
// as CTest gives each test; in a run of the whole program it comes first.
TEST(FileDialogWithoutDisplay, FailsAtOnceAndChangesNoResult) {
    if (aDialogCameUp)
        GTEST_SKIP() << "a dialog of this process had a display already";
    Unset display("DISPLAY"), wayland("WAYLAND_DISPLAY");
    LoadRecentFolders({});
    seen = Seen();
    pressedButton = IDCANCEL;  // should the dialog come up after all, it ends
    FileSelectorInfo info;
    info.userHook = DrivingHook;
    info.selectedFolder = "C:\\before";
    EXPECT_EQ(UserSelectsFile(info), 0);
    EXPECT_EQ(info.error, 2u) << "CDERR_INITIALIZATION";
    EXPECT_EQ(seen.initDialog, 0);
    EXPECT_EQ(seen.initDone, 0);
    EXPECT_EQ(info.selectedFiles.GetCount(), 0);
    EXPECT_STREQ(info.selectedFolder.c_str(), "C:\\before");
    EXPECT_EQ(info.selectedFilterIndex, -1);
    EXPECT_TRUE(info.instance != nullptr) << "the program's module is filled in";
    EXPECT_TRUE(info.iconInstance == info.instance);
    EXPECT_TRUE(StoredRecentFolders().empty()) << "nothing recorded";
}

// A display that cannot be opened is no display either: the same failure.
TEST(FileDialogWithoutDisplay, ADisplayThatCannotBeOpenedFailsTheSameWay) {
    if (aDialogCameUp)
        GTEST_SKIP() << "a dialog of this process had a display already";
    Unset display("DISPLAY"), wayland("WAYLAND_DISPLAY");
    setenv("DISPLAY", ":65000", 1);  // no server listens there
    seen = Seen();
    pressedButton = IDCANCEL;
    FileSelectorInfo info;
    info.userHook = DrivingHook;
    EXPECT_EQ(UserSelectsFile(info), 0);
    EXPECT_EQ(info.error, 2u) << "CDERR_INITIALIZATION";
    EXPECT_EQ(seen.initDialog, 0);
}

#endif

// The driven tests: each skips without a display and has a folder of its
// own for the files the dialog shows.
class FileDialog : public TempFolderTest {
protected:
    void SetUp() override {
        TempFolderTest::SetUp();
        if (!HasDisplay())
            GTEST_SKIP() << "no display for the dialog (run under xvfb-run)";
        seen = Seen();
    }

    // The folder `leaf` of the test's folder, holding the empty files
    // `names`; its name as the library gives it.
    std::string Folder(const char *leaf, std::initializer_list<const char *> names) {
        const fs::path path = folder / leaf;
        fs::create_directories(path);
        for (const char *name : names)
            WriteFile(path / name, 0);
        return WindowsName(path);
    }

    // Runs one dialog whose hook types `name` and presses `button`.
    static int Drive(FileSelectorInfo &info, const std::string &name, int button) {
        seen = Seen();
        typedName = name;
        pressedButton = button;
        info.userHook = DrivingHook;
        return UserSelectsFile(info);
    }
};

TEST_F(FileDialog, ASingleFileWithItsFolderAndFileType) {
    const std::string files = Folder("files", {"one.txt", "two.dat"});
    FileSelectorInfo info;
    info.initialFolder = files.c_str();
    info.filter = "Data|*.dat|Text|*.txt|All|*.*";  // no final bar
    info.filterIndex = 1;
    info.fileMustExist = 1;
    EXPECT_NE(Drive(info, "one.txt", IDOK), 0) << info.error;
    EXPECT_EQ(seen.initDialog, 1);
    EXPECT_EQ(seen.initDone, 1);
    EXPECT_EQ(seen.destroy, 1);
    ASSERT_EQ(info.selectedFiles.GetCount(), 1);
    EXPECT_TRUE(SameName(*info.selectedFiles.GetFirst(), files + "\\one.txt"));
    EXPECT_TRUE(SameName(info.selectedFolder, files));
    EXPECT_EQ(info.selectedFilterIndex, 1);
    EXPECT_EQ(info.HasMultiSelection(), 0);
    EXPECT_EQ(info.error, 0u);
}

TEST_F(FileDialog, ThreeFilesAtOnce) {
    const std::string files = Folder("files", {"a.txt", "b.txt", "c.txt"});
    FileSelectorInfo info;
    info.initialFolder = files.c_str();
    info.allowMultiSelect = 1;
    info.filterIndex = 5;  // beyond the one type: the first
    EXPECT_NE(Drive(info, "\"a.txt\" \"b.txt\" \"c.txt\"", IDOK), 0) << info.error;
    EXPECT_EQ(seen.initDone, 1);
    ASSERT_EQ(info.selectedFiles.GetCount(), 3);
    EXPECT_EQ(info.HasMultiSelection(), 1);
    std::string names;
    for (FileName *file = info.selectedFiles.GetFirst(); file != nullptr; file = info.selectedFiles.GetNext(file))
        names += std::string(String(file->GetTitle(1)).c_str()) + " ";
    EXPECT_EQ(names, "a.txt b.txt c.txt ");
    EXPECT_TRUE(SameName(info.selectedFiles.GetFirst()->GetPath(), files));
    EXPECT_TRUE(SameName(info.selectedFolder, files));
    EXPECT_EQ(info.selectedFilterIndex, 0);
}

TEST_F(FileDialog, SaveAddsTheDefaultExtension) {
    const std::string files = Folder("files", {});
    FileSelectorInfo info;
    info.dialogType = 1;
    info.initialFolder = files.c_str();
    info.defaultExtension = "dat";
    info.filter = "Data|*.dat|";
    EXPECT_NE(Drive(info, "report", IDOK), 0) << info.error;
    EXPECT_EQ(seen.initDone, 1);
    ASSERT_EQ(info.selectedFiles.GetCount(), 1);
    EXPECT_TRUE(SameName(*info.selectedFiles.GetFirst(), files + "\\report.dat"));
}

TEST_F(FileDialog, ACancelLeavesTheResultsAndNoError) {
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

// The record's own calls, as an application makes them without the
// selector: the hook types a name and presses OK, and refuses the first
// `refusals` CDN_FILEOKs, pressing OK again each time.
struct RecordHook {
    std::string name;
    int refusals = 0;
    int fileOk = 0;
};
RecordHook recordHook;

UINT_PTR CALLBACK RecordDrivingHook(HWND dialog, UINT message, WPARAM, LPARAM lParam) {
    HWND frame = GetParent(dialog);
    const UINT code = Note(message, lParam);
    if (code == CDN_INITDONE) {
        SetDlgItemTextA(frame, edt1, recordHook.name.c_str());
        PostMessageA(frame, WM_COMMAND, IDOK, 0);
    } else if (code == CDN_FILEOK && ++recordHook.fileOk <= recordHook.refusals) {
        SetWindowLongPtrA(dialog, DWLP_MSGRESULT, 1);
        PostMessageA(frame, WM_COMMAND, IDOK, 0);
        return 1;
    }
    return 0;
}

// GetOpenFileNameA on a buffer of `size` bytes, starting in `folder`.
BOOL OpenWithRecord(const std::string &folder, char *buffer, DWORD size) {
    OPENFILENAMEA record = {};
    // The record up to lpTemplateName, whose dialog has the name box edt1
    // (the full record gets a combo box in its place on Windows).
    record.lStructSize = offsetof(OPENFILENAMEA, lpTemplateName) + sizeof(LPCSTR);
    record.lpstrFile = buffer;
    record.nMaxFile = size;
    record.lpstrInitialDir = folder.c_str();
    record.lpstrFilter = "All\0*.*\0";
    record.nFilterIndex = 1;
    record.Flags = OFN_EXPLORER | OFN_ENABLEHOOK | OFN_FILEMUSTEXIST | OFN_HIDEREADONLY;
    record.lpfnHook = RecordDrivingHook;
    seen = Seen();
    return GetOpenFileNameA(&record);
}

TEST_F(FileDialog, ANameLongerThanTheBufferGivesTheSizeNeeded) {
    const std::string files = Folder("files", {"a-rather-long-name.txt"});
    recordHook = RecordHook{"a-rather-long-name.txt"};
    char buffer[16] = {};
    EXPECT_FALSE(OpenWithRecord(files, buffer, sizeof buffer));
    EXPECT_EQ(seen.initDone, 1);
    EXPECT_EQ(CommDlgExtendedError(), static_cast<DWORD>(FNERR_BUFFERTOOSMALL));
    uint16_t needed = 0;
    memcpy(&needed, buffer, sizeof needed);
    EXPECT_GE(needed, files.size() + 1 + recordHook.name.size()) << "the folder, a backslash and the name";
}

TEST_F(FileDialog, AHookThatRefusesTheOkKeepsTheDialogOpen) {
    const std::string files = Folder("files", {"one.txt"});
    recordHook = RecordHook{"one.txt", 1};
    char buffer[MAX_PATH] = {};
    EXPECT_TRUE(OpenWithRecord(files, buffer, sizeof buffer)) << CommDlgExtendedError();
    EXPECT_EQ(seen.initDone, 1);
    EXPECT_EQ(recordHook.fileOk, 2) << "refused once, then taken";
    EXPECT_TRUE(SameName(buffer, files + "\\one.txt"));
}

// The read-only box comes back as the caller set it, when the user leaves
// it alone.
TEST_F(FileDialog, TheReadOnlyBoxComesBackAsSet) {
    const std::string files = Folder("files", {"one.txt"});
    for (int readOnly : {1, 0}) {
        FileSelectorInfo info;
        info.initialFolder = files.c_str();
        info.showReadOnly = 1;
        info.readOnly = readOnly;
        info.selectedReadOnly = !readOnly;
        ASSERT_NE(Drive(info, "one.txt", IDOK), 0) << info.error;
        EXPECT_EQ(seen.initDone, 1);
        EXPECT_EQ(info.selectedReadOnly, readOnly);
    }
}

// The folders the dialogs end in head the recent list, newest first, each
// once; a folder stored in other case is the same folder.
TEST_F(FileDialog, RecentFoldersNewestFirstOnceWithoutCase) {
    const std::string first = Folder("r1", {"x.txt"}), second = Folder("r2", {"x.txt"});
    std::string upper = second;
    for (char &c : upper)
        c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    LoadRecentFolders({upper});
    for (const std::string &folder : {first, second, first}) {
        FileSelectorInfo info;
        info.initialFolder = folder.c_str();
        ASSERT_NE(Drive(info, "x.txt", IDOK), 0) << info.error;
        ASSERT_EQ(seen.initDone, 1);
    }
    const std::vector<std::string> stored = StoredRecentFolders();
    ASSERT_EQ(stored.size(), 2u);
    EXPECT_TRUE(SameName(stored[0].c_str(), first));
    EXPECT_TRUE(SameName(stored[1].c_str(), second));
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
    const UINT code = Note(message, lParam);
    HWND frame = GetParent(dialog);
    if (code == CDN_INITDONE) {
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
        if (SameName(folder, jump.target)) {
            jump.pressed = 1;  // the name comes back by the dialog's own command, queued before this
            PostMessageA(frame, WM_COMMAND, IDOK, 0);
        }
    }
    return 0;
}

TEST_F(FileDialog, TheTemplateShowsRecentFoldersAndJumpsToOne) {
    const std::string start = Folder("j1", {"x.txt"});
    jump = Jump();
    jump.target = Folder("j2", {"x.txt"});
    LoadRecentFolders({start, jump.target});
    FileSelectorInfo info;
    info.templateId = 300;
    info.initialFolder = start.c_str();
    info.userHook = JumpingHook;
    EXPECT_NE(UserSelectsFile(info), 0) << info.error;
    EXPECT_EQ(seen.initDone, 1);
    EXPECT_EQ(jump.comboCount, 2);
    EXPECT_TRUE(SameName(jump.folderText.c_str(), start)) << "the start folder shows";
    ASSERT_EQ(info.selectedFiles.GetCount(), 1);
    EXPECT_TRUE(SameName(*info.selectedFiles.GetFirst(), jump.target + "\\x.txt"));
    const std::vector<std::string> stored = StoredRecentFolders();
    ASSERT_EQ(stored.size(), 2u);
    EXPECT_TRUE(SameName(stored[0].c_str(), jump.target)) << "the folder jumped to heads the list";
}

// The expand button pressed twice, once the dialog shows: the frame grows
// to 60 pixels short of the screen, then comes back to its size, centered;
// the OK button carries the caller's text.  On Windows the file list takes
// the remembered view style; a GTK chooser has no list view to take it, and
// the style is only kept in the settings.
struct Expand {
    RECT base = {}, expanded = {}, back = {};
    std::string okText;
    LONG_PTR listStyle = -1;
};
Expand expand;
const UINT kMeasure = WM_APP + 1;

unsigned int ExpandingHook(FileSelectorInfo *, HWND dialog, unsigned int message, WPARAM, LPARAM lParam) {
    HWND frame = GetParent(dialog);
    if (Note(message, lParam) == CDN_INITDONE) {
        PostMessageA(dialog, kMeasure, 0, 0);  // after the first showing
    } else if (message == kMeasure) {
        char text[64] = {};
        GetDlgItemTextA(frame, IDOK, text, sizeof text);
        expand.okText = text;
        HWND list = GetWindow(GetDlgItem(frame, lst2), GW_CHILD);
        if (list != nullptr)
            expand.listStyle = GetWindowLongPtrA(list, GWL_STYLE);
        GetWindowRect(frame, &expand.base);
        SendMessageA(dialog, WM_COMMAND, MAKEWPARAM(500, BN_CLICKED), 0);
        GetWindowRect(frame, &expand.expanded);
        SendMessageA(dialog, WM_COMMAND, MAKEWPARAM(500, BN_CLICKED), 0);
        GetWindowRect(frame, &expand.back);
        PostMessageA(frame, WM_COMMAND, IDCANCEL, 0);
    }
    return 0;
}

TEST_F(FileDialog, ExpandTwiceAndTheOkText) {
    SetFileSelectionSettings(0, kReportView);
    expand = Expand();
    FileSelectorInfo info;
    info.templateId = 300;
    info.okText = "Take";
    info.userHook = ExpandingHook;
    EXPECT_EQ(UserSelectsFile(info), 0);
    EXPECT_EQ(seen.initDone, 1);
    EXPECT_EQ(expand.okText, "Take");
    const int screenWidth = GetSystemMetrics(SM_CXSCREEN), screenHeight = GetSystemMetrics(SM_CYSCREEN);
    EXPECT_GT(screenWidth, 0);
    EXPECT_EQ(expand.expanded.right - expand.expanded.left, screenWidth - 60);
    EXPECT_EQ(expand.expanded.bottom - expand.expanded.top, screenHeight - 60);
    EXPECT_EQ(expand.expanded.left, 30);
    const int width = expand.base.right - expand.base.left, height = expand.base.bottom - expand.base.top;
    EXPECT_GT(width, 0);
    EXPECT_LT(width, screenWidth - 60);
    EXPECT_EQ(expand.back.right - expand.back.left, width);
    EXPECT_EQ(expand.back.bottom - expand.back.top, height);
    EXPECT_EQ(expand.back.left, (screenWidth - width) / 2) << "centered";
    int expanded = -1;
    int32_t style = 0;
    GetFileSelectionSettings(&expanded, &style);
    EXPECT_EQ(expanded, 0) << "pressed twice";
    EXPECT_EQ(style, kReportView);
#if defined(_WIN32)
    EXPECT_EQ(expand.listStyle & 3, kReportView) << "the remembered view style";
#else
    EXPECT_EQ(expand.listStyle, -1) << "no list view";
#endif
    SetFileSelectionSettings(0, -1);
}

// The file the user selects, followed while the dialog runs: on
// CDN_SELCHANGE the library has put the one existing file selected into
// currentFile, or nothing, before the caller's hook sees the notification.
// The dialog offers "one.txt", the second of two files; once that file
// shows in currentFile, the hook presses OK.
std::vector<std::string> currentFiles;
bool accepted = false;

// Selects the offered file in the file list, as a user's click would.  A
// GTK chooser selects the offered file itself; on Windows the hook types
// the name's first letter into the list view, which selects the first
// item that begins with it.
void SelectTheOfferedFile(HWND frame) {
#if defined(_WIN32)
    PostMessageA(GetWindow(GetDlgItem(frame, lst2), GW_CHILD), WM_CHAR, 'o', 0);
#else
    (void)frame;
#endif
}

unsigned int SelectingHook(FileSelectorInfo *info, HWND dialog, unsigned int message, WPARAM, LPARAM lParam) {
    HWND frame = GetParent(dialog);
    const UINT code = Note(message, lParam);
    if (code == CDN_INITDONE) {
        SelectTheOfferedFile(frame);
    } else if (code == CDN_SELCHANGE) {
        currentFiles.push_back(info->currentFile.c_str());
        if (!accepted && String(info->currentFile.GetTitle(1)) == "one.txt") {
            accepted = true;
            PostMessageA(frame, WM_COMMAND, IDOK, 0);
        }
    }
    return 0;
}

TEST_F(FileDialog, TheSelectedFileIsFollowed) {
    const std::string files = Folder("files", {"another.txt", "one.txt"});
    currentFiles.clear();
    accepted = false;
    FileSelectorInfo info;
    info.initialFile = (files + "\\one.txt").c_str();
    info.currentFile = "C:\\stale.txt";
    info.userHook = SelectingHook;
    EXPECT_NE(UserSelectsFile(info), 0) << info.error;
    EXPECT_EQ(seen.initDone, 1);
    ASSERT_GE(seen.selChange, 1);
    // Windows reports the selection cleared before a new one.
    for (const std::string &current : currentFiles)
        EXPECT_TRUE(current.empty() || SameName(current.c_str(), files + "\\another.txt") ||
                    SameName(current.c_str(), files + "\\one.txt"))
            << current;
    EXPECT_TRUE(SameName(currentFiles.back().c_str(), files + "\\one.txt"));
    ASSERT_EQ(info.selectedFiles.GetCount(), 1);
    EXPECT_TRUE(SameName(*info.selectedFiles.GetFirst(), files + "\\one.txt"));
}

// Shows the dialog of `info` under `title`, starting in `files`, with a
// hook that only counts; returns once something outside has closed it.
int ShowUntilClosed(const std::string &title, const std::string &files, FileSelectorInfo &info) {
    info.title = title.c_str();
    info.initialFolder = files.c_str();
    info.userHook = [](FileSelectorInfo *, HWND, unsigned int message, WPARAM, LPARAM lParam) {
        Note(message, lParam);
        return 0u;
    };
    return UserSelectsFile(info);
}

// Not a check but the pictures of the README: with CVZ_DIALOG_PICTURE set
// to a title (screenshots.sh does so) the dialog with the template, a few
// files and recent folders stays up under that title until a key closes
// it.
TEST_F(FileDialog, StaysUpForAPicture) {
    const char *title = getenv("CVZ_DIALOG_PICTURE");
    if (title == nullptr)
        GTEST_SKIP() << "for screenshots.sh";
    const std::string files = Folder("Letters", {"draft.txt", "invoice.dat", "notes.txt", "summary.txt"});
    Folder("Letters/Archive", {});
    LoadRecentFolders({files, Folder("Pictures", {})});
    FileSelectorInfo info;
    info.templateId = 300;
    info.filter = "Text|*.txt|All files|*.*";
    info.filterIndex = 1;
    EXPECT_EQ(ShowUntilClosed(title, files, info), 0);
    EXPECT_EQ(seen.initDone, 1);
}

#if !defined(_WIN32)

// An exception from the hook ends the dialog, which still says WM_DESTROY,
// and reaches UserSelectsFile, which returns 0; the next dialog comes up
// as usual.  (On Windows it would have to cross the system's dialog code.)
TEST_F(FileDialog, AnExceptionFromTheHookEndsTheDialog) {
    FileSelectorInfo info;
    info.userHook = [](FileSelectorInfo *, HWND, unsigned int message, WPARAM, LPARAM lParam) -> unsigned int {
        if (Note(message, lParam) == CDN_INITDONE)
            throw std::runtime_error("from the hook");
        return 0;
    };
    EXPECT_EQ(UserSelectsFile(info), 0);
    EXPECT_EQ(seen.initDone, 1);
    EXPECT_EQ(seen.destroy, 1);
    EXPECT_EQ(info.selectedFiles.GetCount(), 0);
    FileSelectorInfo next;
    EXPECT_EQ(Drive(next, "", IDCANCEL), 0);
    EXPECT_EQ(seen.initDone, 1);
    EXPECT_EQ(seen.destroy, 1);
    EXPECT_EQ(next.error, 0u);
}

// The keyboard into the real window: xdotool finds the dialog by its
// title, types a name and presses Enter, as a user does, a moment after
// the last letter (GTK's name entry drops an Enter that comes while it is
// still looking at the folder the name is in); the hook does nothing.  Should the keys go astray, Escape follows after a while, so
// that a fault fails the test rather than hanging it.
TEST_F(FileDialog, ANameTypedOnTheKeyboardIsTheChoice) {
    if (system("command -v xdotool >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "xdotool is not installed";
    const std::string files = Folder("files", {});
    const std::string title = "Save the typed file " + std::to_string(getpid());
    const std::string find = "xdotool search --sync --name '^" + title + "$'";
    const std::string keys = "(timeout 30 " + find + " windowfocus --sync type --delay 20 --args 1 typed.txt" +
                             " sleep 0.5 key Return; sleep 10; timeout 5 " + find + " windowfocus key Escape)" +
                             " >/dev/null 2>&1 &";
    ASSERT_EQ(system(keys.c_str()), 0);
    FileSelectorInfo info;
    info.dialogType = 1;
    EXPECT_NE(ShowUntilClosed(title, files, info), 0) << info.error;
    EXPECT_EQ(seen.initDone, 1);
    ASSERT_EQ(info.selectedFiles.GetCount(), 1);
    EXPECT_TRUE(SameName(*info.selectedFiles.GetFirst(), files + "\\typed.txt"));
}

#endif

}  // namespace
