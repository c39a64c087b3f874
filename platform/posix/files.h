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

}  // namespace cvz::posix

#endif
