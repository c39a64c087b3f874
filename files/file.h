// FileObject and File: open files.
//
// FileObject is the base of the kinds of open file.  Its one duty is to hold
// the file's record in a block cache (`cache`), which is null as long as the
// file is not cached.  A File constructed with a FileCacheManager
// (files/file_cache.h) is cached: ReadCache and WriteCache go through the
// manager's pool, and the FileObject owns the record.
//
// File is a thin, exception-raising layer over a system file handle.  It is
// opened by one of two roads, chosen by the flag OpenBufferedStream: the
// plain file handle, or a buffered stream (the platform's mmio layer) over
// the same file.  Everything that goes through the handle takes the road
// the file was opened on, except where a member says "not for the stream
// road": there the handle is a stream and the call fails or does nothing.
//
// The open flags are the library's own word; File translates them into the
// platform's open arguments and records in GetOpenFlags the flags in force,
// defaults included: without any of OpenAttributesOnly, OpenRead, OpenWrite
// and OpenReadWrite the file opens with OpenReadWrite, and without any
// share flag with ShareRead.
//
// Offsets and sizes are 32 bits: files up to 2^31 - 1 bytes.
//
// Failures raise an Exception through ExceptionThrower(0): its `code` is the
// platform's last error unless said otherwise, its message one of the
// built-in texts 0x4650 to 0x466A, the file's name or drive formatted into
// the texts that hold %s.  A full disk always arrives as message 0x4663,
// "There is not enough disk space on partition %s.", with the drive letter
// in the text and its index (A being 0) in Exception::drive.  After a failed
// read or write the file stays open, positioned wherever the platform left
// it; nothing is retried.
//
// A File is used by one thread at a time.  `lock` (OpenThreadSafe) is for
// callers that share one File between threads for a seek and the read that
// follows it: of File's own members only ReadCache takes it.
#ifndef CVZ_FILES_FILE_H
#define CVZ_FILES_FILE_H

#include <stdint.h>

#include "CommonVcZq/files/file_name.h"
#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/platform/application.h"
#include "CommonVcZq/text/string.h"

class CriticalSection;
class FileCacheBuffers;
class FileCacheManager;
template <class T>
class ArrayInPlace;
template <class Base>
class StringItem;

class CVZ_API FileObject {
public:
    FileObject() : cache(nullptr) {}
    // Registers with `manager` when it is not null; a disabled manager
    // gives no record, and the file is not cached.
    explicit FileObject(FileCacheManager *manager);
    // Copies share the cache record.
    FileObject(const FileObject &other) = default;
    FileObject &operator=(const FileObject &other) = default;
    virtual ~FileObject();

    virtual int32_t GetFileSize() const = 0;

    FileCacheBuffers *GetCache() const { return cache; }

protected:
    FileCacheBuffers *cache;
};

class CVZ_API File : public FileObject {
public:
    // The open flags.  Bits not named here have no meaning.
    enum : int32_t {
        OpenAttributesOnly = 0x1,       // no access rights: for times and attributes
        OpenRead = 0x2,
        OpenWrite = 0x4,
        OpenReadWrite = 0x8,            // the default access
        OpenCreate = 0x10,              // create, replacing any old content
        ShareRead = 0x20,               // others may read; the default sharing
        ShareWrite = 0x40,              // others may write
        ShareReadWrite = 0x80,
        ShareNone = 0x100,
        DeleteOnCloseBySystem = 0x200,  // the system deletes the file at its close
        DeleteOnCloseByFile = 0x400,    // Close deletes the file
        OpenTempName = 0x800,           // the name is a folder: a fresh name in it; implies OpenCreate
        KeepWriteProtection = 0x1000,   // lift read-only while open, set it again at Close
        OpenThreadSafe = 0x2000,        // the constructor creates `lock`
        OpenOverlapped = 0x4000,        // for ReadAsync
        OpenBufferedStream = 0x8000,    // the stream road
        OpenNoThrow = 0x10000,          // a failed Open returns 0
        OpenNoBuffering = 0x1000000,    // hints for the platform, from here on
        OpenTemporary = 0x2000000,
        OpenHidden = 0x4000000,
        OpenWriteThrough = 0x8000000,
        OpenRandomAccess = 0x10000000,
        OpenSequentialScan = 0x20000000,
    };

    enum SeekOrigin { OriginBegin = 0, OriginCurrent = 1, OriginEnd = 2 };

    // What Exist looks for.
    enum Type { TypeFile = 0, TypeDirectory = 1, TypeAny = 2 };

    // The library's attribute word.  0xFFFFFFFF stands for "unknown".
    enum : uint32_t {
        AttrNormal = 1,
        AttrReadOnly = 2,
        AttrHidden = 4,
        AttrSystem = 8,
        AttrDirectory = 16,
        AttrArchive = 32,
    };

    // A closed file.
    File();
    // Open(name, flags), then the `lock` when `flags` holds OpenThreadSafe.
    // A failed open raises out of the constructor, or with OpenNoThrow
    // leaves the File closed.
    File(const FileName &name, int flags);
    // A file read and written through `manager`'s pool.  Registered with
    // it, the file opens with OpenNoBuffering and without the hints
    // OpenWriteThrough, OpenRandomAccess and OpenSequentialScan; when the
    // manager is disabled it opens uncached, without OpenNoBuffering.
    File(const FileName &name, int flags, FileCacheManager &manager);
    // Close(1); then the lock goes.
    ~File() override;
    // A File owns its handle: it is not copied.
    File(const File &) = delete;
    File &operator=(const File &) = delete;

    // ------------------------------------------------------------ open state

    // Opens `name`; 1 on success.  A failure raises 0x4669 for a sharing
    // violation, 0x4660 with OpenCreate, else 0x4650, each with the name; or,
    // with OpenNoThrow, returns 0.  With OpenTempName the name opened is
    // GetTempName(name).  With DeleteOnCloseBySystem on the stream road the
    // flag turns into DeleteOnCloseByFile.  Open neither closes a file that
    // is open (the caller closes first) nor creates `lock`.
    int Open(const FileName &name, int flags);
    // Closes an open file; nothing on a closed one.  With a delete flag the
    // handle road truncates the file to 0 first; DeleteOnCloseByFile then
    // deletes it, and KeepWriteProtection sets it read-only again.
    // `dropCache` tells the block cache whether to forget the file's blocks;
    // it has no effect on a file without a cache record.
    void Close(int dropCache = 1);
    int IsOpen() const { return handle != nullptr; }
    // The file handle, or on the stream road the stream's handle; null when
    // closed.
    void *GetHandle() const { return handle; }
    // The flags in force, with the defaults that the opening added.
    int32_t GetOpenFlags() const { return flags; }
    // The name opened; with OpenTempName the generated name.
    const FileName &GetName() const { return name; }
    void SetDeleteOnClose() { flags |= DeleteOnCloseByFile; }
    // Non-zero when either delete flag is set.
    int ShouldBeDeletedOnClose() const { return flags & (DeleteOnCloseBySystem | DeleteOnCloseByFile); }
    // The size in bytes, -1 when the platform cannot tell.  The stream road
    // seeks to the end and back.
    int32_t GetSize() const;
    int32_t GetFileSize() const override;

    // --------------------------------------------------------------- reading

    // Reads `size` bytes at the position; 1 when all came.  `*got` (when
    // given) receives the count that came, or -1 when the platform failed
    // or `size` is negative.  With `mustSucceed` a short read or a negative
    // size raises 0x4652 with the name; else the result is 0.  A `size` of
    // 0 gives 1 without touching the file.
    int Read(void *buffer, int32_t size, int mustSucceed = 1, int32_t *got = nullptr);
    // One value, as the bytes it has in memory; a short read raises 0x4652.
    // long and unsigned long take 4 bytes on every platform, as in the
    // file formats: the value is widened from 32 bits, with its sign for
    // long and with zeros for unsigned long.
    int Read(char *value);
    int Read(signed char *value);
    int Read(unsigned char *value);
    int Read(short *value);
    int Read(unsigned short *value);
    int Read(int *value);
    int Read(unsigned int *value);
    int Read(long *value);
    int Read(unsigned long *value);
    int Read(float *value);
    int Read(double *value);
    // The bytes up to the next line end, which is read but not returned: a
    // zero byte, LF, CR LF, or a lone CR (whose following byte is put back).
    // A CR as the last byte of the file raises 0x4652.  The line and the
    // position it leaves are those of a read a byte at a time; the bytes are
    // read a piece at a time and the position set back behind the line end.
    // An empty result doesn't tell an empty line from the
    // end of the file: compare the position with the size.
    String ReadLine();
    // Starts a read of `size` bytes at `offset` on a file opened with
    // OpenOverlapped, and returns at once: `event` is reset here and
    // signalled by the platform when the read is over.  Neither the byte
    // count nor a failure is reported.  `buffer` must stay valid, and the
    // File open, until `event` is signalled; one read at a time per File.
    // The file position plays no part.
    void ReadAsync(void *buffer, int32_t size, uint32_t offset, void *event);

    // --------------------------------------------------------------- writing

    // Writes `size` bytes at the position.  A full disk raises 0x4663 with
    // the drive; any other failure 0x4653.
    void Write(const void *data, uint32_t size);
    // One value, as the bytes it has in memory.  long and unsigned long
    // write their low 32 bits: 4 bytes on every platform.
    void Write(char value);
    void Write(signed char value);
    void Write(unsigned char value);
    void Write(short value);
    void Write(unsigned short value);
    void Write(int value);
    void Write(unsigned int value);
    void Write(long value);
    void Write(unsigned long value);
    void Write(float value);
    void Write(const double &value);
    // The text's bytes, with its ending zero when `withTerminator` is set.
    void WriteString(const char *text, int withTerminator = 0);
    void WriteString(const String &text, int withTerminator = 0);
    // The text, the byte `end1`, then `end2` unless it is '\xFF'.
    void WriteLine(const char *text, char end1 = '\r', char end2 = '\n');
    void WriteLine(const String &text, char end1 = '\r', char end2 = '\n');

    // ---------------------------------------------------- through the cache

    // Reads `size` bytes at `offset` through the block cache: 1 when all
    // came.  `*got` (when given) receives the count delivered, also on a
    // failure.  A miss reads the whole aligned block from the file.  With
    // `mustSucceed` a short read raises 0x4652 with the name.  Moves the
    // file position.  Takes the File's lock, when it has one, for the whole
    // read.  Without a cache record it seeks and reads.
    int ReadCache(int32_t offset, void *buffer, int32_t size, int32_t *got, int mustSucceed);
    // Writes the whole block of `size` bytes at `offset` to the file and
    // keeps a copy in the cache.  The caller supplied `filled` bytes at
    // `block + prefix` (`filled` 0: the whole block is valid); the bytes
    // around them are read through the cache first, and what lies beyond
    // the end of the file is zeroed.  The file may grow to the end of the
    // block: AdjustSizeOfCachedFile sets its size afterwards.  The file is
    // unbuffered, so `block`, `offset` and `size` must be aligned to the
    // disk's sectors (4096 serves all), as the pool's blocks are; a
    // misaligned write fails.  Not synchronised with other threads on the
    // same File.
    void WriteCache(int32_t offset, void *block, uint32_t size, int32_t prefix, int32_t filled);

    // ------------------------------------------------------ position and size

    // The new position, or -1; with `mustSucceed` a -1 raises 0x4654.
    int32_t Seek(int32_t offset, SeekOrigin origin, int mustSucceed = 1);
    int32_t SeekStart(int mustSucceed = 1) { return Seek(0, OriginBegin, mustSucceed); }
    int32_t SeekEnd(int mustSucceed = 1) { return Seek(0, OriginEnd, mustSucceed); }
    int32_t GetPosition() { return Seek(0, OriginCurrent, 1); }
    // Gives the file exactly `size` bytes and leaves the position there.  A
    // size the disk cannot hold raises 0x4663 with the drive, any other
    // failure 0x4655.  Not for the stream road.
    void SetSize(int32_t size);
    // Sets the exact size of a file that a block cache keeps open without
    // system buffering, through a second, plain open of the file, and opens
    // it again with `reopenFlags` (0: the flags it had), without
    // OpenCreate and with OpenNoBuffering.  Without a cache record this is
    // SetSize; at the right size it does nothing.
    void AdjustSizeOfCachedFile(int32_t size, int32_t reopenFlags);
    // Hands the system's buffers of the file to the disk.  Not for the
    // stream road.
    void Flush() const;
    // The stream road empties its own buffer into the file; the handle road
    // is Flush.
    void FlushBuffers();
    // Locks or unlocks a byte range against other handles, in this process
    // and others.  The platform's result is dropped.
    void Lock(int32_t offset, uint32_t size);
    void Unlock(int32_t offset, uint32_t size);

    // ------------------------------------------ times and attributes, opened
    // None of these works on the stream road.

    // The last-write time as DOS date and time words; a non-null output
    // stays 0 when the time can't be read.
    void GetDateTime(unsigned short *date, unsigned short *time) const;
    // The three times; a non-null output stays zero when they can't be read.
    void GetDateTime(FILETIME *created, FILETIME *accessed, FILETIME *written) const;
    // Sets the times given; a null pointer leaves that time alone.  The
    // platform's result is dropped.
    void SetDateTime(FILETIME *created, FILETIME *accessed, FILETIME *written);
    // The library's attributes, or 0xFFFFFFFF.
    uint32_t GetAttributes() const;

    // -------------------------------------------------------------- by name

    // The library's attributes of `name`, or 0xFFFFFFFF.
    static uint32_t GetAttributes(const FileName &name);
    // Sets the attributes; 1 on success.  A failure raises 0x4661 with
    // `mustSucceed`, else gives 0.
    static int SetAttributes(const FileName &name, uint32_t attributes, int mustSucceed = 1);
    // 1 when `name` exists as `type`.  A name that can't be looked at
    // (access denied) exists, whatever the type.
    static int Exist(const FileName &name, Type type = TypeFile);
    // 1 when no file of that name is left: also for a missing name and for
    // a folder, which is not touched.  `force` lifts the read-only
    // attribute for a second try.  A failure raises 0x4651 with
    // `mustSucceed`, else gives 0.
    static int Delete(const FileName &name, int mustSucceed = 1, int force = 0);
    // "<directory>\XX<n>.$$$" for the smallest n from 0 on that names no
    // file.  Nothing is created, so two callers can get the same name.
    // Raises 0x4658 (code 0) when `directory` is not a folder.
    static FileName GetTempName(const FileName &directory);

    // ------------------------------------------------- operations by name
    // Whole-file operations, copying and moving, backups, and the drive and
    // volume questions.  Those that raise do so with the system error as
    // `code`; a full disk is 0x4663 with the destination's drive.

    // What CanWrite does with an existing file before it is overwritten.
    enum BackupMode { BackupNone = 0, BackupAsk = 1, BackupAlways = 2 };
    // The kind of a drive, by the platform's answer.
    enum DriveType {
        DriveInvalid = -1,  // no such root
        DriveUnknown = 0,
        DriveFloppy = 1,
        DriveRemovable = 2,
        DriveFixed = 3,
        DriveRemote = 4,
        DriveCdRom = 5,
        DriveRamDisk = 6,
    };

    // The runtime's rename(from, to), which never replaces; 0x465D.
    static void Rename(const FileName &from, const FileName &to);
    // Copies `source` over `destination`, replacing it; 0x4656.
    static void Copy(const FileName &destination, const FileName &source);
    // EnsureDirectory of the destination's folder, then Copy.
    static void CopyEx(const FileName &destination, const FileName &source);
    // Deletes a destination file (quietly), then moves; 0x4657.
    static void Move(const FileName &destination, const FileName &source);
    // Makes every missing folder of `directory` from the drive down; a
    // level that is a file, a missing drive or a failed creation raises
    // 0x4662.  A name without a drive fails.
    static void EnsureDirectory(const FileName &directory);
    // Whether the caller may write `name`, making a backup first if asked.
    // 1 for a missing file.  A file in use gives 0 (after the box 0x4659)
    // with `reportInUse`, else is backed up by copying.  BackupAsk asks the
    // question 0x465A under the caption of `window`: Cancel gives 0, No 1
    // without a backup.  The backup's extension is `backupExtension`, or
    // for "~" the file's extension with its first letter turned into '~'
    // ("~" for none).  A failed backup shows 0x465B and gives 0.  Never
    // raises.
    static int CanWrite(int window, const FileName &name, int reportInUse, BackupMode mode,
                        const char *backupExtension);
    // 1 when the two files hold the same bytes (or are one name, in any
    // case, of an existing file).  `*difference`, when given: -1 for sizes
    // that differ, the offset of the first byte that differs, -2 when a
    // file can't be read (a missing or empty one); untouched on equality.
    static int AreEqual(const FileName &a, const FileName &b, int32_t *difference);
    // 1 when a temporary file can be made in `directory`.
    static int IsWritableDirectory(const FileName &directory);
    // The size without opening the file; 0x4650 with the name when missing.
    static int32_t GetSize(const FileName &name);
    // Non-zero when the file is read-only; 0 when that can't be told.
    static int IsWriteProtected(const FileName &name);

    // Drives and volumes, by the drive of `name`.
    static int ExistDrive(const FileName &name);
    static DriveType GetDriveTypeA(const FileName &name);
    static int IsFloppyDrive(const FileName &name);
    static int IsCompressedVolume(const FileName &name);
    // 1 for fixed and removable drives (a floppy is not fast).
    static int IsFastPhysicalDrive(const FileName &name);
    // The volume's label; 0x465E when it can't be read.
    static FileName GetVolumeName(const FileName &name);
    // Sets the label; 1, or 0x465F.
    static int SetVolumeName(const FileName &name, const String &label);
    // Free bytes of drive `drive` (0 is A), in 32 bits, and the total in
    // `*total` when given; 0 and `*total` untouched when the drive can't
    // be asked.
    static uint32_t GetDiskSpace(int drive, int32_t *total);
    // The folder of the module's file.
    static FileName GetAppPath(HINSTANCE module);

    // Whole files.
    // Reads the whole file into `buffer`, or into a new block from
    // QX_Heap::GetDefault() that the caller frees with QX_Heap::FreeMem;
    // `*size` receives the size.
    static void *LoadFile(const FileName &name, unsigned int *size, void *buffer);
    // Creates the file anew with `size` bytes of `data`.
    static void SaveFile(const FileName &name, const void *data, unsigned int size);
    // The lines of a file up to its last LF (bytes after it are dropped),
    // without CR and LF; with `trim` without blanks and tabs at their ends
    // too; empty ones left out with `skipEmpty`.  The file is mapped, so an
    // empty file raises 0x4665.
    static void ReadLines(const FileName &name, List<StringItem<ListElement>> &lines, int trim,
                          int skipEmpty);
    static void ReadLines(const FileName &name, ArrayInPlace<String> &lines, int trim, int skipEmpty);
    // Writes each line with CR LF (one CR LF for no lines), replacing the
    // file, or after its end with `append`.
    static void WriteLines(const FileName &name, const List<StringItem<ListElement>> &lines, int append);
    // The times of the file by its name, as the open File gives them.
    static void GetDateTime(const FileName &name, unsigned short *date, unsigned short *time);
    static void GetDateTime(const FileName &name, FILETIME *created, FILETIME *accessed,
                            FILETIME *written);
    static void SetDateTime(const FileName &name, FILETIME *created, FILETIME *accessed,
                            FILETIME *written);

private:
    friend class MappedFile;  // raises a full disk as File does

    // Flag translators.  Those taking `flags` by reference add the defaults.
    static uint32_t TranslateMMIOFlags(int &flags);
    static uint32_t TranslateReadWriteFlags(int &flags);
    static uint32_t TranslateShareFlags(int &flags);
    static uint32_t TranslateOpenMode(int flags);
    static uint32_t TranslateSpecialFlags(int flags);
    static uint32_t TranslateAttributeFlags(uint32_t attributes);
    static uint32_t TranslateOSAttributeFlags(uint32_t attributes);
    int TranslateSeekMode(int origin) const;

    int OnStreamRoad() const { return flags & OpenBufferedStream; }
    // Raises 0x4663 for the errors of a full disk (39, 112) and returns for
    // any other.
    static void ThrowIfDiskFull(uint32_t error, const FileName &name);

    FileName name;
    CriticalSection *lock;
    int32_t flags;
    void *handle;
    // The platform's control record of the read that ReadAsync started,
    // which must outlive the call.
    alignas(8) unsigned char asyncRead[32];
};

#endif
