// The common file dialog and the window calls that its hook uses.
//
// On Windows GetOpenFileNameA and GetSaveFileNameA show the system's file
// dialog, call the caller's hook with the dialog's messages and fill the
// record with the choice.  This layer has no file chooser yet, so both
// fail at once, the way Windows fails a dialog it cannot set up:
//
// - The result is FALSE, the record is left as it came (no name, no
//   filter index, no flags written back), and no hook is called, not even
//   with WM_INITDIALOG, since no dialog ever existed.
// - CommDlgExtendedError then gives CDERR_INITIALIZATION (2).  A null
//   record, or one whose lStructSize is neither the full size nor the size
//   up to lpTemplateName that older programs pass, gives CDERR_STRUCTSIZE
//   (1), as on Windows.  The code belongs to the calling thread, which is
//   what Windows does too, and stays until the next dialog call.
//
// A program therefore sees what a Windows program sees on a machine whose
// dialog cannot start: a failure told apart from a cancel, whose error
// code is 0.
//
// The window calls (GetParent, GetDlgItem, SendMessageA, the text and
// property calls) exist so that a hook's source compiles and links on both
// systems; the sizing, subclassing and hook calls of win32.h so that the
// file selector's one source serves both.  With no dialog there is no window they could act on: each
// answers as Windows does for a handle that names no window, 0 or null
// with ERROR_INVALID_WINDOW_HANDLE (1400); GetSystemMetrics, with no
// screen to measure, gives 0, as Windows does for an index it lacks, and
// so does GetDeviceCaps without a device context.  SetWindowsHookExA
// gives null with ERROR_INVALID_WINDOW_HANDLE too: there are no window
// messages a hook could watch.  The message-only windows of
// messages.cpp are no exception: they have no parent, no controls, no text
// to set and no properties here.
#include "platform/win32.h"

#include <stddef.h>

namespace {

thread_local DWORD dialogError = 0;

// The two sizes a record may give: the full one, and the one that ends
// with lpTemplateName, which programs pass to get the dialog without the
// later additions.
bool KnownSize(DWORD size) {
    return size == sizeof(OPENFILENAMEA) || size == offsetof(OPENFILENAMEA, lpTemplateName) + sizeof(LPCSTR);
}

BOOL RunDialog(LPOPENFILENAMEA record) {
    dialogError = record == nullptr || !KnownSize(record->lStructSize) ? CDERR_STRUCTSIZE : CDERR_INITIALIZATION;
    return FALSE;
}

// What every window call answers for a window that does not exist.
template <typename T>
T NoWindow(T result) {
    SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return result;
}

}  // namespace

BOOL GetOpenFileNameA(LPOPENFILENAMEA record) {
    return RunDialog(record);
}

BOOL GetSaveFileNameA(LPOPENFILENAMEA record) {
    return RunDialog(record);
}

DWORD CommDlgExtendedError(void) {
    return dialogError;
}

HWND GetParent(HWND) {
    return NoWindow<HWND>(nullptr);
}

HWND GetDlgItem(HWND, int) {
    return NoWindow<HWND>(nullptr);
}

LRESULT SendMessageA(HWND, UINT, WPARAM, LPARAM) {
    return NoWindow<LRESULT>(0);
}

BOOL SetDlgItemTextA(HWND, int, LPCSTR) {
    return NoWindow<BOOL>(FALSE);
}

UINT GetDlgItemTextA(HWND, int, char *buffer, int bufferMax) {
    if (buffer != nullptr && bufferMax > 0)
        buffer[0] = '\0';  // Windows empties the buffer of a failed read
    return NoWindow<UINT>(0);
}

BOOL SetWindowTextA(HWND, LPCSTR) {
    return NoWindow<BOOL>(FALSE);
}

void *GetPropA(HWND, LPCSTR) {
    return NoWindow<void *>(nullptr);
}

BOOL SetPropA(HWND, LPCSTR, void *) {
    return NoWindow<BOOL>(FALSE);
}

void *RemovePropA(HWND, LPCSTR) {
    return NoWindow<void *>(nullptr);
}

LONG_PTR GetWindowLongPtrA(HWND, int) {
    return NoWindow<LONG_PTR>(0);
}

LONG_PTR SetWindowLongPtrA(HWND, int, LONG_PTR) {
    return NoWindow<LONG_PTR>(0);
}

LRESULT CallWindowProcA(WNDPROC proc, HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return proc != nullptr ? proc(window, message, wParam, lParam) : 0;
}

BOOL GetWindowRect(HWND, RECT *) {
    return NoWindow<BOOL>(FALSE);
}

BOOL SetWindowPos(HWND, HWND, int, int, int, int, UINT) {
    return NoWindow<BOOL>(FALSE);
}

BOOL ScreenToClient(HWND, POINT *) {
    return NoWindow<BOOL>(FALSE);
}

BOOL InvalidateRect(HWND, const RECT *, BOOL) {
    return NoWindow<BOOL>(FALSE);
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

BOOL EnumChildWindows(HWND, WNDENUMPROC, LPARAM) {
    return NoWindow<BOOL>(FALSE);
}

HWND GetWindow(HWND, UINT) {
    return NoWindow<HWND>(nullptr);
}

int GetDlgCtrlID(HWND) {
    return NoWindow<int>(0);
}

int GetClassNameA(HWND, LPSTR buffer, int bufferMax) {
    if (buffer != nullptr && bufferMax > 0)
        buffer[0] = '\0';
    return NoWindow<int>(0);
}

int GetSystemMetrics(int) {
    return 0;
}

HDC GetDC(HWND) {
    return NoWindow<HDC>(nullptr);
}

int ReleaseDC(HWND, HDC) {
    return 0;
}

int GetDeviceCaps(HDC, int) {
    return 0;
}

HICON LoadIconA(HINSTANCE, LPCSTR) {
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return nullptr;
}

HHOOK SetWindowsHookExA(int, HOOKPROC, HINSTANCE, DWORD) {
    return NoWindow<HHOOK>(nullptr);
}

BOOL UnhookWindowsHookEx(HHOOK) {
    return NoWindow<BOOL>(FALSE);
}

LRESULT CallNextHookEx(HHOOK, int, WPARAM, LPARAM) {
    return 0;
}
