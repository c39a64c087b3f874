// UserSelectsFile: the platform's Explorer-style file dialog around a
// FileSelectorInfo; see file_selector.h.
//
// The dialog is the common dialog of Win32, called by its own names on
// every system.  A hook procedure follows the dialog from WM_INITDIALOG to
// WM_DESTROY: it keeps the state of one running dialog, fills the combo
// box of recent folders, shows the present folder, tracks the selected
// file for the caller's hook, jumps to a recent folder, and then hands
// every message to the caller's own hook.
//
// With a dialog template (the application's, carrying the expand button
// 500, the recent folders 501, the folder text 502 and the place of the
// standard controls 0x45f) the frame is subclassed, to size the dialog,
// set the file list's view style, the icon and the OK text when it shows;
// and a message hook on the thread subclasses each shell view the dialog
// makes, so that an expanded view keeps its size, and notes the view style
// the user picks, which the next dialog starts with.
//
// Two things differ from the plain recipe.  The previous window
// procedures are kept as properties of their windows rather than in the
// state, because the frame, the shell view and the hook dialog are
// destroyed in an order of the platform's choosing.  WM_NEXTDLGCTL goes to
// the frame, the dialog that moves the focus, not to the name box.
//
// The state is found from any message through a property of the dialog's
// frame, "ZqOFN", whose value is the OPENFILENAMEA record; while the dialog
// runs, the record's lCustData holds the state, and the caller's record
// goes back there at the end.
#include "platform/win32.h"

#include "CommonVcZq/selector/file_selector.h"

#include <stddef.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "CommonVcZq/files/file.h"
#include "CommonVcZq/text/messages.h"
#include "selector/globals.h"

namespace {

const char kPropertyName[] = "ZqOFN";

// Controls of the application's dialog template, all optional.
const int kExpandButton = 500;
const int kRecentFolders = 501;
const int kFolderText = 502;
// The dialog's own controls: the name box (edt1), the window of the file
// list (lst2), and in the template the place of the standard controls
// (stc32).
const int kNameBox = 0x480;
const int kFileList = 0x461;
const int kStandardControls = 0x45f;
// The command the dialog posts to itself to put a name back after a jump.
const int kPutNameBack = 503;

// The file name buffer: large enough for a long multiple selection.
const DWORD kFileBufferSize = 64999;
// The buffers of a folder and of a name asked of the dialog.
const int kFolderBufferSize = 259;
const int kPathBufferSize = 261;

// One running dialog, from WM_INITDIALOG to WM_DESTROY.
struct FileDialogState {
    FileSelectorInfo *info;
    String pendingName;   // the name to put back after a jump
    HWND hookDialog;      // the hook's own child dialog
    int expanded;         // present expanded state
    int32_t viewStyle;    // present view style
    int baseWidth;        // the frame's size at its first showing
    int baseHeight;
    int viewWidth;        // the size the shell view keeps; 0 before an expansion
    int viewHeight;
    int shown;            // 1 after the first WM_SHOWWINDOW
};

// The previous window procedures of the frame and of the shell view are
// kept as properties of those windows, so that each finds its own even
// while the dialog's windows are being destroyed in any order.
const char kFrameProcName[] = "ZqOFNFrame";
const char kViewProcName[] = "ZqOFNView";
const char kListViewClass[] = "SysListView32";

// The message hook of this thread, while a dialog with a template runs.
thread_local HHOOK messageHook = nullptr;

FileDialogState *StateOf(HWND frame) {
    OPENFILENAMEA *record = static_cast<OPENFILENAMEA *>(GetPropA(frame, kPropertyName));
    return record != nullptr ? reinterpret_cast<FileDialogState *>(record->lCustData) : nullptr;
}

WNDPROC PreviousProc(HWND window, const char *name) {
    return reinterpret_cast<WNDPROC>(GetPropA(window, name));
}

// Puts `proc` in as the window procedure of `window`, keeping the old one
// under `name`.
void Subclass(HWND window, const char *name, WNDPROC proc) {
    const LONG_PTR old = SetWindowLongPtrA(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(proc));
    SetPropA(window, name, reinterpret_cast<void *>(old));
}

void Unsubclass(HWND window, const char *name) {
    WNDPROC old = PreviousProc(window, name);
    if (old == nullptr)
        return;
    SetWindowLongPtrA(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(old));
    RemovePropA(window, name);
}

int Width(const RECT &r) {
    return r.right - r.left;
}

int Height(const RECT &r) {
    return r.bottom - r.top;
}

// Centers `window` over `parent`, or over the screen when it is null, and
// keeps it on the display.
void CenterDialog(HWND window, HWND parent) {
    RECT area = {0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)};
    if (parent != nullptr)
        GetWindowRect(parent, &area);
    RECT own;
    GetWindowRect(window, &own);
    int x = area.left + (Width(area) - Width(own)) / 2;
    int y = area.top + (Height(area) - Height(own)) / 2;
    HDC dc = GetDC(window);
    const int displayWidth = GetDeviceCaps(dc, HORZRES);
    const int displayHeight = GetDeviceCaps(dc, VERTRES);
    ReleaseDC(window, dc);
    if (x < 0)
        x = 0;
    else if (x + Width(own) > displayWidth)
        x = displayWidth - Width(own);
    if (y < 0)
        y = 0;
    else if (y + Height(own) > displayHeight)
        y = displayHeight - Height(own);
    SetWindowPos(window, nullptr, x, y, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
}

// What moving the children of an expansion needs.
struct Expansion {
    FileDialogState *state;
    HWND frame;
    int dx;
    int dy;
    RECT view;  // the file list's screen rectangle before the move
};

// Grows, moves or leaves one child of the frame or of the hook dialog,
// by where it stands beside the file list.
BOOL CALLBACK MoveChild(HWND child, LPARAM context) {
    Expansion &e = *reinterpret_cast<Expansion *>(context);
    HWND parent = GetParent(child);
    if (parent != e.frame && parent != e.state->hookDialog)
        return TRUE;
    const int id = GetDlgCtrlID(child);
    RECT r;
    GetWindowRect(child, &r);
    const bool isList = parent == e.frame && id == kFileList;
    if (child == e.state->hookDialog || isList || (parent == e.state->hookDialog && id == kStandardControls)) {
        r.right += e.dx;
        r.bottom += e.dy;
        if (isList) {
            e.state->viewWidth = Width(r);
            e.state->viewHeight = Height(r);
        }
    } else if (r.left > e.view.right) {
        OffsetRect(&r, e.dx, 0);
    } else if (r.top > e.view.bottom) {
        OffsetRect(&r, e.dx / 2, e.dy);
    } else if (r.bottom < e.view.top) {
        OffsetRect(&r, e.dx / 2, 0);
    } else {
        return TRUE;
    }
    // Into the coordinates of the child's own parent, which for the hook
    // dialog's controls is the hook dialog.
    POINT corner = {r.left, r.top};
    ScreenToClient(parent, &corner);
    SetWindowPos(child, nullptr, corner.x, corner.y, Width(r), Height(r), SWP_NOZORDER);
    return TRUE;
}

// Takes the frame to its expanded size, 60 pixels short of the screen each
// way, or back to its base size, centered on the screen.
void ApplyExpandedSize(FileDialogState &state, HWND frame) {
    HWND view = GetDlgItem(frame, kFileList);
    if (view == nullptr || GetDlgItem(state.hookDialog, kStandardControls) == nullptr || state.baseWidth == 0)
        return;
    const int screenWidth = GetSystemMetrics(SM_CXSCREEN);
    const int screenHeight = GetSystemMetrics(SM_CYSCREEN);
    Expansion e = {&state, frame, screenWidth - state.baseWidth - 60, screenHeight - state.baseHeight - 60, {}};
    if (!state.expanded) {
        e.dx = -e.dx;
        e.dy = -e.dy;
    }
    GetWindowRect(view, &e.view);
    EnumChildWindows(frame, MoveChild, reinterpret_cast<LPARAM>(&e));
    InvalidateRect(frame, nullptr, FALSE);
    RECT r;
    GetWindowRect(frame, &r);
    const int cx = Width(r) + e.dx;
    const int cy = Height(r) + e.dy;
    SetWindowPos(frame, nullptr, (screenWidth - cx) / 2, (screenHeight - cy) / 2, cx, cy, SWP_NOZORDER);
}

// Gives the file list the remembered view style, in its low two bits.
void ApplyViewStyle(const FileDialogState &state, HWND frame) {
    HWND list = GetWindow(GetDlgItem(frame, kFileList), GW_CHILD);
    if (list == nullptr)
        return;
    STYLESTRUCT change;
    change.styleOld = static_cast<DWORD>(GetWindowLongPtrA(list, GWL_STYLE));
    change.styleNew = (change.styleOld & ~3u) | (static_cast<DWORD>(state.viewStyle) & 3u);
    if (change.styleNew == change.styleOld)
        return;
    SetWindowLongPtrA(list, GWL_STYLE, static_cast<LONG_PTR>(change.styleNew));
    SendMessageA(list, WM_STYLECHANGING, static_cast<WPARAM>(GWL_STYLE), reinterpret_cast<LPARAM>(&change));
    SendMessageA(list, WM_STYLECHANGED, static_cast<WPARAM>(GWL_STYLE), reinterpret_cast<LPARAM>(&change));
}

// The frame, on each showing: the size, view style, icon and OK text.
LRESULT CALLBACK FileDialogFrameProc(HWND frame, UINT message, WPARAM wParam, LPARAM lParam) {
    WNDPROC previous = PreviousProc(frame, kFrameProcName);
    FileDialogState *state = StateOf(frame);
    if (message == WM_SHOWWINDOW && state != nullptr) {
        FileSelectorInfo &info = *state->info;
        if (!state->shown) {
            state->shown = 1;
            RECT r;
            GetWindowRect(frame, &r);
            state->baseWidth = Width(r);
            state->baseHeight = Height(r);
            if (state->viewStyle >= 0)
                ApplyViewStyle(*state, frame);
            if (state->expanded)
                ApplyExpandedSize(*state, frame);
        }
        if (info.iconId != 0) {
            HICON icon = LoadIconA(info.iconInstance, reinterpret_cast<LPCSTR>(static_cast<uintptr_t>(info.iconId & 0xFFFF)));
            SendMessageA(frame, WM_SETICON, 0, reinterpret_cast<LPARAM>(icon));
        }
        const String okText = !info.okText.IsEmpty() ? info.okText
                              : info.okTextId != 0   ? String(FindString(info.instance, info.okTextId))
                                                     : String();
        if (!okText.IsEmpty())
            SetDlgItemTextA(frame, IDOK, okText.c_str());
    }
    return previous != nullptr ? CallWindowProcA(previous, frame, message, wParam, lParam) : 0;
}

// The shell view keeps the expanded size that the dialog would take from it.
LRESULT CALLBACK FileDialogViewProc(HWND view, UINT message, WPARAM wParam, LPARAM lParam) {
    WNDPROC previous = PreviousProc(view, kViewProcName);
    FileDialogState *state = StateOf(GetParent(view));
    if (message == WM_SIZE && state != nullptr && state->viewWidth != 0)
        SetWindowPos(view, nullptr, 0, 0, state->viewWidth, state->viewHeight,
                     SWP_NOSENDCHANGING | SWP_NOZORDER | SWP_NOMOVE);
    if (message == WM_DESTROY)
        Unsubclass(view, kViewProcName);
    return previous != nullptr ? CallWindowProcA(previous, view, message, wParam, lParam) : 0;
}

// The state of the dialog whose file list `list` is: its grandparent is
// the frame.
FileDialogState *StateOfList(HWND list) {
    HWND view = GetParent(list);
    return view != nullptr && GetParent(view) != nullptr ? StateOf(GetParent(view)) : nullptr;
}

// Watches the thread's windows for the file lists the dialog makes, one
// for each folder: each one's shell view is subclassed, and a view style
// that the user picks becomes the dialog's.
LRESULT CALLBACK FileDialogMessageHook(int code, WPARAM wParam, LPARAM lParam) {
    if (code >= 0) {
        const CWPRETSTRUCT &m = *reinterpret_cast<const CWPRETSTRUCT *>(lParam);
        if (m.message == WM_CREATE) {
            const CREATESTRUCTA &create = *reinterpret_cast<const CREATESTRUCTA *>(m.lParam);
            const bool named = (reinterpret_cast<uintptr_t>(create.lpszClass) >> 16) != 0;  // not an atom
            if (named && lstrcmpiA(create.lpszClass, kListViewClass) == 0 && StateOfList(m.hwnd) != nullptr &&
                PreviousProc(GetParent(m.hwnd), kViewProcName) == nullptr)
                Subclass(GetParent(m.hwnd), kViewProcName, FileDialogViewProc);
        } else if (m.message == WM_STYLECHANGED && static_cast<int>(m.wParam) == GWL_STYLE) {
            char name[99];
            FileDialogState *state = StateOfList(m.hwnd);
            if (GetClassNameA(m.hwnd, name, sizeof name) > 0 && lstrcmpiA(name, kListViewClass) == 0 &&
                state != nullptr)
                state->viewStyle = static_cast<int32_t>(GetWindowLongPtrA(m.hwnd, GWL_STYLE) & 3);
        }
    }
    return CallNextHookEx(messageHook, code, wParam, lParam);
}

unsigned int LowWord(WPARAM value) {
    return static_cast<unsigned int>(value & 0xFFFF);
}

unsigned int HighWord(WPARAM value) {
    return static_cast<unsigned int>((value >> 16) & 0xFFFF);
}

// The file types as "description|mask|...|": the text of `filter`, else
// the string `filterId`, else the items of `filterList`, else all files.
String FilterText(const FileSelectorInfo &info) {
    String text;
    if (!info.filter.IsEmpty()) {
        text = info.filter;
    } else if (info.filterId != 0) {
        text = FindString(info.instance, info.filterId);
    } else if (info.filterList.GetCount() > 0) {
        for (StringItem<ListElement> *item = info.filterList.GetFirst(); item != nullptr;
             item = info.filterList.GetNext(item)) {
            if (item != info.filterList.GetFirst())
                text += '|';
            text += *item;
        }
    } else {
        text = "*.*|*.*|";
    }
    if (text.IsEmpty() || text[static_cast<int>(text.GetLength()) - 1] != '|')
        text += '|';
    return text;
}

// The 1-based type the dialog starts on: `filterIndex` + 1 when it names
// one of the pairs of `filter`, else the first.
DWORD StartFilterIndex(int filterIndex, const String &filter) {
    int bars = 0;
    for (const char *c = filter.c_str(); *c != '\0'; ++c)
        bars += *c == '|';
    return filterIndex >= 0 && filterIndex < (bars + 1) / 2 ? static_cast<DWORD>(filterIndex) + 1 : 1;
}

// Takes in the buffer the dialog filled: one full path, or a folder and
// names each ended by a zero, with a second zero at the end.  False when a
// multiple selection holds no name.
bool TakeChoice(FileSelectorInfo &info, const char *buffer, unsigned int nameOffset) {
    if (strlen(buffer) > nameOffset) {
        FileName *file = new FileName(buffer);
        info.selectedFiles.Append(file);
        info.selectedFolder = file->GetPath();
        return true;
    }
    List<StringItem<ListElement>> items(1);
    ExplodeString(items, buffer, "", 0);
    if (items.GetCount() < 2)
        return false;
    info.selectedFolder = *items.GetFirst();
    for (StringItem<ListElement> *name = items.GetNext(items.GetFirst()); name != nullptr;
         name = items.GetNext(name))
        info.selectedFiles.Append(new FileName(info.selectedFolder, *name));
    return true;
}

// Puts the folder of the choice at the head of the recent folders, once,
// and keeps at most kMaxRecentFolders of them.
void RecordRecentFolder(FileSelectorInfo &info) {
    if (_recentFolders == nullptr)
        return;
    const uint32_t length = info.selectedFolder.GetLength();
    if (length > 0 && info.selectedFolder[static_cast<int>(length) - 1] == '\\')
        info.selectedFolder.KeepLeft(length - 1);
    _recentFolders->Delete(_recentFolders->FindEqual(info.selectedFolder));
    _recentFolders->Prepend(new FileName(info.selectedFolder));
    if (_recentFolders->GetCount() > kMaxRecentFolders)
        _recentFolders->DeleteLast();
}

void ShowFolder(FileDialogState &state, HWND frame) {
    char folder[kFolderBufferSize];
    if (SendMessageA(frame, CDM_GETFOLDERPATH, sizeof folder, reinterpret_cast<LPARAM>(folder)) <= 0)
        return;
    if (GetDlgItem(state.hookDialog, kFolderText) != nullptr)
        SetDlgItemTextA(state.hookDialog, kFolderText, folder);
}

// currentFile := the one existing file selected now, else empty.
void TrackSelection(FileDialogState &state, HWND frame) {
    state.info->currentFile = "";
    char text[kPathBufferSize];
    LRESULT length = SendMessageA(frame, CDM_GETSPEC, sizeof text, reinterpret_cast<LPARAM>(text));
    if (length <= 1 || strchr(text, '"') != nullptr)
        return;  // nothing, or several files in quotes
    length = SendMessageA(frame, CDM_GETFILEPATH, sizeof text, reinterpret_cast<LPARAM>(text));
    if (length <= 1 || length >= kPathBufferSize || strchr(text, '"') != nullptr)
        return;
    if (File::Exist(FileName(text)))
        state.info->currentFile = text;
}

void OnNotify(FileDialogState &state, HWND frame, const NMHDR &header) {
    switch (header.code) {
    case CDN_INITDONE: {
        HWND combo = GetDlgItem(state.hookDialog, kRecentFolders);
        if (_recentFolders != nullptr && combo != nullptr) {
            for (FileName *folder = _recentFolders->GetFirst(); folder != nullptr;
                 folder = _recentFolders->GetNext(folder))
                SendMessageA(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(folder->c_str()));
        }
        if (state.info->center && !state.expanded)
            CenterDialog(frame, nullptr);
        ShowFolder(state, frame);
        break;
    }
    case CDN_FOLDERCHANGE:
        ShowFolder(state, frame);
        break;
    case CDN_SELCHANGE:
        TrackSelection(state, frame);
        break;
    case CDN_HELP:
        MessageBoxA(state.hookDialog, "Got the Help button notify.", "Test", MB_OK);
        break;
    default:
        break;
    }
}

// The user picked a recent folder: the folder goes into the name box, a
// posted Enter makes the dialog go there, and the command posted behind it
// puts the name that stood in the box back.
void JumpToRecentFolder(FileDialogState &state, HWND frame) {
    HWND combo = GetDlgItem(state.hookDialog, kRecentFolders);
    const LRESULT selected = SendMessageA(combo, CB_GETCURSEL, 0, 0);
    if (selected == CB_ERR)
        return;
    char folder[1024];
    const LRESULT length = SendMessageA(combo, CB_GETLBTEXTLEN, static_cast<WPARAM>(selected), 0);
    if (length <= 0 || length >= static_cast<LRESULT>(sizeof folder) - 1)
        return;
    SendMessageA(combo, CB_GETLBTEXT, static_cast<WPARAM>(selected), reinterpret_cast<LPARAM>(folder));
    if (folder[length - 1] != '\\')
        strcpy(folder + length, "\\");

    char name[260];
    GetDlgItemTextA(frame, kNameBox, name, sizeof name);
    const String pending(name);
    state.pendingName = pending.ContainsDrive() ? String(pending.GetTitle(1)) : pending;

    HWND edit = GetDlgItem(frame, kNameBox);
    SetWindowTextA(edit, folder);
    SendMessageA(frame, WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(edit), 1);
    PostMessageA(frame, WM_KEYDOWN, VK_RETURN, 0);
    PostMessageA(frame, WM_KEYUP, VK_RETURN, 0);
    PostMessageA(state.hookDialog, WM_COMMAND, kPutNameBack, 0);
}

void OnCommand(FileDialogState &state, HWND frame, WPARAM wParam) {
    switch (LowWord(wParam)) {
    case kExpandButton:
        state.expanded = !state.expanded;
        ApplyExpandedSize(state, frame);
        break;
    case kRecentFolders:
        if (HighWord(wParam) == CBN_SELCHANGE)
            JumpToRecentFolder(state, frame);
        break;
    case kPutNameBack:
        SetWindowTextA(GetDlgItem(frame, kNameBox), state.pendingName.c_str());
        break;
    default:
        break;
    }
}

// Starts the state of a dialog; `record` is the dialog's OPENFILENAMEA.
FileDialogState *BeginState(HWND dialog, HWND frame, OPENFILENAMEA *record) {
    FileSelectorInfo *info = reinterpret_cast<FileSelectorInfo *>(record->lCustData);
    FileDialogState *state = new FileDialogState{info, String(), dialog, _fileSelectorExpanded,
                                                 _fileSelectorViewStyle, 0, 0, 0, 0, 0};
    record->lCustData = reinterpret_cast<LPARAM>(state);
    SetPropA(frame, kPropertyName, record);
    if (info->templateId == 0)
        return state;
    messageHook = SetWindowsHookExA(WH_CALLWNDPROCRET, FileDialogMessageHook, nullptr, GetCurrentThreadId());
    Subclass(frame, kFrameProcName, FileDialogFrameProc);
    HWND button = GetDlgItem(dialog, kExpandButton);
    if (_fileSelectorExpandBitmap != nullptr && button != nullptr)
        SendMessageA(button, BM_SETIMAGE, IMAGE_BITMAP, reinterpret_cast<LPARAM>(_fileSelectorExpandBitmap));
    return state;
}

// Ends the state: the settings take the dialog's last expanded state and
// view style, and the record gets the caller's FileSelectorInfo back.
void EndState(HWND frame, OPENFILENAMEA *record, FileDialogState *state) {
    Unsubclass(frame, kFrameProcName);
    if (messageHook != nullptr) {
        UnhookWindowsHookEx(messageHook);
        messageHook = nullptr;
    }
    RemovePropA(frame, kPropertyName);
    _fileSelectorViewStyle = state->viewStyle;
    _fileSelectorExpanded = state->expanded;
    record->lCustData = reinterpret_cast<LPARAM>(state->info);
    delete state;
}

UINT_PTR CALLBACK FileDialogHookProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
    HWND frame = GetParent(dialog);
    OPENFILENAMEA *record;
    FileDialogState *state;
    if (message == WM_INITDIALOG) {
        record = reinterpret_cast<OPENFILENAMEA *>(lParam);
        state = BeginState(dialog, frame, record);
    } else {
        record = static_cast<OPENFILENAMEA *>(GetPropA(frame, kPropertyName));
        if (record == nullptr)
            return 0;  // before WM_INITDIALOG or after WM_DESTROY
        state = reinterpret_cast<FileDialogState *>(record->lCustData);
    }
    FileSelectorInfo *info = state->info;
    switch (message) {
    case WM_NOTIFY:
        OnNotify(*state, frame, *reinterpret_cast<const NMHDR *>(lParam));
        break;
    case WM_COMMAND:
        OnCommand(*state, frame, wParam);
        break;
    case WM_DESTROY:
        EndState(frame, record, state);
        break;
    default:
        break;
    }
    if (info->userHook == nullptr)
        return 0;
    return info->userHook(info, dialog, message, wParam, lParam);
}

int RunFileDialog(FileSelectorInfo &info) {
    if (info.instance == nullptr)
        info.instance = GetModuleHandleA(nullptr);
    if (info.iconInstance == nullptr)
        info.iconInstance = info.instance;

    const String filter = FilterText(info);
    // The platform's form: every '|' a zero, and the string's own zero
    // behind the last one makes the double zero at the end.
    std::string filterCopy(filter.c_str(), filter.GetLength());
    std::replace(filterCopy.begin(), filterCopy.end(), '|', '\0');

    char file[kFileBufferSize] = {};
    const String name(info.initialFile.GetTitle(1));
    strncpy(file, name.c_str(), sizeof file - 2);
    const String startFolder = info.initialFile.ContainsDrive() ? String(info.initialFile.GetPath())
                                                                 : String(info.initialFolder);
    const String title = info.titleId != 0 ? String(FindString(info.instance, info.titleId)) : info.title;

    OPENFILENAMEA record;
    memset(&record, 0, sizeof record);
    // The record up to lpTemplateName: the dialog without the later
    // additions, as the template and hook expect it.
    record.lStructSize = static_cast<DWORD>(offsetof(OPENFILENAMEA, lpTemplateName) + sizeof(LPCSTR));
    record.hwndOwner = info.owner;
    record.hInstance = info.instance;
    record.lpstrFilter = filterCopy.c_str();
    record.nFilterIndex = StartFilterIndex(info.filterIndex, filter);
    record.lpstrFile = file;
    record.nMaxFile = kFileBufferSize;
    record.lpstrInitialDir = startFolder.IsEmpty() ? nullptr : startFolder.c_str();
    record.lpstrTitle = title.IsEmpty() ? nullptr : title.c_str();  // null: the platform's own
    record.lpstrDefExt = info.defaultExtension.IsEmpty() ? nullptr : info.defaultExtension.c_str();
    record.lCustData = reinterpret_cast<LPARAM>(&info);
    record.lpfnHook = FileDialogHookProc;
    record.lpTemplateName = reinterpret_cast<LPCSTR>(static_cast<uintptr_t>(info.templateId & 0xFFFF));
    record.Flags = OFN_EXPLORER | OFN_ENABLEHOOK;
    const struct {
        int on;
        DWORD flag;
    } flags[] = {{info.templateId != 0, OFN_ENABLETEMPLATE}, {info.noChangeDir, OFN_NOCHANGEDIR},
                 {info.allowMultiSelect, OFN_ALLOWMULTISELECT}, {info.fileMustExist, OFN_FILEMUSTEXIST},
                 {!info.showReadOnly, OFN_HIDEREADONLY},         {info.readOnly, OFN_READONLY},
                 {info.noNetworkButton, OFN_NONETWORKBUTTON},   {info.pathMustExist, OFN_PATHMUSTEXIST},
                 {info.showHelp, OFN_SHOWHELP}};
    for (const auto &f : flags) {
        if (f.on)
            record.Flags |= f.flag;
    }

    const BOOL chosen = info.dialogType == 1 ? GetSaveFileNameA(&record) : GetOpenFileNameA(&record);
    if (!chosen) {
        info.error = CommDlgExtendedError();
        return 0;
    }
    if (!TakeChoice(info, file, record.nFileOffset))
        return 0;
    info.selectedFilterIndex = static_cast<int>(record.nFilterIndex) - 1;
    info.selectedReadOnly = (record.Flags & OFN_READONLY) != 0;
    RecordRecentFolder(info);
    return chosen;
}

}  // namespace

int UserSelectsFile(FileSelectorInfo &info) {
    try {
        return RunFileDialog(info);
    } catch (...) {
        return 0;
    }
}
