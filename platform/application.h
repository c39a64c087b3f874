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
// receive them in, and loading a resource module of localised messages.  The rest of the layer stays inside the
// library.
#ifndef CVZ_PLATFORM_APPLICATION_H
#define CVZ_PLATFORM_APPLICATION_H

#include "frame/api.h"

#if defined(_WIN32)

struct HINSTANCE__;
typedef struct HINSTANCE__ *HINSTANCE;
typedef HINSTANCE HMODULE;

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

struct POINT {
    LONG x;
    LONG y;
};

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
}

#endif
#endif
