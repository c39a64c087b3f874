// QX_Heap: the allocator module beneath CommonVcZq.
//
// All memory of the library that is not plain operator new comes from a
// QX_Heap: text bodies from the string heap, cells, cache blocks and loaded
// files from the default heap.  The module is a library of its own (qx_vc)
// so that every side of an application shares one allocator.
//
// What callers rely on:
//  - Alloc never returns null: on exhaustion it runs the installed new
//    handler (std::set_new_handler) until memory can be had, and throws
//    std::bad_alloc when no handler is installed.  AllocMem returns null
//    instead, so that a `new` behind it skips the constructor.
//  - Every block knows its heap, so FreeMem is static and takes a block of
//    any heap; ReAlloc and ExpandBy may only be called on the heap that made
//    the block.
//  - Growing a block a few bytes at a time is amortised constant time per
//    byte: a grown block keeps slack behind it.
//  - All members are safe for concurrent use from any thread, without a lock
//    held by the caller.
//  - Each heap counts its live blocks and bytes, so that a test can prove a
//    heap empty; an observer can watch heaps end.
#ifndef QX_VC_QX_HEAP_H
#define QX_VC_QX_HEAP_H

#include <stddef.h>
#include <stdint.h>

#include <atomic>

#if defined(_WIN32)
#  if defined(QX_BUILDING_LIBRARY)
#    define QX_API __declspec(dllexport)
#  else
#    define QX_API __declspec(dllimport)
#  endif
#else
#  define QX_API __attribute__((visibility("default")))
#endif

class QX_Heap;

// In front of every block: the heap that made it, the size it was last
// given, and the bytes known to be there behind the header (at least
// `size`).  The header takes exactly the strictest fundamental alignment, so
// the caller's bytes keep the alignment of the store beneath.  Internal to
// the module and to ReAlloc's inline part.
struct alignas(max_align_t) QX_BlockHeader {
    QX_Heap *heap;
    uint32_t size;
    uint32_t capacity;
};

class QX_API QX_Heap {
public:
    // `options` is reserved (the library passes 1); `name` is copied and
    // shows in GetName and in the end report.
    QX_Heap(int32_t options, const char *name);
    virtual ~QX_Heap();

    QX_Heap(const QX_Heap &) = delete;
    QX_Heap &operator=(const QX_Heap &) = delete;

    // A block of at least `size` bytes, aligned for any type.  Never null.
    // `flag` is reserved; pass 0.
    void *Alloc(uint32_t size, int flag = 0);

    // A block of at least `size` bytes, or null when memory is exhausted.
    void *AllocMem(uint32_t size);

    // The block at the new size, possibly moved, contents kept up to the
    // smaller of the two sizes.  Never null.  A null block acts as Alloc.
    // Growth within the room the block already has costs a few
    // instructions inline, with no call.
    void *ReAlloc(void *block, uint32_t size, int flag = 0) {
        (void)flag;  // reserved
        return GrowInPlace(block, size) ? block : ReAllocBlock(block, size);
    }

    // As ReAlloc, with the block grown by `extra` bytes.
    void *ExpandBy(void *block, uint32_t extra, int flag = 0);

    // Releases a block of any heap.  A null block is accepted.
    static void FreeMem(void *block);

    // The process's default heap; it lives until the process ends.
    static QX_Heap &GetDefault();

    // The heap that made `block`, and the size it was last given.
    static QX_Heap *GetHeapOf(const void *block);
    static uint32_t GetBlockSize(const void *block);

    const char *GetName() const;
    // Live blocks, and the sum of their sizes as last asked for.
    uint32_t GetBlockCount() const;
    uint64_t GetByteCount() const;

    // Called at the start of every heap's destructor, with the heap as it is
    // then, so that a program can check that a heap ends empty.  One
    // observer for the process; null removes it.
    typedef void (*EndObserver)(const QX_Heap &heap);
    static void SetEndObserver(EndObserver observer);

private:
    static QX_BlockHeader *HeaderOf(const void *block) {
        return const_cast<QX_BlockHeader *>(static_cast<const QX_BlockHeader *>(block)) - 1;
    }

    // ReAlloc's inline part: grows `block` to `size` where its capacity
    // allows, counting the bytes in the calling thread's slot, and gives
    // true; false leaves everything to ReAllocBlock.
    inline bool GrowInPlace(void *block, uint32_t size);
    // ReAlloc's out-of-line part: every other case.
    void *ReAllocBlock(void *block, uint32_t size);

    // Live blocks and bytes, counted per thread so that counting costs no
    // locked instruction: a thread that allocates takes one of 64 slots for
    // as long as it runs, and it alone writes to that slot in every heap.
    // Threads beyond 64, and threads on their way out, share one more slot
    // through atomic additions.  A slot is a pair (blocks, then bytes) of
    // running sums that wrap; the totals are the sums over all slots.  They
    // are exact once the threads that allocate are quiet, e.g. joined; a
    // reader racing with them may see a total that is briefly off.
    std::atomic<uint64_t> counts[2 * (64 + 1)];
    // The name is copied, and cut to fit with its ending zero.
    char name[40];
};

#if defined(__ELF__)
// The calling thread's pair of counts in every heap's `counts`, or below 0
// while the thread has none of its own (before it first counts, and when it
// shares the spare pair).  Exported so that ReAlloc's inline part can count;
// the initial-exec model makes reading it one load from the thread pointer,
// which holds as the module is loaded with the program that uses it.
extern QX_API __thread int32_t qxThreadPair __attribute__((tls_model("initial-exec")));

inline bool QX_Heap::GrowInPlace(void *block, uint32_t size) {
    if (!block)
        return false;
    QX_BlockHeader *header = HeaderOf(block);
    const uint32_t oldSize = header->size;
    const int32_t pair = qxThreadPair;
    if (pair < 0 || size > header->capacity || size < oldSize)
        return false;
    std::atomic<uint64_t> &bytes = header->heap->counts[2 * pair + 1];
    bytes.store(bytes.load(std::memory_order_relaxed) + (size - oldSize), std::memory_order_relaxed);
    header->size = size;
    return true;
}
#else
// Without a thread-local word that other modules can read cheaply, growth
// is counted out of line.
inline bool QX_Heap::GrowInPlace(void *, uint32_t) {
    return false;
}
#endif

// Runs the installed new handler once; when it returns, the caller goes on.
// The library calls it after a platform allocation failed.
QX_API void ExecuteStandardNewHandler();

#endif
