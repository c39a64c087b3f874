// The platform types that the library's public signatures use, and the few
// platform calls that an application needs beside the library.
//
// On Windows these are the real Win32 names: the handle types are declared
// here the way <windows.h> declares them, so the two agree, and the calls
// come from <windows.h> itself.
//
// On other systems CommonVcZq carries its own small Win32 layer, and this
// header declares the part of it that an application calls directly:
// receiving the messages that the library posts (a failure handed to the
// main thread or to a window, see ExceptionThrower), message-only windows to
// receive them in, loading a resource module of localised messages, the
// folders that drive letters stand for, the answers to message boxes, and
// bitmaps.  The rest of the layer stays inside the library.
#ifndef CVZ_PLATFORM_APPLICATION_H
#define CVZ_PLATFORM_APPLICATION_H

#include "CommonVcZq/frame/api.h"

#if defined(_WIN32)

struct HINSTANCE__;
typedef struct HINSTANCE__ *HINSTANCE;
typedef HINSTANCE HMODULE;
// Declared, not defined, as <windows.h> defines it: public signatures take
// a FILETIME by pointer, and a caller that fills one includes <windows.h>.
struct _FILETIME;
typedef struct _FILETIME FILETIME;
// Windows and bitmaps, and the two message words, as <windows.h> declares
// them (STRICT handles; the words pointer-sized).
struct HWND__;
typedef struct HWND__ *HWND;
struct HBITMAP__;
typedef struct HBITMAP__ *HBITMAP;
#if defined(_WIN64)
typedef unsigned long long WPARAM;
typedef long long LPARAM;
#else
typedef unsigned int WPARAM;
typedef long LPARAM;
#endif

#else

#include <stdint.h>

typedef int BOOL;
typedef uint32_t DWORD;
typedef unsigned int UINT;
typedef int32_t LONG;
typedef uintptr_t WPARAM;
typedef intptr_t LPARAM;
typedef void *LPVOID;
typedef const char *LPCSTR;

struct HINSTANCE__;
typedef struct HINSTANCE__ *HINSTANCE;
typedef HINSTANCE HMODULE;
struct HWND__;
typedef struct HWND__ *HWND;
struct HMENU__;
typedef struct HMENU__ *HMENU;
struct HBITMAP__;
typedef struct HBITMAP__ *HBITMAP;
typedef void *HGDIOBJ;

struct POINT {
    LONG x;
    LONG y;
};

// A point in time: 100 ns steps since 1601-01-01, low word first.
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};
typedef FILETIME *LPFILETIME;

struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
};
typedef MSG *LPMSG;

// Message numbers and flags used with the calls below.
enum : UINT {
    WM_NULL = 0x0000,
    WM_QUIT = 0x0012,
    WM_USER = 0x0400,
    PM_NOREMOVE = 0x0000,
    PM_REMOVE = 0x0001,
};

// The parent that makes CreateWindowExA build a message-only window.  It is
// the one kind of window this layer has: it belongs to the creating thread,
// and PostMessageA to it lands in that thread's queue.
#define HWND_MESSAGE ((HWND)(intptr_t)-3)

extern "C" {
// Thread message queues.  A thread gets its queue at its first call of
// PeekMessageA, GetMessageA, a posting call or CreateWindowExA, as a
// Windows thread does at its first call into the window manager; posting
// to a thread without one fails with ERROR_INVALID_THREAD_ID (1444).
CVZ_API BOOL PostThreadMessageA(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam);
CVZ_API BOOL PostMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
// `window` 0: any message of the thread; (HWND)-1: thread messages only;
// else that window's messages.  `first` and `last` 0 take every number.
CVZ_API BOOL PeekMessageA(LPMSG msg, HWND window, UINT first, UINT last, UINT remove);
// Waits for a message; returns 0 for WM_QUIT, -1 on a bad window, else 1.
CVZ_API BOOL GetMessageA(LPMSG msg, HWND window, UINT first, UINT last);
CVZ_API void PostQuitMessage(int exitCode);

CVZ_API HWND CreateWindowExA(DWORD exStyle, LPCSTR className, LPCSTR windowName, DWORD style,
                             int x, int y, int width, int height, HWND parent, HMENU menu,
                             HINSTANCE instance, LPVOID param);
CVZ_API BOOL DestroyWindow(HWND window);
CVZ_API BOOL IsWindow(HWND window);

CVZ_API DWORD GetCurrentThreadId(void);

// Modules, for the resource module of localised messages
// (NotifyLocalizedStringDll).  A module is a shared library; its name may
// be a native path or a drive-letter path such as Z:\opt\app\fr.so.
CVZ_API HMODULE LoadLibraryA(LPCSTR fileName);
CVZ_API BOOL FreeLibrary(HMODULE module);

// Drive letters.  Names in the library have the Windows form, a drive
// letter and '\' separators; here a drive letter stands for a folder.  Z:
// is the root "/" from the start, so "/home/a/x.txt" is "Z:\home\a\x.txt".
// MapDriveLetter makes `letter` (either case) stand for `folder`, an
// absolute native path, from now on; Z: may be mapped elsewhere, and a
// null or empty `folder` takes the letter's folder away.  A name under
// several mapped folders is reported with the drive of the deepest one.
// FALSE with ERROR_INVALID_PARAMETER for a character that is no letter or
// a relative folder.
CVZ_API BOOL MapDriveLetter(char letter, const char *folder);

// Message boxes.  There is no screen here, so MessageBoxA shows nothing:
// it returns what the function set here answers for the box (IDOK 1,
// IDCANCEL 2, IDYES 6, IDNO 7, ...), given the box's text, caption and
// style (MB_YESNOCANCEL 3 and so on in the low four bits, the default
// button in bits 8-11).  An answer that is not a button of the box, and
// every box while no function is set (null), gets the box's default
// button: what pressing Enter would give, OK for a box with one button,
// Yes for the question whether to make a backup.  Any thread may set it;
// the function runs on the thread that asks.
// The buttons' ids, which are also the ids of a dialog's OK and Cancel.
enum : int {
    IDOK = 1,
    IDCANCEL = 2,
    IDABORT = 3,
    IDRETRY = 4,
    IDIGNORE = 5,
    IDYES = 6,
    IDNO = 7,
    IDTRYAGAIN = 10,
    IDCONTINUE = 11,
};
typedef int (*MessageBoxAnswerFunction)(LPCSTR text, LPCSTR caption, UINT style);
CVZ_API void SetMessageBoxAnswer(MessageBoxAnswerFunction answer);

// Bitmaps, for the expand button of the file selector
// (SetFileSelectorExpandBitmap).  There is no display here: a bitmap is an
// opaque object that holds its pixels until DeleteObject ends it.
// CreateBitmap takes `width` x `height` pixels of `bitsPerPixel` bits in
// `planes` planes, rows padded to 16 bits as Windows has them, and copies
// `bits` when not null (else the pixels are zero); it returns null with
// ERROR_INVALID_PARAMETER for a size below 1 or above 65535, or a pixel
// size other than 1, 4, 8, 16, 24 or 32 bits.  DeleteObject returns FALSE
// for a handle that names no object, an ended one included.
CVZ_API HBITMAP CreateBitmap(int width, int height, UINT planes, UINT bitsPerPixel, const void *bits);
CVZ_API BOOL DeleteObject(HGDIOBJ object);
}

// The common file dialog, for the file selector (UserSelectsFile) and for
// the hook an application gives it (FileSelectorInfo::userHook).  The
// record, the notifications, the control ids and the window calls are
// Win32's, so that one hook's source serves both systems.  The dialog is a
// GTK 3 file chooser, loaded when the first dialog opens; without GTK or
// without a display GetOpenFileNameA and GetSaveFileNameA fail at once,
// CommDlgExtendedError then gives CDERR_INITIALIZATION, what Windows
// reports for a dialog that could not be set up, and no hook is called.
// The window calls act on the windows of a running dialog: its frame, the
// hook's own dialog, the name box edt1, the file list lst2, IDOK, IDCANCEL,
// and the template's controls.  Any other handle is a window that does
// not exist: 0 or null, with ERROR_INVALID_WINDOW_HANDLE (1400).
#define CALLBACK
typedef uintptr_t UINT_PTR;
typedef intptr_t LRESULT;
typedef intptr_t LONG_PTR;
typedef UINT_PTR (*LPOFNHOOKPROC)(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);

struct OPENFILENAMEA {
    DWORD lStructSize;
    HWND hwndOwner;
    HINSTANCE hInstance;
    LPCSTR lpstrFilter;
    char *lpstrCustomFilter;
    DWORD nMaxCustFilter;
    DWORD nFilterIndex;
    char *lpstrFile;
    DWORD nMaxFile;
    char *lpstrFileTitle;
    DWORD nMaxFileTitle;
    LPCSTR lpstrInitialDir;
    LPCSTR lpstrTitle;
    DWORD Flags;
    uint16_t nFileOffset;
    uint16_t nFileExtension;
    LPCSTR lpstrDefExt;
    LPARAM lCustData;
    LPOFNHOOKPROC lpfnHook;
    LPCSTR lpTemplateName;
    void *pvReserved;
    DWORD dwReserved;
    DWORD FlagsEx;
};
typedef OPENFILENAMEA *LPOPENFILENAMEA;

struct RECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};
typedef BOOL (*WNDENUMPROC)(HWND window, LPARAM context);

struct NMHDR {
    HWND hwndFrom;
    UINT_PTR idFrom;
    UINT code;
};

struct OFNOTIFYA {
    NMHDR hdr;
    LPOPENFILENAMEA lpOFN;
    char *pszFile;
};

enum : DWORD {
    OFN_READONLY = 0x1,
    OFN_OVERWRITEPROMPT = 0x2,
    OFN_HIDEREADONLY = 0x4,
    OFN_NOCHANGEDIR = 0x8,
    OFN_SHOWHELP = 0x10,
    OFN_ENABLEHOOK = 0x20,
    OFN_ENABLETEMPLATE = 0x40,
    OFN_ALLOWMULTISELECT = 0x200,
    OFN_PATHMUSTEXIST = 0x800,
    OFN_FILEMUSTEXIST = 0x1000,
    OFN_EXPLORER = 0x80000,
    OFN_NONETWORKBUTTON = 0x20000,
    CDERR_STRUCTSIZE = 0x1,
    CDERR_INITIALIZATION = 0x2,
    FNERR_BUFFERTOOSMALL = 0x3003,
};

// Messages, notifications and control ids of the dialog.
enum : UINT {
    WM_DESTROY = 0x0002,
    WM_CLOSE = 0x0010,
    WM_SETTEXT = 0x000C,
    WM_GETTEXT = 0x000D,
    WM_SHOWWINDOW = 0x0018,
    WM_NEXTDLGCTL = 0x0028,
    WM_NOTIFY = 0x004E,
    WM_KEYDOWN = 0x0100,
    WM_KEYUP = 0x0101,
    WM_INITDIALOG = 0x0110,
    WM_COMMAND = 0x0111,
    WM_APP = 0x8000,
    BN_CLICKED = 0,
    BM_SETIMAGE = 0x00F7,
    CB_ADDSTRING = 0x0143,
    CB_GETCOUNT = 0x0146,
    CB_GETCURSEL = 0x0147,
    CB_GETLBTEXT = 0x0148,
    CB_GETLBTEXTLEN = 0x0149,
    CB_SETCURSEL = 0x014E,
    CBN_SELCHANGE = 1,
    IMAGE_BITMAP = 0,
    VK_RETURN = 0x0D,
    CDN_INITDONE = 0u - 601u,
    CDN_SELCHANGE = 0u - 602u,
    CDN_FOLDERCHANGE = 0u - 603u,
    CDN_SHAREVIOLATION = 0u - 604u,
    CDN_HELP = 0u - 605u,
    CDN_FILEOK = 0u - 606u,
    CDN_TYPECHANGE = 0u - 607u,
    CDM_GETSPEC = WM_USER + 100,
    CDM_GETFILEPATH = WM_USER + 101,
    CDM_GETFOLDERPATH = WM_USER + 102,
    CDM_SETCONTROLTEXT = WM_USER + 104,
    stc32 = 0x045f,
    lst2 = 0x0461,
    edt1 = 0x0480,
};
enum : int {
    CB_ERR = -1,
    DWLP_MSGRESULT = 0,
    GWL_STYLE = -16,
    SM_CXSCREEN = 0,
    SM_CYSCREEN = 1,
    GW_CHILD = 5,
};
enum : UINT {
    SWP_NOSIZE = 0x0001,
    SWP_NOMOVE = 0x0002,
    SWP_NOZORDER = 0x0004,
};

// The wParam of WM_COMMAND: the control id low, the notification high.
inline WPARAM MAKEWPARAM(unsigned int low, unsigned int high) {
    return static_cast<WPARAM>((low & 0xFFFFu) | ((high & 0xFFFFu) << 16));
}

extern "C" {
CVZ_API BOOL GetOpenFileNameA(LPOPENFILENAMEA record);
CVZ_API BOOL GetSaveFileNameA(LPOPENFILENAMEA record);
CVZ_API DWORD CommDlgExtendedError(void);

CVZ_API HMODULE GetModuleHandleA(LPCSTR moduleName);
CVZ_API HWND GetParent(HWND window);
CVZ_API HWND GetDlgItem(HWND dialog, int id);
CVZ_API LRESULT SendMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
CVZ_API BOOL SetDlgItemTextA(HWND dialog, int id, LPCSTR text);
CVZ_API UINT GetDlgItemTextA(HWND dialog, int id, char *buffer, int bufferMax);
CVZ_API BOOL SetWindowTextA(HWND window, LPCSTR text);
CVZ_API void *GetPropA(HWND window, LPCSTR name);
CVZ_API BOOL SetPropA(HWND window, LPCSTR name, void *data);
CVZ_API void *RemovePropA(HWND window, LPCSTR name);
// The frame's rectangle on the screen, and a child's as the dialog lays
// it out.  SetWindowPos moves and sizes the frame; a child keeps the place
// the chooser gives it.
CVZ_API BOOL GetWindowRect(HWND window, RECT *rect);
CVZ_API BOOL SetWindowPos(HWND window, HWND after, int x, int y, int cx, int cy, UINT flags);
CVZ_API BOOL ScreenToClient(HWND window, POINT *point);
CVZ_API BOOL EnumChildWindows(HWND parent, WNDENUMPROC proc, LPARAM context);
CVZ_API HWND GetWindow(HWND window, UINT relation);
CVZ_API LONG_PTR GetWindowLongPtrA(HWND window, int index);
// A hook that answers CDN_FILEOK with DWLP_MSGRESULT not 0 keeps the
// dialog open, as on Windows.
CVZ_API LONG_PTR SetWindowLongPtrA(HWND window, int index, LONG_PTR value);
CVZ_API int GetDlgCtrlID(HWND window);
// The screen's size while a display is open, else 0.
CVZ_API int GetSystemMetrics(int index);
}

#endif
#endif
