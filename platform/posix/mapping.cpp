// File mappings: CreateFileMappingA, MapViewOfFile, UnmapViewOfFile and
// FlushViewOfFile over mmap(2).
//
// A mapping is a kernel object (kernel_objects.h) that holds a descriptor
// of its own for the file, its protection and its maximum size.  A view is
// a shared mmap of part of it.  What follows Win32:
//
// - CreateFileMappingA takes a handle from CreateFileA.  PAGE_READONLY
//   needs a handle that may read, PAGE_READWRITE one that may read and
//   write; otherwise ERROR_ACCESS_DENIED.  A maximum size of 0 is the
//   file's size, and a file of length 0 then cannot be mapped
//   (ERROR_FILE_INVALID).  A maximum size above the file's size makes the
//   file that long at once, with zeros, before any view exists; the new
//   blocks are reserved (posix_fallocate), so a disk that cannot hold them
//   fails the call with ERROR_DISK_FULL and leaves the file as it was.  A
//   read-only mapping cannot grow its file: Windows calls the section too
//   big, and reports ERROR_NOT_ENOUGH_MEMORY.  The mapping never makes a
//   file shorter.
// - The mapping keeps the file open by itself: the file handle may be
//   closed at once, and the views go on.  A view keeps its mapping alive
//   likewise, so CloseHandle on the mapping ends only the handle while
//   views remain; the file is released with the last of them.
// - MapViewOfFile: the offset is a multiple of the allocation granularity,
//   64 KB as on Windows, whatever the page size; ERROR_MAPPED_ALIGNMENT
//   otherwise.  0 bytes map from the offset to the maximum size; a view
//   reaching beyond the maximum size fails with ERROR_ACCESS_DENIED, and
//   so does FILE_MAP_WRITE on a read-only mapping.  FILE_MAP_READ alone
//   gives a view that may only be read.  Two views of one file see the
//   same bytes, and so do ReadFile and WriteFile on the file, as on
//   Windows: all go through the system's one page cache.
// - UnmapViewOfFile takes any address inside a view, as Windows does in
//   practice; one that is in no view fails with ERROR_INVALID_ADDRESS.
// - FlushViewOfFile writes the changed pages from the page holding
//   `address` up to address + bytes (0: to the end of the view) and waits
//   until they are on the disk (msync MS_SYNC), where Windows only starts
//   the writing; that costs time, never correctness.
//
// - A name makes the mapping known by it, in the one name table of the
//   kernel objects: CreateFileMappingA with a name that a mapping holds
//   gives a new handle to that mapping, with ERROR_ALREADY_EXISTS, and
//   its own file and size are not used; a name held by an object of
//   another kind fails with ERROR_INVALID_HANDLE.
//
// What differs:
//
// - Only mappings of files exist: INVALID_HANDLE_VALUE, for a mapping
//   backed by the paging file, fails with ERROR_NOT_SUPPORTED.  Names are
//   known within this process only.  With a name already taken, the file
//   given is still made as long as the size asked for, since that happens
//   before the name is looked up.
// - Windows refuses to cut a file short while a view of it is mapped
//   (ERROR_USER_MAPPED_FILE); here the file layer does not know of the
//   views, and touching a page beyond the new end of the file raises
//   SIGBUS.  The library never shortens a mapped file.
// - Running out of address space gives ERROR_NOT_ENOUGH_MEMORY, as on
//   Windows.
//
// The design.  The views are kept in one table by address, under a lock
// of their own: MapViewOfFile takes a reference to the mapping (kernel
// lock held only for the look-up), then maps with no lock held, and enters
// the view; unmapping takes it out of the table and drops the reference
// after the lock is released, so the last reference, which closes the
// descriptor, never runs under a lock.
#include "platform/posix/files.h"
#include "platform/posix/kernel_objects.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <mutex>

namespace {

using cvz::posix::KernelObject;

constexpr uint64_t kGranularity = 65536;

class Mapping final : public KernelObject {
public:
    Mapping(int fd, DWORD protection, uint64_t size) : fd(fd), protection(protection), size(size) {}
    ~Mapping() override { close(fd); }

    // A mapping is never signalled: a wait on it waits for ever, as on
    // Windows a wait on a section is not allowed.
    bool IsSignalled() const override { return false; }

    const int fd;
    const DWORD protection;
    const uint64_t size;
};

struct View {
    size_t length;
    std::shared_ptr<Mapping> mapping;
};

struct ViewTable {
    std::mutex lock;
    std::map<uintptr_t, View> views;  // by first byte
};

ViewTable &Views() {
    static ViewTable *table = new ViewTable;  // never destroyed: views may outlive statics
    return *table;
}

// The view holding `address`: the table's entry, or end().  The table's
// lock is held.
std::map<uintptr_t, View>::iterator FindView(ViewTable &table, const void *address) {
    const uintptr_t at = reinterpret_cast<uintptr_t>(address);
    auto it = table.views.upper_bound(at);
    if (it == table.views.begin())
        return table.views.end();
    --it;
    return at < it->first + it->second.length ? it : table.views.end();
}

// Runs `action(table, view)` on the view holding `address`, with the
// table's lock held; FALSE with ERROR_INVALID_ADDRESS when no view holds
// it.
template <class Action>
BOOL WithView(const void *address, Action action) {
    ViewTable &table = Views();
    std::lock_guard<std::mutex> hold(table.lock);
    auto view = FindView(table, address);
    if (view == table.views.end()) {
        SetLastError(ERROR_INVALID_ADDRESS);
        return FALSE;
    }
    action(table, view);
    return TRUE;
}

// Makes the file behind `fd` `size` bytes long, reserving the new blocks.
DWORD Extend(int fd, off_t from, off_t size) {
    const int error = posix_fallocate(fd, from, size - from);
    if (error == 0)
        return ERROR_SUCCESS;
    if (error != EOPNOTSUPP && error != EINVAL)
        return error == ENOSPC || error == EDQUOT ? ERROR_DISK_FULL : cvz::posix::ErrorFromErrno(error);
    // A file system that cannot reserve: the size alone.
    return ftruncate(fd, size) == 0 ? ERROR_SUCCESS : cvz::posix::ErrorFromErrno(errno);
}

HANDLE Fail(int fd, DWORD error) {
    if (fd >= 0)
        close(fd);
    SetLastError(error);
    return nullptr;
}

}  // namespace

extern "C" {

HANDLE CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES, DWORD protection,
                          DWORD maximumSizeHigh, DWORD maximumSizeLow, LPCSTR name) {
    if (file == INVALID_HANDLE_VALUE)
        return Fail(-1, ERROR_NOT_SUPPORTED);
    if (protection != PAGE_READONLY && protection != PAGE_READWRITE)
        return Fail(-1, ERROR_INVALID_PARAMETER);
    DWORD access = 0;
    const int fd = cvz::posix::DuplicateFileDescriptor(file, &access);
    if (fd < 0)
        return nullptr;

    const bool writable = protection == PAGE_READWRITE;
    if (!(access & GENERIC_READ) || (writable && !(access & GENERIC_WRITE)))
        return Fail(fd, ERROR_ACCESS_DENIED);
    struct stat status;
    if (fstat(fd, &status) != 0)
        return Fail(fd, cvz::posix::ErrorFromErrno(errno));

    uint64_t size = (uint64_t{maximumSizeHigh} << 32) | maximumSizeLow;
    const uint64_t fileSize = static_cast<uint64_t>(status.st_size);
    if (size == 0) {
        if (fileSize == 0)
            return Fail(fd, ERROR_FILE_INVALID);
        size = fileSize;
    } else if (size > fileSize) {
        if (!writable)
            return Fail(fd, ERROR_NOT_ENOUGH_MEMORY);  // Windows: a section too big
        const DWORD error = Extend(fd, static_cast<off_t>(fileSize), static_cast<off_t>(size));
        if (error != ERROR_SUCCESS)
            return Fail(fd, error);
    }

    // Made before the lock, so that a mapping of a name already taken
    // closes its descriptor after it.
    std::shared_ptr<KernelObject> mapping = std::make_shared<Mapping>(fd, protection, size);
    return cvz::posix::CreateNamed<Mapping>(name, [&] { return mapping; });
}

LPVOID MapViewOfFile(HANDLE handle, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                     SIZE_T bytes) {
    cvz::posix::KernelCall call;
    std::shared_ptr<Mapping> mapping = cvz::posix::Reference<Mapping>(handle);
    if (!mapping)
        return nullptr;
    const uint64_t offset = (uint64_t{offsetHigh} << 32) | offsetLow;
    if (offset % kGranularity != 0) {
        SetLastError(ERROR_MAPPED_ALIGNMENT);
        return nullptr;
    }
    const bool write = (access & FILE_MAP_WRITE) != 0;
    if (offset >= mapping->size || (bytes != 0 && bytes > mapping->size - offset) ||
        (write && mapping->protection != PAGE_READWRITE)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    const size_t length = bytes != 0 ? bytes : static_cast<size_t>(mapping->size - offset);
    void *address = mmap(nullptr, length, PROT_READ | (write ? PROT_WRITE : 0), MAP_SHARED,
                         mapping->fd, static_cast<off_t>(offset));
    if (address == MAP_FAILED) {
        SetLastError(errno == ENOMEM ? ERROR_NOT_ENOUGH_MEMORY : cvz::posix::ErrorFromErrno(errno));
        return nullptr;
    }
    ViewTable &table = Views();
    std::lock_guard<std::mutex> hold(table.lock);
    table.views[reinterpret_cast<uintptr_t>(address)] = View{length, std::move(mapping)};
    return address;
}

BOOL UnmapViewOfFile(LPCVOID address) {
    std::shared_ptr<Mapping> mapping;  // released after the lock
    return WithView(address, [&](ViewTable &table, std::map<uintptr_t, View>::iterator view) {
        munmap(reinterpret_cast<void *>(view->first), view->second.length);
        mapping = std::move(view->second.mapping);
        table.views.erase(view);
    });
}

BOOL FlushViewOfFile(LPCVOID address, SIZE_T bytes) {
    uintptr_t start = 0;
    uintptr_t end = 0;
    if (!WithView(address, [&](ViewTable &, std::map<uintptr_t, View>::iterator view) {
            const uintptr_t at = reinterpret_cast<uintptr_t>(address);
            const uintptr_t viewEnd = view->first + view->second.length;
            end = bytes == 0 || bytes > viewEnd - at ? viewEnd : at + bytes;
            const uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
            start = at - (at - view->first) % page;
        }))
        return FALSE;
    // A view unmapped meanwhile by another thread fails here with ENOMEM.
    if (msync(reinterpret_cast<void *>(start), end - start, MS_SYNC) != 0) {
        SetLastError(errno == ENOMEM ? ERROR_INVALID_ADDRESS : cvz::posix::ErrorFromErrno(errno));
        return FALSE;
    }
    return TRUE;
}

}  // extern "C"
