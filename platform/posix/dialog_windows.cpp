// The windows of a running file dialog, and the window calls on them.
//
// While the file chooser runs (file_chooser.cpp) it has the windows an
// Explorer-style dialog has, each a handle of the layer's window registry
// (messages.cpp), so that PostMessageA reaches them:
//
//   the frame (#32770)        the chooser's own window; GetParent of the
//                             hook's dialog.
//   the hook's dialog         the child dialog whose procedure is the hook.
//   edt1 (0x480, Edit)        the name: in a save dialog the chooser's name
//                             entry itself; in an open dialog a text that
//                             a selection in the chooser fills, as the
//                             name box of Windows is filled.
//   lst2 (0x461)              the file list.
//   IDOK, IDCANCEL (Button)   the accept and cancel buttons.
//   with OFN_ENABLETEMPLATE   in the chooser's extra area: stc32 (0x45f),
//                             the expand button 500, the combo box of
//                             recent folders 501 and the folder text 502,
//                             the controls a selector template carries.
//                             There are no resources here to read a
//                             template from, so these are the controls.
//   without a template        501 is a combo box without a widget whose
//                             items become the chooser's shortcut folders.
//
// A window procedure belongs to each, which SetWindowLongPtrA(GWLP_WNDPROC)
// replaces and CallWindowProcA reaches, so a subclass sees what the layer
// sends: the hook gets WM_INITDIALOG with the record, then CDN_INITDONE,
// then the frame WM_SHOWWINDOW, then the hook CDN_FOLDERCHANGE for the
// start folder (and CDN_SELCHANGE if the chooser has already selected the
// file offered in lpstrFile), and later CDN_FOLDERCHANGE and CDN_SELCHANGE
// as the user moves, WM_COMMAND for the template's controls (BN_CLICKED,
// CBN_SELCHANGE), CDN_FILEOK before the dialog accepts (DWLP_MSGRESULT
// not 0 refuses), and WM_DESTROY, first the hook's dialog, then the frame.
// The frame's own procedure accepts on WM_COMMAND IDOK and on Enter
// (WM_KEYDOWN VK_RETURN), cancels on IDCANCEL, Escape and WM_CLOSE,
// answers CDM_GETSPEC, CDM_GETFILEPATH, CDM_GETFOLDERPATH,
// CDM_SETCONTROLTEXT and CDM_HIDECONTROL, and takes WM_SETICON.  Accepting
// follows the name box as Windows does: a name of a folder opens it, quoted
// names are a multiple selection, the default extension is added to a name
// without one, OFN_PATHMUSTEXIST, OFN_FILEMUSTEXIST and OFN_OVERWRITEPROMPT
// ask MessageBoxA with the texts of Windows; an empty name box takes the
// chooser's selection.  Posted messages are taken out of the thread's queue
// in their order every 10 ms while the dialog runs; the application's own
// messages stay in the queue.
//
// What differs, because GTK has no such thing:
//
// - The list view under lst2 does not exist: GetWindow(lst2, GW_CHILD) is
//   null, so list-view styles have nothing to act on, and the message hook
//   of SetWindowsHookExA, which succeeds, never sees a window made.
// - Children do not move: SetWindowPos on a child succeeds and the chooser
//   keeps its own layout; GetWindowRect of a child gives its widget's
//   place, or the frame's rectangle for one without a widget.  The frame's
//   rectangle is the one last set by SetWindowPos or by the window system,
//   so that what a hook sets it reads back at once.
// - An icon is a bitmap of CreateBitmap (LoadIconA finds no resources
//   here): WM_SETICON and BM_SETIMAGE show 32-, 24- and 1-bit bitmaps.
// - The windows belong to the dialog's thread: calls from other threads
//   see no window.  The process's current folder never changes.
// - Any other handle is a window that does not exist: 0 or null with
//   ERROR_INVALID_WINDOW_HANDLE (1400).  GetSystemMetrics gives the screen
//   size while GTK has a display, else 0.
#include "platform/posix/dialog_windows.h"

#include <algorithm>
#include <set>
#include <unordered_map>

using namespace cvz::posix;

namespace {

// What every window call answers for a window that does not exist.
template <typename T>
T NoWindow(T result) {
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return result;
}

// The windows of the dialogs running on this thread.
thread_local std::unordered_map<HWND, DialogWindow *> dialogWindows;
thread_local std::set<uintptr_t> messageHooks;
thread_local uintptr_t nextMessageHook = 0x1000;

}  // namespace

namespace cvz::posix {

DialogWindow *FindDialogWindow(HWND window) {
    auto it = dialogWindows.find(window);
    return it != dialogWindows.end() ? it->second : nullptr;
}

void RegisterDialogWindow(DialogWindow *window) {
    dialogWindows[window->handle] = window;
}

void ForgetDialogWindow(HWND window) {
    dialogWindows.erase(window);
}

const char *ClassOf(Kind kind) {
    static const char *const kClasses[] = {"#32770", "#32770", "Edit", "SHELLDLL_DefView",
                                           "Button", "Button", "ComboBox", "Static"};
    return kClasses[static_cast<int>(kind)];
}

// Copies `text` into a buffer of `size` bytes, cut and zero-ended; returns
// the characters copied.
LRESULT CopyOut(const std::string &text, WPARAM size, LPARAM buffer) {
    char *out = reinterpret_cast<char *>(buffer);
    if (out == nullptr || size == 0)
        return 0;
    const size_t count = std::min(text.size(), static_cast<size_t>(size) - 1);
    text.copy(out, count);
    out[count] = '\0';
    return static_cast<LRESULT>(count);
}

}  // namespace cvz::posix

HWND GetParent(HWND window) {
    DialogWindow *w = FindDialogWindow(window);
    if (w == nullptr)
        return NoWindow<HWND>(nullptr);
    return w->parent != nullptr ? w->parent->handle : w->dialog->record->hwndOwner;
}

HWND GetDlgItem(HWND dialog, int id) {
    DialogWindow *parent = FindDialogWindow(dialog);
    if (parent == nullptr)
        return NoWindow<HWND>(nullptr);
    for (auto &w : parent->dialog->windows)
        if (w->parent == parent && w->id == id && w->kind != Kind::HookDialog)
            return w->handle;
    SetLastError(ERROR_CONTROL_ID_NOT_FOUND);
    return nullptr;
}

LRESULT SendMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    DialogWindow *w = FindDialogWindow(window);
    return w != nullptr ? SendToWindow(w, message, wParam, lParam) : NoWindow<LRESULT>(0);
}

BOOL SetWindowTextA(HWND window, LPCSTR text) {
    DialogWindow *w = FindDialogWindow(window);
    return w != nullptr ? static_cast<BOOL>(SendToWindow(w, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(text)))
                        : NoWindow<BOOL>(FALSE);
}

BOOL SetDlgItemTextA(HWND dialog, int id, LPCSTR text) {
    HWND item = GetDlgItem(dialog, id);
    return item != nullptr && SetWindowTextA(item, text);
}

UINT GetDlgItemTextA(HWND dialog, int id, char *buffer, int bufferMax) {
    if (buffer != nullptr && bufferMax > 0)
        buffer[0] = '\0';  // Windows empties the buffer of a failed read
    HWND item = GetDlgItem(dialog, id);
    if (item == nullptr || buffer == nullptr || bufferMax <= 0)
        return 0;
    return static_cast<UINT>(SendMessageA(item, WM_GETTEXT, static_cast<WPARAM>(bufferMax), reinterpret_cast<LPARAM>(buffer)));
}

void *GetPropA(HWND window, LPCSTR name) {
    DialogWindow *w = FindDialogWindow(window);
    if (w == nullptr)
        return NoWindow<void *>(nullptr);
    auto it = name != nullptr ? w->properties.find(name) : w->properties.end();
    return it != w->properties.end() ? it->second : nullptr;
}

BOOL SetPropA(HWND window, LPCSTR name, void *data) {
    DialogWindow *w = FindDialogWindow(window);
    if (w == nullptr)
        return NoWindow<BOOL>(FALSE);
    if (name == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    w->properties[name] = data;
    return TRUE;
}

void *RemovePropA(HWND window, LPCSTR name) {
    DialogWindow *w = FindDialogWindow(window);
    if (w == nullptr)
        return NoWindow<void *>(nullptr);
    auto it = name != nullptr ? w->properties.find(name) : w->properties.end();
    if (it == w->properties.end())
        return nullptr;
    void *data = it->second;
    w->properties.erase(it);
    return data;
}

LONG_PTR GetWindowLongPtrA(HWND window, int index) {
    DialogWindow *w = FindDialogWindow(window);
    if (w == nullptr)
        return NoWindow<LONG_PTR>(0);
    switch (index) {
    case GWLP_WNDPROC:
        return reinterpret_cast<LONG_PTR>(w->proc);
    case GWL_STYLE:
        return w->style;
    case GWL_ID:
        return w->id;
    case GWLP_USERDATA:
        return w->userData;
    case DWLP_MSGRESULT:
        return w->messageResult;
    default:
        SetLastError(ERROR_INVALID_INDEX);
        return 0;
    }
}

LONG_PTR SetWindowLongPtrA(HWND window, int index, LONG_PTR value) {
    DialogWindow *w = FindDialogWindow(window);
    if (w == nullptr)
        return NoWindow<LONG_PTR>(0);
    const LONG_PTR old = GetWindowLongPtrA(window, index);
    switch (index) {
    case GWLP_WNDPROC:
        w->proc = reinterpret_cast<WNDPROC>(value);
        break;
    case GWL_STYLE:
        w->style = value;
        break;
    case GWL_ID:
        w->id = static_cast<int>(value);
        break;
    case GWLP_USERDATA:
        w->userData = value;
        break;
    case DWLP_MSGRESULT:
        w->messageResult = value;
        break;
    default:
        break;
    }
    return old;
}

LRESULT CallWindowProcA(WNDPROC proc, HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return proc != nullptr ? proc(window, message, wParam, lParam) : 0;
}

BOOL GetWindowRect(HWND window, RECT *rect) {
    DialogWindow *w = FindDialogWindow(window);
    if (w == nullptr || rect == nullptr)
        return NoWindow<BOOL>(FALSE);
    const Dialog &d = *w->dialog;
    *rect = d.rect;
    if (w->kind != Kind::Frame && w->widget != nullptr && d.gtk.widget_get_realized(w->widget)) {
        GtkAllocation area;
        d.gtk.widget_get_allocation(w->widget, &area);
        int x = 0, y = 0;
        d.gtk.widget_translate_coordinates(w->widget, d.chooser, 0, 0, &x, &y);
        *rect = {d.rect.left + x, d.rect.top + y, d.rect.left + x + area.width, d.rect.top + y + area.height};
    }
    return TRUE;
}

BOOL SetWindowPos(HWND window, HWND, int x, int y, int cx, int cy, UINT flags) {
    DialogWindow *w = FindDialogWindow(window);
    if (w == nullptr)
        return NoWindow<BOOL>(FALSE);
    if (w->kind != Kind::Frame)
        return TRUE;  // the chooser lays out its own children
    Dialog &d = *w->dialog;
    const int width = (flags & SWP_NOSIZE) ? d.rect.right - d.rect.left : cx;
    const int height = (flags & SWP_NOSIZE) ? d.rect.bottom - d.rect.top : cy;
    if (!(flags & SWP_NOMOVE)) {
        d.rect.left = x;
        d.rect.top = y;
        d.gtk.window_move(As<GtkWindow>(d.chooser), x, y);
    }
    if (!(flags & SWP_NOSIZE) && width > 0 && height > 0)
        d.gtk.window_resize(As<GtkWindow>(d.chooser), width, height);
    d.rect.right = d.rect.left + width;
    d.rect.bottom = d.rect.top + height;
    return TRUE;
}

BOOL ScreenToClient(HWND window, POINT *point) {
    RECT rect;
    if (point == nullptr || !GetWindowRect(window, &rect))
        return FALSE;
    point->x -= rect.left;
    point->y -= rect.top;
    return TRUE;
}

BOOL InvalidateRect(HWND window, const RECT *, BOOL) {
    DialogWindow *w = FindDialogWindow(window);
    if (w == nullptr)
        return NoWindow<BOOL>(FALSE);
    if (w->widget != nullptr)
        w->dialog->gtk.widget_queue_draw(w->widget);
    return TRUE;
}

BOOL OffsetRect(RECT *rect, int dx, int dy) {
    if (rect == nullptr)
        return FALSE;
    rect->left += dx;
    rect->right += dx;
    rect->top += dy;
    rect->bottom += dy;
    return TRUE;
}

// Every descendant of `parent`, parents before their children, as Windows
// enumerates them; the list is taken first, so the callback may change the
// windows.
BOOL EnumChildWindows(HWND parent, WNDENUMPROC proc, LPARAM context) {
    DialogWindow *root = FindDialogWindow(parent);
    if (root == nullptr || proc == nullptr)
        return NoWindow<BOOL>(FALSE);
    std::vector<HWND> found;
    std::vector<DialogWindow *> pending = {root};
    while (!pending.empty()) {
        DialogWindow *at = pending.back();
        pending.pop_back();
        for (auto it = root->dialog->windows.rbegin(); it != root->dialog->windows.rend(); ++it)
            if ((*it)->parent == at)
                pending.push_back(it->get());
        if (at != root)
            found.push_back(at->handle);
    }
    for (HWND child : found)
        if (FindDialogWindow(child) != nullptr && !proc(child, context))
            break;
    return TRUE;
}

HWND GetWindow(HWND window, UINT relation) {
    DialogWindow *w = FindDialogWindow(window);
    if (w == nullptr)
        return NoWindow<HWND>(nullptr);
    const auto &windows = w->dialog->windows;
    if (relation == GW_CHILD) {
        for (auto &child : windows)
            if (child->parent == w)
                return child->handle;
    } else if (relation == GW_HWNDNEXT) {
        bool passed = false;
        for (auto &sibling : windows) {
            if (passed && sibling->parent == w->parent)
                return sibling->handle;
            passed = passed || sibling.get() == w;
        }
    }
    return nullptr;
}

int GetDlgCtrlID(HWND window) {
    DialogWindow *w = FindDialogWindow(window);
    return w != nullptr ? w->id : NoWindow<int>(0);
}

int GetClassNameA(HWND window, LPSTR buffer, int bufferMax) {
    DialogWindow *w = FindDialogWindow(window);
    if (buffer != nullptr && bufferMax > 0)
        buffer[0] = '\0';
    if (w == nullptr)
        return NoWindow<int>(0);
    return static_cast<int>(CopyOut(ClassOf(w->kind), static_cast<WPARAM>(std::max(bufferMax, 0)), reinterpret_cast<LPARAM>(buffer)));
}

int GetSystemMetrics(int index) {
    return index == SM_CXSCREEN ? ScreenWidth() : index == SM_CYSCREEN ? ScreenHeight() : 0;
}

// The screen's device context, the one there is: a dialog's window or
// null (the screen) gets it while a display is open.
HDC GetDC(HWND window) {
    if (window != nullptr && FindDialogWindow(window) == nullptr)
        return NoWindow<HDC>(nullptr);
    return ScreenWidth() > 0 ? reinterpret_cast<HDC>(static_cast<uintptr_t>(1)) : nullptr;
}

int ReleaseDC(HWND, HDC dc) {
    return dc != nullptr ? 1 : 0;
}

int GetDeviceCaps(HDC dc, int index) {
    if (dc == nullptr)
        return 0;
    return index == HORZRES ? ScreenWidth() : index == VERTRES ? ScreenHeight() : 0;
}

HICON LoadIconA(HINSTANCE, LPCSTR) {
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return nullptr;
}

// A message hook is accepted and kept, and never called: the chooser makes
// no Win32 windows that it could watch.
HHOOK SetWindowsHookExA(int, HOOKPROC proc, HINSTANCE, DWORD) {
    if (proc == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const uintptr_t hook = nextMessageHook++;
    messageHooks.insert(hook);
    return reinterpret_cast<HHOOK>(hook);
}

BOOL UnhookWindowsHookEx(HHOOK hook) {
    if (messageHooks.erase(reinterpret_cast<uintptr_t>(hook)) == 0) {
        SetLastError(ERROR_INVALID_HOOK_HANDLE);
        return FALSE;
    }
    return TRUE;
}

LRESULT CallNextHookEx(HHOOK, int, WPARAM, LPARAM) {
    return 0;
}
