// What the tests need of the platform beside the library: on Windows the
// real interface, elsewhere the part of our layer that the library exports.
#ifndef CVZ_TESTS_TEST_SUPPORT_H
#define CVZ_TESTS_TEST_SUPPORT_H

#if defined(_WIN32)
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include "CommonVcZq/platform/application.h"
#endif

#include <chrono>
#include <thread>

// Sleeps the calling thread, to let other threads move meanwhile.
inline void Pause(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// True when the tests run on wine rather than on Windows itself.  Wine
// strays from Windows in a few documented results; the tests that meet one
// name the difference and accept wine's answer only under wine.
inline bool RunningUnderWine() {
#if defined(_WIN32)
    HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version");
#else
    return false;
#endif
}

#endif
