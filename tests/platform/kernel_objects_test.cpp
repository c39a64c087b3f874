// The kernel-object core of the POSIX layer, as the kinds to come use it:
// typed look-ups, references that outlive their handles, the shared name
// table, and an object's last release outside the kernel lock, on every
// path that can drop it.  A kind of its own, Probe, records where it ends.
#include "platform/posix/kernel_objects.h"

#include <gtest/gtest.h>

#include "test_support.h"

#include <atomic>
#include <thread>

namespace {

using namespace cvz::posix;

// Whether the kernel lock is free, asked from another thread, since a
// thread must not try a mutex it may hold.  Another thread may hold the
// lock a moment, so it asks again for a while.
bool KernelLockIsFree() {
    bool free = false;
    std::thread([&] {
        for (int i = 0; i < 200 && !free; ++i) {
            if (KernelLock().try_lock()) {
                KernelLock().unlock();
                free = true;
            } else {
                Pause(1);
            }
        }
    }).join();
    return free;
}

class Probe final : public KernelObject {
public:
    ~Probe() override { ++(KernelLockIsFree() ? ended : endedUnderLock); }
    bool IsSignalled() const override {
        ++tested;
        return signalled;
    }
    void Signal() {
        signalled = true;
        ReleaseWaiters();
    }

    static std::atomic<int> ended, endedUnderLock, tested;

private:
    bool signalled = false;
};

std::atomic<int> Probe::ended, Probe::endedUnderLock, Probe::tested;

std::shared_ptr<Probe> MakeProbe() {
    return std::make_shared<Probe>();
}

struct KernelObjects : testing::Test {
    void SetUp() override { Probe::ended = Probe::endedUnderLock = Probe::tested = 0; }
    void TearDown() override { EXPECT_EQ(Probe::endedUnderLock, 0) << "a last release ran under the lock"; }
};

DWORD ErrorAfter(bool failed) {
    return failed ? GetLastError() : 0;
}

TEST_F(KernelObjects, AHandleOfAnotherKindNamesNoObjectOfThisKind) {
    HANDLE probe = CreateNamed<Probe>(nullptr, MakeProbe), event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    EXPECT_EQ(ErrorAfter(!SetEvent(probe)), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(ErrorAfter(Reference<Probe>(event) == nullptr), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(WithObject<Probe>(event, 0, [](Probe &) { return 1; }), 0);
    EXPECT_EQ(ErrorAfter(WithReference<Probe>(event, false, [](Probe &) { return true; }) == false),
              DWORD{ERROR_INVALID_HANDLE});
    EXPECT_TRUE(WithReference<Probe>(probe, false, [](Probe &) { return KernelLockIsFree(); }))
        << "a blocking call runs without the lock";
    CloseHandle(event);
    CloseHandle(probe);
    EXPECT_EQ(Probe::ended, 1);
}

// The last release comes with CloseHandle, DuplicateHandle's closing of its
// source, or the drop of a reference that outlived the handles.
TEST_F(KernelObjects, TheLastReleaseRunsWithoutTheLockOnEveryPath) {
    ASSERT_TRUE(CloseHandle(CreateNamed<Probe>(nullptr, MakeProbe)));
    EXPECT_EQ(Probe::ended, 1);
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), CreateNamed<Probe>(nullptr, MakeProbe),
                                GetCurrentProcess(), nullptr, 0, FALSE, DUPLICATE_CLOSE_SOURCE));
    EXPECT_EQ(Probe::ended, 2);
    {
        KernelCall call;
        HANDLE probe = CreateNamed<Probe>(nullptr, MakeProbe);
        std::shared_ptr<Probe> held = Reference<Probe>(probe);
        ASSERT_NE(held, nullptr);
        CloseHandle(probe);
        EXPECT_EQ(Probe::ended, 2) << "the reference keeps the object";
    }
    EXPECT_EQ(Probe::ended, 3);
}

// A wait keeps its object alive when the handle it waits on is closed, is
// satisfied through another handle, and may drop the last reference.
TEST_F(KernelObjects, AWaitOutlivesTheHandleItWaitsOn) {
    HANDLE waited = CreateNamed<Probe>(nullptr, MakeProbe), other = nullptr;
    ASSERT_TRUE(DuplicateHandle(GetCurrentProcess(), waited, GetCurrentProcess(), &other, 0, FALSE,
                                DUPLICATE_SAME_ACCESS));
    DWORD result = WAIT_FAILED;
    std::thread waiter([&] { result = WaitForSingleObject(waited, INFINITE); });
    // The wait tests its object and enters its list in one hold of the lock.
    while (Probe::tested == 0)
        Pause(1);
    ASSERT_TRUE(CloseHandle(waited));
    WithObject<Probe>(other, 0, [](Probe &probe) {
        probe.Signal();
        return 0;
    });
    CloseHandle(other);
    waiter.join();
    EXPECT_EQ(result, WAIT_OBJECT_0);
    EXPECT_EQ(Probe::ended, 1);
}

// Events and probes share one name table: a name opens the object of its
// kind and fails for any other, and goes with its object.
TEST_F(KernelObjects, NamedObjectsOfEveryKindShareOneNameTable) {
    const char *name = "cvz-kernel-objects-test";
    SetLastError(1234);
    HANDLE probe = CreateNamed<Probe>(name, MakeProbe);
    ASSERT_NE(probe, nullptr);
    EXPECT_EQ(GetLastError(), 0u);
    HANDLE again = CreateNamed<Probe>(name, MakeProbe), opened = OpenNamed<Probe>(name);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_TRUE(Locked([&] { return ObjectOf(again) == ObjectOf(probe) && ObjectOf(opened) == ObjectOf(probe); }));
    EXPECT_EQ(ErrorAfter(CreateEventA(nullptr, TRUE, FALSE, name) == nullptr), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(ErrorAfter(OpenNamed<Probe>("cvz-no-such-name") == nullptr), DWORD{ERROR_FILE_NOT_FOUND});

    HANDLE event = CreateEventA(nullptr, TRUE, FALSE, "cvz-kernel-objects-test-event");
    EXPECT_EQ(ErrorAfter(CreateNamed<Probe>("cvz-kernel-objects-test-event", MakeProbe) == nullptr),
              DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(ErrorAfter(OpenNamed<Probe>("cvz-kernel-objects-test-event") == nullptr),
              DWORD{ERROR_INVALID_HANDLE});
    CloseHandle(event);

    for (HANDLE handle : {probe, again, opened})
        CloseHandle(handle);
    EXPECT_EQ(Probe::ended, 1);
    event = CreateEventA(nullptr, TRUE, FALSE, name);
    EXPECT_NE(event, nullptr);
    EXPECT_EQ(GetLastError(), 0u) << "the name went with its object";
    CloseHandle(event);
}

}  // namespace
