// The frame's own module globals, internal to the library.  Every global of
// the library comes into being in frame/load_sequence.cpp, in the fixed order
// of the load sequence; each subsystem declares its own in a globals.h of its
// folder (text/globals.h, tools/globals.h, ...).  The ones without an
// initialiser are zero at load.
#ifndef CVZ_FRAME_GLOBALS_H
#define CVZ_FRAME_GLOBALS_H

#include <stdint.h>

#include "CommonVcZq/frame/exception.h"
#include "CommonVcZq/frame/frame.h"

// Per-thread state.  Its initial image is static, so no code runs when a
// thread starts: a thread that never called the library sees these values.
struct ThreadState {
    uintptr_t dialogHook;  // window hook of the running file dialog
    int caseMode;          // 1: case sensitive, 0: case insensitive
};
ThreadState &GetThreadState();

// An AException with an empty text; every Exception starts as a copy of it.
extern AException _defaultAException;

// The window that posted failures go to; 0: the main thread.
extern uint32_t _postHandle;

#endif
