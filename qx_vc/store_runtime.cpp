// The C runtime's allocator as the backing store: the store of the Windows
// build, and of builds under a sanitizer, whose own allocator takes the
// runtime's place and watches every block.
#include <stdlib.h>

#include "store.h"

namespace {

void *Allocate(size_t size) {
    return malloc(size);
}

void *Resize(void *block, size_t size) {
    return realloc(block, size);
}

void Release(void *block) {
    free(block);
}

size_t UnknownSize(void *) {
    return 0;
}

}  // namespace

namespace qx_store {

std::atomic<void *(*)(size_t)> allocate{Allocate};
std::atomic<void *(*)(void *, size_t)> resize{Resize};
std::atomic<void (*)(void *)> release{Release};
std::atomic<size_t (*)(void *)> usableSize{UnknownSize};

}  // namespace qx_store
