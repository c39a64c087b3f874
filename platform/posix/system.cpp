// The clocks and the machine: thread ids, the tick count, the performance
// counter, and the description of the processor and its memory pages.
//
// GetCurrentThreadId.  A Win32 thread id is a 32-bit number, unique among
// the threads alive in the system and free for reuse once its thread has
// ended.  On Linux the kernel's thread id (gettid) is exactly that, and it
// is what debuggers and /proc show.  Other systems have no 32-bit id of
// that kind, so the layer numbers threads itself, from a process-wide
// counter at each thread's first call: unique within the process, which is
// all the library compares, and not reused.  No id is 0, and none is all
// ones, which callers keep for "no thread".
//
// GetTickCount.  Milliseconds since the system started, in 32 bits, so it
// wraps to 0 after 49.7 days, as on Windows; callers subtract two readings
// as unsigned numbers.  It reads CLOCK_MONOTONIC, which never steps when
// the wall clock is set.  Unlike the Windows tick count, CLOCK_MONOTONIC
// stands still while the machine is suspended; and it advances by single
// milliseconds, where Windows advances in steps of 10 to 16.
//
// QueryPerformanceCounter and QueryPerformanceFrequency.  The same clock in
// nanoseconds, so the frequency is 10^9 on every machine (on Windows it is
// whatever the hardware counter offers, often 10 MHz) and never changes
// while the system runs.  A 64-bit count of nanoseconds lasts 292 years.
// Neither call can fail; both return TRUE, as Windows XP and later do.
//
// GetSystemInfo.  The page size is the system's (sysconf).  The allocation
// granularity, the unit in which Windows reserves address space and aligns
// file mapping offsets, is 64 KiB as on Windows: the library aligns its
// mapped views on it, and 64 KiB is a multiple of every page size in use.
// The processor count is the number online.  The application address range
// and the processor type are Windows's values for the same architecture;
// the processor level and revision are 0, since nothing reads them.
#include "platform/win32.h"

#include <time.h>
#include <unistd.h>

#if defined(__linux__)
#include <sys/syscall.h>
#endif

namespace {

constexpr DWORD kAllocationGranularity = 65536;

// CLOCK_MONOTONIC in nanoseconds.
uint64_t MonotonicNanoseconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000u + static_cast<uint64_t>(now.tv_nsec);
}

#if !defined(__linux__)
DWORD NextThreadNumber() {
    static DWORD counter = 0;
    return __atomic_add_fetch(&counter, 1, __ATOMIC_RELAXED);
}
#endif

}  // namespace

DWORD GetCurrentThreadId(void) {
#if defined(__linux__)
    return static_cast<DWORD>(syscall(SYS_gettid));
#else
    static thread_local DWORD id = 0;
    if (id == 0)
        id = NextThreadNumber();
    return id;
#endif
}

DWORD GetTickCount(void) {
    return static_cast<DWORD>(MonotonicNanoseconds() / 1000000u);
}

BOOL QueryPerformanceCounter(LARGE_INTEGER *count) {
    count->QuadPart = static_cast<LONGLONG>(MonotonicNanoseconds());
    return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER *frequency) {
    frequency->QuadPart = 1000000000;
    return TRUE;
}

void GetSystemInfo(SYSTEM_INFO *info) {
    *info = SYSTEM_INFO();
    // Windows's numbers: PROCESSOR_ARCHITECTURE_* and PROCESSOR_* (the type
    // is left 0 where Windows has no name for the processor).
#if defined(__x86_64__)
    info->wProcessorArchitecture = 9;  // AMD64
    info->dwProcessorType = 8664;      // AMD_X8664
#elif defined(__i386__)
    info->wProcessorArchitecture = 0;  // INTEL
    info->dwProcessorType = 586;       // INTEL_PENTIUM
#elif defined(__aarch64__)
    info->wProcessorArchitecture = 12;  // ARM64
#elif defined(__arm__)
    info->wProcessorArchitecture = 5;  // ARM
#else
    info->wProcessorArchitecture = 0xFFFF;  // UNKNOWN
#endif
    info->dwPageSize = static_cast<DWORD>(sysconf(_SC_PAGESIZE));
    info->dwAllocationGranularity = kAllocationGranularity;
    info->lpMinimumApplicationAddress = reinterpret_cast<LPVOID>(uintptr_t{kAllocationGranularity});
    info->lpMaximumApplicationAddress = reinterpret_cast<LPVOID>(
        sizeof(void *) == 8 ? static_cast<uintptr_t>(0x00007FFFFFFEFFFFull) : uintptr_t{0x7FFEFFFF});

    long online = sysconf(_SC_NPROCESSORS_ONLN);
    DWORD processors = online > 0 ? static_cast<DWORD>(online) : 1;
    info->dwNumberOfProcessors = processors;
    // One bit a processor, as far as the mask reaches.
    constexpr unsigned maskBits = sizeof(DWORD_PTR) * 8;
    info->dwActiveProcessorMask =
        processors >= maskBits ? ~DWORD_PTR{0} : (DWORD_PTR{1} << processors) - 1;
}
