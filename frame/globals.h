// The library's module globals, internal to it.  Their order of coming into
// being is fixed in frame/load_sequence.cpp; the ones without an initialiser
// are zero at load.
#ifndef CVZ_FRAME_GLOBALS_H
#define CVZ_FRAME_GLOBALS_H

#include <stdint.h>

#include "CommonVcZq/frame/exception.h"
#include "CommonVcZq/frame/frame.h"
#include "CommonVcZq/frame/heap.h"
#include "CommonVcZq/platform/application.h"

// Per-thread state.  Its initial image is static, so no code runs when a
// thread starts: a thread that never called the library sees these values.
struct ThreadState {
    uintptr_t dialogHook;  // window hook of the running file dialog
    int caseMode;          // 1: case sensitive, 0: case insensitive
};
ThreadState &GetThreadState();

// The randomizer the library shares, seeded from the tick count at load.
// No lock guards it: threads that draw at once may see the same value.
class Randomizer;
extern Randomizer _defaultRandomizer;

// An AException with an empty text; every Exception starts as a copy of it.
extern AException _defaultAException;

// The window that posted failures go to; 0: the main thread.
extern uint32_t _postHandle;

// The resource module of localised messages; 0: the built-in table.
extern HMODULE _localizedStringDll;

// The message cache (text/message_cache.h): its lock, the cached texts and
// the search key whose id is set before each search.  The lock guards the
// other two.
class CriticalSection;
class HashListImp;
class CachedString;
extern CriticalSection _messageCacheLock;
extern HashListImp _messageCache;
extern CachedString _messageCacheProbe;

// Pins the body of a String that all threads share, so that taking and
// dropping references to it writes nothing; unpinning gives it back to
// ordinary counting before its owner ends.
void PinStringBody(const String &s);
void UnpinStringBody(const String &s);

#endif
