// The frame's services: the per-thread state, the debug channel and the
// failure handlers.
#include <new>
#include <stdarg.h>
#include <stdio.h>

#include "frame/globals.h"
#include "platform/win32.h"

// The per-thread block.  Its initial image is static data, so a thread that
// starts after load finds it set without any code having run for it.
static thread_local ThreadState threadState = {0, 1};

ThreadState &GetThreadState() {
    return threadState;
}

void SendDebugString(const char *format, ...) {
    // 998 characters of text, the newline and the zero; a longer text is cut.
    char buffer[1000];
    va_list args;
    va_start(args, format);
    int n = vsnprintf(buffer, sizeof buffer - 1, format, args);
    va_end(args);
    if (n < 0)
        n = 0;
    else if (n > static_cast<int>(sizeof buffer) - 2)
        n = sizeof buffer - 2;
    buffer[n] = '\n';
    buffer[n + 1] = 0;
    OutputDebugStringA(buffer);
}

namespace {

// Every exhaustion of memory ends here: operator new, the runtime's
// allocators and QX_Heap call the installed new handler, and this one turns
// it into the library's one out-of-memory failure.  It does not return.
void OutOfMemory() {
    ExceptionThrower(0).SetAndThrow("Out of memory");
}

}  // namespace

void InitExceptionHandler() {
    // C++17 has no dynamic exception specifications, so an exception can no
    // longer leave a function "unexpectedly": there is no unexpected handler
    // to install.  The C++ runtime's malloc never calls the new handler, so
    // there is no new mode to set either; QX_Heap and operator new both reach
    // the handler below.
    std::set_new_handler(OutOfMemory);
}
