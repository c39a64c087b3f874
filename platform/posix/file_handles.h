// What the calls on names, mappings and volumes need of the file handles
// of files.cpp, without reaching into its objects.
#ifndef CVZ_PLATFORM_POSIX_FILE_HANDLES_H
#define CVZ_PLATFORM_POSIX_FILE_HANDLES_H

#include "platform/win32.h"

namespace cvz::posix {

// A new descriptor (close-on-exec) of the open file behind `file`, a
// handle from CreateFileA, for the caller to close; -1 with the last error
// set (ERROR_INVALID_HANDLE when `file` names no open file).  The copy
// stays valid whatever happens to the handle meanwhile.
int DuplicateFileDescriptor(HANDLE file);

// The Win32 error for an errno value of a call on a file or a name.
DWORD Win32Error(int error);

}  // namespace cvz::posix

#endif
