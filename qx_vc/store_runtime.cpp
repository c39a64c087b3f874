// The C runtime's allocator as the backing store: the store of the Windows
// build, and of builds under a sanitizer, whose own allocator takes the
// runtime's place and watches every block.
#include "store.h"

namespace qx_store {

std::atomic<void *(*)(size_t)> allocate{RuntimeAllocate};
std::atomic<void *(*)(void *, size_t)> resize{RuntimeResize};
std::atomic<void (*)(void *)> release{RuntimeRelease};
std::atomic<size_t (*)(void *)> usableSize{RuntimeUsableSize};

}  // namespace qx_store
