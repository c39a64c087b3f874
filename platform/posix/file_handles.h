// What the calls on names, mappings and volumes need of the file handles
// of files.cpp, without reaching into its objects.
#ifndef CVZ_PLATFORM_POSIX_FILE_HANDLES_H
#define CVZ_PLATFORM_POSIX_FILE_HANDLES_H

#include "platform/posix/files.h"
#include "platform/win32.h"

namespace cvz::posix {

// A new descriptor (close-on-exec) of the open file behind `file`, a
// handle from CreateFileA, for the caller to close, and in `*access` (when
// given) the handle's GENERIC_READ and GENERIC_WRITE; -1 with the last
// error set (ERROR_INVALID_HANDLE when `file` names no open file).  The
// copy stays valid whatever happens to the handle meanwhile.  Defined in
// files.cpp.
int DuplicateFileDescriptor(HANDLE file, DWORD *access);

}  // namespace cvz::posix

#endif
