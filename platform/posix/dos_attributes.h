// The DOS attributes of a file on a POSIX file system, for the file handles
// and names (files.cpp) and the listings (find.cpp) alike.
//
// Read-only
// is the absence of every write permission bit; hidden, system, archive
// and temporary live in the extended attribute user.DOSATTRIB, as the
// text "0x" and hexadecimal digits that Samba and wine write (Samba's
// binary part behind the text's zero is passed over).  A file without the
// attribute is a plain file with the archive bit, as Windows gives every
// new file, and a file left with no bit at all reports NORMAL.  A name that
// begins with a dot is not hidden by that alone, except on a file system
// that keeps no extended attributes, where, as under wine, it is.
#ifndef CVZ_PLATFORM_POSIX_DOS_ATTRIBUTES_H
#define CVZ_PLATFORM_POSIX_DOS_ATTRIBUTES_H

#include <sys/types.h>

#include "platform/win32.h"

namespace cvz::posix {

// The bits that user.DOSATTRIB carries.
const DWORD kStoredDosAttributes =
    FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_TEMPORARY;
// What the read of user.DOSATTRIB gives for a file without it.
const DWORD kNoStoredDosAttributes = ~0u;

// The stored bits of the open file `fd`, or when `fd` is -1 of the file
// at the native path `path`, or kNoStoredDosAttributes; `*kept` as below.
DWORD StoredDosAttributes(int fd, const char *path, bool *kept);

// The stored bits of the entry `name` of the open folder `folder`, whose
// native path `path` also names, or kNoStoredDosAttributes.  Where the
// kernel has getxattrat (Linux 6.13) the name is looked up in the folder
// alone, which spares the walk along the whole path.  `*kept` becomes
// false when the file system keeps no extended attributes at all, so that
// a caller may stop asking it.
DWORD StoredDosAttributesAt(int folder, const char *name, const char *path, bool *kept);

// The attribute word of the entry `name` of `mode`: DIRECTORY for a
// folder, READONLY for a file without write bits, and the `stored` bits,
// or their defaults for kNoStoredDosAttributes; `kept` false says that the
// file system keeps no extended attributes.
DWORD DosAttributes(mode_t mode, const char *name, DWORD stored, bool kept);

// Stores the stored bits of `attributes` in user.DOSATTRIB of `fd`, or of
// `path` when `fd` is -1, for a file of `mode`; a file whose bits are its
// defaults goes without the attribute.  Returns 0 or the errno, EOPNOTSUPP
// where the file system keeps no extended attributes.
int StoreDosAttributes(int fd, const char *path, mode_t mode, DWORD attributes);

}  // namespace cvz::posix

#endif
