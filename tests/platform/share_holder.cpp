// A second process for the tests of share modes and byte-range locks: it
// opens a file, optionally locks a range of it, says so, and holds it until
// told to let go.
//
//   share_holder NAME ACCESS SHARE [OFFSET LENGTH]
//
// ACCESS is "r", "w" or "rw"; SHARE the letters of the share mode ("r",
// "w", "d") or "-" for none.  The holder writes NAME.ready, holding "ok" or
// "error N" with the Win32 error of the open or the lock, then waits (30 s
// at most) for NAME.release to appear, closes the file and exits.
#include "platform/win32.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

namespace {

bool Exists(const std::string &name) {
    FILE *file = fopen(name.c_str(), "rb");
    if (file != nullptr)
        fclose(file);
    return file != nullptr;
}

void Report(const std::string &name, DWORD error) {
    FILE *ready = fopen((name + ".ready.tmp").c_str(), "wb");
    if (ready == nullptr)
        exit(2);
    if (error == 0)
        fprintf(ready, "ok");
    else
        fprintf(ready, "error %u", static_cast<unsigned>(error));
    fclose(ready);
    // Whole or not at all: the test reads the file as soon as it appears.
    rename((name + ".ready.tmp").c_str(), (name + ".ready").c_str());
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 4 && argc != 6)
        return 2;
    const std::string name = argv[1];
    DWORD access = 0, share = 0;
    access |= strchr(argv[2], 'r') != nullptr ? GENERIC_READ : 0;
    access |= strchr(argv[2], 'w') != nullptr ? GENERIC_WRITE : 0;
    share |= strchr(argv[3], 'r') != nullptr ? FILE_SHARE_READ : 0;
    share |= strchr(argv[3], 'w') != nullptr ? FILE_SHARE_WRITE : 0;
    share |= strchr(argv[3], 'd') != nullptr ? FILE_SHARE_DELETE : 0;
    HANDLE file = CreateFileA(name.c_str(), access, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD error = file == INVALID_HANDLE_VALUE ? GetLastError() : 0;
    if (error == 0 && argc == 6 &&
        !LockFile(file, static_cast<DWORD>(atol(argv[4])), 0, static_cast<DWORD>(atol(argv[5])), 0))
        error = GetLastError();
    Report(name, error);
    for (int waited = 0; waited < 3000 && !Exists(name + ".release"); ++waited)
        Sleep(10);
    if (file != INVALID_HANDLE_VALUE)
        CloseHandle(file);
    return error == 0 ? 0 : 1;
}
