// The library's one door to the operating system.
//
// The library calls the Win32 interface by its own names.  On Windows this
// header is <windows.h>.  Elsewhere it declares the subset of Win32 that the
// library uses, implemented in platform/posix/ with Win32 semantics: Win32
// error codes through GetLastError, recursive critical sections, thread
// message queues, resource modules with string tables, and so on.  Each
// call behaves as its Win32 namesake does for the arguments the library
// passes; where the POSIX side cannot follow, the implementation says so.
//
// This header is internal: public headers never include it.  The handful of
// declarations an application needs live in platform/application.h, which
// this header includes.
#ifndef CVZ_PLATFORM_WIN32_H
#define CVZ_PLATFORM_WIN32_H

#if defined(_WIN32)

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <commdlg.h>
#include <mmsystem.h>
#include <winioctl.h>
#include <process.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#else

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "CommonVcZq/platform/application.h"

typedef unsigned char BYTE;
typedef uint16_t WORD;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;
typedef uintptr_t ULONG_PTR;
typedef uintptr_t DWORD_PTR;
typedef char *LPSTR;
typedef void *HANDLE;
typedef HANDLE *LPHANDLE;

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};
typedef SECURITY_ATTRIBUTES *LPSECURITY_ATTRIBUTES;

union LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
};

struct SYSTEM_INFO {
    WORD wProcessorArchitecture;
    WORD wReserved;
    DWORD dwPageSize;
    LPVOID lpMinimumApplicationAddress;
    LPVOID lpMaximumApplicationAddress;
    DWORD_PTR dwActiveProcessorMask;
    DWORD dwNumberOfProcessors;
    DWORD dwProcessorType;
    DWORD dwAllocationGranularity;
    WORD wProcessorLevel;
    WORD wProcessorRevision;
};

// A recursive lock: the owning thread may enter again, and leaves as often
// as it entered.
struct CRITICAL_SECTION {
    pthread_mutex_t mutex;
};
typedef CRITICAL_SECTION *LPCRITICAL_SECTION;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif

// Win32 error codes that the layer reports through GetLastError.
enum : DWORD {
    ERROR_SUCCESS = 0,
    ERROR_INVALID_FUNCTION = 1,
    ERROR_FILE_NOT_FOUND = 2,
    ERROR_PATH_NOT_FOUND = 3,
    ERROR_ACCESS_DENIED = 5,
    ERROR_INVALID_HANDLE = 6,
    ERROR_NOT_ENOUGH_MEMORY = 8,
    ERROR_INVALID_PARAMETER = 87,
    ERROR_INSUFFICIENT_BUFFER = 122,
    ERROR_MOD_NOT_FOUND = 126,
    ERROR_ALREADY_EXISTS = 183,
    ERROR_FILENAME_EXCED_RANGE = 206,
    ERROR_RESOURCE_NAME_NOT_FOUND = 1814,
    ERROR_RESOURCE_TYPE_NOT_FOUND = 1813,
    ERROR_INVALID_WINDOW_HANDLE = 1400,
    ERROR_INVALID_HOOK_HANDLE = 1404,
    ERROR_INVALID_INDEX = 1413,
    ERROR_CONTROL_ID_NOT_FOUND = 1421,
    ERROR_CANNOT_FIND_WND_CLASS = 1407,
    ERROR_INVALID_THREAD_ID = 1444,
    ERROR_NOT_ENOUGH_QUOTA = 1816,
};

// Results and limits of the waits, and DuplicateHandle's options.
enum : DWORD {
    WAIT_OBJECT_0 = 0,
    WAIT_ABANDONED_0 = 0x80,
    WAIT_IO_COMPLETION = 0xC0,
    WAIT_TIMEOUT = 258,
    WAIT_FAILED = 0xFFFFFFFF,
    INFINITE = 0xFFFFFFFF,
    MAXIMUM_WAIT_OBJECTS = 64,
    DUPLICATE_CLOSE_SOURCE = 1,
    DUPLICATE_SAME_ACCESS = 2,
};

extern "C" {

DWORD GetLastError(void);
void SetLastError(DWORD error);

// Debug channel: one line on standard error.
void OutputDebugStringA(LPCSTR text);

// Clocks and the machine.
DWORD GetTickCount(void);
BOOL QueryPerformanceCounter(LARGE_INTEGER *count);
BOOL QueryPerformanceFrequency(LARGE_INTEGER *frequency);
void GetSystemInfo(SYSTEM_INFO *info);

// Locks and interlocked words.
void InitializeCriticalSection(LPCRITICAL_SECTION section);
void DeleteCriticalSection(LPCRITICAL_SECTION section);
void EnterCriticalSection(LPCRITICAL_SECTION section);
BOOL TryEnterCriticalSection(LPCRITICAL_SECTION section);
void LeaveCriticalSection(LPCRITICAL_SECTION section);
LONG InterlockedIncrement(LONG volatile *value);
LONG InterlockedDecrement(LONG volatile *value);
LONG InterlockedExchange(LONG volatile *target, LONG value);
LONG InterlockedExchangeAdd(LONG volatile *target, LONG value);
LONG InterlockedCompareExchange(LONG volatile *target, LONG exchange, LONG comparand);

// Events, handles and waits (platform/posix/events.cpp, handles.cpp).  A
// handle names a kernel object until CloseHandle; the objects so far are
// events and threads.  Only the calling process can be named
// (GetCurrentProcess), and a name given to CreateEventA is known within
// this process only.  The waits are never alertable here, so bAlertable is
// not looked at.
HANDLE CreateEventA(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState,
                    LPCSTR name);
BOOL SetEvent(HANDLE event);
BOOL ResetEvent(HANDLE event);
BOOL PulseEvent(HANDLE event);
DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds);
DWORD WaitForMultipleObjectsEx(DWORD count, const HANDLE *objects, BOOL waitAll,
                               DWORD milliseconds, BOOL alertable);
BOOL CloseHandle(HANDLE object);
HANDLE GetCurrentProcess(void);
BOOL DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, LPHANDLE target,
                     DWORD access, BOOL inherit, DWORD options);

// Modules.  A module is a shared library; a resource module carries a
// string table (see cmake/CvzStringModule.cmake) that LoadStringA reads.
// Names may be native paths or drive-letter paths such as Z:\lib\x.so.
BOOL DisableThreadLibraryCalls(HMODULE module);
// Copies up to `bufferMax` - 1 characters of string `id` and a zero;
// returns the count copied, or 0 with the buffer untouched when the module
// has no such string.
int LoadStringA(HINSTANCE instance, UINT id, LPSTR buffer, int bufferMax);

// Memory (platform/posix/memory.cpp).  VirtualAlloc reserves address
// space in 64 KiB-aligned ranges and commits pages within a range;
// committed pages start zeroed, and pages committed again keep what they
// hold.  VirtualFree decommits pages (their contents are lost) or releases
// a whole range by its base address, with size 0.  A range reserved in one
// call stays one range: it is never split, merged or moved.  Protections
// are PAGE_NOACCESS, PAGE_READONLY and PAGE_READWRITE.  Failures:
// ERROR_INVALID_ADDRESS for an address that lies in no range of this layer
// or a commit that runs past its range, ERROR_INVALID_PARAMETER for a bad
// type, protection or size, ERROR_NOT_ENOUGH_MEMORY when the system
// refuses address space or commit charge.  GlobalMemoryStatus describes
// the machine's memory and the process's address space; see memory.cpp.
typedef size_t SIZE_T;

enum : DWORD {
    ERROR_INVALID_ADDRESS = 487,
    MEM_COMMIT = 0x1000,
    MEM_RESERVE = 0x2000,
    MEM_DECOMMIT = 0x4000,
    MEM_RELEASE = 0x8000,
    PAGE_NOACCESS = 0x01,
    PAGE_READONLY = 0x02,
    PAGE_READWRITE = 0x04,
};

struct MEMORYSTATUS {
    DWORD dwLength;
    DWORD dwMemoryLoad;
    SIZE_T dwTotalPhys;
    SIZE_T dwAvailPhys;
    SIZE_T dwTotalPageFile;
    SIZE_T dwAvailPageFile;
    SIZE_T dwTotalVirtual;
    SIZE_T dwAvailVirtual;
};
typedef MEMORYSTATUS *LPMEMORYSTATUS;

LPVOID VirtualAlloc(LPVOID address, SIZE_T size, DWORD allocationType, DWORD protection);
BOOL VirtualFree(LPVOID address, SIZE_T size, DWORD freeType);
void GlobalMemoryStatus(LPMEMORYSTATUS status);

// Runtime library extensions of the Windows C runtime.
int _stricmp(const char *a, const char *b);
int _strnicmp(const char *a, const char *b, size_t count);
char *_strupr(char *text);
char *_strlwr(char *text);
char *_ltoa(long value, char *buffer, int radix);
char *_ultoa(unsigned long value, char *buffer, int radix);
char *_itoa(int value, char *buffer, int radix);

// Dates (platform/posix/dates.cpp).  A FILETIME counts 100 ns since
// 1601-01-01, a SYSTEMTIME holds the same instant as calendar fields
// (wDayOfWeek 0 is Sunday).  The layer knows no time zones: as on Windows,
// a DOS date and time become a FILETIME of the same clock reading, and
// FileTimeToSystemTime converts without a shift.
struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};
typedef SYSTEMTIME *LPSYSTEMTIME;
typedef DWORD LCID;
// Date word: day in bits 0-4, month in 5-8, years since 1980 in 9-15.  Time
// word: seconds / 2 in bits 0-4, minutes in 5-10, hours in 11-15.  A day 0
// or beyond the month's last, a month 0 or above 12, an hour above 23, a
// minute above 59 or seconds above 59 fail with ERROR_INVALID_PARAMETER.
BOOL DosDateTimeToFileTime(WORD fatDate, WORD fatTime, FILETIME *fileTime);
// The other way: the years 1980 to 2107 only, else ERROR_INVALID_PARAMETER;
// seconds fall to the even second below.
BOOL FileTimeToDosDateTime(const FILETIME *fileTime, WORD *fatDate, WORD *fatTime);
// Fails with ERROR_INVALID_PARAMETER for a time of 2^63 or more.
BOOL FileTimeToSystemTime(const FILETIME *fileTime, SYSTEMTIME *systemTime);
// Writes `date` (null: today, local time) in the picture `format`, and
// returns the characters written with the ending zero; `bufferSize` 0 asks
// for that count alone, and a smaller buffer fails with
// ERROR_INSUFFICIENT_BUFFER.  Only `locale` 0 and `flags` 0 are known, and
// the picture must be given: it takes d, dd (day), M, MM (month), yy and
// yyyy (year), with a leading zero in the two-letter forms (yy: the last
// two digits); characters other than letters are copied as they stand.
// Any other letter or run, a quote, or a date that is no calendar date
// fails with ERROR_INVALID_PARAMETER.
int GetDateFormatA(LCID locale, DWORD flags, const SYSTEMTIME *date, LPCSTR format, LPSTR buffer,
                   int bufferSize);

// Names and the current directory (platform/posix/paths.cpp).
// Names come and go in drive-letter form (see paths.h for the drive
// table).  GetCurrentDirectoryA returns the length written without the
// zero, or, when the buffer is too small, the size needed with the zero and
// writes nothing.  GetModuleFileNameA names the program (null module) or a
// module from LoadLibraryA; a name too long is cut, zero-ended, and gives
// `size` with ERROR_INSUFFICIENT_BUFFER.  lstrcmpiA orders without case,
// digits before letters and punctuation before both, giving -1, 0 or 1.
DWORD GetCurrentDirectoryA(DWORD bufferLength, LPSTR buffer);
DWORD GetModuleFileNameA(HMODULE module, LPSTR buffer, DWORD size);
int lstrcmpiA(LPCSTR a, LPCSTR b);

// Threads and their clocks (platform/posix/threads.cpp).  A thread handle
// is a kernel object that becomes signalled when the thread ends, with its
// exit code; GetCurrentThread's pseudo handle names the calling thread.
// SuspendThread and ResumeThread keep Windows's suspend count (at most 127)
// and return the count before the call, or 0xFFFFFFFF on failure; a
// suspended thread truly stands still.  TerminateThread stops the thread
// for good without running any more of its code; see threads.cpp for what
// stays behind.  Priorities and priority classes are Windows's values,
// reported as set and applied as far as the system lets an unprivileged
// process.  Sleep is a thread's; timeGetTime is the millisecond clock of
// GetTickCount.
enum : DWORD {
    CREATE_SUSPENDED = 0x4,
    STACK_SIZE_PARAM_IS_A_RESERVATION = 0x10000,
    STILL_ACTIVE = 259,
    MAXIMUM_SUSPEND_COUNT = 127,
    ERROR_SIGNAL_REFUSED = 156,
    IDLE_PRIORITY_CLASS = 0x40,
    BELOW_NORMAL_PRIORITY_CLASS = 0x4000,
    NORMAL_PRIORITY_CLASS = 0x20,
    ABOVE_NORMAL_PRIORITY_CLASS = 0x8000,
    HIGH_PRIORITY_CLASS = 0x80,
    REALTIME_PRIORITY_CLASS = 0x100,
};
enum : int {
    THREAD_PRIORITY_IDLE = -15,
    THREAD_PRIORITY_LOWEST = -2,
    THREAD_PRIORITY_BELOW_NORMAL = -1,
    THREAD_PRIORITY_NORMAL = 0,
    THREAD_PRIORITY_ABOVE_NORMAL = 1,
    THREAD_PRIORITY_HIGHEST = 2,
    THREAD_PRIORITY_TIME_CRITICAL = 15,
    THREAD_PRIORITY_ERROR_RETURN = 0x7FFFFFFF,
};
// The thread runs start(argument); `initFlags` may hold CREATE_SUSPENDED.
// Returns the thread's handle, or 0 with errno set.
uintptr_t _beginthreadex(void *security, unsigned stackSize, unsigned (*start)(void *),
                         void *argument, unsigned initFlags, unsigned *threadId);
HANDLE GetCurrentThread(void);
BOOL GetExitCodeThread(HANDLE thread, DWORD *exitCode);
DWORD SuspendThread(HANDLE thread);
DWORD ResumeThread(HANDLE thread);
BOOL TerminateThread(HANDLE thread, DWORD exitCode);
BOOL SetThreadPriority(HANDLE thread, int priority);
int GetThreadPriority(HANDLE thread);
// Only GetCurrentProcess() names a process.
BOOL SetPriorityClass(HANDLE process, DWORD priorityClass);
DWORD GetPriorityClass(HANDLE process);
void Sleep(DWORD milliseconds);
DWORD timeGetTime(void);
}

// Files (platform/posix/files.cpp, with share_modes.cpp and file_info.cpp
// beside it).  A file handle is a kernel object over a descriptor; names
// take the drive-letter form of paths.h.  Share modes hold between all
// handles of this process and between processes that use this layer,
// through open-file-description locks on reserved bytes beyond any 32-bit
// offset; LockFile ranges are such locks too, so they hold
// between processes as well.  A program that ignores locks is not stopped.
// Read-only is the absence of write permission; hidden, system and archive
// live in the extended attribute user.DOSATTRIB, as Samba and wine keep
// them.  Growing a file reserves its blocks, so a size the disk cannot hold
// fails at once with ERROR_DISK_FULL.  files.cpp says what differs from
// Windows.  The numbers are plain constants, as <windows.h>'s macros are,
// so that they mix in expressions without enumeration warnings.
typedef WORD *LPWORD;
typedef DWORD *LPDWORD;
typedef LONG *PLONG;
typedef const void *LPCVOID;

constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
constexpr DWORD ERROR_NOT_SAME_DEVICE = 17;
constexpr DWORD ERROR_WRITE_PROTECT = 19;
constexpr DWORD ERROR_SEEK = 25;
constexpr DWORD ERROR_WRITE_FAULT = 29;
constexpr DWORD ERROR_READ_FAULT = 30;
constexpr DWORD ERROR_GEN_FAILURE = 31;
constexpr DWORD ERROR_SHARING_VIOLATION = 32;
constexpr DWORD ERROR_LOCK_VIOLATION = 33;
constexpr DWORD ERROR_HANDLE_EOF = 38;
constexpr DWORD ERROR_HANDLE_DISK_FULL = 39;
constexpr DWORD ERROR_NOT_SUPPORTED = 50;
constexpr DWORD ERROR_FILE_EXISTS = 80;
constexpr DWORD ERROR_DISK_FULL = 112;
constexpr DWORD ERROR_INVALID_NAME = 123;
constexpr DWORD ERROR_NEGATIVE_SEEK = 131;
constexpr DWORD ERROR_DIR_NOT_EMPTY = 145;
constexpr DWORD ERROR_NOT_LOCKED = 158;
constexpr DWORD ERROR_BUSY = 170;
constexpr DWORD ERROR_FILE_TOO_LARGE = 223;
constexpr DWORD ERROR_DIRECTORY = 267;
constexpr DWORD ERROR_ARITHMETIC_OVERFLOW = 534;
constexpr DWORD ERROR_IO_INCOMPLETE = 996;
constexpr DWORD ERROR_IO_PENDING = 997;
constexpr DWORD ERROR_NOACCESS = 998;
constexpr DWORD ERROR_IO_DEVICE = 1117;
constexpr DWORD ERROR_TOO_MANY_LINKS = 1142;
constexpr DWORD ERROR_CANT_RESOLVE_FILENAME = 1921;

// Access, share modes, dispositions, flags and attributes of CreateFileA.
constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD GENERIC_WRITE = 0x40000000;
constexpr DWORD FILE_SHARE_READ = 0x1;
constexpr DWORD FILE_SHARE_WRITE = 0x2;
constexpr DWORD FILE_SHARE_DELETE = 0x4;
constexpr DWORD CREATE_NEW = 1;
constexpr DWORD CREATE_ALWAYS = 2;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD OPEN_ALWAYS = 4;
constexpr DWORD TRUNCATE_EXISTING = 5;
constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x1;
constexpr DWORD FILE_ATTRIBUTE_HIDDEN = 0x2;
constexpr DWORD FILE_ATTRIBUTE_SYSTEM = 0x4;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_ARCHIVE = 0x20;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
constexpr DWORD FILE_ATTRIBUTE_TEMPORARY = 0x100;
constexpr DWORD FILE_FLAG_WRITE_THROUGH = 0x80000000;
constexpr DWORD FILE_FLAG_OVERLAPPED = 0x40000000;
constexpr DWORD FILE_FLAG_NO_BUFFERING = 0x20000000;
constexpr DWORD FILE_FLAG_RANDOM_ACCESS = 0x10000000;
constexpr DWORD FILE_FLAG_SEQUENTIAL_SCAN = 0x08000000;
constexpr DWORD FILE_FLAG_DELETE_ON_CLOSE = 0x04000000;
constexpr DWORD FILE_FLAG_BACKUP_SEMANTICS = 0x02000000;
constexpr DWORD FILE_BEGIN = 0;
constexpr DWORD FILE_CURRENT = 1;
constexpr DWORD FILE_END = 2;
constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;
constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)

// The control record of a read at an offset.  The read completes within
// the call: Internal is 0 (success), InternalHigh the byte count, and
// hEvent, when given, is set.
struct OVERLAPPED {
    ULONG_PTR Internal;
    ULONG_PTR InternalHigh;
    union {
        struct {
            DWORD Offset;
            DWORD OffsetHigh;
        };
        LPVOID Pointer;
    };
    HANDLE hEvent;
};
typedef OVERLAPPED *LPOVERLAPPED;

struct BY_HANDLE_FILE_INFORMATION {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD dwVolumeSerialNumber;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD nNumberOfLinks;
    DWORD nFileIndexHigh;
    DWORD nFileIndexLow;
};
typedef BY_HANDLE_FILE_INFORMATION *LPBY_HANDLE_FILE_INFORMATION;

extern "C" {

HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD shareMode, LPSECURITY_ATTRIBUTES security,
                   DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile);
BOOL ReadFile(HANDLE file, LPVOID buffer, DWORD toRead, LPDWORD read, LPOVERLAPPED overlapped);
BOOL WriteFile(HANDLE file, LPCVOID buffer, DWORD toWrite, LPDWORD written,
               LPOVERLAPPED overlapped);
BOOL GetOverlappedResult(HANDLE file, LPOVERLAPPED overlapped, LPDWORD transferred, BOOL wait);
DWORD SetFilePointer(HANDLE file, LONG distance, PLONG distanceHigh, DWORD method);
BOOL SetEndOfFile(HANDLE file);
DWORD GetFileSize(HANDLE file, LPDWORD sizeHigh);
BOOL FlushFileBuffers(HANDLE file);
BOOL LockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD lengthLow, DWORD lengthHigh);
BOOL UnlockFile(HANDLE file, DWORD offsetLow, DWORD offsetHigh, DWORD lengthLow,
                DWORD lengthHigh);
BOOL GetFileTime(HANDLE file, LPFILETIME creation, LPFILETIME lastAccess, LPFILETIME lastWrite);
BOOL SetFileTime(HANDLE file, const FILETIME *creation, const FILETIME *lastAccess,
                 const FILETIME *lastWrite);
BOOL GetFileInformationByHandle(HANDLE file, LPBY_HANDLE_FILE_INFORMATION information);
DWORD GetFileAttributesA(LPCSTR name);
BOOL SetFileAttributesA(LPCSTR name, DWORD attributes);
BOOL DeleteFileA(LPCSTR name);

// The runtime library's calls on names, taking drive-letter names as the
// Windows runtime does: 0 on success, else -1 with errno set and the Win32
// error through GetLastError.  remove fails on a read-only file and on a
// file open without FILE_SHARE_DELETE; rename never replaces an existing
// file.  They stand in for the C library's functions of the same names.
int remove(const char *name) noexcept;
int rename(const char *oldName, const char *newName) noexcept;
}

// The buffered stream over file handles (platform/posix/mmio.cpp).
struct HMMIO__;
typedef struct HMMIO__ *HMMIO;
typedef UINT MMRESULT;
typedef char *HPSTR;
typedef DWORD FOURCC;
typedef DWORD HTASK;
typedef LRESULT (*LPMMIOPROC)(LPSTR info, UINT message, LPARAM param1, LPARAM param2);

// mmioOpenA's `info`, when not null: cchBuffer and pchBuffer ask for a
// buffer size or give the buffer; wErrorRet receives the MMIOERR_ code of a
// failed open.  The other fields are not looked at.
struct MMIOINFO {
    DWORD dwFlags;
    FOURCC fccIOProc;
    LPMMIOPROC pIOProc;
    UINT wErrorRet;
    HTASK htask;
    LONG cchBuffer;
    HPSTR pchBuffer;
    HPSTR pchNext;
    HPSTR pchEndRead;
    HPSTR pchEndWrite;
    LONG lBufOffset;
    LONG lDiskOffset;
    DWORD adwInfo[3];
    DWORD dwReserved1;
    DWORD dwReserved2;
    HMMIO hmmio;
};
typedef MMIOINFO *LPMMIOINFO;

constexpr DWORD MMSYSERR_NOERROR = 0;
constexpr DWORD MMIO_READ = 0x0;
constexpr DWORD MMIO_WRITE = 0x1;
constexpr DWORD MMIO_READWRITE = 0x2;
constexpr DWORD MMIO_COMPAT = 0x0;
constexpr DWORD MMIO_EXCLUSIVE = 0x10;
constexpr DWORD MMIO_DENYWRITE = 0x20;
constexpr DWORD MMIO_DENYREAD = 0x30;
constexpr DWORD MMIO_DENYNONE = 0x40;
constexpr DWORD MMIO_CREATE = 0x1000;
constexpr DWORD MMIO_EXIST = 0x4000;
constexpr DWORD MMIO_ALLOCBUF = 0x10000;
constexpr DWORD MMIO_FHOPEN = 0x10;
constexpr DWORD MMIO_EMPTYBUF = 0x10;
constexpr DWORD MMIO_DEFAULTBUFFER = 8192;
constexpr DWORD MMIOERR_FILENOTFOUND = 257;
constexpr DWORD MMIOERR_OUTOFMEMORY = 258;
constexpr DWORD MMIOERR_CANNOTOPEN = 259;
constexpr DWORD MMIOERR_CANNOTCLOSE = 260;
constexpr DWORD MMIOERR_CANNOTREAD = 261;
constexpr DWORD MMIOERR_CANNOTWRITE = 262;
constexpr DWORD MMIOERR_CANNOTSEEK = 263;
constexpr DWORD MMIOERR_CANNOTEXPAND = 264;
constexpr DWORD MMIOERR_UNBUFFERED = 266;
constexpr DWORD MMIOERR_PATHNOTFOUND = 267;
constexpr DWORD MMIOERR_ACCESSDENIED = 268;
constexpr DWORD MMIOERR_SHARINGVIOLATION = 269;
constexpr DWORD MMIOERR_NETWORKERROR = 270;
constexpr DWORD MMIOERR_TOOMANYOPENFILES = 271;
constexpr DWORD MMIOERR_INVALIDFILE = 272;

extern "C" {
// Opens `name` with the share modes of CreateFileA: MMIO_EXCLUSIVE denies
// both, MMIO_DENYWRITE writing, MMIO_DENYREAD reading, MMIO_DENYNONE and
// MMIO_COMPAT nothing.  MMIO_CREATE creates or empties the file.  With
// MMIO_ALLOCBUF the stream gets a buffer of its own (cchBuffer bytes, or
// MMIO_DEFAULTBUFFER); without it, reads and writes go straight to the
// file.  Returns null on failure, with GetLastError set.
HMMIO mmioOpenA(LPSTR name, LPMMIOINFO info, DWORD flags);
// Writes what the buffer holds, then closes; MMIOERR_CANNOTWRITE when
// that write failed (the handle is gone all the same).
MMRESULT mmioClose(HMMIO stream, UINT flags);
// Return the byte count, or -1 on failure; a write onto a full disk gives
// the count that reached the file (with GetLastError ERROR_DISK_FULL).
LONG mmioRead(HMMIO stream, HPSTR buffer, LONG count);
LONG mmioWrite(HMMIO stream, const char *buffer, LONG count);
// `origin` SEEK_SET, SEEK_CUR or SEEK_END (0, 1, 2); returns the new
// position, or -1 for a position before the start or beyond 2^31 - 1.
LONG mmioSeek(HMMIO stream, LONG offset, int origin);
// Writes what the buffer holds; with MMIO_EMPTYBUF also forgets what it
// read ahead.  MMIOERR_CANNOTWRITE when the write failed.
MMRESULT mmioFlush(HMMIO stream, UINT flags);
}

// File mappings (platform/posix/mapping.cpp).  A mapping is a kernel object
// over the file of a handle from CreateFileA; it keeps the file open on its
// own, so the file handle may be closed while views remain.  Mappings of
// files only, and names known in this process only (in the one name table
// of events and mappings).  A maximum size above the file's size extends
// the file at once (ERROR_DISK_FULL when the disk cannot hold it), 0 means
// the file's size, and a file of length 0 cannot be mapped
// (ERROR_FILE_INVALID); a read-only mapping above the file's size fails
// with ERROR_NOT_ENOUGH_MEMORY.  A view's offset is a multiple of the allocation
// granularity of GetSystemInfo, 64 KB, whatever the page size
// (ERROR_MAPPED_ALIGNMENT otherwise); a view beyond the maximum size, or a
// write view of a read-only mapping, fails with ERROR_ACCESS_DENIED.  A
// view keeps its mapping alive until UnmapViewOfFile.
// The protections PAGE_READONLY and PAGE_READWRITE, ERROR_INVALID_ADDRESS
// and SIZE_T are those of the memory calls above.
enum : DWORD {
    FILE_MAP_WRITE = 0x2,
    FILE_MAP_READ = 0x4,
    FILE_MAP_ALL_ACCESS = 0xF001F,
    ERROR_FILE_INVALID = 1006,
    ERROR_MAPPED_ALIGNMENT = 1132,
};

extern "C" {
HANDLE CreateFileMappingA(HANDLE file, LPSECURITY_ATTRIBUTES security, DWORD protection,
                          DWORD maximumSizeHigh, DWORD maximumSizeLow, LPCSTR name);
LPVOID MapViewOfFile(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                     SIZE_T bytes);
// `address` must be what MapViewOfFile returned (ERROR_INVALID_ADDRESS).
BOOL UnmapViewOfFile(LPCVOID address);
// Writes the view's changed pages from `address` on, `bytes` of them or to
// the view's end for 0, to the file and waits for the disk.
BOOL FlushViewOfFile(LPCVOID address, SIZE_T bytes);
}

// Copying, moving and folders by name (platform/posix/file_names.cpp).
// CopyFileA copies the contents, the read-only attribute and the last-write
// time; onto a full disk it fails with ERROR_DISK_FULL and removes the part
// it wrote.  With failIfExists an existing destination gives
// ERROR_FILE_EXISTS.  MoveFileA never replaces a file (ERROR_ALREADY_EXISTS);
// across file systems it copies and then removes the source, for files
// only (ERROR_NOT_SAME_DEVICE for a folder).  CreateDirectoryA gives
// ERROR_ALREADY_EXISTS for any existing name and ERROR_PATH_NOT_FOUND when
// the parent is missing or is not a folder.
extern "C" {
BOOL CopyFileA(LPCSTR existing, LPCSTR newName, BOOL failIfExists);
BOOL MoveFileA(LPCSTR existing, LPCSTR newName);
BOOL CreateDirectoryA(LPCSTR path, LPSECURITY_ATTRIBUTES security);
// Replaces `newName` by `existing` in one step (MOVEFILE_REPLACE_EXISTING),
// and with MOVEFILE_WRITE_THROUGH returns only when the change is on disk.
// Within one file system only: ERROR_NOT_SAME_DEVICE otherwise.
BOOL MoveFileExA(LPCSTR existing, LPCSTR newName, DWORD flags);
}
enum : DWORD {
    MOVEFILE_REPLACE_EXISTING = 0x1,
    MOVEFILE_WRITE_THROUGH = 0x8,
};

// Drives and volumes (platform/posix/volumes.cpp), answered from the drive
// table of paths.h: a letter with a folder is a fixed drive whose root is
// that folder, and any other is no drive (DRIVE_NO_ROOT_DIR).  Free and
// total space come from statvfs, in clusters of the file system's block
// size and sectors of 512 bytes, each count cut at 2^32 - 1.  The volume
// label is kept in the file ".windows-label" in the drive's folder, where
// wine keeps it too; no such file is an empty label.  The serial number is
// the low word of the file system id, the longest name its name limit, and
// the flags say the names keep their case and are searched with it (and
// FILE_READ_ONLY_VOLUME for a file system mounted read-only).  A root
// names a drive as "X:\"; the device "\\.\X:" of CreateFileA exists only on
// Windows, and DeviceIoControl here answers the media query for a file
// handle with one record of FixedMedia, the nearest truth.
enum : UINT {
    DRIVE_UNKNOWN = 0,
    DRIVE_NO_ROOT_DIR = 1,
    DRIVE_REMOVABLE = 2,
    DRIVE_FIXED = 3,
    DRIVE_REMOTE = 4,
    DRIVE_CDROM = 5,
    DRIVE_RAMDISK = 6,
};
enum : DWORD {
    FILE_CASE_SENSITIVE_SEARCH = 0x1,
    FILE_CASE_PRESERVED_NAMES = 0x2,
    FILE_VOLUME_IS_COMPRESSED = 0x8000,
    FILE_READ_ONLY_VOLUME = 0x80000,
    IOCTL_DISK_GET_MEDIA_TYPES = 0x70C00,
    ERROR_NOT_READY = 21,
    ERROR_LABEL_TOO_LONG = 154,
    ERROR_MORE_DATA = 234,
};
enum MEDIA_TYPE { Unknown = 0, F5_1Pt2_512 = 1, RemovableMedia = 11, FixedMedia = 12 };
struct DISK_GEOMETRY {
    LARGE_INTEGER Cylinders;
    MEDIA_TYPE MediaType;
    DWORD TracksPerCylinder;
    DWORD SectorsPerTrack;
    DWORD BytesPerSector;
};

extern "C" {
DWORD GetLogicalDrives(void);
UINT GetDriveTypeA(LPCSTR root);
BOOL GetVolumeInformationA(LPCSTR root, LPSTR volumeName, DWORD volumeNameSize, LPDWORD serial,
                           LPDWORD maximumComponentLength, LPDWORD fileSystemFlags,
                           LPSTR fileSystemName, DWORD fileSystemNameSize);
// A null or empty label removes it; more than 32 characters fail with
// ERROR_LABEL_TOO_LONG.
BOOL SetVolumeLabelA(LPCSTR root, LPCSTR label);
BOOL GetDiskFreeSpaceA(LPCSTR root, LPDWORD sectorsPerCluster, LPDWORD bytesPerSector,
                       LPDWORD freeClusters, LPDWORD totalClusters);
BOOL DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out,
                     DWORD outSize, LPDWORD returned, LPOVERLAPPED overlapped);
}

// Message boxes (platform/posix/dialogs.cpp).  There is no screen: a box
// shows nothing and returns the answer that the application set with
// SetMessageBoxAnswer (platform/application.h), by default the box's
// default button.  GetWindowTextA (messages.cpp) reads the name a window
// was created with.
enum : UINT {
    MB_OK = 0x0,
    MB_OKCANCEL = 0x1,
    MB_ABORTRETRYIGNORE = 0x2,
    MB_YESNOCANCEL = 0x3,
    MB_YESNO = 0x4,
    MB_RETRYCANCEL = 0x5,
    MB_CANCELTRYCONTINUE = 0x6,
    MB_TYPEMASK = 0xF,
    MB_ICONWARNING = 0x30,
    MB_DEFBUTTON1 = 0x0,
    MB_DEFBUTTON2 = 0x100,
    MB_DEFBUTTON3 = 0x200,
    MB_DEFMASK = 0xF00,
    MB_TASKMODAL = 0x2000,
    MB_SETFOREGROUND = 0x10000,
    MB_TOPMOST = 0x40000,
};

extern "C" {
int MessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT type);
int GetWindowTextA(HWND window, LPSTR buffer, int bufferMax);
}

// Windows of the file dialog (platform/posix/dialog_windows.cpp): the
// calls by which the file selector sizes, subclasses and watches the
// windows of the GTK file chooser (file_chooser.cpp).  Those that a hook
// needs as well are declared in platform/application.h.
struct HDC__;
typedef struct HDC__ *HDC;
struct HICON__;
typedef struct HICON__ *HICON;
struct HHOOK__;
typedef struct HHOOK__ *HHOOK;
typedef LRESULT (*WNDPROC)(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
typedef LRESULT (*HOOKPROC)(int code, WPARAM wParam, LPARAM lParam);

struct STYLESTRUCT {
    DWORD styleOld;
    DWORD styleNew;
};
struct CWPRETSTRUCT {
    LRESULT lResult;
    LPARAM lParam;
    WPARAM wParam;
    UINT message;
    HWND hwnd;
};
struct CREATESTRUCTA {
    LPVOID lpCreateParams;
    HINSTANCE hInstance;
    HMENU hMenu;
    HWND hwndParent;
    int cy;
    int cx;
    int y;
    int x;
    LONG style;
    LPCSTR lpszName;
    LPCSTR lpszClass;
    DWORD dwExStyle;
};

enum : int {
    GWLP_WNDPROC = -4,
    GWL_ID = -12,
    GWLP_USERDATA = -21,
    GW_HWNDNEXT = 2,
    HORZRES = 8,
    VERTRES = 10,
    WH_CALLWNDPROCRET = 12,
};
enum : UINT {
    WM_CREATE = 0x0001,
    WM_SIZE = 0x0005,
    WM_STYLECHANGING = 0x007C,
    WM_STYLECHANGED = 0x007D,
    WM_GETTEXTLENGTH = 0x000E,
    WM_SETICON = 0x0080,
    BM_GETCHECK = 0x00F0,
    BM_SETCHECK = 0x00F1,
    BM_CLICK = 0x00F5,
    CB_RESETCONTENT = 0x014B,
    CDM_HIDECONTROL = WM_USER + 105,
    VK_ESCAPE = 0x1B,
    SWP_NOSENDCHANGING = 0x0400,
};

extern "C" {
LRESULT CallWindowProcA(WNDPROC proc, HWND window, UINT message, WPARAM wParam, LPARAM lParam);
BOOL InvalidateRect(HWND window, const RECT *rect, BOOL erase);
BOOL OffsetRect(RECT *rect, int dx, int dy);
int GetClassNameA(HWND window, LPSTR buffer, int bufferMax);
HDC GetDC(HWND window);
int ReleaseDC(HWND window, HDC dc);
int GetDeviceCaps(HDC dc, int index);
HICON LoadIconA(HINSTANCE instance, LPCSTR name);
HHOOK SetWindowsHookExA(int kind, HOOKPROC proc, HINSTANCE module, DWORD threadId);
BOOL UnhookWindowsHookEx(HHOOK hook);
LRESULT CallNextHookEx(HHOOK hook, int code, WPARAM wParam, LPARAM lParam);
}

// Directory listing (platform/posix/find.cpp).  FindFirstFileA takes a
// folder and a last component that is a name or a pattern: '*' and '?',
// and the DOS forms that Windows makes of them, with Windows's meaning
// ("*.*" is every entry, "*." the names without a dot, a '?' before a dot
// or the end may match nothing; find.cpp has the rules).  Names compare
// without case in ASCII.  Entries come in the order of the file system,
// except that "." and ".." come first in any folder but a drive's root, as
// NTFS gives them.  A search is a kernel object: FindClose ends it, at any
// time.  Failures: ERROR_FILE_NOT_FOUND when nothing matches or the last
// component is empty, ERROR_PATH_NOT_FOUND for a folder that does not
// exist, ERROR_ACCESS_DENIED for one that cannot be read; FindNextFileA
// ends with ERROR_NO_MORE_FILES.
//
// The record (platform/find_data.h), for each entry that the pattern lets
// through:
//   dwFileAttributes    as GetFileAttributesA gives them: DIRECTORY for a
//                       folder; READONLY for a file without any write
//                       permission bit; HIDDEN, SYSTEM, ARCHIVE and
//                       TEMPORARY from the extended attribute
//                       user.DOSATTRIB, ARCHIVE for a file without it;
//                       NORMAL for a file left with no bit
//                       (posix/dos_attributes.h).  A symbolic link stands
//                       for its target.
//   ftCreationTime      the birth time where the file system keeps one,
//                       else the last write time
//   ftLastAccessTime    st_atime
//   ftLastWriteTime     st_mtime
//   nFileSize...        st_size; 0 for a folder
//   dwReserved0, 1      0
//   cFileName           the name as the directory holds it, also one that
//                       Windows would not allow
//   cAlternateFileName  empty: there are no 8.3 names
// Only these entries cost calls for their state (statx, and a read of the
// attribute); the others are passed over on their name alone.
#include "CommonVcZq/platform/find_data.h"

enum : DWORD {
    ERROR_NO_MORE_FILES = 18,
};

extern "C" {
HANDLE FindFirstFileA(LPCSTR name, LPWIN32_FIND_DATAA data);
BOOL FindNextFileA(HANDLE search, LPWIN32_FIND_DATAA data);
BOOL FindClose(HANDLE search);
}

#endif
#endif
