// The library frame: what exists while the library is loaded, and the debug
// channel.
//
// The library has no entry logic of its own.  Its global objects come up in
// a fixed order when the module is loaded and go down in reverse order when
// it is unloaded (frame/load_sequence.cpp holds that order), on the loading
// thread.  Between the two, every call runs on its caller's thread.
#ifndef CVZ_FRAME_FRAME_H
#define CVZ_FRAME_FRAME_H

#include <stdint.h>

#include "CommonVcZq/frame/api.h"

// Sends one printf-formatted line to the platform's debug channel
// (OutputDebugStringA; on POSIX, standard error).  The text must fit 998
// characters; it is cut there.  Allocates nothing.
CVZ_API void SendDebugString(const char *format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 1, 2)))
#endif
    ;

// The id of the thread that loaded the library.
extern CVZ_API uint32_t _mainThreadId;

#endif
