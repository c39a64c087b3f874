// The module entry of CommonVcZq.dll.
//
// By the time it runs, the runtime has already brought up the library's
// globals in the order of frame/load_sequence.cpp.  All that is left to do
// is to turn off the notifications of threads starting and ending: the
// library keeps no per-thread state that would need them.
#include "platform/win32.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH)
        DisableThreadLibraryCalls(module);
    return TRUE;
}
