// MultiFileBuffer: the buffer table and the pointer arithmetic; and the
// two kinds of channel that fill its buffers.
//
// The table keeps its records most recently used first and moves them by
// value, so that the search for a window mostly ends at place 0 or 1.  A
// channel links to its record by `id` alone.  Windows of the plain kind
// are whole-page blocks from VirtualAlloc, kept and grown in place as a
// buffer is reused; windows of the mapped kind are references to views
// that the MappedFile counts.
#include "CommonVcZq/files/multi_file_buffer.h"

#include <string.h>

#include <algorithm>

#include "CommonVcZq/files/file_cache.h"
#include "CommonVcZq/qx_vc/qx_heap.h"
#include "files/globals.h"
#include "platform/win32.h"

namespace {

// To a multiple of `m`; `x` stays when `x` or `m` is 0.
int32_t RoundUp(int32_t x, int32_t m) {
    if (!x || !m)
        return x;
    const int32_t r = x % m;
    return r ? x + (r > 0 ? m - r : -r) : x;
}

int32_t RoundDown(int32_t x, int32_t m) {
    if (!x || !m)
        return x;
    const int32_t r = x % m;
    return r > 0 ? x - r : (r < 0 ? x - r - m : x);
}

int32_t PageSize() { return static_cast<int32_t>(_memoryGeometry.pageSize); }
int32_t Granularity() { return static_cast<int32_t>(_memoryGeometry.allocationGranularity); }

char *AddOffset(const void *base, int32_t offset) {
    return reinterpret_cast<char *>(reinterpret_cast<uintptr_t>(base) + static_cast<uintptr_t>(static_cast<intptr_t>(offset)));
}

void SetEmpty(MultiFileBuffer::Buffer &b) {
    const int32_t id = b.id;
    memset(&b, 0, sizeof b);
    b.id = id;
    b.pendingOffset = -1;
    b.pendingSize = -1;
}

void ResetChannel(MultiFileBuffer::ChannelInfo &c) {
    memset(&c, 0, sizeof c);
    c.bufferId = -1;
}

}  // namespace

// ------------------------------------------------------------------ Buffer

void MultiFileBuffer::Buffer::Clear(MultiFileBuffer *) {
    if (view)
        viewFile->Release(view);
    else if (memory)
        FreeBufferMemory(memory);
    if (stage)
        FreeBufferMemory(stage);
    SetEmpty(*this);
}

void MultiFileBuffer::Buffer::AttachMemory(MultiFileBuffer *, int32_t wanted, MappedFile::View *newView) {
    if (memory && (view != nullptr) != (newView != nullptr)) {
        if (view)
            viewFile->Release(view);
        else
            FreeBufferMemory(memory);
        memory = nullptr;
        view = nullptr;
    }
    if (memory && newView) {
        // Hold one reference: the old view's goes back, or, for the same
        // view, the one that FindElseCreate has just added.
        if (view != newView)
            viewFile->Release(view);
        else
            newView->owner->Release(newView);
        memory = newView->address;
        memorySize = wanted;
    } else if (memory && memorySize < wanted) {
        FreeBufferMemory(memory);
        memory = static_cast<char *>(AllocateBufferMemory(wanted));
        memorySize = wanted;
    } else if (!memory) {
        memory = newView ? newView->address : static_cast<char *>(AllocateBufferMemory(wanted));
        memorySize = wanted;
    }
    viewFile = newView ? newView->owner : nullptr;
    view = newView;
}

// --------------------------------------------------------- MultiFileBuffer

MultiFileBuffer::MultiFileBuffer(int32_t numChannels, int32_t numBuffers, Mode mode)
    : numBuffers(0),
      maxBuffers(mode ? numChannels : numBuffers),
      numChannels(numChannels),
      maxBuffersPerFile(mode ? 1 : 2 * numChannels),
      commit(1),
      writing(mode != ModeRead),
      mode(mode) {
    channels = new ChannelInfo[numChannels];
    files = new BufferedFile *[numChannels];
    for (int32_t i = 0; i < numChannels; ++i) {
        ResetChannel(channels[i]);
        files[i] = nullptr;
    }
    buffers = new Buffer[maxBuffers];
    for (int32_t i = 0; i < maxBuffers; ++i) {
        buffers[i].id = i;
        SetEmpty(buffers[i]);
    }
}

MultiFileBuffer::~MultiFileBuffer() {
    Reset();
    delete[] buffers;
    delete[] files;
    delete[] channels;
}

void MultiFileBuffer::Reset() {
    for (int32_t i = 0; i < numBuffers; ++i)
        buffers[i].Clear(this);
    for (int32_t i = 0; i < numChannels; ++i) {
        delete files[i];
        files[i] = nullptr;
        ResetChannel(channels[i]);
    }
    numBuffers = 0;
}

void MultiFileBuffer::MoveToFront(int32_t place) {
    std::rotate(buffers, buffers + place, buffers + place + 1);
}

MultiFileBuffer::Buffer *MultiFileBuffer::FindById(int32_t id) {
    for (int32_t i = 0; i < numBuffers; ++i)
        if (buffers[i].id == id)
            return &buffers[i];
    return nullptr;
}

void *MultiFileBuffer::GetVirtualPointer(int32_t offset, int channel, int forward) {
    BufferedFile &f = *files[channel];
    const int32_t wanted = forward ? offset : std::max(offset - f.elementSize, int32_t(0));

    int32_t sameFile = 0;
    int32_t hit = -1;
    for (int32_t i = 0; i < numBuffers; ++i) {
        const Buffer &b = buffers[i];
        if (b.file != f.file)
            continue;
        ++sameFile;
        if (wanted >= b.fileOffset && b.fileOffset + b.size >= wanted + f.elementSize) {
            hit = i;
            break;
        }
    }

    if (hit >= 0) {
        MoveToFront(hit);
        if (commit && buffers[0].pendingOffset >= 0)
            buffers[0].complete(this, &buffers[0]);
        StoreChannelCurrentBufferInfo(0, channel);
    } else {
        int32_t place = -1;
        int recycle = 0;
        if (numBuffers < maxBuffers && sameFile < maxBuffersPerFile) {
            place = numBuffers;
        } else if (writing) {
            for (int32_t i = 0; i < numBuffers && place < 0; ++i)
                if (buffers[i].file == f.file) {
                    place = i;
                    recycle = 1;
                }
            if (place < 0 && numBuffers < maxBuffers)
                place = numBuffers;
        } else {
            // The least recently used buffer that no channel stands on; a
            // file at its quota must give up one of its own.
            const int atQuota = sameFile == maxBuffersPerFile;
            for (int32_t i = numBuffers - 1; i >= 0 && place < 0; --i)
                if (buffers[i].users == 0 && (!atQuota || buffers[i].file == f.file))
                    place = i;
        }
        if (place < 0)
            return nullptr;  // a table too small for its channels

        MoveToFront(place);
        // The place counts as used before the transfer, so that a failed
        // one leaves the record in the table with its pending transfer.
        if (place == numBuffers)
            ++numBuffers;
        Buffer &b = buffers[0];
        if (!writing) {
            f.OnDataRequest(wanted, b, forward);
        } else if (!recycle) {
            f.OnWriteBufferRequest(wanted, b);
        } else {
            f.Flush(-1);
            if (b.view)
                f.OnWriteBufferRequest(wanted, b);
        }
        StoreChannelCurrentBufferInfo(0, channel);
    }
    const ChannelInfo &c = channels[channel];
    return AddOffset(c.start, offset - c.fileOffset);
}

void *MultiFileBuffer::UpdateBufferForward(const void *pointer, int channel) {
    return GetVirtualPointer(VirtualPointerToFileOffset(pointer, channel), channel, 1);
}

void *MultiFileBuffer::UpdateBufferBackward(const void *pointer, int channel) {
    return GetVirtualPointer(VirtualPointerToFileOffset(pointer, channel), channel, 0);
}

void MultiFileBuffer::StoreChannelCurrentBufferInfo(int32_t index, int channel) {
    Buffer &b = buffers[index];
    ChannelInfo &c = channels[channel];
    const int32_t elementSize = files[channel]->elementSize;
    c.start = b.data;
    c.end = AddOffset(c.start, b.size);
    c.low = AddOffset(c.start, elementSize);
    c.high = AddOffset(c.end, -elementSize);
    c.fileOffset = b.fileOffset;
    if (c.bufferId >= 0)
        if (Buffer *old = FindById(c.bufferId))
            --old->users;
    ++b.users;
    c.bufferId = b.id;
}

void MultiFileBuffer::AdoptCurrentFile(BufferedFile *file, int channel) {
    delete files[channel];
    files[channel] = file;
    file->owner = this;
    file->channel = channel;
    if (writing)
        file->AdjustWriteBufferSize();
    else
        file->bufferSize = RoundUp(file->bufferSize, file->unitSize);
}

void MultiFileBuffer::StopUsingFile(const FileObject &file) {
    for (int32_t i = 0; i < numBuffers; ++i) {
        Buffer &b = buffers[i];
        if (b.file != &file)
            continue;
        for (int32_t c = 0; c < numChannels; ++c)
            if (channels[c].bufferId == b.id)
                ResetChannel(channels[c]);
        b.Clear(this);
    }
}

void MultiFileBuffer::ValidateWriting(int32_t end, int32_t newSize, uint32_t reopenFlags, int channel) {
    BufferedFile *f = files[channel];
    if (!f)
        return;
    f->ValidateWriting(end, newSize, reopenFlags);
    StopUsingFile(*f->file);
}

void *MultiFileBuffer::AllocateBufferMemory(int32_t size) {
    void *block = VirtualAlloc(nullptr, static_cast<SIZE_T>(size), MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    if (!block)
        ExecuteStandardNewHandler();
    return block;
}

void MultiFileBuffer::FreeBufferMemory(void *address) {
    VirtualFree(address, 0, MEM_RELEASE);
}

// ------------------------------------------------------------ BufferedFile

BufferedFile::BufferedFile(FileObject &file, int32_t start, int32_t size, int32_t elementsPerUnit,
                           int32_t elementSize, int32_t bufferSize, int writing)
    : file(&file),
      bufferSize(bufferSize),
      elementsPerUnit(elementsPerUnit),
      elementSize(elementSize),
      unitSize(elementsPerUnit * elementSize),
      writing(writing),
      owner(nullptr),
      channel(0),
      start(start),
      segmentSize(size),
      requestedSize(size),
      requestedBufferSize(bufferSize) {
    if (size < 1 && !writing)
        segmentSize = file.GetFileSize() - start;
    if (file.GetCache() && !writing)
        this->bufferSize = std::max(static_cast<int32_t>(file.GetCache()->GetBlockSize() / 2), PageSize());
}

BufferedFile::~BufferedFile() = default;

int BufferedFile::IsSameFile(FileObject &other, int32_t otherStart, int32_t size, int32_t otherElementsPerUnit,
                             int32_t otherElementSize, int32_t otherBufferSize, int otherWriting) const {
    return file == &other && start == otherStart && requestedSize == size &&
           elementsPerUnit == otherElementsPerUnit && elementSize == otherElementSize &&
           requestedBufferSize == otherBufferSize && writing == otherWriting;
}

int32_t BufferedFile::WindowStart(int32_t offset, int forward) const {
    int32_t rel = offset - start;
    if (forward)
        return RoundDown(rel, unitSize);
    rel = rel - bufferSize + unitSize;
    return RoundUp(rel < 1 ? 0 : rel, unitSize);
}

// ----------------------------------------------------- ClassicBufferedFile

namespace {

void CompletePlainRead(MultiFileBuffer *owner, MultiFileBuffer::Buffer *b) {
    b->AttachMemory(owner, b->pendingSize, nullptr);
    b->data = b->memory;
    // Without a cache record ReadCache seeks and reads under the file's
    // lock, which is the uncached road.
    static_cast<File *>(b->file)->ReadCache(b->pendingOffset, b->memory, b->pendingSize, nullptr, 1);
    b->pendingOffset = -1;
    b->pendingSize = -1;
}

void CompleteMappedWindow(MultiFileBuffer *owner, MultiFileBuffer::Buffer *b) {
    MappedFile::View *view = static_cast<MappedFile *>(b->file)->FindElseCreate(
        static_cast<uint32_t>(b->pendingOffset), static_cast<uint32_t>(b->pendingSize));
    b->AttachMemory(owner, b->pendingSize, view);
    b->data = AddOffset(b->memory, b->fileOffset - static_cast<int32_t>(view->offset));
    b->pendingOffset = -1;
    b->pendingSize = -1;
}

// Records the transfer on `b`, and makes it at once unless the owner's
// commit status is 0.
void RequestWindow(MultiFileBuffer *owner, MultiFileBuffer::Buffer &b, FileObject *file, int32_t fileOffset,
                   int32_t size, int32_t pendingOffset, int32_t pendingSize,
                   void (*complete)(MultiFileBuffer *, MultiFileBuffer::Buffer *)) {
    b.size = size;
    b.data = nullptr;
    b.fileOffset = fileOffset;
    b.file = file;
    b.pendingOffset = pendingOffset;
    b.pendingSize = pendingSize;
    b.complete = complete;
    if (owner->GetCommitStatus())
        complete(owner, &b);
}

// Register of both kinds: a channel that has the segment already keeps
// its object, with its buffers and pointers.
template <class Kind, class FileKind>
void RegisterSegment(MultiFileBuffer &buffer, int channel, FileKind &file, int32_t start, int32_t size,
                     int32_t elementsPerUnit, int32_t elementSize, int32_t bufferSize, int writing) {
    BufferedFile *old = buffer.GetFile(channel);
    if (old && old->IsSameFile(file, start, size, elementsPerUnit, elementSize, bufferSize, writing))
        return;
    buffer.AdoptCurrentFile(new Kind(file, start, size, elementsPerUnit, elementSize, bufferSize, writing), channel);
}

}  // namespace

ClassicBufferedFile::ClassicBufferedFile(File &file, int32_t start, int32_t size, int32_t elementsPerUnit,
                                         int32_t elementSize, int32_t bufferSize, int writing)
    : BufferedFile(file, start, size, elementsPerUnit, elementSize, ValidateBufferSize(bufferSize), writing),
      blockSize(file.GetCache() ? static_cast<int32_t>(file.GetCache()->GetBlockSize()) : 0x10000) {
    requestedSize = size;
    requestedBufferSize = bufferSize;
}

void ClassicBufferedFile::Register(MultiFileBuffer &buffer, int channel, File &file, int32_t start, int32_t size,
                                   int32_t elementsPerUnit, int32_t elementSize, int32_t bufferSize, int writing) {
    RegisterSegment<ClassicBufferedFile>(buffer, channel, file, start, size, elementsPerUnit, elementSize,
                                         bufferSize, writing);
}

int32_t ClassicBufferedFile::ValidateBufferSize(int32_t size) {
    return RoundUp(size, PageSize());
}

void ClassicBufferedFile::OnDataRequest(int32_t offset, MultiFileBuffer::Buffer &buffer, int forward) {
    const int32_t rel = WindowStart(offset, forward);
    const int32_t size =
        std::min(RoundDown(RoundUp(RoundUp(bufferSize + unitSize, unitSize), PageSize()), unitSize), segmentSize - rel);
    RequestWindow(owner, buffer, file, start + rel, size, start + rel, size, CompletePlainRead);
}

void ClassicBufferedFile::OnWriteBufferRequest(int32_t, MultiFileBuffer::Buffer &buffer) {
    const int32_t size = RoundUp(bufferSize, unitSize);
    buffer.AttachMemory(owner, size, nullptr);
    buffer.size = size;
    buffer.data = buffer.memory;
    buffer.fileOffset = start;
    buffer.file = file;
    if (buffer.stage)
        MultiFileBuffer::FreeBufferMemory(buffer.stage);
    buffer.stage = static_cast<char *>(MultiFileBuffer::AllocateBufferMemory(blockSize));
    buffer.stageOffset = RoundDown(start, blockSize);
    buffer.stagePrefix = start % blockSize;
    buffer.stageFilled = 0;
}

void ClassicBufferedFile::Flush(int32_t end) {
    MultiFileBuffer::ChannelInfo &c = owner->channels[channel];
    MultiFileBuffer::Buffer *b = c.bufferId >= 0 ? owner->FindById(c.bufferId) : nullptr;
    if (!b)
        return;
    const int32_t count = end < 0 ? b->size : end + start - b->fileOffset;
    File &out = *static_cast<File *>(file);
    // A part block waits in the stage across full-buffer flushes; the last
    // flush writes it, even when it brings no bytes of its own.
    int32_t done = 0;
    while (done < count || (count == 0 && end >= 0 && b->stageFilled > 0)) {
        const int32_t room = blockSize - b->stagePrefix - b->stageFilled;
        const int32_t n = std::min(room, count - done);
        memcpy(b->stage + b->stagePrefix + b->stageFilled, b->data + done, static_cast<size_t>(n));
        b->stageFilled += n;
        done += n;
        if (b->stagePrefix + b->stageFilled == blockSize || (done == count && end >= 0)) {
            out.WriteCache(b->stageOffset, b->stage, static_cast<uint32_t>(blockSize), b->stagePrefix, b->stageFilled);
            b->stageOffset += b->stagePrefix + b->stageFilled;
            b->stagePrefix = 0;
            b->stageFilled = 0;
        }
    }
    b->fileOffset += count;
    c.fileOffset = b->fileOffset;
}

void ClassicBufferedFile::ValidateWriting(int32_t end, int32_t newSize, uint32_t reopenFlags) {
    Flush(end);
    if (newSize >= 0)
        static_cast<File *>(file)->AdjustSizeOfCachedFile(newSize, static_cast<int32_t>(reopenFlags));
}

void ClassicBufferedFile::AdjustWriteBufferSize() {
    if (file->GetCache())
        bufferSize = blockSize;
    bufferSize = RoundUp(RoundUp(bufferSize, PageSize()), unitSize);
}

// ------------------------------------------------------ MappedBufferedFile

MappedBufferedFile::MappedBufferedFile(MappedFile &file, int32_t start, int32_t size, int32_t elementsPerUnit,
                                       int32_t elementSize, int32_t bufferSize, int writing)
    : BufferedFile(file, start, writing ? file.GetFileSize() - start : size, elementsPerUnit, elementSize,
                   ValidateBufferSize(bufferSize), writing) {
    requestedSize = size;
    requestedBufferSize = bufferSize;
}

void MappedBufferedFile::Register(MultiFileBuffer &buffer, int channel, MappedFile &file, int32_t start,
                                  int32_t size, int32_t elementsPerUnit, int32_t elementSize, int32_t bufferSize,
                                  int writing) {
    RegisterSegment<MappedBufferedFile>(buffer, channel, file, start, size, elementsPerUnit, elementSize,
                                        bufferSize, writing);
}

int32_t MappedBufferedFile::ValidateBufferSize(int32_t size) {
    return RoundUp(size, Granularity());
}

void MappedBufferedFile::OnDataRequest(int32_t offset, MultiFileBuffer::Buffer &buffer, int forward) {
    const int32_t granularity = Granularity();
    int32_t rel, size, mapStart, mapSize;
    if (bufferSize) {
        rel = WindowStart(offset, forward);
        mapStart = RoundDown(start + rel, granularity);
        // The view starts on the granularity in any case: the window takes
        // in the whole units between that boundary and the request.
        const int32_t back = RoundDown(start + rel - mapStart, unitSize);
        rel -= back;
        mapSize = std::min(RoundUp(RoundUp(unitSize + bufferSize + back, unitSize), granularity),
                           start + segmentSize - mapStart);
        size = RoundDown(mapStart + mapSize - (start + rel), unitSize);
    } else {
        rel = 0;
        size = segmentSize;
        mapStart = RoundDown(start, granularity);
        mapSize = start + segmentSize - mapStart;
    }
    RequestWindow(owner, buffer, file, start + rel, size, mapStart, mapSize, CompleteMappedWindow);
}

void MappedBufferedFile::OnWriteBufferRequest(int32_t offset, MultiFileBuffer::Buffer &buffer) {
    OnDataRequest(offset, buffer, 1);
}
