// Handles, names and the waits.
//
// This file provides the kernel-object machinery of the layer: the table
// of handles (CloseHandle, DuplicateHandle, GetCurrentProcess), the table
// of names, and the two waits that every kind of object shares
// (WaitForSingleObject, WaitForMultipleObjectsEx).  kernel_objects.h
// describes the base that each kind of object derives from and the rules
// of the one kernel lock; events.cpp and threads.cpp add the kinds.
//
// What follows Win32:
//
// - A wait for any object takes the signalled object with the lowest
//   index, and only that one: the others keep their signal.
// - A wait for all objects is satisfied only when every object is
//   signalled together, and then it takes all of them in one step.  A wait
//   that times out, or is still waiting, has consumed nothing.  Naming one
//   object twice in a wait for all fails with ERROR_INVALID_PARAMETER, as
//   on Windows (Wine does not check); a wait for any may name it twice.
// - Waits on one object are satisfied in the order they began, which is
//   what Windows does in practice without promising it.
// - A count of 0 or above MAXIMUM_WAIT_OBJECTS (64) fails with
//   ERROR_INVALID_PARAMETER, a handle that names no object with
//   ERROR_INVALID_HANDLE; both return WAIT_FAILED.  A time-out of 0 polls;
//   INFINITE waits without limit.
// - CloseHandle ends the handle at once; the object lives on while other
//   handles, waits or calls hold it, so a wait on a handle that another
//   thread closes goes on with the object (Windows calls this undefined,
//   and does the same).  Closing a handle that is not open fails with
//   ERROR_INVALID_HANDLE.
// - The named objects of every kind share one namespace: a Create call
//   that meets its name held by an object of another kind fails with
//   ERROR_INVALID_HANDLE.  An empty name is no name.  A name goes with the
//   last reference to its object.
//
// What differs:
//
// - There are no asynchronous procedure calls or I/O completion routines,
//   so nothing can alert a wait: bAlertable is not looked at, and
//   WAIT_IO_COMPLETION never comes.  The library never waits alertably.
// - Names are known within this process only, in one namespace with no
//   Global\ or Local\ prefixes and no length limit.  Another process cannot
//   open an object here, since only a handle table of this process exists.
// - There are no child processes to inherit handles and no access checks:
//   the security attributes, the inherit flag and the access mask are not
//   looked at, and every handle has all rights.
// - GetCurrentProcess's pseudo-handle serves DuplicateHandle, and only the
//   calling process may be named there.  The waits do not take it (Windows
//   waits on the process, which for its own threads never ends) and fail
//   with ERROR_INVALID_HANDLE.  GetCurrentThread's pseudo-handle names the
//   calling thread everywhere, as on Windows, and CloseHandle ignores it.
// - A thread is never suspended or ended while it holds the kernel lock or
//   waits here: such a request takes effect as the call ends, and
//   TerminateThread wakes a waiting thread to end (threads.cpp).
// - A handle is a multiple of 4 from 4 to 0x7FFFFFFC, so it survives a trip
//   through a 32-bit word.  Handles are given out in increasing order and
//   used again only after the count wraps, so a stale handle fails with
//   ERROR_INVALID_HANDLE rather than reach a newer object; Windows gives
//   the lowest free value at once.
// - Time-outs run on CLOCK_MONOTONIC from the call.  Windows counts in
//   ticks of 10 to 16 ms and may end a wait up to a tick early; here a wait
//   ends no earlier than asked, and later only by scheduling.
// - Running out of memory raises through the process's new handler, as
//   every allocation in the library does; Windows returns a failure.  The
//   waits allocate nothing.
//
// The design.  One lock guards every object, the tables and every wait;
// the traffic is light, and one lock leaves no question of lock order and
// makes a wait for all trivially atomic.  A waiting thread keeps its state
// (a condition variable, the result and a link on each object's list) on
// its own stack for the length of the call, so a thread owns nothing here
// between calls, and nothing needs cleaning up when it ends.
//
// Lost wake-ups: a wait tests its objects and enters itself on their lists
// in one hold of the lock, and a signaller satisfies waits under the same
// lock, so no signal can fall between the test and the sleep.  Spurious
// wake-ups: a waiter sleeps until the flag that a signaller sets after
// satisfying its wait, and a wake without it is slept over.  A time-out
// that races with a signaller is settled under the lock: a wait that was
// satisfied returns its result even if its time ran out meanwhile, since
// it has already taken the objects.
//
// The tables are created at first use and never destroyed, since handles
// may still be closed while the process's static objects are being
// destroyed.  The name table holds its objects weakly: a name whose object
// has ended is free, and is cleared out when a name is next given.  The
// calls here drop references only after releasing the lock, so that an
// object's last release, which may block, runs outside it.
#include "platform/posix/kernel_objects.h"

#include <chrono>
#include <condition_variable>
#include <string>
#include <unordered_map>

namespace cvz::posix {

// One entry on an object's list of waits.
struct WaitLink {
    Waiter *waiter = nullptr;
    WaitLink *previous = nullptr;
    WaitLink *next = nullptr;
};

// A wait in progress, on the stack of the waiting thread.  The kernel lock
// guards every field.
struct Waiter {
    Waiter(KernelObject *const *objects, DWORD count, bool all)
        : objects(objects), count(count), all(all) {}

    // Takes what the wait needs when the objects' state allows it now:
    // every object for a wait for all, else the signalled object with the
    // lowest index.  Sets `result` and returns true when it took them.
    bool TrySatisfy();
    // Enters the wait on the list of each of its objects, once on each.
    void Enlist();
    // Takes the wait off all the lists it is on.
    void Delist();

    KernelObject *const *const objects;
    const DWORD count;
    const bool all;
    DWORD result = WAIT_TIMEOUT;
    bool satisfied = false;  // set, with `result`, by a signalling thread
    std::condition_variable wake;
    WaitLink links[MAXIMUM_WAIT_OBJECTS];  // links[i] for objects[i]
};

bool Waiter::TrySatisfy() {
    if (all) {
        for (DWORD i = 0; i < count; ++i) {
            if (!objects[i]->IsSignalled())
                return false;
        }
        for (DWORD i = 0; i < count; ++i)
            objects[i]->Acquire();
        result = WAIT_OBJECT_0;
        return true;
    }
    for (DWORD i = 0; i < count; ++i) {
        if (objects[i]->IsSignalled()) {
            objects[i]->Acquire();
            result = WAIT_OBJECT_0 + i;
            return true;
        }
    }
    return false;
}

void Waiter::Enlist() {
    for (DWORD i = 0; i < count; ++i) {
        KernelObject *object = objects[i];
        bool listed = false;  // a wait for any may name an object twice
        for (DWORD j = 0; j < i && !listed; ++j)
            listed = objects[j] == object;
        if (listed)
            continue;
        WaitLink &link = links[i];
        link.waiter = this;
        link.previous = object->lastWaiter;
        link.next = nullptr;
        if (object->lastWaiter != nullptr)
            object->lastWaiter->next = &link;
        else
            object->firstWaiter = &link;
        object->lastWaiter = &link;
    }
}

void Waiter::Delist() {
    for (DWORD i = 0; i < count; ++i) {
        WaitLink &link = links[i];
        if (link.waiter == nullptr)
            continue;
        KernelObject *object = objects[i];
        (link.previous != nullptr ? link.previous->next : object->firstWaiter) = link.next;
        (link.next != nullptr ? link.next->previous : object->lastWaiter) = link.previous;
        link = WaitLink{};
    }
}

void KernelObject::ReleaseWaiters() {
    WaitLink *link = firstWaiter;
    while (link != nullptr && IsSignalled()) {
        // A wait is on each list once, so taking it off all of them leaves
        // `next` in place.
        WaitLink *next = link->next;
        Waiter *waiter = link->waiter;
        if (waiter->TrySatisfy()) {
            waiter->Delist();
            waiter->satisfied = true;
            waiter->wake.notify_one();
        }
        link = next;
    }
}

namespace {

constexpr uintptr_t kFirstHandle = 4;
constexpr uintptr_t kLastHandle = 0x7FFFFFFC;

struct Kernel {
    std::mutex lock;
    std::unordered_map<uintptr_t, std::shared_ptr<KernelObject>> handles;
    uintptr_t nextHandle = kFirstHandle;
    std::unordered_map<std::string, std::weak_ptr<KernelObject>> names;
};

Kernel &TheKernel() {
    static Kernel *kernel = new Kernel;  // never destroyed: see above
    return *kernel;
}

uintptr_t NextHandle(uintptr_t handle) {
    return handle < kLastHandle ? handle + 4 : kFirstHandle;
}

// The table's reference to the object that `handle` names, or null with
// ERROR_INVALID_HANDLE.  The kernel lock is held.
std::shared_ptr<KernelObject> *Entry(HANDLE handle) {
    if (handle == CurrentThreadPseudoHandle())
        return CurrentThreadEntry();
    Kernel &kernel = TheKernel();
    auto it = kernel.handles.find(reinterpret_cast<uintptr_t>(handle));
    if (it == kernel.handles.end()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return &it->second;
}

// Takes `handle` out of the table and returns its reference, for the
// caller to drop after the lock; null, with ERROR_INVALID_HANDLE, when the
// handle is not open.  Not for the pseudo handles.  The kernel lock is held.
std::shared_ptr<KernelObject> TakeHandle(HANDLE handle) {
    std::shared_ptr<KernelObject> *entry = Entry(handle);
    if (entry == nullptr)
        return nullptr;
    std::shared_ptr<KernelObject> reference = std::move(*entry);
    TheKernel().handles.erase(reinterpret_cast<uintptr_t>(handle));
    return reference;
}

// Whether a wait for all names one object twice.  The count is small.
bool NamesAnObjectTwice(KernelObject *const *objects, DWORD count) {
    for (DWORD i = 1; i < count; ++i) {
        for (DWORD j = 0; j < i; ++j) {
            if (objects[i] == objects[j])
                return true;
        }
    }
    return false;
}

}  // namespace

std::mutex &KernelLock() {
    return TheKernel().lock;
}

HANDLE NewHandle(std::shared_ptr<KernelObject> object) {
    Kernel &kernel = TheKernel();
    uintptr_t handle = kernel.nextHandle;
    while (kernel.handles.count(handle) != 0)
        handle = NextHandle(handle);
    kernel.nextHandle = NextHandle(handle);
    kernel.handles.emplace(handle, std::move(object));
    return reinterpret_cast<HANDLE>(handle);
}

KernelObject *ObjectOf(HANDLE handle) {
    std::shared_ptr<KernelObject> *entry = Entry(handle);
    return entry != nullptr ? entry->get() : nullptr;
}

std::shared_ptr<KernelObject> NamedObject(const char *name) {
    Kernel &kernel = TheKernel();
    auto it = kernel.names.find(name);
    return it != kernel.names.end() ? it->second.lock() : nullptr;
}

void NameObject(const char *name, const std::shared_ptr<KernelObject> &object) {
    Kernel &kernel = TheKernel();
    for (auto it = kernel.names.begin(); it != kernel.names.end();)
        it = it->second.expired() ? kernel.names.erase(it) : std::next(it);
    kernel.names[name] = object;
}

}  // namespace cvz::posix

using namespace cvz::posix;

DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) {
    return WaitForMultipleObjectsEx(1, &object, FALSE, milliseconds, FALSE);
}

DWORD WaitForMultipleObjectsEx(DWORD count, const HANDLE *handles, BOOL waitAll,
                               DWORD milliseconds, BOOL) {
    if (count == 0 || count > MAXIMUM_WAIT_OBJECTS || handles == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    KernelCall call;
    // The time runs from the call, waiting for the lock included.
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    // References that keep the objects alive through the wait, even if
    // their handles are closed meanwhile; dropped after the lock.
    std::shared_ptr<KernelObject> held[MAXIMUM_WAIT_OBJECTS];
    return Locked([&](std::unique_lock<std::mutex> &hold) -> DWORD {
        KernelObject *objects[MAXIMUM_WAIT_OBJECTS];
        for (DWORD i = 0; i < count; ++i) {
            std::shared_ptr<KernelObject> *entry = Entry(handles[i]);
            if (entry == nullptr)
                return WAIT_FAILED;
            held[i] = *entry;
            objects[i] = entry->get();
        }
        if (waitAll && NamesAnObjectTwice(objects, count)) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return WAIT_FAILED;
        }
        Waiter waiter(objects, count, waitAll != FALSE);
        if (waiter.TrySatisfy() || milliseconds == 0)
            return waiter.result;
        waiter.Enlist();
        KernelSleep sleep(waiter.wake);
        while (!waiter.satisfied) {
            if (sleep.Interrupted()) {  // TerminateThread: the thread ends
                waiter.Delist();
                return WAIT_FAILED;
            }
            if (milliseconds == INFINITE) {
                waiter.wake.wait(hold);
            } else if (waiter.wake.wait_until(hold, deadline) == std::cv_status::timeout &&
                       !waiter.satisfied) {
                waiter.Delist();
                return WAIT_TIMEOUT;
            }
        }
        return waiter.result;
    });
}

BOOL CloseHandle(HANDLE handle) {
    if (handle == CurrentThreadPseudoHandle())
        return TRUE;  // nothing to close, as on Windows
    // The reference goes after the lock, and the object with it if it was
    // the last.
    KernelCall call;
    std::shared_ptr<KernelObject> closing = Locked([&] { return TakeHandle(handle); });
    return closing != nullptr;
}

HANDLE GetCurrentProcess(void) {
    return CurrentProcessPseudoHandle();
}

BOOL DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, LPHANDLE target,
                     DWORD, BOOL, DWORD options) {
    if (sourceProcess != CurrentProcessPseudoHandle() ||
        targetProcess != CurrentProcessPseudoHandle()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    KernelCall call;
    std::shared_ptr<KernelObject> closing;  // dropped after the lock
    return Locked([&] {
        std::shared_ptr<KernelObject> *entry = Entry(source);
        if (entry == nullptr)
            return FALSE;
        // With no place for the new handle, only the closing of the source
        // is asked for.
        if (target != nullptr)
            *target = NewHandle(*entry);
        // The pseudo handle of the calling thread gives a real handle to
        // it, and is not closed.
        if ((options & DUPLICATE_CLOSE_SOURCE) != 0 && source != CurrentThreadPseudoHandle())
            closing = TakeHandle(source);
        return TRUE;
    });
}
