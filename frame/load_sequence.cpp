// The load sequence: every global object of the library, in the order in
// which it comes into being when the module is loaded.
//
// C++ runs the initialisers of one translation unit in the order of their
// definitions, and ends the objects in exactly the reverse order, together
// with the function-local statics registered in between.  So this file is
// the one place where the library's globals are defined, one step a block,
// and each later step may use everything above it.  The string heap stands
// before every object that allocates from it and ends after the last one.
//
// Objects built during load run on the loading thread.  No per-thread set-up
// exists: per-thread state has a static initial image (frame/frame.cpp).
#include "frame/globals.h"
#include "files/globals.h"
#include "text/globals.h"
#include "tools/globals.h"
#include "selector/globals.h"
#include "platform/win32.h"
#include "CommonVcZq/text/message_cache.h"
#include "CommonVcZq/text/string.h"
#include "CommonVcZq/threads/locks.h"
#include "CommonVcZq/threads/timer.h"
#include "CommonVcZq/tools/randomizer.h"

// Step 1: the randomizer the library shares, seeded from the tick count.
Randomizer _defaultRandomizer(0);

// Step 2: the process failure handlers.
static const bool _failureHandlersInstalled = (InitExceptionHandler(), true);

// Step 3: the thread that loads the library, the target of posted failures.
uint32_t _mainThreadId = GetCurrentThreadId();

// Step 4: the string heap, the home of every text body.
static QX_Heap _stringHeapObject(1, "StringHeap");
QX_Heap *_stringHeap = &_stringHeapObject;

// Step 5: the record every Exception starts from, with an empty text of its
// own.  All threads copy it, so its body is pinned for its lifetime (see
// text/string.cpp); the pin ends just before the record does.
AException _defaultAException(String(""));
static struct DefaultTextPin {
    DefaultTextPin() { PinStringBody(_defaultAException.why()); }
    ~DefaultTextPin() { UnpinStringBody(_defaultAException.why()); }
} _defaultTextPin;

// Step 6: the view lock, which guards the views of every MappedFile.
CriticalSection _viewLock;

// Step 7: the memory's page size and allocation granularity.
const MemoryGeometry _memoryGeometry = MemoryGeometry::Measure();

// Step 8: the lock of the message cache.
CriticalSection _messageCacheLock;

// Step 9: the message cache, 509 buckets, owning its texts.  Cached texts
// are pinned while they are shared (text/message_cache.cpp); the pins end
// just before the cache does, so that it releases the bodies.
HashListImp _messageCache(500, 1);
static struct MessageCachePins {
    ~MessageCachePins() {
        for (ListElement *e = _messageCache.GetFirst(); e; e = e->GetNext())
            UnpinStringBody(static_cast<CachedString *>(e)->GetText());
    }
} _messageCachePins;

// Step 10: the search key of the message cache; its id is set at each
// search.
CachedString _messageCacheProbe;

// Step 11: the clock of Timer and TimeTracer: whether the high-resolution
// counter exists, and one tick's worth in seconds, milliseconds and
// microseconds, from QueryPerformanceFrequency.
const Timer::Clock Timer::platformClock = Timer::Clock::Measure();

// Globals without an initialiser, zero at load.
uint32_t _postHandle = 0;
HMODULE _localizedStringDll = 0;

// The file selector's settings: constant images, so no code runs for them.
// The view style starts at -1, "leave the view as it opens".
int _fileSelectorExpanded = 0;
int32_t _fileSelectorViewStyle = -1;
HBITMAP _fileSelectorExpandBitmap = nullptr;
List<FileName> *_recentFolders = nullptr;
