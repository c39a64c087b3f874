// WIN32_FIND_DATAA, the record of one entry of a directory listing, for the
// public signatures that pass it (FileScanner's hooks and FoundFile).
//
// On Windows it is the system's own record and comes from <windows.h>,
// which this header includes; a program that wants no min and max macros
// defines NOMINMAX before it, as with any Win32 header.
//
// Elsewhere it is the record of CommonVcZq's own layer, with the fields and
// layout of the Windows one.  platform/win32.h says which fields the
// layer's FindFirstFileA and FindNextFileA fill, and from where.
#ifndef CVZ_PLATFORM_FIND_DATA_H
#define CVZ_PLATFORM_FIND_DATA_H

#if defined(_WIN32)

#include <windows.h>

#else

#include "CommonVcZq/platform/application.h"

// The longest path of the ANSI calls, ending zero included.
enum { MAX_PATH = 260 };

struct WIN32_FIND_DATAA {
    DWORD dwFileAttributes;  // FILE_ATTRIBUTE_DIRECTORY (0x10) and the rest
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    char cFileName[MAX_PATH];       // the entry's name, zero-ended
    char cAlternateFileName[14];    // the 8.3 name; empty
};
typedef WIN32_FIND_DATAA *LPWIN32_FIND_DATAA;

#endif
#endif
