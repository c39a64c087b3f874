// The store beneath QX_Heap and the program's own malloc, side by side
// (POSIX): the module's store, mimalloc where the build has it, is loaded
// with its symbols kept to itself, so that malloc and free stay the C
// runtime's (or a sanitizer's) whatever the order in which the program's
// libraries were linked; blocks of both live together, each freed by its own.
#include "CommonVcZq/qx_vc/qx_heap.h"

#include <dlfcn.h>
#include <malloc.h>
#include <stdlib.h>
#include <string.h>

#include <gtest/gtest.h>

#include <string>

namespace {

std::string LibraryOf(const char *symbol) {
    Dl_info info = {};
    void *address = dlsym(RTLD_DEFAULT, symbol);
    return address && dladdr(address, &info) && info.dli_fname ? info.dli_fname : "";
}

TEST(QxHeapStore, TheProgramsMallocStaysItsOwn) {
    QX_Heap heap(1, "Beside malloc");
    void *ours = heap.Alloc(100);
    void *theirs = malloc(100);
    void *ours2 = heap.Alloc(200);
    void *theirs2 = malloc(200);
    memset(ours, 1, 100);
    memset(theirs, 2, 100);
    // malloc's own bookkeeping knows its blocks; a block of the heap is not
    // one of them, and the heap's sizes are its own.
    EXPECT_GE(malloc_usable_size(theirs), 100u);
    EXPECT_EQ(100u, QX_Heap::GetBlockSize(ours));
    EXPECT_EQ(&heap, QX_Heap::GetHeapOf(ours2));
    // Freed in both orders, each by its own.
    free(theirs);
    QX_Heap::FreeMem(ours);
    QX_Heap::FreeMem(ours2);
    free(theirs2);
    EXPECT_EQ(0u, heap.GetBlockCount());

    // Whatever serves the heap, the program's malloc is not mimalloc's, and
    // no mi_ function is in the program's global scope.
    EXPECT_EQ(std::string::npos, LibraryOf("malloc").find("mimalloc")) << LibraryOf("malloc");
    EXPECT_EQ(std::string::npos, LibraryOf("free").find("mimalloc")) << LibraryOf("free");
    EXPECT_EQ(nullptr, dlsym(RTLD_DEFAULT, "mi_malloc"));
#if defined(QX_TEST_MIMALLOC_SONAME)
    // The build's store is mimalloc: it is in the process, yet the program's
    // malloc is the C runtime's.
    EXPECT_NE(nullptr, dlopen(QX_TEST_MIMALLOC_SONAME, RTLD_LAZY | RTLD_NOLOAD));
    EXPECT_NE(std::string::npos, LibraryOf("malloc").find("libc.so")) << LibraryOf("malloc");
#endif
}

}  // namespace
