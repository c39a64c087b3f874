// The files subsystem's module globals, internal to the library.  They come
// into being in frame/load_sequence.cpp, in the order of the load sequence.
#ifndef CVZ_FILES_GLOBALS_H
#define CVZ_FILES_GLOBALS_H

#include <stdint.h>

// The view lock: one lock for the views of every MappedFile of the
// process (files/mapped_file.h).
class CriticalSection;
extern CriticalSection _viewLock;

// The memory's page size and the allocation granularity, the unit on which
// mapped views begin: from one call of GetSystemInfo at load.
struct MemoryGeometry {
    uint32_t pageSize;
    uint32_t allocationGranularity;
    static MemoryGeometry Measure();
};
extern const MemoryGeometry _memoryGeometry;

#endif
