// The block cache: the pool and its lists, and File's cached reads and
// writes.
//
// Lists.  The manager's `blocks` holds every block of the pool, most
// recently used first; a block to reuse is sought from its tail, and a
// freed block goes to the tail, so it is the next one claimed.  Each
// file's list holds its blocks in state BlockCached or BlockFresh, most
// recently used first.  A hit or an insertion moves the block to the head
// of both lists.
//
// A block's life: BlockFree or BlockCached to BlockClaimed (AllocBlock); to
// BlockFresh once read (InsertRead) or to BlockCached once written
// (InsertWritten); BlockFresh to BlockCached when first copied out; back
// to BlockFree by Free, DropBlocks or a rebuild of the pool.  A claimed or
// fresh block is never taken by AllocBlock, so a reader keeps the block it
// just filled until it has copied from it, without holding the lock over
// the disk read.
//
// Rebuilds.  SetSize and the destructor shut the gate, wait until the
// count of readers falls to 0, and only then take the lock: no reader then
// holds a claimed or fresh block.  A reader counts itself in, then looks
// at the gate, and backs out to wait for it when it is shut; a rebuild
// shuts the gate before it reads the count.  So whichever of the two comes
// second sees the other, and no reader can slip in between a rebuild's
// poll of the count and its lock.  Writers need no gate: InsertWritten
// holds the lock from its claim to its insertion.
//
// ResetStatisticCounters takes the lock as well: readers add to the
// counters meanwhile, and unguarded writes to a double would race.
#include "CommonVcZq/files/file_cache.h"

#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "CommonVcZq/files/file.h"
#include "CommonVcZq/frame/exception.h"
#include "CommonVcZq/text/messages.h"
#include "platform/win32.h"

namespace {

// The pause between two polls: for a free block, for readers to leave.
const DWORD kPollMilliseconds = 20;

// The reservation: half the physical memory, at most this much.
const uint64_t kMaxReservation = 0x8000000;

}  // namespace

// ------------------------------------------------------------- CacheBlock

CacheBlock::CacheBlock(char *data)
    : data(data), length(0), start(0), end(0), owner(nullptr), state(BlockFree), nextInFile(nullptr),
      prevInFile(nullptr) {}

CacheBlock::~CacheBlock() {}

void CacheBlock::Unlink() {
    FileCacheBuffers *file = owner;
    file->blocks.Detach(this);
    state = BlockFree;
    if (file->range.left == start)
        file->range.left = end;
    if (file->range.right == end - 1)
        file->range.right = start - 1;
    if (file->blocks.IsEmpty())
        file->range.Invalidate();
}

// ------------------------------------------------------- FileCacheBuffers

FileCacheBuffers::FileCacheBuffers(FileCacheManager *manager, const FileObject *file)
    : heap(&manager->heap), file(file), manager(manager), range(1, 0) {}

uint32_t FileCacheBuffers::GetBlockSize() const {
    return manager->blockSize;
}

FileCacheBuffers::~FileCacheBuffers() {
    DropBlocks();
}

int32_t FileCacheBuffers::CopyFromCache(int32_t offset, void *destination, int32_t size) {
    AutoCriticalSection hold(manager->lock);
    if (blocks.IsEmpty() || !range.ContainsPoint(offset))
        return 0;
    CacheBlock *block = blocks.GetFirst();
    while (block && !(block->start <= offset && offset < block->end))
        block = block->nextInFile;
    if (!block)
        return 0;
    const int32_t n = std::min(size, block->end - offset);
    memcpy(destination, block->data + (offset - block->start), static_cast<size_t>(n));
    manager->bytesDelivered += n;
    blocks.MoveToFront(block);
    manager->MoveToHead(block);
    block->state = CacheBlock::BlockCached;
    return n;
}

void FileCacheBuffers::Widen(int32_t start, int32_t end) {
    if (range.IsValid())
        range |= RangeInt32(start, end - 1);
    else
        range.Set(start, end - 1);
}

void FileCacheBuffers::InsertRead(CacheBlock *block, int32_t start, int32_t count) {
    AutoCriticalSection hold(manager->lock);
    block->length = count;
    block->owner = this;
    block->start = start;
    block->end = start + count;
    block->state = CacheBlock::BlockFresh;
    blocks.Prepend(block);
    Widen(block->start, block->end);
    manager->MoveToHead(block);
    manager->bytesLoaded += count;
}

void FileCacheBuffers::InsertWritten(int32_t offset, const void *data, uint32_t size) {
    AutoCriticalSection hold(manager->lock);
    if (range.ContainsPoint(offset)) {
        for (CacheBlock *b = blocks.GetFirst(); b && b->state == CacheBlock::BlockCached; b = b->nextInFile) {
            if (b->start == offset) {
                manager->Free(b);
                break;
            }
        }
    }
    CacheBlock *block;
    while (!(block = manager->AllocBlock())) {
        manager->lock.Leave();
        Sleep(kPollMilliseconds);
        manager->lock.Enter();
    }
    memcpy(block->data, data, size);
    block->owner = this;
    block->length = static_cast<int32_t>(size);
    block->start = offset;
    block->end = offset + static_cast<int32_t>(size);
    block->state = CacheBlock::BlockCached;
    blocks.Prepend(block);
    Widen(block->start, block->end);
    manager->MoveToHead(block);
}

void FileCacheBuffers::DropBlocks() {
    AutoCriticalSection hold(manager->lock);
    while (CacheBlock *block = blocks.GetFirst())
        manager->Free(block);
}

void FileCacheBuffers::WaitForGate() {
    manager->gate.WaitForIt(INFINITE);
}

void FileCacheBuffers::EnterReading() {
    for (;;) {
        ++manager->activeReaders;
        if (manager->gate.IsTrue())
            return;
        --manager->activeReaders;
        WaitForGate();
    }
}

void FileCacheBuffers::LeaveReading() {
    --manager->activeReaders;
}

// ------------------------------------------------------- FileCacheManager

FileCacheManager::FileCacheManager(uint32_t numBlocks, uint32_t blockSize)
    : gate(1, 0), heap(1, "FileCacheManager"), blockSize(blockSize), blocks(1), memory(nullptr), numBlocks(0),
      reservedBytes(0), committedBytes(0), enabled(1), activeReaders(0), bytesLoaded(0), bytesDelivered(0) {
    enabled = SetSize(numBlocks ? numBlocks : 1, blockSize) != 0;
}

FileCacheManager::~FileCacheManager() {
    CloseGate();
    {
        AutoCriticalSection hold(lock);
        DropPool();
    }
    gate.SetTrue();
}

void FileCacheManager::CloseGate() {
    gate.SetFalse();
    while (activeReaders.load() > 0)
        Sleep(kPollMilliseconds);
}

int32_t FileCacheManager::SetSize(uint32_t count, uint32_t newBlockSize) {
    if (count == 0)
        count = 1;
    if (!enabled)
        return 0;
    if (count == numBlocks && newBlockSize == blockSize)
        return static_cast<int32_t>(numBlocks);
    CloseGate();
    int32_t result;
    {
        AutoCriticalSection hold(lock);
        for (CacheBlock *block = blocks.GetFirst(); block; block = blocks.GetNext(block)) {
            if (block->state & CacheBlock::BlockCached)
                block->Unlink();
            block->state = CacheBlock::BlockFree;
        }
        SYSTEM_INFO system;
        GetSystemInfo(&system);
        if (!memory) {
            result = BuildPool(count, system.dwAllocationGranularity);
        } else {
            ResizePool(count);
            result = static_cast<int32_t>(numBlocks);
        }
    }
    gate.SetTrue();
    return result;
}

// The first pool: a reservation, and as many blocks of it committed as the
// system grants, a tenth fewer at each refusal.
int32_t FileCacheManager::BuildPool(uint32_t count, uint32_t granularity) {
    MEMORYSTATUS status;
    GlobalMemoryStatus(&status);
    const uint64_t wanted = std::min<uint64_t>(status.dwTotalPhys / 2, kMaxReservation);
    reservedBytes = static_cast<uint32_t>((wanted + granularity - 1) / granularity * granularity);
    memory = static_cast<char *>(VirtualAlloc(nullptr, reservedBytes, MEM_RESERVE, PAGE_READWRITE));
    if (memory && blockSize)
        count = std::min(count, reservedBytes / blockSize);
    else
        count = 0;
    while (count > 0) {
        committedBytes = blockSize * count;
        if (VirtualAlloc(memory, committedBytes, MEM_COMMIT, PAGE_READWRITE))
            break;
        count -= count > 10 ? count / 10 : 1;
    }
    if (count == 0) {
        DropPool();
        return 0;
    }
    for (uint32_t i = 0; i < count; ++i)
        blocks.Append(new (heap) CacheBlock(memory + static_cast<size_t>(i) * blockSize));
    numBlocks = count;
    return static_cast<int32_t>(count);
}

// A new pool size within the reservation, by commit or decommit of the
// tail; the blocks that stay keep their places.
void FileCacheManager::ResizePool(uint32_t count) {
    const uint64_t newBytes = static_cast<uint64_t>(blockSize) * count;
    if (newBytes > committedBytes) {
        if (newBytes > reservedBytes)  // the system would refuse the commit
            return;
        List<CacheBlock> added(1);
        for (uint32_t i = numBlocks; i < count; ++i)
            added.Append(new (heap) CacheBlock(memory + static_cast<size_t>(i) * blockSize));
        if (VirtualAlloc(memory, static_cast<SIZE_T>(newBytes), MEM_COMMIT, PAGE_READWRITE)) {
            blocks.Absorb(added, blocks.GetLast());
            numBlocks = count;
            committedBytes = static_cast<uint32_t>(newBytes);
        }
    } else if (newBytes < committedBytes) {
        VirtualFree(memory + newBytes, committedBytes - newBytes, MEM_DECOMMIT);
        const char *cut = memory + newBytes;
        for (CacheBlock *block = blocks.GetFirst(); block;) {
            CacheBlock *next = blocks.GetNext(block);
            if (block->data >= cut)
                blocks.Delete(block);
            block = next;
        }
        numBlocks = count;
        committedBytes = static_cast<uint32_t>(newBytes);
    }
}

// Deletes every block and releases the reservation.  The lock is held.
void FileCacheManager::DropPool() {
    blocks.DeleteAll();
    if (memory)
        VirtualFree(memory, 0, MEM_RELEASE);
    memory = nullptr;
    numBlocks = reservedBytes = committedBytes = 0;
}

FileCacheBuffers *FileCacheManager::Register(const FileObject &file) {
    if (!enabled)
        return nullptr;
    return new (heap) FileCacheBuffers(this, &file);
}

void FileCacheManager::GetStatistics(double *hitPercent, double *bytesFromDisk, double *bytesFromCache) {
    AutoCriticalSection hold(lock);
    const double fromCache = bytesDelivered - bytesLoaded;
    const double sum = fromCache + bytesLoaded;
    if (hitPercent)
        *hitPercent = sum != 0 ? fromCache * 100.0 / sum : 0;
    if (bytesFromDisk)
        *bytesFromDisk = bytesLoaded;
    if (bytesFromCache)
        *bytesFromCache = fromCache;
}

void FileCacheManager::ResetStatisticCounters() {
    AutoCriticalSection hold(lock);
    bytesLoaded = 0;
    bytesDelivered = 0;
}

CacheBlock *FileCacheManager::AllocBlock() {
    AutoCriticalSection hold(lock);
    for (CacheBlock *block = blocks.GetLast(); block; block = blocks.GetPrev(block)) {
        if (block->state == CacheBlock::BlockFree || block->state == CacheBlock::BlockCached) {
            if (block->state == CacheBlock::BlockCached)
                block->Unlink();
            block->state = CacheBlock::BlockClaimed;
            return block;
        }
    }
    return nullptr;
}

void FileCacheManager::Free(CacheBlock *block) {
    AutoCriticalSection hold(lock);
    if (block->state & CacheBlock::BlockCached)
        block->Unlink();
    if (block != blocks.GetLast()) {
        blocks.Detach(block);
        blocks.Append(block);
    }
    block->state = CacheBlock::BlockFree;
}

void FileCacheManager::MoveToHead(CacheBlock *block) {
    if (block != blocks.GetFirst()) {
        blocks.Detach(block);
        blocks.Prepend(block);
    }
}

// ------------------------------------------------------------------- File

namespace {

// Raises 0x4652 with the file's name and the platform's last error.
void RaiseReadError(const FileName &name) {
    const uint32_t error = GetLastError();
    char text[1024];
    snprintf(text, sizeof text, String(FindString(MSG_FILE_READ_ERROR)).c_str(), name.c_str());
    ExceptionThrower(0).SetAndThrow(text, error);
}

}  // namespace

FileObject::FileObject(FileCacheManager *manager) : cache(manager ? manager->Register(*this) : nullptr) {}

FileObject::~FileObject() {
    delete cache;
}

File::File(const FileName &name, int flags, FileCacheManager &manager) : File() {
    cache = manager.Register(*this);
    const int hints = OpenWriteThrough | OpenRandomAccess | OpenSequentialScan;
    Open(name, cache ? (flags | OpenNoBuffering) & ~hints : flags & ~OpenNoBuffering);
    if (flags & OpenThreadSafe)
        lock = new CriticalSection;
}

int File::ReadCache(int32_t offset, void *buffer, int32_t size, int32_t *got, int mustSucceed) {
    if (got)
        *got = 0;
    if (!cache) {
        AutoCriticalSection hold(lock);
        Seek(offset, OriginBegin, 1);
        return Read(buffer, size, mustSucceed, got);
    }
    if (size == 0)
        return 1;
    if (size < 0) {
        if (mustSucceed)
            RaiseReadError(name);
        return 0;
    }

    FileCacheManager *manager = cache->manager;
    const int32_t blockSize = static_cast<int32_t>(manager->blockSize);
    char *destination = static_cast<char *>(buffer);
    int32_t remaining = size;
    bool failed = false;
    // Nothing in the loop raises: the reads and seeks are those that don't.
    cache->EnterReading();
    if (lock)
        lock->Enter();
    CacheBlock *fresh = nullptr;  // the block read in the last turn
    bool atEnd = false;
    for (;;) {
        while (remaining > 0) {
            const int32_t n = cache->CopyFromCache(offset, destination, remaining);
            if (n == 0)
                break;
            fresh = nullptr;
            offset += n;
            destination += n;
            remaining -= n;
        }
        if (remaining == 0)
            break;
        if (fresh) {  // the block just read ends before `offset`
            manager->Free(fresh);
            failed = true;
            break;
        }
        if (atEnd)
            break;
        const int32_t blockStart = offset - offset % blockSize;
        if (Seek(blockStart, OriginBegin, 0) != blockStart) {
            failed = true;
            break;
        }
        CacheBlock *block;
        while (!(block = manager->AllocBlock()))
            Sleep(kPollMilliseconds);
        int32_t count = 0;
        if (!Read(block->data, blockSize, 0, &count)) {
            if (count < 0) {
                manager->Free(block);
                failed = true;
                break;
            }
            atEnd = true;
            if (count == 0) {
                manager->Free(block);
                break;
            }
        }
        cache->InsertRead(block, blockStart, count);
        fresh = block;
    }
    if (lock)
        lock->Leave();
    cache->LeaveReading();

    if ((failed || remaining != 0) && mustSucceed)
        RaiseReadError(name);
    if (got)
        *got = size - remaining;
    return remaining == 0;
}

void File::WriteCache(int32_t offset, void *block, uint32_t size, int32_t prefix, int32_t filled) {
    if (size == 0)
        return;
    char *bytes = static_cast<char *>(block);
    if (!cache) {
        Seek(offset + prefix, OriginBegin, 1);
        Write(bytes + prefix, filled ? static_cast<uint32_t>(filled) : size);
        return;
    }
    if (prefix)
        ReadCache(offset, bytes, prefix, nullptr, 1);
    if (filled) {
        const int32_t tailStart = prefix + filled;
        const int32_t tail = static_cast<int32_t>(size) - tailStart;
        int32_t got = 0;
        if (tail && !ReadCache(offset + tailStart, bytes + tailStart, tail, &got, 0))
            memset(bytes + tailStart + got, 0, static_cast<size_t>(tail - got));
    }
    if (Seek(offset, OriginBegin, 1) != offset)
        ExceptionThrower(0).SetAndThrow(ResMess(MSG_FILE_WRITE_ERROR), static_cast<uint32_t>(GetLastError()));
    Write(bytes, size);
    cache->InsertWritten(offset, bytes, size);
}
