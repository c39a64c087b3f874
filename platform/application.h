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

#endif
#endif
