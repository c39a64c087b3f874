// What the layer's other files need of the file handles of files.cpp.
#ifndef CVZ_PLATFORM_POSIX_FILES_H
#define CVZ_PLATFORM_POSIX_FILES_H

#include <stdint.h>

#include "platform/win32.h"

namespace cvz::posix {

// The Win32 error that stands for `error`, an errno value, in a call on an
// open file.  Calls on names go through files.cpp, which tells a missing
// file (ERROR_FILE_NOT_FOUND) from a missing folder (ERROR_PATH_NOT_FOUND).
DWORD ErrorFromErrno(int error);

// Reserves the blocks of the bytes [offset, offset + length) of `file`
// without changing its size, so that writing them later cannot meet a full
// disk.  False with ERROR_DISK_FULL when the disk cannot hold them; true,
// reserving nothing, where the file system cannot reserve.
bool ReserveFileBlocks(HANDLE file, int64_t offset, int64_t length);

// Gives back the blocks that ReserveFileBlocks took beyond the end of the
// file, up to `reservedEnd`.  Errors are ignored: the blocks only cost
// room.
void ReleaseBlocksBeyondEnd(HANDLE file, int64_t reservedEnd);

// A new descriptor (close-on-exec) of the open file behind `file`, a
// handle from CreateFileA, for the caller to close, and in `*access` (when
// given) the handle's GENERIC_READ and GENERIC_WRITE; -1 with the last
// error set (ERROR_INVALID_HANDLE when `file` names no open file).  The
// copy stays valid whatever happens to the handle meanwhile.  It shares
// the handle's file position and its locks, so the handle's share modes
// hold while the copy is open, as a mapping keeps a Windows file open.
int DuplicateFileDescriptor(HANDLE file, DWORD *access);

}  // namespace cvz::posix

#endif
