// The backing store: where the blocks of every QX_Heap come from.
//
// The heap adds a header to each block and counts; the store beneath only
// hands out, resizes and takes back raw memory.  Which store a build has is
// chosen by its CMake files, one source file each: store_runtime.cpp (the C
// runtime's malloc, realloc and free) or store_mimalloc.cpp (mimalloc,
// falling back to the runtime when the library cannot be loaded).
//
// Each entry is a function pointer, read with a relaxed load, which is a
// plain load: a store may choose its functions at its first allocation, and
// a block reaches another thread only through the program's own
// synchronisation, which carries the choice with it.
//
// This header is internal to the module.
#ifndef QX_VC_STORE_H
#define QX_VC_STORE_H

#include <stddef.h>
#include <stdlib.h>

#include <atomic>

namespace qx_store {

// Null when memory is exhausted.
extern std::atomic<void *(*)(size_t size)> allocate;
// Null when memory is exhausted; the old block is then untouched.
extern std::atomic<void *(*)(void *block, size_t size)> resize;
extern std::atomic<void (*)(void *block)> release;
// The bytes usable at `block`, at least its size; 0 when the store cannot
// tell.
extern std::atomic<size_t (*)(void *block)> usableSize;

// The C runtime's allocator, in the store's terms: the store of builds
// without another, and the fallback of one that cannot be had.
inline void *RuntimeAllocate(size_t size) {
    return malloc(size);
}

inline void *RuntimeResize(void *block, size_t size) {
    return realloc(block, size);
}

inline void RuntimeRelease(void *block) {
    free(block);
}

inline size_t RuntimeUsableSize(void *) {
    return 0;
}

inline void *Allocate(size_t size) {
    return allocate.load(std::memory_order_relaxed)(size);
}

inline void *Resize(void *block, size_t size) {
    return resize.load(std::memory_order_relaxed)(block, size);
}

inline void Release(void *block) {
    release.load(std::memory_order_relaxed)(block);
}

inline size_t UsableSize(void *block) {
    return usableSize.load(std::memory_order_relaxed)(block);
}

}  // namespace qx_store

#endif
