// mimalloc as the backing store, on Linux.
//
// Small blocks come and go several times faster from mimalloc's per-thread
// pages than from the C runtime's malloc, and mi_usable_size tells how much
// room a block really has, so that a heap can grow a block into it in place.
//
// The library is loaded with dlopen and RTLD_LOCAL, never linked.  Debian's
// libmimalloc.so exports malloc, free, operator new and the rest besides its
// mi_ functions: as a dependency of this module it would join the program's
// global scope, where its malloc could take the place of the C runtime's for
// the whole process, depending on the order in which the program's
// dependencies were linked and loaded.  Loaded locally, its symbols are seen
// only through the dlsym calls below, and the program's malloc stays the one
// it was linked with.  The library's name is its soname, taken from the
// installed package when this module is built.
//
// The choice is made at the first allocation.  Until then every entry points
// at a function that makes it (blocks exist only after an allocation, so in
// practice only allocate meets it); when the library cannot be loaded, the
// C runtime's allocator serves instead, for the life of the process.
#include <dlfcn.h>

#include <mutex>

#include "store.h"

namespace {

// The function `name` of the library, as a pointer of the store's type:
// mi_malloc, mi_realloc, mi_free and mi_usable_size take and give what
// malloc, realloc, free and malloc_usable_size do.
template <class Function>
bool Find(void *library, const char *name, Function *&function) {
    function = reinterpret_cast<Function *>(dlsym(library, name));
    return function != nullptr;
}

void Choose() {
    static std::once_flag chosen;
    std::call_once(chosen, [] {
        void *(*allocate)(size_t);
        void *(*resize)(void *, size_t);
        void (*release)(void *);
        size_t (*usableSize)(void *);
        // The library, once loaded, stays for the life of the process.
        void *library = dlopen(QX_MIMALLOC_SONAME, RTLD_NOW | RTLD_LOCAL);
        if (!library || !Find(library, "mi_malloc", allocate) || !Find(library, "mi_realloc", resize) ||
            !Find(library, "mi_free", release) || !Find(library, "mi_usable_size", usableSize)) {
            allocate = qx_store::RuntimeAllocate;
            resize = qx_store::RuntimeResize;
            release = qx_store::RuntimeRelease;
            usableSize = qx_store::RuntimeUsableSize;
        }
        qx_store::resize.store(resize, std::memory_order_relaxed);
        qx_store::release.store(release, std::memory_order_relaxed);
        qx_store::usableSize.store(usableSize, std::memory_order_relaxed);
        qx_store::allocate.store(allocate, std::memory_order_relaxed);
    });
}

void *FirstAllocate(size_t size) {
    Choose();
    return qx_store::Allocate(size);
}

void *FirstResize(void *block, size_t size) {
    Choose();
    return qx_store::Resize(block, size);
}

void FirstRelease(void *block) {
    Choose();
    qx_store::Release(block);
}

size_t FirstUsableSize(void *block) {
    Choose();
    return qx_store::UsableSize(block);
}

}  // namespace

namespace qx_store {

std::atomic<void *(*)(size_t)> allocate{FirstAllocate};
std::atomic<void *(*)(void *, size_t)> resize{FirstResize};
std::atomic<void (*)(void *)> release{FirstRelease};
std::atomic<size_t (*)(void *)> usableSize{FirstUsableSize};

}  // namespace qx_store
