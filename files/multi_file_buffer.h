// Walking file data with plain pointers: MultiFileBuffer and its channels.
//
// A MultiFileBuffer holds a few windows of file data in memory and lets a
// program walk through them with ordinary pointers, forward or backward,
// on several streams ("channels", numbered from 0) at once.  Each channel
// is a cursor over one registered file segment, a BufferedFile: a
// ClassicBufferedFile reads its windows from a File into blocks of memory
// (through the block cache when the file has one), a MappedBufferedFile
// hands out counted views of a MappedFile.  All channels share one table
// of Buffer records, kept most recently used first, in which one file may
// fill at most 2 * numChannels places (1 in write mode).
//
// A virtual pointer is an address in the channel's current window that
// the client may move past the window without a call: the channel knows
// the file offset of its window's first byte, so every pointer value
// stands for one file offset.  ValidateVirtualPointer compares the pointer
// with the highest place from which one element can be read, and only
// when it lies beyond brings in a window that holds its offset and
// rewrites it:
//
//     MultiFileBuffer buffer(1, 3);
//     ClassicBufferedFile::Register(buffer, 0, file, 0, 0, 1, 4, 65536, 0);
//     char *p = (char *)buffer.GetVirtualPointer(0, 0);
//     for (int32_t i = 0; i < count; ++i, p += 4) {
//         buffer.ValidateVirtualPointer((void **)&p, 0);
//         use(*(uint32_t *)p);
//     }
//
// Backward the element lies just before the pointer: GetVirtualPointer-
// Backward and ValidateVirtualPointerBackward, then read at p - size.
//
// Windows begin on units of the segment (elementsPerUnit elements) and
// are sized after the channel's kind: a plain window on a cached file is
// about half a cache block, a mapped window is widened to the allocation
// granularity on which views begin.
//
// Writing: a MultiFileBuffer built with ModeWrite gives each channel one
// buffer that moves forward along the file; the client writes into it,
// validates its pointer as above, and ends with ValidateWriting or Flush.
// A plain channel writes through a staging block of the cache's block
// size with File::WriteCache, so that a segment needn't start on a block.
//
// The commit status: while it is 0 a request only records the transfer it
// needs, and the pointers it gives are numbers good for arithmetic only;
// the first hit on the buffer once it is 1 again carries it out.
//
// Failures of the transfers (File::ReadCache, File::Read, the MappedFile
// views, File::WriteCache) pass up unchanged through GetVirtualPointer and
// ValidateVirtualPointer; the buffer keeps its pending transfer, and a
// later request for it tries again.  When the platform has no memory for a
// window, the standard new handler runs.
//
// Neither object is thread-safe; the MultiFileBuffer owns its BufferedFile
// objects but not the File or MappedFile beneath, which must outlive it or
// be given up first with StopUsingFile (also before a MappedFile remaps).
// Channel numbers and offsets are not checked: a channel must be below
// GetNumChannel and registered before a pointer is asked for, and requests
// stay inside the segment.
#ifndef CVZ_FILES_MULTI_FILE_BUFFER_H
#define CVZ_FILES_MULTI_FILE_BUFFER_H

#include <stdint.h>

#include "CommonVcZq/files/file.h"
#include "CommonVcZq/files/mapped_file.h"
#include "CommonVcZq/frame/api.h"

class BufferedFile;

class CVZ_API MultiFileBuffer {
public:
    enum Mode { ModeRead = 0, ModeWrite = 1 };  // any non-zero value writes

    // One window of one file.  Records move within the table by value; a
    // channel names its buffer by `id`, which stays with the record.
    class CVZ_API Buffer {
    public:
        // Gives back the view or the block, and the staging block; every
        // field but `id` returns to its empty value.
        void Clear(MultiFileBuffer *owner);
        // Makes `memory` hold `view` (its address), or a block of at least
        // `size` bytes when `view` is null.  A block large enough is kept,
        // so blocks only grow; a view held already loses the reference
        // just gained, so that the buffer holds one.
        void AttachMemory(MultiFileBuffer *owner, int32_t size, MappedFile::View *view);

        char *data;              // first byte of the window; 0 while pending
        char *memory;            // a view's address or a block of the platform
        int32_t fileOffset;      // file offset of data
        int32_t size;            // bytes in the window
        int32_t memorySize;      // bytes in memory
        int32_t users;           // channels standing on this buffer
        int32_t id;              // index at construction
        char *stage;             // plain writing: a block of blockSize bytes
        int32_t stagePrefix;     // bytes of stage before the segment's data
        int32_t stageFilled;     // bytes gathered behind the prefix
        int32_t stageOffset;     // file offset of stage
        FileObject *file;        // null while empty
        MappedFile *viewFile;    // owner of view, kept for giving it back
        MappedFile::View *view;  // the reference held, or null
        int32_t pendingOffset;   // transfer still to do, -1 for none
        int32_t pendingSize;
        void (*complete)(MultiFileBuffer *owner, Buffer *buffer);
    };

    // The current window of a channel, in the form the pointer checks use.
    struct ChannelInfo {
        char *start;
        char *end;
        char *low;   // start + elementSize
        char *high;  // end - elementSize
        int32_t fileOffset;
        int32_t bufferId;  // -1 for none
    };

    // `numBuffers` counts in read mode only, and must exceed numChannels;
    // write mode has one buffer per channel.
    explicit MultiFileBuffer(int32_t numChannels = 1, int32_t numBuffers = 3, Mode mode = ModeRead);
    // Clears every buffer in use, then deletes the BufferedFile objects.
    virtual ~MultiFileBuffer();
    MultiFileBuffer(const MultiFileBuffer &) = delete;
    MultiFileBuffer &operator=(const MultiFileBuffer &) = delete;

    // Back to the state of a new object, without files or buffers in use.
    void Reset();

    // A pointer to the byte at absolute file offset `offset`; null when the
    // table has no place for the window (a table too small for its
    // channels: every buffer is some channel's current one).
    void *GetVirtualPointer(int32_t offset, int channel) { return GetVirtualPointer(offset, channel, 1); }
    // The same for a walk towards the start: the window holds the bytes
    // before `offset`.
    void *GetVirtualPointerBackward(int32_t offset, int channel) { return GetVirtualPointer(offset, channel, 0); }
    // Moves the window when one element can no longer be read at *pointer.
    void ValidateVirtualPointer(void **pointer, int channel) {
        if (reinterpret_cast<uintptr_t>(*pointer) > reinterpret_cast<uintptr_t>(channels[channel].high))
            *pointer = UpdateBufferForward(*pointer, channel);
    }
    // Moves the window when one element can no longer be read before it.
    void ValidateVirtualPointerBackward(void **pointer, int channel) {
        if (reinterpret_cast<uintptr_t>(*pointer) < reinterpret_cast<uintptr_t>(channels[channel].low))
            *pointer = UpdateBufferBackward(*pointer, channel);
    }
    // The file offset of any pointer value, in the window or beyond it.
    int32_t VirtualPointerToFileOffset(const void *pointer, int channel) const {
        const ChannelInfo &c = channels[channel];
        return static_cast<int32_t>(reinterpret_cast<intptr_t>(pointer) - reinterpret_cast<intptr_t>(c.start)) +
               c.fileOffset;
    }
    // end - pointer, negative past the window.
    int32_t GetAvailableBytesFromVirtualPointer(const void *pointer, int channel) const {
        return static_cast<int32_t>(reinterpret_cast<intptr_t>(channels[channel].end) -
                                    reinterpret_cast<intptr_t>(pointer));
    }
    // pointer - start.
    int32_t GetAvailableBytesBeforeVirtualPointer(const void *pointer, int channel) const {
        return static_cast<int32_t>(reinterpret_cast<intptr_t>(pointer) -
                                    reinterpret_cast<intptr_t>(channels[channel].start));
    }
    void *GetStartOfCurrentBuffer(int channel) { return channels[channel].start; }
    void *GetEndOfCurrentBuffer(int channel) { return channels[channel].end; }

    // Ends writing on the channel: its BufferedFile writes what lies
    // before `end` (bytes from the segment's start) and, unless `newSize`
    // is negative, gives the file that size; then StopUsingFile of its
    // file.  Nothing without a registered file.
    void ValidateWriting(int32_t end, int32_t newSize, uint32_t reopenFlags, int channel);
    void Flush(int32_t end, int channel) { ValidateWriting(end, -1, 0, channel); }

    void SetCommitStatus(int status) { commit = status; }
    int GetCommitStatus() const { return commit; }
    int GetNumChannel() const { return numChannels; }
    Mode GetMode() const { return mode; }

    // Makes `file` the channel's segment, deleting the one before (whose
    // buffers stay in the table).  The channel's window is left as it
    // was: ask for a new pointer.  Called by the Register operations.
    void AdoptCurrentFile(BufferedFile *file, int channel);
    // Clears every buffer of `file` and resets the channels that stood on
    // them.  Before a MappedFile is resized or closed, and before a File
    // goes away.
    void StopUsingFile(const FileObject &file);

    // For inspection: the table in recency order and the channels.
    int32_t GetNumBuffers() const { return numBuffers; }
    const Buffer &GetBuffer(int32_t place) const { return buffers[place]; }
    const ChannelInfo &GetChannelInfo(int channel) const { return channels[channel]; }
    BufferedFile *GetFile(int channel) const { return files[channel]; }

    // Whole pages from the platform; on failure the new handler runs, and
    // if it returns the result is null.
    static void *AllocateBufferMemory(int32_t size);
    static void FreeBufferMemory(void *address);

private:
    friend class ClassicBufferedFile;

    void *GetVirtualPointer(int32_t offset, int channel, int forward);
    void *UpdateBufferForward(const void *pointer, int channel);
    void *UpdateBufferBackward(const void *pointer, int channel);
    void StoreChannelCurrentBufferInfo(int32_t index, int channel);
    void MoveToFront(int32_t place);
    Buffer *FindById(int32_t id);

    ChannelInfo *channels;
    Buffer *buffers;
    int32_t numBuffers;
    int32_t maxBuffers;
    BufferedFile **files;
    int32_t numChannels;
    int32_t maxBuffersPerFile;
    int commit;
    int writing;
    Mode mode;
};

// One file segment on a channel: it cuts windows out of the segment and
// fills buffers with them.  The segment is cut into units of unitSize
// bytes from its start; windows begin on units.
class CVZ_API BufferedFile {
public:
    virtual ~BufferedFile();

    // Prepares `buffer` for the window holding `offset` (forward) or the
    // bytes before it (backward), and fills it when the owner's commit
    // status is non-zero.
    virtual void OnDataRequest(int32_t offset, MultiFileBuffer::Buffer &buffer, int forward) = 0;
    // Prepares the channel's one write buffer.
    virtual void OnWriteBufferRequest(int32_t offset, MultiFileBuffer::Buffer &buffer) = 0;
    // Writes the channel's buffer: all of it with `end` -1, else up to
    // `end` bytes from the segment's start; the buffer then stands for the
    // stretch of the file that follows.
    virtual void Flush(int32_t end) = 0;
    // Flush(end), then the file's size when `newSize` isn't negative.
    virtual void ValidateWriting(int32_t end, int32_t newSize, uint32_t reopenFlags) = 0;
    // Fits bufferSize for writing.
    virtual void AdjustWriteBufferSize() = 0;

    // 1 when all seven equal the values as registered.
    int IsSameFile(FileObject &file, int32_t start, int32_t size, int32_t elementsPerUnit, int32_t elementSize,
                   int32_t bufferSize, int writing) const;

    FileObject *GetFileObject() const { return file; }
    int32_t GetBufferSize() const { return bufferSize; }
    int32_t GetElementSize() const { return elementSize; }
    int32_t GetUnitSize() const { return unitSize; }
    int32_t GetStart() const { return start; }
    int32_t GetSegmentSize() const { return segmentSize; }

protected:
    // A size below 1 when not writing means the rest of the file.  On a
    // cached file that is read, bufferSize becomes half the cache's block
    // size, but at least a page.
    BufferedFile(FileObject &file, int32_t start, int32_t size, int32_t elementsPerUnit, int32_t elementSize,
                 int32_t bufferSize, int writing);
    BufferedFile(const BufferedFile &) = delete;
    BufferedFile &operator=(const BufferedFile &) = delete;

    // The start of the window for `offset`, relative to the segment.
    int32_t WindowStart(int32_t offset, int forward) const;

    friend class MultiFileBuffer;

    FileObject *file;
    int32_t bufferSize;  // 0 in a mapped segment: one window for all of it
    int32_t elementsPerUnit;
    int32_t elementSize;
    int32_t unitSize;
    int writing;
    MultiFileBuffer *owner;
    int channel;
    int32_t start;
    int32_t segmentSize;
    int32_t requestedSize;
    int32_t requestedBufferSize;
};

// A segment of a File: windows are blocks of memory read through the
// block cache, or with File::Read under the file's lock.
class CVZ_API ClassicBufferedFile : public BufferedFile {
public:
    // Puts the segment on `channel` unless that channel has it already.
    static void Register(MultiFileBuffer &buffer, int channel, File &file, int32_t start, int32_t size,
                         int32_t elementsPerUnit, int32_t elementSize, int32_t bufferSize, int writing);

    ClassicBufferedFile(File &file, int32_t start, int32_t size, int32_t elementsPerUnit, int32_t elementSize,
                        int32_t bufferSize, int writing);

    void OnDataRequest(int32_t offset, MultiFileBuffer::Buffer &buffer, int forward) override;
    void OnWriteBufferRequest(int32_t offset, MultiFileBuffer::Buffer &buffer) override;
    void Flush(int32_t end) override;
    void ValidateWriting(int32_t end, int32_t newSize, uint32_t reopenFlags) override;
    void AdjustWriteBufferSize() override;

    int32_t GetBlockSize() const { return blockSize; }

protected:
    // Up to whole pages.
    static int32_t ValidateBufferSize(int32_t size);

private:
    int32_t blockSize;  // the cache's block size, else 0x10000
};

// A segment of a MappedFile: windows are counted views, begun on the
// allocation granularity; writing goes into the mapped memory itself.
class CVZ_API MappedBufferedFile : public BufferedFile {
public:
    // Puts the segment on `channel` unless that channel has it already.
    // A writing segment reaches the end of the mapped file.
    static void Register(MultiFileBuffer &buffer, int channel, MappedFile &file, int32_t start, int32_t size,
                         int32_t elementsPerUnit, int32_t elementSize, int32_t bufferSize, int writing);

    MappedBufferedFile(MappedFile &file, int32_t start, int32_t size, int32_t elementsPerUnit, int32_t elementSize,
                       int32_t bufferSize, int writing);

    void OnDataRequest(int32_t offset, MultiFileBuffer::Buffer &buffer, int forward) override;
    void OnWriteBufferRequest(int32_t offset, MultiFileBuffer::Buffer &buffer) override;
    void Flush(int32_t) override {}
    void ValidateWriting(int32_t, int32_t, uint32_t) override {}
    void AdjustWriteBufferSize() override {}

protected:
    // Up to the allocation granularity.
    static int32_t ValidateBufferSize(int32_t size);
};

#endif
