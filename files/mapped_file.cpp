// MappedFile and its views over CreateFileMappingA and MapViewOfFile.
//
// The view lock is taken wherever views are made or ended on demand; a
// View's constructor takes it again inside FindElseCreate and SetFileSize,
// which CriticalSection allows, being recursive.  A view that fails to map
// raises out of its constructor, so the list never holds a view without
// memory behind it.
#include "CommonVcZq/files/mapped_file.h"

#include <string.h>

#include "files/globals.h"
#include "platform/win32.h"
#include "CommonVcZq/frame/exception.h"
#include "CommonVcZq/text/messages.h"
#include "CommonVcZq/threads/locks.h"

MemoryGeometry MemoryGeometry::Measure() {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return MemoryGeometry{info.dwPageSize, info.dwAllocationGranularity};
}

namespace {

// The failure of a mapping or a view: 0x466A for a lack of memory, else
// 0x4665, with the system error as the code.
[[noreturn]] void RaiseMappingError(DWORD error) {
    ExceptionThrower(0).SetAndThrow(
        ResMess(error == ERROR_NOT_ENOUGH_MEMORY ? MSG_VIRTUAL_MEMORY_ERROR : MSG_MAPPED_FILE_ERROR),
        error);
    throw;  // not reached: SetAndThrow with 0 always throws
}

}  // namespace

MappedFile::View::View(MappedFile *owner, uint32_t offset, uint32_t size)
    : owner(owner), address(nullptr), size(0), offset(offset), end(0), refCount(1) {
    AutoCriticalSection hold(_viewLock);
    address = static_cast<char *>(MapViewOfFile(owner->mapping, owner->viewAccess, 0, offset, size));
    if (address == nullptr)
        RaiseMappingError(GetLastError());
    // Size 0 maps the rest of the mapping from `offset`: the file's size,
    // except after a SetFileSize below the size on disk.
    this->size = size != 0 ? size : owner->mappedSize - offset;
    end = offset + this->size;
}

MappedFile::View::~View() {
    if (address != nullptr)
        UnmapViewOfFile(address);
    size = 0;
    address = nullptr;
}

MappedFile::MappedFile(const FileName &name, int openFlags, int createDefaultView, uint32_t size)
    : FileObject(),
      mapping(nullptr),
      file(new File(name, openFlags)),
      fileSize(0),
      mappedSize(0),
      views(0),
      viewAccess(FILE_MAP_READ),
      ownsFile(1),
      protection(PAGE_READONLY) {
    try {
        Init(createDefaultView, size);
    } catch (...) {
        delete file;
        throw;
    }
}

MappedFile::MappedFile(File &file, int createDefaultView, uint32_t size)
    : FileObject(),
      mapping(nullptr),
      file(&file),
      fileSize(0),
      mappedSize(0),
      views(0),
      viewAccess(FILE_MAP_READ),
      ownsFile(0),
      protection(PAGE_READONLY) {
    Init(createDefaultView, size);
}

MappedFile::~MappedFile() {
    Unmap();
    if (ownsFile)
        delete file;
}

void MappedFile::Init(int createDefaultView, uint32_t size) {
    if (!file->IsOpen()) {
        ExceptionThrower(0).SetAndThrow(String(BuildString(MSG_FILE_OPEN_ERROR, file->GetName().c_str())),
                                        GetLastError());
    }
    const int32_t flags = file->GetOpenFlags();
    if (flags & File::OpenReadWrite) {
        protection = PAGE_READWRITE;
        viewAccess = FILE_MAP_READ | FILE_MAP_WRITE;
    } else if (flags & File::OpenWrite) {
        protection = PAGE_READWRITE;
        viewAccess = FILE_MAP_WRITE;
    } else {
        protection = PAGE_READONLY;
        viewAccess = FILE_MAP_READ;
    }
    Map(size, 1);
    fileSize = size != 0 ? size : static_cast<uint32_t>(file->GetSize());
    mappedSize = fileSize;
    if (createDefaultView)
        views.Append(new View(this, 0, 0));
}

void MappedFile::Map(uint32_t size, int diskFull) {
    mapping = CreateFileMappingA(file->GetHandle(), nullptr, protection, 0, size, nullptr);
    if (mapping == nullptr) {
        const DWORD error = GetLastError();
        if (diskFull)
            File::ThrowIfDiskFull(error, file->GetName());
        RaiseMappingError(error);
    }
}

void MappedFile::Unmap() {
    if (mapping == nullptr)
        return;
    DeleteAllViews();
    CloseHandle(mapping);
    mapping = nullptr;
}

void MappedFile::Close() {
    Unmap();
    file->Close(1);
}

MappedFile::View *MappedFile::CreateView(uint32_t offset, uint32_t size) {
    AutoCriticalSection hold(_viewLock);
    return views.Append(new View(this, offset, size));
}

void MappedFile::CloseView(View *view) {
    AutoCriticalSection hold(_viewLock);
    views.Delete(view);
}

MappedFile::View *MappedFile::FindElseCreate(uint32_t offset, uint32_t size) {
    AutoCriticalSection hold(_viewLock);
    for (View *view = views.GetFirst(); view; view = static_cast<View *>(view->GetNext())) {
        if (view->offset <= offset && uint64_t{offset} + size <= view->end) {
            ++view->refCount;
            return view;
        }
    }
    return views.Append(new View(this, offset, size));
}

void MappedFile::Release(View *view) {
    AutoCriticalSection hold(_viewLock);
    if (--view->refCount == 0)
        views.Delete(view);
}

void MappedFile::FlushViews() {
    AutoCriticalSection hold(_viewLock);
    for (View *view = views.GetFirst(); view; view = static_cast<View *>(view->GetNext()))
        FlushViewOfFile(view->address, 0);
}

char *MappedFile::SetFileSize(uint32_t size, int createView, int zeroFill) {
    AutoCriticalSection hold(_viewLock);
    const uint32_t old = fileSize;
    if (size == old || mapping == nullptr)
        return nullptr;
    Unmap();
    Map(size, 0);
    fileSize = static_cast<uint32_t>(file->GetSize());
    mappedSize = size != 0 ? size : fileSize;
    if (!createView)
        return nullptr;
    View *view = views.Append(new View(this, 0, 0));
    if (zeroFill && old < size)
        memset(view->address + old, 0, size - old);
    return view->address;
}

char *MappedFile::GetStart() const {
    const View *view = views.GetFirst();
    return view ? view->address : nullptr;
}

uint32_t MappedFile::GetSize() const {
    const View *view = views.GetFirst();
    return view ? view->size : 0;
}

void MappedFile::DeleteAllViews() {
    while (View *view = views.GetFirst())
        views.Delete(view);
}
