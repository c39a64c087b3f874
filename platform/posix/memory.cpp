// Address space and memory: VirtualAlloc, VirtualFree and
// GlobalMemoryStatus.
//
// Reserving.  Windows hands out address space in ranges whose base is a
// multiple of the allocation granularity (64 KiB, see GetSystemInfo) and
// whose length is a whole number of pages.  Here a range is an anonymous
// private mapping with PROT_NONE: it takes address space and nothing else.
// mmap aligns on pages only, so the layer maps one granule more than asked,
// keeps the aligned part and unmaps the slack on both sides.  The mapping
// is made without MAP_NORESERVE, because that is what lets the kernel
// charge commit (below) as Windows does.
//
// Committing.  mprotect to the asked protection.  Linux charges a private
// writable page to the commit limit when it becomes writable, not when it
// is touched, so under strict overcommit (vm.overcommit_memory 2) a commit
// beyond the limit fails here, at the call, as on Windows; under the
// default heuristic the kernel grants it and a shortage shows only when a
// page is first touched.  Pages never touched read as zeroes, as fresh
// commits do on Windows, and pages committed again keep their contents.
//
// Decommitting.  madvise(MADV_DONTNEED) drops the pages, so that their
// memory goes back to the system at once and the next commit reads zeroes
// again; mprotect to PROT_NONE returns the commit charge and makes a touch
// fault, as a touch of a decommitted page does on Windows.  The range keeps
// its place: nothing else can be mapped into it meanwhile.
//
// Releasing.  Windows releases a whole range by its base address with size
// 0, and knows the range's length itself.  The layer keeps that length in a
// table of its ranges, keyed by base, under a lock of its own; the table
// also tells which addresses belong to a range, so that a commit or a
// decommit outside one fails with ERROR_INVALID_ADDRESS instead of touching
// a mapping that someone else made.  The table is never destroyed, so a
// global destructor may still release its memory at exit.
//
// What differs from Windows: protections are PAGE_NOACCESS, PAGE_READONLY
// and PAGE_READWRITE only (no execute, guard or write-combine flags); the
// types MEM_RESET, MEM_TOP_DOWN, MEM_LARGE_PAGES and the like are refused
// with ERROR_INVALID_PARAMETER; and a page committed with PAGE_NOACCESS is
// not told apart from a reserved one, which matters to no call here.
//
// GlobalMemoryStatus.  Physical memory is the machine's (sysinfo); the
// available part is the kernel's MemAvailable, which counts the page cache
// that can be dropped, as Windows counts its standby list; where
// /proc/meminfo is missing it is free plus buffer memory.  The page file
// figures are Windows's commit figures: physical memory plus swap.  The
// virtual figures are the user address range of GetSystemInfo, less what
// the process has mapped (/proc/self/statm).  The memory load is the
// percentage of physical memory in use.
#include "platform/win32.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#if defined(__linux__)
#include <sys/sysinfo.h>
#endif

#include <map>
#include <mutex>

namespace {

// The ranges this layer has reserved: base to length in bytes.
struct Ranges {
    std::mutex lock;
    std::map<uintptr_t, size_t> byBase;
};

Ranges &TheRanges() {
    static Ranges *ranges = new Ranges;
    return *ranges;
}

uintptr_t PageSize() {
    static const uintptr_t size = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    return size;
}

uintptr_t RoundDown(uintptr_t value, uintptr_t unit) {
    return value & ~(unit - 1);
}

uintptr_t RoundUp(uintptr_t value, uintptr_t unit) {
    return RoundDown(value + unit - 1, unit);
}

// The mprotect flags of a Win32 protection, or -1 for one the layer
// doesn't know.
int ProtectionFlags(DWORD protection) {
    switch (protection) {
    case PAGE_NOACCESS:
        return PROT_NONE;
    case PAGE_READONLY:
        return PROT_READ;
    case PAGE_READWRITE:
        return PROT_READ | PROT_WRITE;
    default:
        return -1;
    }
}

// The range that holds `address`, as an iterator of the table, or end().
// The caller holds the table's lock.
std::map<uintptr_t, size_t>::iterator FindRange(Ranges &ranges, uintptr_t address) {
    auto it = ranges.byBase.upper_bound(address);
    if (it == ranges.byBase.begin())
        return ranges.byBase.end();
    --it;
    return address < it->first + it->second ? it : ranges.byBase.end();
}

void *Fail(DWORD error) {
    SetLastError(error);
    return nullptr;
}

// Maps `length` bytes of inaccessible address space at a multiple of the
// granularity (at `wanted` when that is not null); null when the system has
// no room there.
void *MapAligned(uintptr_t wanted, size_t length) {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    const uintptr_t granularity = info.dwAllocationGranularity;
    if (wanted) {
        // A hint that the kernel follows when the place is free.
        void *at = mmap(reinterpret_cast<void *>(wanted), length, PROT_NONE,
                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (at == MAP_FAILED)
            return nullptr;
        if (reinterpret_cast<uintptr_t>(at) != wanted) {
            munmap(at, length);
            return nullptr;
        }
        return at;
    }
    const size_t padded = length + granularity - PageSize();
    void *at = mmap(nullptr, padded, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (at == MAP_FAILED)
        return nullptr;
    const uintptr_t start = reinterpret_cast<uintptr_t>(at);
    const uintptr_t base = RoundUp(start, granularity);
    if (base > start)
        munmap(at, base - start);
    const uintptr_t tail = start + padded - (base + length);
    if (tail > 0)
        munmap(reinterpret_cast<void *>(base + length), tail);
    return reinterpret_cast<void *>(base);
}

// Applies `flags` to whole pages; the Win32 error of a failure, or 0.
DWORD Protect(uintptr_t start, uintptr_t end, int flags) {
    if (mprotect(reinterpret_cast<void *>(start), end - start, flags) == 0)
        return 0;
    return errno == ENOMEM || errno == EAGAIN ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_PARAMETER;
}

// One number of /proc/meminfo in bytes, or `fallback` when it isn't there.
uint64_t MemInfo(const char *key, uint64_t fallback) {
    FILE *file = fopen("/proc/meminfo", "r");
    if (!file)
        return fallback;
    char line[128];
    uint64_t result = fallback;
    const size_t keyLength = strlen(key);
    while (fgets(line, sizeof line, file)) {
        unsigned long long kib;
        if (strncmp(line, key, keyLength) == 0 && line[keyLength] == ':' &&
            sscanf(line + keyLength + 1, "%llu", &kib) == 1) {
            result = static_cast<uint64_t>(kib) * 1024;
            break;
        }
    }
    fclose(file);
    return result;
}

// Bytes of address space that the process has mapped.
uint64_t MappedBytes() {
    FILE *file = fopen("/proc/self/statm", "r");
    unsigned long long pages = 0;
    if (file) {
        if (fscanf(file, "%llu", &pages) != 1)
            pages = 0;
        fclose(file);
    }
    return static_cast<uint64_t>(pages) * PageSize();
}

}  // namespace

LPVOID VirtualAlloc(LPVOID address, SIZE_T size, DWORD allocationType, DWORD protection) {
    const int flags = ProtectionFlags(protection);
    if (flags < 0 || size == 0 || (allocationType & ~DWORD{MEM_COMMIT | MEM_RESERVE}) != 0 ||
        allocationType == 0)
        return Fail(ERROR_INVALID_PARAMETER);
    const uintptr_t at = reinterpret_cast<uintptr_t>(address);
    const uintptr_t page = PageSize();
    Ranges &ranges = TheRanges();

    // A commit without an address reserves too, as on Windows.
    if ((allocationType & MEM_RESERVE) || !address) {
        SYSTEM_INFO info;
        GetSystemInfo(&info);
        const uintptr_t base = RoundDown(at, info.dwAllocationGranularity);
        const uintptr_t end = RoundUp(at + size, page);
        if (end <= base)
            return Fail(ERROR_INVALID_PARAMETER);
        void *mapped = MapAligned(base, end - base);
        if (!mapped)
            return Fail(address ? DWORD{ERROR_INVALID_ADDRESS} : DWORD{ERROR_NOT_ENOUGH_MEMORY});
        const uintptr_t start = reinterpret_cast<uintptr_t>(mapped);
        if (DWORD error = flags == PROT_NONE ? 0 : Protect(start, start + (end - base), flags)) {
            munmap(mapped, end - base);
            return Fail(error);
        }
        std::lock_guard<std::mutex> hold(ranges.lock);
        ranges.byBase[start] = end - base;
        return mapped;
    }

    // A commit within a range reserved before: every page that holds a byte
    // of [address, address + size).
    const uintptr_t start = RoundDown(at, page);
    const uintptr_t end = RoundUp(at + size, page);
    std::lock_guard<std::mutex> hold(ranges.lock);
    auto range = FindRange(ranges, at);
    if (range == ranges.byBase.end() || end < start || end > range->first + range->second)
        return Fail(ERROR_INVALID_ADDRESS);
    if (DWORD error = Protect(start, end, flags))
        return Fail(error);
    return reinterpret_cast<LPVOID>(start);
}

BOOL VirtualFree(LPVOID address, SIZE_T size, DWORD freeType) {
    const uintptr_t at = reinterpret_cast<uintptr_t>(address);
    Ranges &ranges = TheRanges();
    std::lock_guard<std::mutex> hold(ranges.lock);
    auto range = FindRange(ranges, at);

    if (freeType == MEM_RELEASE) {
        if (size != 0) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return FALSE;
        }
        if (range == ranges.byBase.end() || range->first != at) {
            SetLastError(ERROR_INVALID_ADDRESS);
            return FALSE;
        }
        munmap(address, range->second);
        ranges.byBase.erase(range);
        return TRUE;
    }
    if (freeType != MEM_DECOMMIT) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (range == ranges.byBase.end()) {
        SetLastError(ERROR_INVALID_ADDRESS);
        return FALSE;
    }
    // Size 0 decommits from `address` to the end of its range.
    const uintptr_t rangeEnd = range->first + range->second;
    const uintptr_t start = RoundDown(at, PageSize());
    const uintptr_t end = size == 0 ? rangeEnd : RoundUp(at + size, PageSize());
    if (end < start || end > rangeEnd) {
        SetLastError(ERROR_INVALID_ADDRESS);
        return FALSE;
    }
    madvise(reinterpret_cast<void *>(start), end - start, MADV_DONTNEED);
    if (DWORD error = Protect(start, end, PROT_NONE)) {
        SetLastError(error);
        return FALSE;
    }
    return TRUE;
}

void GlobalMemoryStatus(LPMEMORYSTATUS status) {
    uint64_t totalPhys = 0, availPhys = 0, totalSwap = 0, freeSwap = 0;
#if defined(__linux__)
    struct sysinfo info;
    if (sysinfo(&info) == 0) {
        const uint64_t unit = info.mem_unit ? info.mem_unit : 1;
        totalPhys = info.totalram * unit;
        availPhys = MemInfo("MemAvailable", (info.freeram + info.bufferram) * unit);
        totalSwap = info.totalswap * unit;
        freeSwap = info.freeswap * unit;
    }
#else
    const uint64_t page = PageSize();
    long pages = sysconf(_SC_PHYS_PAGES);
    totalPhys = pages > 0 ? static_cast<uint64_t>(pages) * page : 0;
#if defined(_SC_AVPHYS_PAGES)
    long free = sysconf(_SC_AVPHYS_PAGES);
    availPhys = free > 0 ? static_cast<uint64_t>(free) * page : 0;
#endif
#endif
    if (availPhys > totalPhys)
        availPhys = totalPhys;

    SYSTEM_INFO system;
    GetSystemInfo(&system);
    const uint64_t totalVirtual = reinterpret_cast<uintptr_t>(system.lpMaximumApplicationAddress) + 1 -
                                  reinterpret_cast<uintptr_t>(system.lpMinimumApplicationAddress);
    const uint64_t mapped = MappedBytes();

    status->dwLength = sizeof(MEMORYSTATUS);
    status->dwMemoryLoad = totalPhys ? static_cast<DWORD>((totalPhys - availPhys) * 100 / totalPhys) : 0;
    status->dwTotalPhys = static_cast<SIZE_T>(totalPhys);
    status->dwAvailPhys = static_cast<SIZE_T>(availPhys);
    status->dwTotalPageFile = static_cast<SIZE_T>(totalPhys + totalSwap);
    status->dwAvailPageFile = static_cast<SIZE_T>(availPhys + freeSwap);
    status->dwTotalVirtual = static_cast<SIZE_T>(totalVirtual);
    status->dwAvailVirtual = static_cast<SIZE_T>(mapped < totalVirtual ? totalVirtual - mapped : 0);
}
