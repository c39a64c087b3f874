// QX_Heap: blocks from the backing store (store.h), each behind a small
// header that ties it to its heap.
//
// Layout of a block:
//
//     [ QX_BlockHeader: heap, size, capacity ][ size bytes ... slack ]
//     ^ what the store returned               ^ what the caller gets
//
// The header takes exactly the strictest fundamental alignment, so the
// caller's bytes keep the alignment that the store gives (16 bytes on 64-bit
// targets).  `size` is what the caller last asked for; `capacity` is how many
// bytes behind the header are known to be there.  A plain Alloc records no
// slack.  A block that ReAlloc or ExpandBy grows past its capacity first
// asks the store how much room it really has (a store rounds sizes up to its
// own classes); only when that is too little is it resized, with half as
// much again, so that growing a block a few bytes at a time costs a resize
// only now and then, and amortised constant time per byte.  Asking for a
// smaller size gives the slack back.
//
// There is no lock: the store is safe from any thread, a block is changed
// only by its owner, and each heap's counts are kept in per-thread slots (see
// the class) that cost a plain load and store.  Growth within the capacity
// is ReAlloc's inline part in the header, which finds the thread's slot
// through the exported qxThreadPair.
#include "CommonVcZq/qx_vc/qx_heap.h"

#include <cassert>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

#include "store.h"

#if defined(__ELF__)
__thread int32_t qxThreadPair __attribute__((tls_model("initial-exec"))) = -1;
#else
namespace {
thread_local int32_t qxThreadPair = -1;
}
#endif

namespace {

typedef QX_BlockHeader BlockHeader;

constexpr uint32_t kHeaderSize = sizeof(BlockHeader);
static_assert(kHeaderSize % alignof(std::max_align_t) == 0, "the header keeps the block aligned");

// A block, header included, must fit in 32 bits.  This keeps header plus
// size from overflowing size_t on a 32-bit target, and gives every target the
// same limit: larger sizes are refused as if memory were exhausted.
constexpr uint32_t kMaxSize = UINT32_MAX - kHeaderSize;

inline BlockHeader *HeaderOf(const void *block) {
    return reinterpret_cast<BlockHeader *>(const_cast<char *>(static_cast<const char *>(block)) - kHeaderSize);
}

inline void *BlockOf(BlockHeader *header) {
    return header + 1;
}

// Null when the size is refused or memory is exhausted.
inline BlockHeader *NewBlock(uint64_t size) {
    if (size > kMaxSize)
        return nullptr;
    return static_cast<BlockHeader *>(qx_store::Allocate(kHeaderSize + static_cast<size_t>(size)));
}

// Null when the size is refused or memory is exhausted; the old block is
// then untouched.
inline BlockHeader *ResizeBlock(BlockHeader *header, uint64_t capacity) {
    if (capacity > kMaxSize)
        return nullptr;
    return static_cast<BlockHeader *>(qx_store::Resize(header, kHeaderSize + static_cast<size_t>(capacity)));
}

// The capacity for a block of `capacity` bytes that must hold `size`: half
// as much again, at least `size`, at least 32 bytes, rounded up to 16 bytes.
// Capped at the largest block, so below `size` when `size` is refused.
inline uint64_t GrownCapacity(uint32_t capacity, uint64_t size) {
    uint64_t grown = uint64_t(capacity) + capacity / 2;
    if (grown < size)
        grown = size;
    if (grown < 32)
        grown = 32;
    grown = (grown + 15) & ~uint64_t(15);
    return grown < kMaxSize ? grown : kMaxSize;
}

// The capacity the store really gives `header`'s block, at least the one
// recorded.
inline uint32_t KnownCapacity(BlockHeader *header) {
    size_t usable = qx_store::UsableSize(header);
    if (usable <= kHeaderSize + header->capacity)
        return header->capacity;
    usable -= kHeaderSize;
    return usable < kMaxSize ? static_cast<uint32_t>(usable) : kMaxSize;
}

// What operator new does when the store fails: run the installed new handler,
// which may free memory or throw, and let the caller try again; with no
// handler installed, throw std::bad_alloc.
void WaitForMemory() {
    std::new_handler handler = std::get_new_handler();
    if (!handler)
        throw std::bad_alloc();
    handler();
}

// ---------------------------------------------------------------- counting
//
// Each thread that allocates claims a slot number, 0 to 63, from a
// process-wide bit set, and gives it back when it ends; the number picks the
// same slot in every heap.  Since a slot has one writer at a time, it is
// changed with a relaxed load and store; the bit set's release and acquire
// hand its last values on to the next thread that claims the number.  The
// thread keeps the index of its slot's pair in qxThreadPair, with the two
// values below for a thread without a slot of its own.

constexpr int kSlots = 64;
constexpr int kUnclaimed = -1;  // the thread has not counted yet
constexpr int kShared = -2;     // all numbers taken, or the thread is ending

std::atomic<uint64_t> claimedSlots{0};

// Slots of neighbouring numbers lie 128 bytes apart (two cache lines, which
// processors commonly fetch together): the first eight threads that count
// do not share lines.  The mapping is its own inverse.
inline int PairOf(int slot) {
    return (slot % 8) * 8 + slot / 8;
}

struct SlotRelease {
    ~SlotRelease() {
        int slot = PairOf(qxThreadPair);
        // What the thread frees after this point, from later destructors, is
        // counted in the shared slot.
        qxThreadPair = kShared;
        claimedSlots.fetch_and(~(uint64_t(1) << slot), std::memory_order_release);
    }
};

// Gives the thread's slot back when the thread ends, so that the next
// thread can claim it.  With mingw-w64 a thread's thread-local words may be
// gone before its thread-local destructors run, so a release there could
// not read its slot: on Windows a claimed slot stays with its thread, which
// is correct, only threads beyond the 64th then count through the shared
// slot.
void ReleaseSlotAtThreadEnd() {
#if !defined(_WIN32)
    static thread_local SlotRelease release;  // built once a thread, run as it ends
    (void)release;
#endif
}

// Once a thread: kept out of line, away from the counting fast path.
// Returns the pair index, or kShared.
[[gnu::noinline, gnu::cold]] int ClaimSlot() {
    uint64_t claimed = claimedSlots.load(std::memory_order_relaxed);
    for (;;) {
        if (claimed == ~uint64_t(0))
            return qxThreadPair = kShared;
        int slot = 0;
        while (claimed >> slot & 1)
            ++slot;
        if (claimedSlots.compare_exchange_weak(claimed, claimed | uint64_t(1) << slot,
                                               std::memory_order_acquire, std::memory_order_relaxed)) {
            ReleaseSlotAtThreadEnd();
            return qxThreadPair = PairOf(slot);
        }
    }
}

// Adds to the calling thread's slot of a heap's `counts`; the changes wrap,
// so a negative change is passed as its two's complement.
inline void Count(std::atomic<uint64_t> *counts, uint64_t blocks, uint64_t bytes) {
    int pairIndex = qxThreadPair;
    if (pairIndex == kUnclaimed)
        pairIndex = ClaimSlot();
    if (pairIndex >= 0) {
        std::atomic<uint64_t> *pair = counts + 2 * pairIndex;
        if (blocks)
            pair[0].store(pair[0].load(std::memory_order_relaxed) + blocks, std::memory_order_relaxed);
        pair[1].store(pair[1].load(std::memory_order_relaxed) + bytes, std::memory_order_relaxed);
    } else {
        std::atomic<uint64_t> *pair = counts + 2 * kSlots;
        if (blocks)
            pair[0].fetch_add(blocks, std::memory_order_relaxed);
        pair[1].fetch_add(bytes, std::memory_order_relaxed);
    }
}

// Sum of one half of every pair (0: blocks, 1: bytes).  Slots written by
// other threads at the same time can make the sum briefly negative (a free
// seen before the allocation it undoes); that reads as 0.
uint64_t Total(const std::atomic<uint64_t> *counts, int half) {
    uint64_t sum = 0;
    for (int pair = 0; pair <= kSlots; ++pair)
        sum += counts[2 * pair + half].load(std::memory_order_relaxed);
    return static_cast<int64_t>(sum) < 0 ? 0 : sum;
}

// The shared body of ReAlloc and ExpandBy: `block` (not null) at `size`
// bytes, counted in `counts` of the heap that made it.  The size is 64 bits
// wide, so that an ExpandBy past 32 bits arrives here and is refused like
// any size too large for a block.
void *Resize(std::atomic<uint64_t> *counts, void *block, uint64_t size) {
    BlockHeader *header = HeaderOf(block);
    uint32_t oldSize = header->size;
    if (size > header->capacity)
        header->capacity = KnownCapacity(header);  // the store may have rounded the block up

    if (size <= header->capacity) {
        if (size < oldSize) {
            // A smaller size is a request to give memory back.  Should the
            // runtime fail to shrink, the block is still large enough.
            if (BlockHeader *shrunk = ResizeBlock(header, size)) {
                header = shrunk;
                header->capacity = static_cast<uint32_t>(size);
            }
        }
    } else {
        // Grow with slack.  When the generous capacity cannot be had, the
        // exact size may still fit; only when that fails too, or the size is
        // refused, does the new handler run.
        uint64_t capacity = GrownCapacity(header->capacity, size);
        BlockHeader *grown = capacity >= size ? ResizeBlock(header, capacity) : nullptr;
        if (!grown) {
            capacity = size;
            while (!(grown = ResizeBlock(header, capacity)))
                WaitForMemory();
        }
        header = grown;
        header->capacity = static_cast<uint32_t>(capacity);
    }

    header->size = static_cast<uint32_t>(size);
    Count(counts, 0, size - oldSize);
    return BlockOf(header);
}

// ------------------------------------------------------------------ globals

// Constant-initialised, so that it can be set and read during the static
// initialisation and destruction of any module.
std::atomic<QX_Heap::EndObserver> endObserver{nullptr};

// The default heap lives in static storage and is never destroyed: modules
// that allocate from it in their own static destructors find it in place,
// whatever the order in which the modules go.
alignas(QX_Heap) unsigned char defaultHeapStorage[sizeof(QX_Heap)];

}  // namespace

QX_Heap::QX_Heap(int32_t options, const char *name) {
    (void)options;  // reserved
    static_assert(sizeof counts == 2 * (kSlots + 1) * sizeof(uint64_t), "one pair a slot, and the shared pair");
    for (auto &count : counts)
        count.store(0, std::memory_order_relaxed);
    size_t length = name ? std::strlen(name) : 0;
    if (length > sizeof this->name - 1)
        length = sizeof this->name - 1;
    if (length)
        std::memcpy(this->name, name, length);
    this->name[length] = 0;
}

QX_Heap::~QX_Heap() {
    // Blocks still live here keep a pointer to this heap, so freeing them
    // after the heap has gone is the caller's fault; the observer is where a
    // program can see (and report) that they are left.
    if (EndObserver observer = endObserver.load(std::memory_order_acquire))
        observer(*this);
}

void *QX_Heap::Alloc(uint32_t size, int flag) {
    (void)flag;  // reserved
    BlockHeader *header;
    while (!(header = NewBlock(size)))
        WaitForMemory();
    header->heap = this;
    header->size = size;
    header->capacity = size;
    Count(counts, 1, size);
    return BlockOf(header);
}

void *QX_Heap::AllocMem(uint32_t size) {
    BlockHeader *header = NewBlock(size);
    if (!header)
        return nullptr;
    header->heap = this;
    header->size = size;
    header->capacity = size;
    Count(counts, 1, size);
    return BlockOf(header);
}

// ReAlloc and ExpandBy count a change on the heap that made the block, where
// FreeMem will take it off again.
void *QX_Heap::ReAllocBlock(void *block, uint32_t size) {
    if (!block)
        return Alloc(size);
    assert(HeaderOf(block)->heap == this && "ReAlloc on a block of another heap");
    return Resize(HeaderOf(block)->heap->counts, block, size);
}

void *QX_Heap::ExpandBy(void *block, uint32_t extra, int flag) {
    (void)flag;  // reserved
    if (!block)
        return Alloc(extra);
    assert(HeaderOf(block)->heap == this && "ExpandBy on a block of another heap");
    return Resize(HeaderOf(block)->heap->counts, block, uint64_t(HeaderOf(block)->size) + extra);
}

void QX_Heap::FreeMem(void *block) {
    if (!block)
        return;
    BlockHeader *header = HeaderOf(block);
    Count(header->heap->counts, ~uint64_t(0), 0 - uint64_t(header->size));
    qx_store::Release(header);
}

QX_Heap &QX_Heap::GetDefault() {
    // Built at the first call, from whichever thread and whichever module's
    // static initialisation that comes; the pointer needs no destructor.
    static QX_Heap *const heap = ::new (static_cast<void *>(defaultHeapStorage)) QX_Heap(1, "DefaultHeap");
    return *heap;
}

QX_Heap *QX_Heap::GetHeapOf(const void *block) {
    return block ? HeaderOf(block)->heap : nullptr;
}

uint32_t QX_Heap::GetBlockSize(const void *block) {
    return block ? HeaderOf(block)->size : 0;
}

const char *QX_Heap::GetName() const {
    return name;
}

uint32_t QX_Heap::GetBlockCount() const {
    return static_cast<uint32_t>(Total(counts, 0));
}

uint64_t QX_Heap::GetByteCount() const {
    return Total(counts, 1);
}

void QX_Heap::SetEndObserver(EndObserver observer) {
    endObserver.store(observer, std::memory_order_release);
}

void ExecuteStandardNewHandler() {
    if (std::new_handler handler = std::get_new_handler())
        handler();
}
