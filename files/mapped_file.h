// A file presented as memory: one mapping over an open File, and counted
// views of it.
//
// A MappedFile maps its File whole, or to a size it is given (which makes
// the file that long at once), and hands out Views: windows of the mapping
// at a file offset.  CreateView always makes a new view; FindElseCreate
// shares the oldest view that covers the range asked for, adding one to
// its count, and the holder gives it back with Release.  Views end when
// their count reaches 0, and all of them, whatever their counts, when the
// mapping changes (SetFileSize), closes or ends: a holder of a view must
// be told of that by other means.  The simplest use is the default view,
// one view over the whole mapping, made by the constructor.
//
// The protection follows the open flags of the File: a File opened with
// OpenReadWrite gives views that read and write; with OpenWrite alone,
// views that write, which the platform refuses (a handle that cannot read
// can't be mapped); otherwise read-only views.  A read-only File can't be
// mapped beyond its size.
//
// A view's offset must be a multiple of the allocation granularity (64 KB);
// the mapping of a view at another offset fails.  A file of length 0 cannot
// be mapped.
//
// Failures raise an Exception: the File not open (0x4650 with its name),
// no room in the virtual memory (0x466A), a full disk while the mapping
// grows the file (0x4663 with the drive, from the constructor only), and
// anything else (0x4665); `code` is the system error.
//
// Threads.  One lock of the process, the view lock, guards the making and
// ending of views across all MappedFile objects: CreateView, CloseView,
// FindElseCreate, Release, SetFileSize and FlushViews may be called from
// several threads at once.  The other members take no lock; the owner sees
// to it that no other thread is inside the object meanwhile.  The bytes of
// the views are guarded by nothing.
#ifndef CVZ_FILES_MAPPED_FILE_H
#define CVZ_FILES_MAPPED_FILE_H

#include <stdint.h>

#include "CommonVcZq/collections/double_list.h"
#include "CommonVcZq/files/file.h"
#include "CommonVcZq/files/file_name.h"
#include "CommonVcZq/frame/api.h"

class CVZ_API MappedFile : public FileObject {
public:
    // A window of the mapping: `size` bytes at file offset `offset`.
    class CVZ_API View : public ListElement {
    public:
        // Maps at once, under the view lock; `size` 0 maps the whole
        // mapping from `offset`.  A failure raises, and nothing is made.
        View(MappedFile *owner, uint32_t offset, uint32_t size);
        // Unmaps.
        ~View() override;
        View(const View &) = delete;
        View &operator=(const View &) = delete;

        MappedFile *owner;
        char *address;     // first byte; null once unmapped
        uint32_t size;     // bytes in the view
        uint32_t offset;   // file offset of `address`
        uint32_t end;      // offset + size, exclusive
        int32_t refCount;  // handed-out references; 1 when new
    };

    // Opens a File(name, openFlags) of its own and maps it; with
    // `createDefaultView`, one view over the whole mapping.  `size` 0 maps
    // the file's size, a larger size extends the file first.  If the
    // mapping fails, the File is closed again and the failure passes on.
    MappedFile(const FileName &name, int openFlags, int createDefaultView = 1, uint32_t size = 0);
    // Maps the caller's open File, which outlives this object.
    MappedFile(File &file, int createDefaultView = 1, uint32_t size = 0);
    // Ends all views and the mapping, then the File if it is its own.
    ~MappedFile() override;
    MappedFile(const MappedFile &) = delete;
    MappedFile &operator=(const MappedFile &) = delete;

    // Ends all views and the mapping, and closes the File, lent or not.
    // The object cannot be mapped again.
    void Close();

    // A new view, appended to the list with a count of 1.
    View *CreateView(uint32_t offset, uint32_t size);
    // Ends `view` whatever its count.
    void CloseView(View *view);
    // The first view in the list that covers offset..offset + size, with
    // one more reference; else a new view of that range.  The caller owes
    // one Release for each result.
    View *FindElseCreate(uint32_t offset, uint32_t size);
    // Takes one reference back; the last one ends the view.
    void Release(View *view);
    // Writes the changed pages of every view to the file.
    void FlushViews();
    // Maps the file anew at `size` (0: the file's size), ending every view
    // first; the mapping makes a file longer, never shorter.  With
    // `createView`, a new default view, whose address is returned; with
    // `zeroFill` too, the bytes from the old size to `size` are set to 0.
    // Null when `size` is the present size, when the object is unmapped,
    // or without `createView`.  A failure leaves the object unmapped.
    char *SetFileSize(uint32_t size, int createView, int zeroFill);

    // The first view's address and size; null and 0 without views.
    char *GetStart() const;
    uint32_t GetSize() const;
    View *GetView() const { return views.GetFirst(); }
    // The view at `index` in the list; the caller keeps `index` in range.
    View &GetView(int index) const { return static_cast<View &>(views[index]); }
    // Ends every view, without the lock and whatever the counts.
    void DeleteAllViews();
    File &GetFile() { return *file; }
    List<View> &GetViews() { return views; }
    // The size asked for, or the file's size.
    int32_t GetFileSize() const override { return static_cast<int32_t>(fileSize); }

private:
    void Init(int createDefaultView, uint32_t size);
    // Maps `size` bytes (0: the file's size) into `mapping`; raises on
    // failure, checking for a full disk when `diskFull` is set.
    void Map(uint32_t size, int diskFull);
    void Unmap();

    void *mapping;        // the mapping object; 0 when unmapped
    File *file;           // the open file beneath
    uint32_t fileSize;    // the size asked for, or the file's size
    uint32_t mappedSize;  // the size given to the mapping, or fileSize
    List<View> views;     // in order of creation; not owning
    uint32_t viewAccess;  // FILE_MAP_READ 4, FILE_MAP_WRITE 2, or 6
    int ownsFile;         // 1: `file` is this object's own
    uint32_t protection;  // PAGE_READONLY 2 or PAGE_READWRITE 4
};

#endif
