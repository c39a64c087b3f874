// Address space and memory: VirtualAlloc, VirtualFree, GlobalMemoryStatus.
// Against the POSIX layer and, in a Windows build, against Win32.
#include "platform/win32.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <stdint.h>
#include <string.h>

namespace {

constexpr SIZE_T kGranule = 65536;

SIZE_T PageSize() {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    return info.dwPageSize;
}

bool AllBytesAre(const char *p, SIZE_T n, char value) {
    for (SIZE_T i = 0; i < n; ++i)
        if (p[i] != value)
            return false;
    return true;
}

// The road of a pool that grows and shrinks in place: one reservation,
// commits from its start, decommits of its tail.  Committed pages start
// zeroed and keep their bytes when committed again; decommitted pages come
// back zeroed; the base never moves.
TEST(Memory, ReserveCommitDecommitRelease) {
    const SIZE_T page = PageSize();
    const SIZE_T reserved = 16 * kGranule + page;  // not a whole granule
    char *base = static_cast<char *>(VirtualAlloc(nullptr, reserved, MEM_RESERVE, PAGE_READWRITE));
    ASSERT_NE(base, nullptr) << GetLastError();
    EXPECT_EQ(reinterpret_cast<uintptr_t>(base) % kGranule, 0u);

    // Every page that holds a byte of the range is committed, and the
    // result is the first page.
    EXPECT_EQ(VirtualAlloc(base + 100, 2 * page, MEM_COMMIT, PAGE_READWRITE), base);
    EXPECT_TRUE(AllBytesAre(base, 3 * page, 0));
    memset(base, 'a', 3 * page);

    // Growing: the pages already committed keep their bytes.
    ASSERT_EQ(VirtualAlloc(base, 8 * page, MEM_COMMIT, PAGE_READWRITE), base);
    EXPECT_TRUE(AllBytesAre(base, 3 * page, 'a'));
    EXPECT_TRUE(AllBytesAre(base + 3 * page, 5 * page, 0));
    memset(base, 'b', 8 * page);

    // Up to the last page of the reservation, and not one byte further.
    EXPECT_NE(VirtualAlloc(base, reserved, MEM_COMMIT, PAGE_READWRITE), nullptr);
    SetLastError(0);
    EXPECT_EQ(VirtualAlloc(base, reserved + 1, MEM_COMMIT, PAGE_READWRITE), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_ADDRESS});
    ASSERT_TRUE(VirtualFree(base + 8 * page, reserved - 8 * page, MEM_DECOMMIT));

    // Shrinking: the tail goes, the head stays, and the tail comes back zeroed.
    ASSERT_TRUE(VirtualFree(base + 4 * page, 4 * page, MEM_DECOMMIT));
    EXPECT_TRUE(AllBytesAre(base, 4 * page, 'b'));
    ASSERT_EQ(VirtualAlloc(base + 4 * page, 4 * page, MEM_COMMIT, PAGE_READWRITE), base + 4 * page);
    EXPECT_TRUE(AllBytesAre(base + 4 * page, 4 * page, 0));
    EXPECT_TRUE(AllBytesAre(base, 4 * page, 'b'));

    // A range is released by its base alone, with size 0.
    SetLastError(0);
    EXPECT_FALSE(VirtualFree(base, reserved, MEM_RELEASE));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_FALSE(VirtualFree(base + kGranule, 0, MEM_RELEASE));
    EXPECT_FALSE(VirtualFree(base, 0, MEM_DECOMMIT | MEM_RELEASE));
    ASSERT_TRUE(VirtualFree(base, 0, MEM_RELEASE));
    SetLastError(0);
    EXPECT_EQ(VirtualAlloc(base, page, MEM_COMMIT, PAGE_READWRITE), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_ADDRESS});
}

// Reserving and committing at once, or committing with no address, gives
// zeroed memory at a granule boundary.
TEST(Memory, ReserveAndCommitInOneCall) {
    const SIZE_T size = 3 * kGranule;
    for (DWORD type : {DWORD{MEM_RESERVE | MEM_COMMIT}, DWORD{MEM_COMMIT}}) {
        char *p = static_cast<char *>(VirtualAlloc(nullptr, size, type, PAGE_READWRITE));
        ASSERT_NE(p, nullptr) << type;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % kGranule, 0u);
        EXPECT_TRUE(AllBytesAre(p, size, 0));
        p[size - 1] = 1;
        EXPECT_TRUE(VirtualFree(p, 0, MEM_RELEASE));
    }
    SetLastError(0);
    EXPECT_EQ(VirtualAlloc(nullptr, 0, MEM_RESERVE, PAGE_READWRITE), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

// The figures hang together: parts below their wholes, a load in percent,
// and a commit limit that takes in the physical memory.
TEST(Memory, GlobalMemoryStatus) {
    MEMORYSTATUS status;
    memset(&status, 0xCC, sizeof status);
    GlobalMemoryStatus(&status);
    EXPECT_EQ(status.dwLength, sizeof status);
    EXPECT_GT(status.dwTotalPhys, SIZE_T{64} << 20);
    EXPECT_GT(status.dwAvailPhys, 0u);
    EXPECT_LE(status.dwAvailPhys, status.dwTotalPhys);
    EXPECT_LE(status.dwMemoryLoad, 100u);
    EXPECT_GE(status.dwTotalPageFile, status.dwAvailPageFile);
    EXPECT_GT(status.dwTotalVirtual, SIZE_T{1} << 31);
    EXPECT_LE(status.dwAvailVirtual, status.dwTotalVirtual);

    // Reserving a good slice of address space shows in the virtual figure
    // (wine reports a fixed figure).
    if (RunningUnderWine())
        return;
    const SIZE_T slice = SIZE_T{1} << 30;
    void *p = VirtualAlloc(nullptr, slice, MEM_RESERVE, PAGE_READWRITE);
    ASSERT_NE(p, nullptr);
    MEMORYSTATUS after;
    GlobalMemoryStatus(&after);
    EXPECT_LE(after.dwAvailVirtual + slice / 2, status.dwAvailVirtual);
    EXPECT_TRUE(VirtualFree(p, 0, MEM_RELEASE));
}

}  // namespace
