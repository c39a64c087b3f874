// The text subsystem's module globals, internal to the library.  They come
// into being in frame/load_sequence.cpp, in the order of the load sequence.
#ifndef CVZ_TEXT_GLOBALS_H
#define CVZ_TEXT_GLOBALS_H

#include "CommonVcZq/platform/application.h"
#include "CommonVcZq/text/string.h"

// The resource module of localised messages; 0: the built-in table.  Zero at
// load, written by NotifyLocalizedStringDll.
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
