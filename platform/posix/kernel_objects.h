// Kernel objects: what a HANDLE names, and what the waits wait on.
//
// A kernel object is shared by reference count: the handle table holds one
// reference for each handle, and a thread that waits holds one for as long
// as its wait lasts.  So CloseHandle ends the handle at once and the object
// when the last reference goes, which is how Windows keeps an object alive
// under a wait on a handle that another thread has closed.
//
// Each kind of object (so far the events of events.cpp) derives from
// KernelObject and says two things about itself: whether it is signalled,
// and what a satisfied wait does to it.  The waits themselves, one for all
// kinds, live in events.cpp:
//
// - One process-wide lock, KernelLock(), guards the state of every object,
//   the handle table and every wait.  A kind reads and changes its state
//   only with that lock held.
// - A waiting thread enters itself on the list of each object it waits on,
//   then sleeps on a condition variable of its own.
// - An object's destructor may run with the kernel lock held (whoever
//   drops the last reference), so it must not take that lock.
// - When an object may have become signalled (an event set, a thread
//   ended), its kind calls ReleaseWaiters with the lock still held.  That
//   goes through the object's waiters in the order they began to wait and
//   satisfies each wait that the objects' state now allows, applying
//   Acquire to the objects it takes, before it wakes the waiter.  A wait is
//   thus satisfied inside the call that signals, as the Windows kernel does
//   it: a released thread owns its result even before it runs, and a
//   thread that comes later cannot take the signal from under it.
//
// Threads (threads.cpp) are kernel objects too, and they can be suspended
// and ended from outside.  A thread must never stop while it holds the
// kernel lock, or ResumeThread, which needs that lock, could never run.  So
// every call that takes the lock runs inside a KernelCall, and a request to
// suspend or end a thread that reaches it meanwhile waits until its
// outermost KernelCall is over; a thread asleep in a wait, with the lock
// released, is woken by TerminateThread through its KernelSleep.
#ifndef CVZ_PLATFORM_POSIX_KERNEL_OBJECTS_H
#define CVZ_PLATFORM_POSIX_KERNEL_OBJECTS_H

#include <condition_variable>
#include <memory>
#include <mutex>

#include "platform/win32.h"

namespace cvz::posix {

struct Waiter;
struct WaitLink;

// The lock of all kernel objects, handles and waits.
std::mutex &KernelLock();

class KernelObject {
public:
    KernelObject() = default;
    KernelObject(const KernelObject &) = delete;
    KernelObject &operator=(const KernelObject &) = delete;
    virtual ~KernelObject() = default;

    // Whether a wait on the object would be satisfied now.  The kernel lock
    // is held.
    virtual bool IsSignalled() const = 0;
    // What a satisfied wait does to the object, for instance resetting an
    // auto-reset event.  Called only while IsSignalled() holds, with the
    // kernel lock held.
    virtual void Acquire() {}

protected:
    // Satisfies the waits on this object that its state, and the state of
    // the other objects each waits on, now allow.  Call it with the kernel
    // lock held whenever the object may have become signalled.
    void ReleaseWaiters();

private:
    friend struct Waiter;
    // The waits on this object, in the order they began.
    WaitLink *firstWaiter = nullptr;
    WaitLink *lastWaiter = nullptr;
};

// Declared before the kernel lock is taken, so that it ends after the lock
// is released: for its length the calling thread is neither suspended nor
// ended, and what was asked of it meanwhile is done when the outermost
// KernelCall ends.  Cheap: two thread-local counters, no system call.
class KernelCall {
public:
    KernelCall();
    ~KernelCall();
    KernelCall(const KernelCall &) = delete;
    KernelCall &operator=(const KernelCall &) = delete;
};

// A thread's sleep in a wait, with the kernel lock released.  While it
// lasts, TerminateThread can wake the sleeper through `wake`; Interrupted()
// then tells the wait to give up, and the thread ends as its KernelCall
// ends.  Made and asked with the kernel lock held.
class KernelSleep {
public:
    explicit KernelSleep(std::condition_variable &wake);
    ~KernelSleep();
    KernelSleep(const KernelSleep &) = delete;
    KernelSleep &operator=(const KernelSleep &) = delete;
    bool Interrupted() const;
};

// GetCurrentThread's pseudo handle: it names the calling thread wherever a
// thread handle is taken, and is never in the handle table.  CloseHandle
// leaves it alone.
inline HANDLE CurrentThreadPseudoHandle() {
    return reinterpret_cast<HANDLE>(static_cast<intptr_t>(-2));
}

// The table entry that the pseudo handle stands for: the calling thread's
// own reference to its object, made at the first need.  The kernel lock is
// held.
std::shared_ptr<KernelObject> *CurrentThreadEntry();

// Enters `object` in the handle table and returns its new handle.  The
// kernel lock is held.
HANDLE NewHandle(std::shared_ptr<KernelObject> object);

// The object that `handle` names; null, with ERROR_INVALID_HANDLE as the
// last error, when it names none.  The kernel lock is held, and the object
// lasts at least as long as the lock is held.
KernelObject *ObjectOf(HANDLE handle);

}  // namespace cvz::posix

#endif
