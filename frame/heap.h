// The library's side of the allocator module: the heaps it names.
//
// QX_Heap itself lives in the qx_vc module (qx_vc/qx_heap.h).  The library
// makes one heap of its own at load, the string heap, which holds every text
// body; _stringHeap points to it and is read at each allocation.  Everything
// else that allocates without naming a heap uses QX_Heap::GetDefault().
#ifndef CVZ_FRAME_HEAP_H
#define CVZ_FRAME_HEAP_H

#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/qx_vc/qx_heap.h"

// The heap of all text bodies, made at load and ended at unload.
extern CVZ_API QX_Heap *_stringHeap;

#endif
