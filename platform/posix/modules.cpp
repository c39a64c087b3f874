// Modules: shared objects loaded by name, and the string tables of resource
// modules.
//
// An HMODULE is the handle that dlopen returns.  LoadLibraryA opens with
// RTLD_NOW, so that every reference is bound at once, as the Windows loader
// binds a DLL's imports, and RTLD_LOCAL, so that nothing of the module
// enters the global symbol scope: a DLL's exports, too, are reached only
// through its handle.  Loading a file again gives the same handle and one
// more reference, and FreeLibrary drops one, as on Windows.
//
// Names pass through NativePath (paths.h): a native path, or a Windows path
// whose drive letter names a mapped folder (Z: is the root unless mapped
// elsewhere).  What Windows does beyond that is not done:
// it appends ".dll" to a name without an extension, and looks for a bare
// name in the program's directory and the current directory first; here a
// name without a '/' goes unchanged to the dynamic loader's own search
// (LD_LIBRARY_PATH, the loader cache, the system directories).
//
// Errors.  A module that cannot be loaded gives ERROR_MOD_NOT_FOUND (126),
// which is what Windows reports for a missing file.  A file that exists but
// is not a loadable object gives 126 as well, where Windows says
// ERROR_BAD_EXE_FORMAT (193): the cause reaches us only as dlerror's text.
// A name too long for a path gives ERROR_FILENAME_EXCED_RANGE (206).
//
// String tables.  On Windows a resource module carries a STRINGTABLE that
// LoadStringA reads.  Here it is a shared object, made by the CMake
// function cvz_add_string_module (cmake/CvzStringModule.cmake), that
// exports CvzStringTable: an array of { id, text } ended by a null text.
// LoadStringA finds the table with dlsym and the id by a scan from the
// first row; tables are small, and the library caches what it reads.  The
// contract is Win32's:
//
// - It copies at most bufferMax - 1 characters and a zero, and returns the
//   number of characters copied.  A longer string is cut short.
// - A string the module lacks gives 0 and leaves the buffer untouched, with
//   ERROR_RESOURCE_NAME_NOT_FOUND (1814); a module without any table gives
//   ERROR_RESOURCE_TYPE_NOT_FOUND (1813), as one without a STRINGTABLE
//   does on Windows.  An empty string reads as 0 characters, just as
//   Windows cannot tell an empty string from a missing one.
// - A null instance means the program itself, as on Windows: the table is
//   looked up in the program and the libraries loaded with it.
// - bufferMax 0 makes LoadStringW return a read-only pointer to the
//   resource in place of a copy.  LoadStringA does not support that form
//   (Windows documents that it corrupts memory).  Here bufferMax 0 or less,
//   or a null buffer, gives 0 with ERROR_INVALID_PARAMETER and writes
//   nothing.
// - The text is copied byte for byte, in the encoding its module was built
//   with; Windows stores UTF-16 and converts to the ANSI code page.
// - Windows string ids are 16 bits wide; here the id is compared in full.
//
// DisableThreadLibraryCalls has nothing to do: a shared object gets no
// notice when threads start or end.  It returns TRUE, as it does on
// Windows for a module that asks it.
#include "platform/posix/paths.h"
#include "platform/win32.h"

#include <dlfcn.h>
#include <limits.h>
#include <string.h>

namespace {

// A row of a string table, as cmake/CvzStringModule.cmake writes it.
struct StringEntry {
    unsigned int id;
    const char *text;
};

const char kStringTableName[] = "CvzStringTable";

}  // namespace

HMODULE LoadLibraryA(LPCSTR fileName) {
    if (fileName == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    char path[PATH_MAX];
    if (!cvz::posix::NativePath(fileName, path, sizeof path)) {
        // A drive with no place in the file system holds no module.
        if (GetLastError() == ERROR_PATH_NOT_FOUND)
            SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    // dlopen takes an empty name for the program itself; Windows finds no
    // module by that name.
    void *handle = path[0] != '\0' ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : nullptr;
    if (handle == nullptr) {
        dlerror();  // clear the loader's message, which nobody will read
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    return static_cast<HMODULE>(handle);
}

BOOL FreeLibrary(HMODULE module) {
    if (module == nullptr || dlclose(module) != 0) {
        dlerror();
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return TRUE;
}

// Only the program itself is looked up by GetModuleHandleA: a null name
// gives the handle dlopen has for it, which stays valid for the life of the
// process and, like Windows's, holds no reference.  A named module is not
// searched for; it gives null with ERROR_MOD_NOT_FOUND.
HMODULE GetModuleHandleA(LPCSTR moduleName) {
    if (moduleName != nullptr) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    void *program = dlopen(nullptr, RTLD_NOW);
    dlclose(program);  // the program is never unloaded
    return static_cast<HMODULE>(program);
}

BOOL DisableThreadLibraryCalls(HMODULE) {
    return TRUE;
}

int LoadStringA(HINSTANCE instance, UINT id, LPSTR buffer, int bufferMax) {
    if (buffer == nullptr || bufferMax <= 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    void *module = instance;
    if (module == nullptr)
        module = dlopen(nullptr, RTLD_NOW);  // the program; never fails
    const StringEntry *entry = static_cast<const StringEntry *>(dlsym(module, kStringTableName));
    if (instance == nullptr)
        dlclose(module);
    if (entry == nullptr) {
        dlerror();
        SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
        return 0;
    }
    for (; entry->text != nullptr; ++entry) {
        if (entry->id != id)
            continue;
        size_t length = strnlen(entry->text, static_cast<size_t>(bufferMax) - 1);
        memcpy(buffer, entry->text, length);
        buffer[length] = '\0';
        return static_cast<int>(length);
    }
    SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
    return 0;
}
