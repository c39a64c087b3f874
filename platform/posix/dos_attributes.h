// The DOS attributes of a file on a POSIX file system.
//
// Windows keeps read-only, hidden, system and archive as bits of a file.
// Here read-only is the file's own permission bits: a file that no one may
// write is read-only.  Hidden, system and archive live in the extended
// attribute user.DOSATTRIB, as Samba and wine keep them: a text "0x" and
// hexadecimal digits at its start (Samba puts a binary part behind the
// text, which is not looked at).  A name that begins with a dot is not
// hidden by that alone: Windows knows no such rule.
#ifndef CVZ_PLATFORM_POSIX_DOS_ATTRIBUTES_H
#define CVZ_PLATFORM_POSIX_DOS_ATTRIBUTES_H

#include <sys/types.h>

#include "platform/win32.h"

namespace cvz::posix {

// The bits that user.DOSATTRIB carries.
const DWORD kStoredDosAttributes =
    FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;

// The stored bits of the file at the native `path` (its target, for a
// link), or ~0u when it carries no such attribute.  `supported`, when not
// null, is set to false when the file system keeps no extended attributes
// at all, so that a caller may stop asking it.
DWORD StoredDosAttributes(const char *path, bool *supported);
// The same for the entry `name` of the open folder `folder`, whose native
// path `path` also names (as "folder/name"): where the kernel has
// getxattrat (Linux 6.13), the name is looked up in the folder alone,
// which spares the walk along the whole path.
DWORD StoredDosAttributesAt(int folder, const char *name, const char *path, bool *supported);

// The attribute word that Windows would report for a file of `mode` whose
// stored bits are `stored` (~0u: none stored): DIRECTORY for a folder,
// READONLY for a file without write bits, the stored bits, ARCHIVE for a
// file with none stored, and NORMAL for a file left with no bit at all.
DWORD DosAttributes(mode_t mode, DWORD stored);

}  // namespace cvz::posix

#endif
