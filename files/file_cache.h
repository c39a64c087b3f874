// The block cache: one pool of equal blocks shared by many files.
//
// A FileCacheManager owns the pool.  A File constructed with a manager is
// registered with it and reads through it: File::ReadCache copies from the
// blocks that hold the bytes asked for, and on a miss reads the whole
// aligned block that holds the first missing byte from the file into a
// block of the pool.  File::WriteCache writes a whole block to the file,
// then keeps a copy in the pool.  Such a file is opened without system
// buffering, so the pool stands in for the system's cache and all traffic
// with the disk is in whole blocks.  The cache never holds a byte that the
// file doesn't: nothing is written back, and a block can be reused at any
// time without I/O.
//
// Replacement is least recently used over the whole pool, across all
// files: the manager's list holds every block, most recently used first,
// and a block to reuse is sought from its tail.  Each registered file has a
// FileCacheBuffers record with a list of its own blocks, in the same order,
// which a lookup walks from its head.
//
// The pool is one range of address space, reserved once (half the
// physical memory, at most 128 MiB) and committed from its start, so that
// it can grow and shrink without moving a block: block i lies at
// i * GetBlockSize() from the start.  Exhausted memory never reaches a
// caller as a failure: a pool that can't be built at construction leaves
// the manager disabled (files registered with it work uncached), and a
// pool that can't grow stays as it was.  Compare GetNumBlocks with what was
// asked for.
//
// Threads.  Any number of threads may read through one manager, on the
// same file or on different ones.  Locks are taken in this order: the
// manager's gate (an event that SetSize and the destructor close while
// they rebuild the pool), then the File's own lock (OpenThreadSafe), then
// the manager's lock, which is held only for list work and for copies into
// and out of blocks, never during a disk transfer.  A thread that finds no
// free block sleeps 20 milliseconds and tries again, without limit; blocks
// are busy only for the length of one read.
//
// The statistics count bytes: loaded from files into blocks, and delivered
// from blocks to callers.  A byte loaded and delivered once counts as
// loaded only, so reading small parts of many blocks gives a negative
// number of bytes from the cache and a negative hit percentage.
#ifndef CVZ_FILES_FILE_CACHE_H
#define CVZ_FILES_FILE_CACHE_H

#include <stddef.h>
#include <stdint.h>

#include <atomic>

#include "CommonVcZq/collections/double_list.h"
#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/qx_vc/qx_heap.h"
#include "CommonVcZq/threads/locks.h"
#include "CommonVcZq/tools/randomizer.h"

class FileObject;
class FileCacheBuffers;
class FileCacheManager;
class File;

// One block of the pool.  Its links as a ListElement serve the manager's
// list of all blocks; nextInFile and prevInFile serve its file's list, so a
// block stands in both at once.
class CVZ_API CacheBlock : public ListElement {
public:
    enum State : int32_t {
        BlockFree = 1,     // holds nothing, in no file's list
        BlockCached = 2,   // holds data, in its file's list
        BlockClaimed = 4,  // taken by a thread that fills it, in no file's list
        BlockFresh = 10,   // just read and in its file's list, not yet copied out
    };

    // A free block over `data`, blockSize bytes within the pool.
    explicit CacheBlock(char *data);
    ~CacheBlock() override;

    // Takes the block out of its file's list and frees it, narrowing the
    // file's range where a bound was this block's.  The manager's lock is
    // held.
    void Unlink();

    // Blocks live on the manager's heap.
    static void *operator new(size_t size, QX_Heap &heap) { return heap.Alloc(static_cast<uint32_t>(size)); }
    static void operator delete(void *block, QX_Heap &) { QX_Heap::FreeMem(block); }
    static void operator delete(void *block) { QX_Heap::FreeMem(block); }

    char *data;               // fixed for the block's life
    int32_t length;           // valid bytes in data
    int32_t start;            // file offset of data[0]
    int32_t end;              // start + length
    FileCacheBuffers *owner;  // meaningful while the state has bit 2
    int32_t state;            // a State
    CacheBlock *nextInFile;
    CacheBlock *prevInFile;
};

// A doubly linked list threaded through the elements' nextInFile and
// prevInFile, so that its elements can stand in a DoubleList as well.
// With `Owning` non-zero the destructor deletes the elements from the
// head; the block cache uses it not owning.
template <class T, int Owning>
class PinList : public Collection {
public:
    PinList() : Collection(Owning), first(nullptr), last(nullptr) { count = 0; }
    PinList(const PinList &) = delete;
    PinList &operator=(const PinList &) = delete;
    ~PinList() override {
        while (T *e = first) {
            Detach(e);
            if (Owning)
                delete e;
        }
    }

    T *GetFirst() const { return first; }
    T *GetLast() const { return last; }

    void Prepend(T *e) {
        e->prevInFile = nullptr;
        e->nextInFile = first;
        (first ? first->prevInFile : last) = e;
        first = e;
        ++count;
    }
    // `e` must be in this list.  Its own links are left as they were.
    void Detach(T *e) {
        (e->prevInFile ? e->prevInFile->nextInFile : first) = e->nextInFile;
        (e->nextInFile ? e->nextInFile->prevInFile : last) = e->prevInFile;
        --count;
    }
    void MoveToFront(T *e) {
        if (e != first) {
            Detach(e);
            Prepend(e);
        }
    }

private:
    T *first;
    T *last;
};

// A registered file's part of the cache, held by its FileObject (`cache`),
// which destroys it.  Only the cache and File use its members.
class CVZ_API FileCacheBuffers {
public:
    FileCacheBuffers(FileCacheManager *manager, const FileObject *file);
    // Frees the file's blocks.
    virtual ~FileCacheBuffers();
    FileCacheBuffers(const FileCacheBuffers &) = delete;
    FileCacheBuffers &operator=(const FileCacheBuffers &) = delete;

    // The block size of the manager that holds the record.
    uint32_t GetBlockSize() const;

    static void *operator new(size_t size, QX_Heap &heap) { return heap.Alloc(static_cast<uint32_t>(size)); }
    static void operator delete(void *record, QX_Heap &) { QX_Heap::FreeMem(record); }
    static void operator delete(void *record) { QX_Heap::FreeMem(record); }

private:
    friend class CacheBlock;
    friend class File;
    friend class FileCacheManager;

    // Copies from the most recently used block that holds `offset`, up to
    // that block's end: the bytes copied, 0 on a miss.  The block becomes
    // the most recently used of both lists, and BlockCached.
    int32_t CopyFromCache(int32_t offset, void *destination, int32_t size);
    // Takes over a claimed block that now holds `count` bytes of the file
    // from `start`, as the file's most recently used, BlockFresh.
    void InsertRead(CacheBlock *block, int32_t start, int32_t count);
    // Keeps a copy of `size` bytes just written at `offset`, replacing a
    // cached block that starts there; waits for a block when none is free.
    void InsertWritten(int32_t offset, const void *data, uint32_t size);
    // Frees all of the file's blocks.
    void DropBlocks();
    // Waits, without limit, until the manager's gate is open.
    void WaitForGate();
    // A reader's way in and out: counts the caller among the active
    // readers once the gate is open, looking at the gate after counting,
    // so that a rebuild that shuts it meanwhile is never missed.
    void EnterReading();
    void LeaveReading();
    // Makes the hull of `range` and [start, end - 1] the new range.
    void Widen(int32_t start, int32_t end);

    PinList<CacheBlock, 0> blocks;  // most recently used first
    QX_Heap *heap;                  // the manager's
    const FileObject *file;
    FileCacheManager *manager;
    RangeInt32 range;               // hull of the cached bytes; 1 to 0 when empty
};

class CVZ_API FileCacheManager {
public:
    // A pool of `numBlocks` blocks (0 counts as 1) of `blockSize` bytes,
    // fewer when memory or the reservation is short.  Without any block
    // the manager is disabled for good.  `blockSize` must suit unbuffered
    // transfers: a multiple of the disk's sector size (4096 serves all).
    FileCacheManager(uint32_t numBlocks, uint32_t blockSize);
    // Waits for the reads under way.  Every registered file must be gone.
    virtual ~FileCacheManager();
    FileCacheManager(const FileCacheManager &) = delete;
    FileCacheManager &operator=(const FileCacheManager &) = delete;

    // Rebuilds the pool with `numBlocks` blocks (0 counts as 1) and returns
    // the count it got.  The same size as now returns at once and keeps
    // everything; any other call first waits for the reads under way and
    // loses all cached data.  Growing beyond the reservation, or beyond
    // what the system commits, leaves the pool as it was.  The block size
    // is the constructor's: a different `blockSize` counts as a change,
    // and the pool keeps its own.  A disabled manager stays so and gives 0.
    int32_t SetSize(uint32_t numBlocks, uint32_t blockSize);

    // A record for `file`, owned by it; null when the manager is disabled.
    FileCacheBuffers *Register(const FileObject &file);

    uint32_t GetBlockSize() const { return blockSize; }
    uint32_t GetNumBlocks() const { return numBlocks; }

    // Any pointer may be null.  bytesFromDisk: bytes loaded into blocks.
    // bytesFromCache: bytes delivered less bytes loaded.  hitPercent:
    // bytesFromCache * 100 / (bytesFromCache + bytesFromDisk), 0 when
    // nothing was delivered.
    void GetStatistics(double *hitPercent, double *bytesFromDisk, double *bytesFromCache);
    void ResetStatisticCounters();

protected:
    // The least recently used block that is free or cached, claimed
    // (BlockClaimed), or null when every block is busy.  A cached block
    // leaves its file; it keeps its place until it is inserted again.
    CacheBlock *AllocBlock();
    // Frees a block and makes it the first to be claimed again.
    void Free(CacheBlock *block);

    ThreadEvent gate;       // open (signalled) but while the pool is rebuilt
    CriticalSection lock;   // the pool, all lists, all blocks, the counters
    QX_Heap heap;           // the CacheBlock records and FileCacheBuffers
    uint32_t blockSize;
    List<CacheBlock> blocks;  // all blocks, owned; most recently used first
    char *memory;             // the reservation, null while there is none
    uint32_t numBlocks;
    uint32_t reservedBytes;
    uint32_t committedBytes;  // from `memory` on
    int enabled;
    std::atomic<int32_t> activeReaders;  // File::ReadCache calls under way
    double bytesLoaded;
    double bytesDelivered;

private:
    friend class CacheBlock;
    friend class FileCacheBuffers;
    friend class File;

    // Shuts the gate and waits until no reader is left.
    void CloseGate();
    int32_t BuildPool(uint32_t count, uint32_t granularity);
    void ResizePool(uint32_t count);
    void DropPool();
    void MoveToHead(CacheBlock *block);
};

#endif
