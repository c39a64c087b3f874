// Names as Windows writes them, and the POSIX paths they stand for.
//
// The library and its applications name files the Windows way, with a drive
// letter and backslashes, or the native way.  A drive letter is a folder of
// the file system: the layer keeps a table of 26 drives, in which Z: is the
// root "/" from the start (so "/home/a/x.txt" is "Z:\home\a\x.txt", as
// Windows programs under wine see it), and an application maps further
// letters, or Z: elsewhere, with MapDriveLetter (platform/application.h).
//
// Every call of the layer that takes a file name passes it through
// NativePath first, so the rules live in one place:
//
// - '\' becomes '/'.  Windows takes both as separators, so a name written
//   for Windows keeps its meaning; the price is that a POSIX file name that
//   holds a backslash cannot be reached through the layer.
// - A drive letter selects its folder: with D: mapped to "/data",
//   "D:\x\y" is "/data/x/y".  "D:" followed by a relative name is taken
//   from the folder as well, since the layer keeps no current directory per
//   drive.  A letter without a folder fails with ERROR_PATH_NOT_FOUND, as a
//   missing drive does on Windows.
// - A name without a drive is left as it is: absolute, or relative to the
//   current directory.
// - A name in the device namespace, "\\.\" and a device ("\\.\C:"),
//   fails with ERROR_FILE_NOT_FOUND: there are no such devices here, and
//   the name must not turn into a file "/./C:" that a create would make.
//
// The other way, DriveLetterName gives the Windows form of an absolute
// native path, for the calls that report names (GetCurrentDirectoryA,
// GetModuleFileNameA): the drive whose folder is the longest leading part
// of the path names it, so a folder under a mapped D: shows as D:\...; of
// two letters mapped to the same folder, the earlier in the alphabet wins.
// A path under no mapped folder has no Windows form.
//
// Upper and lower case are not folded: POSIX file systems keep case.  The
// table is guarded by a lock, so any thread may map and translate.
#ifndef CVZ_PLATFORM_POSIX_PATHS_H
#define CVZ_PLATFORM_POSIX_PATHS_H

#include <stddef.h>
#include <stdint.h>

#include <string>

namespace cvz::posix {

// Writes into `path`, a buffer of `size` bytes, the POSIX path for `name`.
// Returns false, with the last error set, when the name has no such path
// (ERROR_PATH_NOT_FOUND) or the path does not fit (ERROR_FILENAME_EXCED_RANGE).
bool NativePath(const char *name, char *path, size_t size);

// Sets `name` to the drive-letter form of the absolute native `path`, with
// '\' separators: "X:\" for the mapped folder itself.  Returns false, with
// ERROR_PATH_NOT_FOUND, when no mapped folder holds the path.
bool DriveLetterName(const char *path, std::string &name);

// One bit for each letter that has a folder: bit 0 for A:, bit 25 for Z:,
// as GetLogicalDrives reports drives.
uint32_t MappedDrives();

}  // namespace cvz::posix

#endif
