// Names as Windows writes them, turned into the POSIX paths they stand for.
//
// The library and its applications may name files the Windows way, with a
// drive letter and backslashes, or the native way.  Every call of the layer
// that takes a file name passes it through NativePath first, so the rules
// live in one place:
//
// - '\' becomes '/'.  Windows takes both as separators, so a name written
//   for Windows keeps its meaning; the price is that a POSIX file name that
//   holds a backslash cannot be reached through the layer.
// - The drive Z: stands for the root of the file system: "Z:\usr\lib" is
//   "/usr/lib".  "Z:" followed by a relative name is taken from the root as
//   well, since the layer keeps no current directory per drive.
// - Any other drive letter has no place in the file system yet, and such a
//   name fails with ERROR_PATH_NOT_FOUND, as a missing drive does on
//   Windows.  A table of drives would extend DriveRoot in paths.cpp.
// - A name without a drive is left as it is: absolute, or relative to the
//   current directory.
//
// Upper and lower case are not folded: POSIX file systems keep case.
#ifndef CVZ_PLATFORM_POSIX_PATHS_H
#define CVZ_PLATFORM_POSIX_PATHS_H

#include <stddef.h>

namespace cvz::posix {

// Writes into `path`, a buffer of `size` bytes, the POSIX path for `name`.
// Returns false, with the last error set, when the name has no such path
// (ERROR_PATH_NOT_FOUND) or the path does not fit (ERROR_FILENAME_EXCED_RANGE).
bool NativePath(const char *name, char *path, size_t size);

}  // namespace cvz::posix

#endif
