// Diagnostics: the last-error word and the debug channel.
//
// Win32 keeps one error code per thread: a call that fails stores it, and
// GetLastError reads it back.  Here it is a thread_local DWORD that holds
// Win32 codes (the ERROR_* names of platform/win32.h), never errno values:
// each call of the layer turns the POSIX failure it meets into the code its
// Win32 namesake reports.  As on Windows, a new thread starts with 0, and a
// call that succeeds leaves the word as it was.
//
// OutputDebugStringA hands text to an attached debugger on Windows; with no
// debugger listening, the text is lost.  POSIX has no such channel, so the
// text goes to standard error, where whoever runs the program sees it.  It
// is written as it is: no prefix, and no newline added, since the caller
// ends its line itself.  The text leaves in one write(2) in the usual case,
// so lines of different threads don't mix within a line; a short write
// (a full pipe, a signal) is completed by further writes.  The call takes
// no lock and allocates nothing, so it serves in an out-of-memory path, and
// it keeps errno, so a caller may log between a failing call and its test
// of errno.  A failure of the write itself is dropped: the channel has
// nowhere to report it, and Windows doesn't report one either.
#include "platform/win32.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

namespace {
thread_local DWORD lastError = ERROR_SUCCESS;
}  // namespace

DWORD GetLastError(void) {
    return lastError;
}

void SetLastError(DWORD error) {
    lastError = error;
}

void OutputDebugStringA(LPCSTR text) {
    if (text == nullptr)
        return;
    int savedErrno = errno;
    size_t left = strlen(text);
    while (left > 0) {
        ssize_t written = write(STDERR_FILENO, text, left);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        text += written;
        left -= static_cast<size_t>(written);
    }
    errno = savedErrno;
}
