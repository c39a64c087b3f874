// The operations of File on names: copying, moving, folders, backups,
// drives and volumes, and whole files.
//
// They are thin over the platform; what they add are the library's rules:
// the failures they raise, how a backup is named, how a line file is cut
// into lines.  Whole files are read and written through a MappedFile where
// lines are concerned, so a file of length 0, which cannot be mapped, makes
// ReadLines raise.
#include "CommonVcZq/files/file.h"

#include <stdio.h>
#include <string.h>

#include "CommonVcZq/collections/array_base.h"
#include "CommonVcZq/files/mapped_file.h"
#include "CommonVcZq/frame/exception.h"
#include "CommonVcZq/frame/heap.h"
#include "CommonVcZq/text/messages.h"
#include "CommonVcZq/text/text_functions.h"
#include "platform/win32.h"

namespace {

// The style of the boxes: no owner, task-modal, in the foreground, on top;
// with OK, or with Yes, No and Cancel.
const UINT kNoticeStyle = MB_OK | MB_TASKMODAL | MB_SETFOREGROUND | MB_TOPMOST;
const UINT kQuestionStyle = MB_YESNOCANCEL | MB_TASKMODAL | MB_SETFOREGROUND | MB_TOPMOST;

// Raises message `id` with `code`; `argument`, when given, is formatted
// into the text's %s.
[[noreturn]] void Raise(unsigned int id, uint32_t code, const char *argument = nullptr) {
    if (argument)
        ExceptionThrower(0).SetAndThrow(String(BuildString(id, argument)), code);
    else
        ExceptionThrower(0).SetAndThrow(ResMess(id), code);
    throw;  // not reached: SetAndThrow with 0 always throws
}

// The root of the drive of `name`: "X:\", the letter in capitals.
String DriveRoot(const FileName &name) {
    return String(name.GetDrive()) + ":\\";
}

void Notice(unsigned int id) {
    MessageBoxA(nullptr, String(FindString(id)).c_str(), "", kNoticeStyle);
}

// Appends the line of `length` bytes at `text`, cut as ReadLines cuts it,
// through `add`.
template <class Add>
void CutLines(const char *text, uint32_t size, int trim, int skipEmpty, Add add) {
    const char *end = text + size;
    while (text < end) {
        const char *lineEnd = static_cast<const char *>(memchr(text, '\n', static_cast<size_t>(end - text)));
        if (lineEnd == nullptr)
            return;  // bytes behind the last LF are no line
        int length = static_cast<int>(lineEnd - text);
        const char *line = text;
        if (length > 0)
            line = FindTrimmedSubString(text, length, &length, trim ? " \t\n\r" : "\n\r", 3);
        if (length > 0)
            add(String(line, 0, static_cast<uint32_t>(length)));
        else if (!skipEmpty)
            add(String());
        text = lineEnd + 1;
    }
}

}  // namespace

// ------------------------------------------------------- names and folders

void File::Rename(const FileName &from, const FileName &to) {
    if (rename(from.c_str(), to.c_str()) != 0)
        Raise(MSG_FILE_RENAME_ERROR, GetLastError());
}

void File::Copy(const FileName &destination, const FileName &source) {
    if (!CopyFileA(source.c_str(), destination.c_str(), FALSE)) {
        const DWORD error = GetLastError();
        ThrowIfDiskFull(error, destination);
        Raise(MSG_FILE_COPY_ERROR, error);
    }
}

void File::CopyEx(const FileName &destination, const FileName &source) {
    EnsureDirectory(FileName(destination.GetPath()));
    Copy(destination, source);
}

void File::Move(const FileName &destination, const FileName &source) {
    if (Exist(destination, TypeFile))
        Delete(destination, 0, 1);
    if (!MoveFileA(source.c_str(), destination.c_str())) {
        const DWORD error = GetLastError();
        ThrowIfDiskFull(error, destination);
        Raise(MSG_FILE_MOVE_ERROR, error);
    }
}

void File::EnsureDirectory(const FileName &directory) {
    List<StringItem<ListElement>> levels;
    ExplodeString(levels, directory.c_str(), "\\", 0);
    String path;
    for (StringItem<ListElement> *level = levels.GetFirst(); level; level = levels.GetNext(level)) {
        path += *level;
        bool failed;
        if (level == levels.GetFirst()) {
            failed = !ExistDrive(FileName(path));
        } else {
            WIN32_FIND_DATAA found;
            HANDLE search = FindFirstFileA(path.c_str(), &found);
            if (search != INVALID_HANDLE_VALUE) {
                FindClose(search);
                failed = !(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
            } else {
                failed = !CreateDirectoryA(path.c_str(), nullptr);
            }
        }
        if (failed)
            Raise(MSG_DIRECTORY_CREATE_ERROR, GetLastError());
        path += "\\";
    }
}

int File::CanWrite(int window, const FileName &name, int reportInUse, BackupMode mode,
                   const char *backupExtension) {
    if (!Exist(name, TypeAny))
        return 1;
    int inUse = 0;
    try {
        File probe(name, OpenRead | ShareNone);
    } catch (...) {
        inUse = 1;
    }
    if (inUse && reportInUse) {
        Notice(MSG_FILE_IN_USE_OVERWRITE);
        return 0;
    }
    if (backupExtension == nullptr || mode == BackupNone)
        return 1;

    int answer = IDYES;
    if (mode == BackupAsk) {
        char caption[501];
        HWND owner = reinterpret_cast<HWND>(static_cast<intptr_t>(window));
        if (GetWindowTextA(owner, caption, sizeof caption) <= 0)
            caption[0] = '\0';
        answer = MessageBoxA(nullptr, String(FindString(MSG_FILE_BACKUP_QUESTION)).c_str(), caption,
                             kQuestionStyle);
    }
    if (answer == IDCANCEL)
        return 0;
    if (answer == IDNO)
        return 1;

    String extension(backupExtension);
    if (extension == "~") {
        String own(name.GetExtension(0));
        if (!own.IsEmpty())
            extension = "~" + String(own.c_str(), 1, own.GetLength() - 1);
    }
    FileName backup(name);
    backup.SetExtension(extension);
    try {
        if (inUse) {
            Copy(backup, name);
        } else {
            Delete(backup, 0, 1);
            Rename(name, backup);
        }
    } catch (...) {
        Notice(MSG_FILE_BACKUP_FAILED);
        return 0;
    }
    return 1;
}

int File::AreEqual(const FileName &a, const FileName &b, int32_t *difference) {
    if (_stricmp(a.c_str(), b.c_str()) == 0 && Exist(a, TypeFile)) {
        if (difference)
            *difference = 0;
        return 1;
    }
    try {
        const int32_t size = GetSize(a);
        if (size != GetSize(b)) {
            if (difference)
                *difference = -1;
            return 0;
        }
        MappedFile first(a, OpenRead, 1, 0);
        MappedFile second(b, OpenRead, 1, 0);
        const char *x = first.GetStart();
        const char *y = second.GetStart();
        if (memcmp(x, y, static_cast<uint32_t>(size)) == 0)
            return 1;
        int32_t at = 0;
        while (x[at] == y[at])
            ++at;
        if (difference)
            *difference = at;
        return 0;
    } catch (...) {
        if (difference)
            *difference = -2;
        return 0;
    }
}

int File::IsWritableDirectory(const FileName &directory) {
    if (directory.IsEmpty())
        return 0;
    try {
        File probe(directory, OpenTempName | DeleteOnCloseBySystem);
        return 1;
    } catch (...) {
        return 0;
    }
}

int32_t File::GetSize(const FileName &name) {
    WIN32_FIND_DATAA found;
    HANDLE search = FindFirstFileA(name.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        Raise(MSG_FILE_OPEN_ERROR, GetLastError(), name.c_str());
    FindClose(search);
    return static_cast<int32_t>(found.nFileSizeLow);
}

int File::IsWriteProtected(const FileName &name) {
    const uint32_t attributes = GetAttributes(name);
    return attributes != 0xFFFFFFFF ? static_cast<int>(attributes & AttrReadOnly) : 0;
}

// ------------------------------------------------------- drives and volumes

int File::ExistDrive(const FileName &name) {
    const uint32_t bit = static_cast<uint32_t>(name.GetDriveIndex()) % 32;
    return (GetLogicalDrives() >> bit) & 1;
}

File::DriveType File::GetDriveTypeA(const FileName &name) {
    const String drive(name.GetDrive());
    switch (::GetDriveTypeA(DriveRoot(name).c_str())) {
    case DRIVE_NO_ROOT_DIR:
        return DriveInvalid;
    case DRIVE_REMOVABLE:
        return IsFloppyDrive(name) || drive == "A" || drive == "B" ? DriveFloppy : DriveRemovable;
    case DRIVE_FIXED:
        return DriveFixed;
    case DRIVE_REMOTE:
        return DriveRemote;
    case DRIVE_CDROM:
        return DriveCdRom;
    case DRIVE_RAMDISK:
        return DriveRamDisk;
    default:
        return DriveUnknown;
    }
}

int File::IsFloppyDrive(const FileName &name) {
    String device("\\\\.\\");
    device += String(name.GetDrive());
    device += ":";
    HANDLE drive = CreateFileA(device.c_str(), 0, FILE_SHARE_READ, nullptr, OPEN_ALWAYS, 0, nullptr);
    if (drive == INVALID_HANDLE_VALUE)
        return 0;
    DISK_GEOMETRY media[20];
    DWORD returned = 0;
    const BOOL asked = DeviceIoControl(drive, IOCTL_DISK_GET_MEDIA_TYPES, nullptr, 0, media,
                                       sizeof media, &returned, nullptr);
    CloseHandle(drive);
    const DWORD count = asked ? returned / sizeof(DISK_GEOMETRY) : 0;
    for (DWORD i = 0; i < count; ++i) {
        if (media[i].MediaType >= 1 && media[i].MediaType <= 10)
            return 1;
    }
    return 0;
}

int File::IsCompressedVolume(const FileName &name) {
    DWORD flags = 0;
    if (!GetVolumeInformationA(DriveRoot(name).c_str(), nullptr, 0, nullptr, nullptr, &flags, nullptr, 0))
        return 0;
    return (flags & FILE_VOLUME_IS_COMPRESSED) != 0;
}

int File::IsFastPhysicalDrive(const FileName &name) {
    const DriveType type = GetDriveTypeA(name);
    return type == DriveFixed || type == DriveRemovable;
}

FileName File::GetVolumeName(const FileName &name) {
    char label[100];
    if (!GetVolumeInformationA(DriveRoot(name).c_str(), label, sizeof label, nullptr, nullptr, nullptr,
                               nullptr, 0))
        Raise(MSG_PARTITION_ACCESS_ERROR, GetLastError());
    return FileName(label);
}

int File::SetVolumeName(const FileName &name, const String &label) {
    if (!SetVolumeLabelA(DriveRoot(name).c_str(), label.c_str()))
        Raise(MSG_PARTITION_LABEL_ERROR, GetLastError());
    return 1;
}

uint32_t File::GetDiskSpace(int drive, int32_t *total) {
    const char root[] = {static_cast<char>('A' + drive), ':', '\\', '\0'};
    DWORD sectorsPerCluster, bytesPerSector, freeClusters, totalClusters;
    if (drive < 0 || drive >= 26 ||
        !GetDiskFreeSpaceA(root, &sectorsPerCluster, &bytesPerSector, &freeClusters, &totalClusters))
        return 0;
    // In 32 bits, as the sizes of this interface are.
    const uint32_t cluster = sectorsPerCluster * bytesPerSector;
    if (total)
        *total = static_cast<int32_t>(cluster * totalClusters);
    return cluster * freeClusters;
}

FileName File::GetAppPath(HINSTANCE module) {
    char path[256];
    const DWORD length = GetModuleFileNameA(module, path, sizeof path);
    path[length < sizeof path ? length : sizeof path - 1] = '\0';
    return FileName(String(path).GetPath());
}

// ------------------------------------------------------------- whole files

void *File::LoadFile(const FileName &name, unsigned int *size, void *buffer) {
    const int32_t length = GetSize(name);
    if (size)
        *size = static_cast<unsigned int>(length);
    File file(name, OpenRead | ShareReadWrite);
    void *block = buffer ? buffer : QX_Heap::GetDefault().Alloc(static_cast<uint32_t>(length), 0);
    try {
        file.Read(block, length, 1, nullptr);
    } catch (...) {
        if (!buffer)
            QX_Heap::FreeMem(block);
        throw;
    }
    return block;
}

void File::SaveFile(const FileName &name, const void *data, unsigned int size) {
    File file(name, OpenCreate);
    file.Write(data, size);
    file.Close();
}

void File::ReadLines(const FileName &name, List<StringItem<ListElement>> &lines, int trim, int skipEmpty) {
    MappedFile file(name, OpenRead, 1, 0);
    lines.Clear();
    CutLines(file.GetStart(), file.GetSize(), trim, skipEmpty,
             [&](const String &line) { lines.Append(new StringItem<ListElement>(line)); });
}

void File::ReadLines(const FileName &name, ArrayInPlace<String> &lines, int trim, int skipEmpty) {
    MappedFile file(name, OpenRead, 1, 0);
    lines.Clear();
    CutLines(file.GetStart(), file.GetSize(), trim, skipEmpty, [&](const String &line) { lines.Add(line); });
}

void File::WriteLines(const FileName &name, const List<StringItem<ListElement>> &lines, int append) {
    const uint32_t existing = append && Exist(name, TypeFile) ? static_cast<uint32_t>(GetSize(name)) : 0;
    uint32_t total = 0;
    for (const StringItem<ListElement> *line = lines.GetFirst(); line; line = lines.GetNext(line))
        total += line->GetLength() + 2;
    if (total == 0)
        total = 2;
    MappedFile file(name, existing > 0 ? OpenReadWrite : OpenReadWrite | OpenCreate, 1, existing + total);
    char *out = file.GetStart() + existing;
    for (const StringItem<ListElement> *line = lines.GetFirst(); line; line = lines.GetNext(line)) {
        memcpy(out, line->c_str(), line->GetLength());
        out += line->GetLength();
        *out++ = '\r';
        *out++ = '\n';
    }
    if (!lines.GetFirst()) {
        out[0] = '\r';
        out[1] = '\n';
    }
}

void File::GetDateTime(const FileName &name, unsigned short *date, unsigned short *time) {
    File file(name, OpenRead | ShareReadWrite);
    file.GetDateTime(date, time);
}

void File::GetDateTime(const FileName &name, FILETIME *created, FILETIME *accessed, FILETIME *written) {
    File file(name, OpenAttributesOnly);
    file.GetDateTime(created, accessed, written);
}

void File::SetDateTime(const FileName &name, FILETIME *created, FILETIME *accessed, FILETIME *written) {
    File file(name, OpenReadWrite);
    file.SetDateTime(created, accessed, written);
}
