// File: the flag word translated into the platform's open arguments, and
// each operation on one of the two roads, the file handle or the mmio
// stream.
//
// Every failure goes through Raise or ThrowIfDiskFull, which take the
// message text from the current message source and format the file's name
// or drive into it (into 1,024 characters) before raising it with the
// platform's error as `code`.
#include "CommonVcZq/files/file.h"

#include <stdio.h>
#include <string.h>

#include "CommonVcZq/files/file_cache.h"
#include "CommonVcZq/frame/exception.h"
#include "CommonVcZq/text/messages.h"
#include "CommonVcZq/threads/locks.h"
#include "platform/win32.h"

namespace {

// Formatted messages are cut to this many characters, zero included.
const size_t kFormattedMessageSize = 1024;

const uint32_t kUnknownAttributes = 0xFFFFFFFF;

// The text of message `id` with `argument` in its %s.
void Format(char (&text)[kFormattedMessageSize], unsigned int id, const char *argument) {
    snprintf(text, sizeof text, String(FindString(id)).c_str(), argument);
}

// Raises message `id` with `code`; `argument`, when given, is formatted
// into the text's %s.
void Raise(unsigned int id, uint32_t code, const char *argument = nullptr) {
    if (!argument) {
        ExceptionThrower(0).SetAndThrow(ResMess(id), code);
        return;
    }
    char text[kFormattedMessageSize];
    Format(text, id, argument);
    ExceptionThrower(0).SetAndThrow(text, code);
}

HANDLE AsHandle(void *handle) {
    return static_cast<HANDLE>(handle);
}

HMMIO AsStream(void *handle) {
    return static_cast<HMMIO>(handle);
}

// A bit of the library's words beside the platform's bit for it.
struct BitPair {
    uint32_t library;
    uint32_t platform;
};

const BitPair kAttributes[] = {
    {File::AttrNormal, FILE_ATTRIBUTE_NORMAL},       {File::AttrReadOnly, FILE_ATTRIBUTE_READONLY},
    {File::AttrHidden, FILE_ATTRIBUTE_HIDDEN},       {File::AttrSystem, FILE_ATTRIBUTE_SYSTEM},
    {File::AttrDirectory, FILE_ATTRIBUTE_DIRECTORY}, {File::AttrArchive, FILE_ATTRIBUTE_ARCHIVE},
};

// The open flags that become CreateFileA's flags and attributes.
const BitPair kSpecialFlags[] = {
    {File::DeleteOnCloseBySystem, FILE_FLAG_DELETE_ON_CLOSE},
    {File::OpenOverlapped, FILE_FLAG_OVERLAPPED},
    {File::OpenNoBuffering, FILE_FLAG_NO_BUFFERING},
    {File::OpenTemporary, FILE_ATTRIBUTE_TEMPORARY},
    {File::OpenHidden, FILE_ATTRIBUTE_HIDDEN},
    {File::OpenWriteThrough, FILE_FLAG_WRITE_THROUGH},
    {File::OpenRandomAccess, FILE_FLAG_RANDOM_ACCESS},
    {File::OpenSequentialScan, FILE_FLAG_SEQUENTIAL_SCAN},
};

// The bits of `word` carried across `pairs`, from the library's side to the
// platform's, or back.
template <size_t N>
uint32_t MapBits(uint32_t word, const BitPair (&pairs)[N], bool toPlatform) {
    uint32_t result = 0;
    for (const BitPair &pair : pairs)
        if (word & (toPlatform ? pair.library : pair.platform))
            result |= toPlatform ? pair.platform : pair.library;
    return result;
}

// The four bytes of a value stored as 32 bits.
template <typename Narrow, typename Wide>
int ReadNarrowed(File &file, Wide *value) {
    Narrow narrow = 0;
    const int result = file.Read(&narrow, sizeof narrow, 1, nullptr);
    *value = narrow;
    return result;
}

}  // namespace

// ------------------------------------------------------------- translators

uint32_t File::TranslateReadWriteFlags(int &flags) {
    if (!(flags & 0xF))
        flags |= OpenReadWrite;
    if (flags & OpenReadWrite)
        return GENERIC_READ | GENERIC_WRITE;
    uint32_t access = 0;
    if (flags & OpenRead)
        access += GENERIC_READ;
    if (flags & OpenWrite)
        access += GENERIC_WRITE;
    return access;
}

uint32_t File::TranslateShareFlags(int &flags) {
    if (!(flags & 0x1E0))
        flags |= ShareRead;
    if ((flags & ShareReadWrite) || ((flags & ShareRead) && (flags & ShareWrite)))
        return FILE_SHARE_READ | FILE_SHARE_WRITE;
    if (flags & ShareWrite)
        return FILE_SHARE_WRITE;
    if (flags & ShareRead)
        return FILE_SHARE_READ;
    return 0;
}

uint32_t File::TranslateMMIOFlags(int &flags) {
    if (!(flags & 0xF))
        flags |= OpenReadWrite;
    if (!(flags & 0x1E0))
        flags |= ShareRead;
    uint32_t mode = MMIO_READ;
    if ((flags & OpenReadWrite) || ((flags & OpenRead) && (flags & OpenWrite)))
        mode = MMIO_READWRITE;
    else if (flags & OpenWrite)
        mode = MMIO_WRITE;
    if (flags & OpenCreate)
        mode |= MMIO_CREATE;
    if (flags & ShareRead)
        mode |= MMIO_DENYWRITE;
    else if (flags & ShareWrite)
        mode |= MMIO_DENYREAD;
    else if (flags & ShareReadWrite)
        mode |= MMIO_DENYNONE;
    else
        mode |= MMIO_EXCLUSIVE;
    if (!(flags & OpenNoBuffering))
        mode |= MMIO_ALLOCBUF;
    return mode;
}

uint32_t File::TranslateOpenMode(int flags) {
    return (flags & OpenCreate) ? CREATE_ALWAYS : OPEN_EXISTING;
}

uint32_t File::TranslateSpecialFlags(int flags) {
    return MapBits(static_cast<uint32_t>(flags), kSpecialFlags, true);
}

uint32_t File::TranslateAttributeFlags(uint32_t attributes) {
    return MapBits(attributes, kAttributes, true);
}

uint32_t File::TranslateOSAttributeFlags(uint32_t attributes) {
    return MapBits(attributes, kAttributes, false);
}

int File::TranslateSeekMode(int origin) const {
    return origin == OriginBegin ? 0 : origin == OriginCurrent ? 1 : 2;
}

// ------------------------------------------------------- life and opening

File::File() : lock(nullptr), flags(0), handle(nullptr), asyncRead() {}

File::File(const FileName &fileName, int openFlags) : File() {
    Open(fileName, openFlags);
    if (openFlags & OpenThreadSafe)
        lock = new CriticalSection;
}

File::~File() {
    Close(1);
    delete lock;
}

int File::Open(const FileName &newName, int newFlags) {
    flags = newFlags;
    if (flags & OpenTempName) {
        flags |= OpenCreate;
        name = GetTempName(newName);
    } else {
        name = newName;
    }
    if ((flags & KeepWriteProtection) && Exist(newName, TypeFile)) {
        const uint32_t attributes = GetAttributes(newName);
        if (attributes != kUnknownAttributes)
            SetAttributes(newName, attributes & ~AttrReadOnly, 1);
    }
    int openFlags = flags;
    if (OnStreamRoad()) {
        const DWORD mode = TranslateMMIOFlags(openFlags);
        handle = mmioOpenA(const_cast<char *>(name.c_str()), nullptr, mode);
        if (handle && (openFlags & DeleteOnCloseBySystem))
            openFlags = (openFlags & ~DeleteOnCloseBySystem) | DeleteOnCloseByFile;
    } else {
        const DWORD access = TranslateReadWriteFlags(openFlags);
        const DWORD share = TranslateShareFlags(openFlags);
        HANDLE h = CreateFileA(name.c_str(), access, share, nullptr, TranslateOpenMode(openFlags),
                               TranslateSpecialFlags(openFlags), nullptr);
        handle = h == INVALID_HANDLE_VALUE ? nullptr : h;
    }
    flags = openFlags;
    if (handle)
        return 1;
    if (flags & OpenNoThrow)
        return 0;
    const DWORD error = GetLastError();
    const unsigned int id = error == ERROR_SHARING_VIOLATION ? MSG_FILE_SHARING_ERROR
                            : (flags & OpenCreate)           ? MSG_FILE_CREATE_ERROR
                                                             : MSG_FILE_OPEN_ERROR;
    Raise(id, error, name.c_str());
    return 0;
}

void File::Close(int dropCache) {
    if (!handle)
        return;
    if (cache && dropCache)
        cache->DropBlocks();
    if (OnStreamRoad()) {
        mmioClose(AsStream(handle), 0);
    } else {
        if (ShouldBeDeletedOnClose() && SetFilePointer(AsHandle(handle), 0, nullptr, FILE_BEGIN) == 0)
            SetEndOfFile(AsHandle(handle));
        CloseHandle(AsHandle(handle));
    }
    handle = nullptr;
    if (flags & DeleteOnCloseByFile)
        Delete(name, 0, 1);
    if ((flags & KeepWriteProtection) && Exist(name, TypeFile)) {
        const uint32_t attributes = GetAttributes(name);
        if (attributes != kUnknownAttributes)
            SetAttributes(name, attributes | AttrReadOnly, 0);
    }
}

int32_t File::GetSize() const {
    if (OnStreamRoad()) {
        const LONG at = mmioSeek(AsStream(handle), 0, SEEK_CUR);
        const LONG size = mmioSeek(AsStream(handle), 0, SEEK_END);
        mmioSeek(AsStream(handle), at, SEEK_SET);
        return size;
    }
    return static_cast<int32_t>(::GetFileSize(AsHandle(handle), nullptr));
}

int32_t File::GetFileSize() const {
    return GetSize();
}

// ----------------------------------------------------------------- reading

int File::Read(void *buffer, int32_t size, int mustSucceed, int32_t *got) {
    if (size == 0) {
        if (got)
            *got = 0;
        return 1;
    }
    if (got)
        *got = -1;
    if (size < 0) {
        if (mustSucceed)
            Raise(MSG_FILE_READ_ERROR, GetLastError(), name.c_str());
        return 0;
    }
    int32_t count;
    if (OnStreamRoad()) {
        count = mmioRead(AsStream(handle), static_cast<HPSTR>(buffer), size);
    } else {
        DWORD read = 0;
        count = ReadFile(AsHandle(handle), buffer, static_cast<DWORD>(size), &read, nullptr)
                    ? static_cast<int32_t>(read)
                    : -1;
    }
    if (count >= 0 && got)
        *got = count;
    if (count != size && mustSucceed)
        Raise(MSG_FILE_READ_ERROR, GetLastError(), name.c_str());
    return count == size;
}

int File::Read(char *value) {
    return Read(value, sizeof *value, 1, nullptr);
}
int File::Read(signed char *value) {
    return Read(value, sizeof *value, 1, nullptr);
}
int File::Read(unsigned char *value) {
    return Read(value, sizeof *value, 1, nullptr);
}
int File::Read(short *value) {
    return Read(value, sizeof *value, 1, nullptr);
}
int File::Read(unsigned short *value) {
    return Read(value, sizeof *value, 1, nullptr);
}
int File::Read(int *value) {
    return Read(value, sizeof *value, 1, nullptr);
}
int File::Read(unsigned int *value) {
    return Read(value, sizeof *value, 1, nullptr);
}
int File::Read(long *value) {
    return ReadNarrowed<int32_t>(*this, value);
}
int File::Read(unsigned long *value) {
    return ReadNarrowed<uint32_t>(*this, value);
}
int File::Read(float *value) {
    return Read(value, sizeof *value, 1, nullptr);
}
int File::Read(double *value) {
    return Read(value, sizeof *value, 1, nullptr);
}

String File::ReadLine() {
    // The line is the bytes up to a 0, LF, CR LF or lone CR, as read one
    // byte at a time; here they are read a piece at a time and the file is
    // put back just behind the line's end, which leaves the same line and
    // the same position for a system call a piece instead of one a byte.
    // A piece whose read fails is taken byte by byte, so that a failure
    // costs no byte that a read of one byte would have given.
    String line;
    int32_t remaining = GetSize() - Seek(0, OriginCurrent, 1);
    char piece[512];
    while (remaining > 0) {
        int32_t got = -1;
        Read(piece, remaining < int32_t(sizeof piece) ? remaining : int32_t(sizeof piece), 0, &got);
        if (got == 0)
            break;  // the file ended early: every further read would fail
        if (got < 0) {
            if (!Read(piece, 1, 0, nullptr)) {
                --remaining;  // a failed byte counts all the same
                continue;
            }
            got = 1;
        }
        int32_t end = 0;
        while (end < got && piece[end] != 0 && piece[end] != '\n' && piece[end] != '\r')
            ++end;
        line.Insert(0xFFFFFFFFu, piece, uint32_t(end));
        if (end == got) {
            remaining -= got;
            continue;
        }
        int32_t used = end + 1;
        if (piece[end] == '\r') {
            if (used < got) {
                used += piece[used] == '\n';
            } else {
                // The CR ends the piece: the byte after it decides, and a
                // CR at the very end of the file fails that read.
                char c;
                Read(&c, 1, 1, nullptr);
                if (c != '\n')
                    Seek(-1, OriginCurrent, 1);
            }
        }
        if (used < got)
            Seek(used - got, OriginCurrent, 1);
        break;
    }
    return line;
}

void File::ReadAsync(void *buffer, int32_t size, uint32_t offset, void *event) {
    static_assert(sizeof(OVERLAPPED) <= sizeof asyncRead && alignof(OVERLAPPED) <= 8,
                  "File::asyncRead must hold an OVERLAPPED");
    OVERLAPPED *control = reinterpret_cast<OVERLAPPED *>(asyncRead);
    memset(control, 0, sizeof *control);
    control->Offset = offset;
    control->hEvent = static_cast<HANDLE>(event);
    ResetEvent(control->hEvent);
    DWORD count = 0;
    ReadFile(AsHandle(handle), buffer, static_cast<DWORD>(size), &count, control);
}

// ----------------------------------------------------------------- writing

void File::ThrowIfDiskFull(uint32_t error, const FileName &name) {
    if (error != ERROR_HANDLE_DISK_FULL && error != ERROR_DISK_FULL)
        return;
    char text[kFormattedMessageSize];
    Format(text, MSG_DISK_FULL, String(name.GetDrive()).c_str());
    Exception failure(text, error);
    failure.drive = name.GetDriveIndex();
    ExceptionThrower(0).SetAndThrow(failure);
}

void File::Write(const void *data, uint32_t size) {
    if (size == 0)
        return;
    if (OnStreamRoad()) {
        const LONG count = mmioWrite(AsStream(handle), static_cast<const char *>(data), static_cast<LONG>(size));
        if (count == static_cast<LONG>(size))
            return;
        if (count >= 0)
            ThrowIfDiskFull(ERROR_DISK_FULL, name);
        Raise(MSG_FILE_WRITE_ERROR, 0);
        return;
    }
    DWORD written = 0;
    if (WriteFile(AsHandle(handle), data, size, &written, nullptr))
        return;
    const DWORD error = GetLastError();
    ThrowIfDiskFull(error, name);
    Raise(MSG_FILE_WRITE_ERROR, error);
}

void File::Write(char value) {
    Write(&value, sizeof value);
}
void File::Write(signed char value) {
    Write(&value, sizeof value);
}
void File::Write(unsigned char value) {
    Write(&value, sizeof value);
}
void File::Write(short value) {
    Write(&value, sizeof value);
}
void File::Write(unsigned short value) {
    Write(&value, sizeof value);
}
void File::Write(int value) {
    Write(&value, sizeof value);
}
void File::Write(unsigned int value) {
    Write(&value, sizeof value);
}
void File::Write(long value) {
    const int32_t narrow = static_cast<int32_t>(value);
    Write(&narrow, sizeof narrow);
}
void File::Write(unsigned long value) {
    const uint32_t narrow = static_cast<uint32_t>(value);
    Write(&narrow, sizeof narrow);
}
void File::Write(float value) {
    Write(&value, sizeof value);
}
void File::Write(const double &value) {
    Write(&value, sizeof value);
}

void File::WriteString(const char *text, int withTerminator) {
    Write(text, static_cast<uint32_t>(strlen(text) + (withTerminator ? 1 : 0)));
}

void File::WriteString(const String &text, int withTerminator) {
    Write(text.c_str(), text.GetLength() + (withTerminator ? 1 : 0));
}

void File::WriteLine(const char *text, char end1, char end2) {
    WriteString(text, 0);
    Write(end1);
    if (end2 != '\xFF')
        Write(end2);
}

void File::WriteLine(const String &text, char end1, char end2) {
    WriteLine(text.c_str(), end1, end2);
}

// ------------------------------------------------------- position and size

int32_t File::Seek(int32_t offset, SeekOrigin origin, int mustSucceed) {
    int32_t position;
    if (OnStreamRoad())
        position = mmioSeek(AsStream(handle), offset, TranslateSeekMode(origin));
    else
        position = static_cast<int32_t>(
            SetFilePointer(AsHandle(handle), offset, nullptr, static_cast<DWORD>(TranslateSeekMode(origin))));
    if (position == -1 && mustSucceed)
        Raise(MSG_FILE_SEEK_ERROR, GetLastError());
    return position;
}

void File::SetSize(int32_t size) {
    DWORD error = 0;
    if (SetFilePointer(AsHandle(handle), size, nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER ||
        !SetEndOfFile(AsHandle(handle)))
        error = GetLastError();
    if (GetSize() == size)
        return;
    if (!error)
        error = GetLastError();
    ThrowIfDiskFull(error, name);
    Raise(MSG_FILE_RESIZE_ERROR, error);
}

void File::AdjustSizeOfCachedFile(int32_t size, int32_t reopenFlags) {
    if (GetSize() == size)
        return;
    if (!cache) {
        SetSize(size);
        return;
    }
    const int32_t remembered = flags;
    flags &= ~DeleteOnCloseByFile;
    const FileName opened = name;
    Close(0);
    Open(opened, OpenReadWrite);
    SetSize(size);
    Close(0);
    int reopen = ((reopenFlags ? reopenFlags : remembered) | OpenNoBuffering) & ~OpenCreate;
    reopen |= remembered & DeleteOnCloseByFile;
    Open(opened, reopen);
}

void File::Flush() const {
    FlushFileBuffers(AsHandle(handle));
}

void File::FlushBuffers() {
    if (OnStreamRoad())
        mmioFlush(AsStream(handle), MMIO_EMPTYBUF);
    else
        Flush();
}

void File::Lock(int32_t offset, uint32_t size) {
    LockFile(AsHandle(handle), static_cast<DWORD>(offset), 0, size, 0);
}

void File::Unlock(int32_t offset, uint32_t size) {
    UnlockFile(AsHandle(handle), static_cast<DWORD>(offset), 0, size, 0);
}

// --------------------------------------------- times and attributes, opened

void File::GetDateTime(unsigned short *date, unsigned short *time) const {
    if (date)
        *date = 0;
    if (time)
        *time = 0;
    FILETIME written;
    WORD dosDate = 0;
    WORD dosTime = 0;
    if (!GetFileTime(AsHandle(handle), nullptr, nullptr, &written) ||
        !FileTimeToDosDateTime(&written, &dosDate, &dosTime))
        return;
    if (date)
        *date = dosDate;
    if (time)
        *time = dosTime;
}

void File::GetDateTime(FILETIME *created, FILETIME *accessed, FILETIME *written) const {
    FILETIME *const times[] = {created, accessed, written};
    for (FILETIME *time : times)
        if (time)
            memset(time, 0, sizeof *time);
    GetFileTime(AsHandle(handle), created, accessed, written);
}

void File::SetDateTime(FILETIME *created, FILETIME *accessed, FILETIME *written) {
    SetFileTime(AsHandle(handle), created, accessed, written);
}

uint32_t File::GetAttributes() const {
    BY_HANDLE_FILE_INFORMATION information;
    if (!GetFileInformationByHandle(AsHandle(handle), &information))
        return kUnknownAttributes;
    return TranslateOSAttributeFlags(information.dwFileAttributes);
}

// ---------------------------------------------------------------- by name

uint32_t File::GetAttributes(const FileName &name) {
    const DWORD attributes = GetFileAttributesA(name.c_str());
    return attributes == INVALID_FILE_ATTRIBUTES ? kUnknownAttributes : TranslateOSAttributeFlags(attributes);
}

int File::SetAttributes(const FileName &name, uint32_t attributes, int mustSucceed) {
    if (SetFileAttributesA(name.c_str(), TranslateAttributeFlags(attributes)))
        return 1;
    if (mustSucceed)
        Raise(MSG_FILE_ATTRIBUTES_ERROR, GetLastError());
    return 0;
}

int File::Exist(const FileName &name, Type type) {
    const DWORD attributes = GetFileAttributesA(name.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return GetLastError() == ERROR_ACCESS_DENIED;
    const bool directory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (type == TypeDirectory)
        return directory;
    if (type == TypeFile)
        return !directory;
    return 1;
}

int File::Delete(const FileName &name, int mustSucceed, int force) {
    if (!Exist(name, TypeFile))
        return 1;
    if (remove(name.c_str()) == 0)
        return 1;
    if (force) {
        const uint32_t attributes = GetAttributes(name);
        if (attributes != kUnknownAttributes && (attributes & AttrReadOnly) &&
            SetAttributes(name, attributes & ~AttrReadOnly, mustSucceed) && remove(name.c_str()) == 0)
            return 1;
    }
    if (mustSucceed)
        Raise(MSG_FILE_DELETE_ERROR, GetLastError());
    return 0;
}

FileName File::GetTempName(const FileName &directory) {
    String folder(directory.c_str());
    uint32_t length = folder.GetLength();
    while (length > 0 && folder.c_str()[length - 1] == '\\')
        --length;
    folder.KeepLeft(length);
    if (!Exist(FileName(folder), TypeDirectory))
        Raise(MSG_INVALID_DIRECTORY, 0);
    for (uint32_t n = 0;; ++n) {
        char title[32];
        snprintf(title, sizeof title, "\\XX%u.$$$", n);
        FileName candidate(folder + title);
        if (!Exist(candidate, TypeFile))
            return candidate;
    }
}
