// Kernel objects: what a HANDLE names, and what the waits wait on.
//
// A kernel object is shared by reference count: the handle table holds one
// reference for each handle, a thread that waits holds one for as long as
// its wait lasts, and a call that works on an object outside the kernel
// lock (a read, a write) holds one for as long as it works.  So CloseHandle
// ends the handle at once and the object when the last reference goes,
// which is how Windows keeps an object alive under a wait or a read on a
// handle that another thread has closed.
//
// Each kind of object (events.cpp, threads.cpp) derives from KernelObject
// and says two things about itself: whether it is signalled, and what a
// satisfied wait does to it.  The handle table, the name table and the
// waits, one for all kinds, live in handles.cpp.  The rules:
//
// - One process-wide lock, KernelLock(), guards the state of every object,
//   the handle table, the name table and every wait.  A kind reads and
//   changes its state only with that lock held.  The lock is held briefly:
//   nothing that may block (a read(), a write(), an fsync(), a close())
//   ever runs under it.  A call that blocks works on its object through
//   WithReference, which holds a reference to it and not the lock.
// - Every call that takes the lock does so through Locked (or WithObject,
//   which is Locked with the look-up of a handle), which runs it inside a
//   KernelCall, see below.
// - A reference that may be the last is never dropped with the lock held,
//   so an object's destructor, which runs where its last reference goes,
//   never runs under the lock: it may do blocking clean-up (close(),
//   munmap()), and drop the references it holds to other objects, but must
//   not take the kernel lock.  Code under the lock keeps the references it
//   takes (a name looked up, a handle taken out of the table) in variables
//   declared before Locked, or returns them from it, so that they go after
//   the lock is released.
// - A reference is held only inside a KernelCall: a call that keeps one
//   past Locked declares its own KernelCall before it.  So a thread is
//   never stopped while it holds one, which, ended, it would keep for good.
// - A waiting thread enters itself on the list of each object it waits on,
//   then sleeps on a condition variable of its own.  When an object may
//   have become signalled (an event set, a thread ended), its kind calls
//   ReleaseWaiters with the lock still held.  That goes through the
//   object's waiters in the order they began to wait and satisfies each
//   wait that the objects' state now allows, applying Acquire to the
//   objects it takes, before it wakes the waiter.  A wait is thus satisfied
//   inside the call that signals, as the Windows kernel does it: a released
//   thread owns its result even before it runs, and a thread that comes
//   later cannot take the signal from under it.
// - A handle of one kind given to a call of another (SetEvent on a thread)
//   fails with ERROR_INVALID_HANDLE, as on Windows; so does a name held by
//   an object of another kind, since the named objects of every kind share
//   one name table.
//
// Threads (threads.cpp) are kernel objects too, and they can be suspended
// and ended from outside.  A thread must never stop while it holds the
// kernel lock, or ResumeThread, which needs that lock, could never run.  So
// every call that takes the lock runs inside a KernelCall, and a request to
// suspend or end a thread that reaches it meanwhile waits until its
// outermost KernelCall is over; a thread asleep in a wait, with the lock
// released, is woken by TerminateThread through its KernelSleep.  Blocking
// I/O runs inside the call's KernelCall too, so a thread blocked in it is
// suspended or ended as the I/O returns: a Windows thread, likewise, stops
// only on its way out of the kernel.
#ifndef CVZ_PLATFORM_POSIX_KERNEL_OBJECTS_H
#define CVZ_PLATFORM_POSIX_KERNEL_OBJECTS_H

#include <stdint.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <type_traits>

#include "platform/win32.h"

namespace cvz::posix {

struct Waiter;
struct WaitLink;

// The lock of all kernel objects, handles, names and waits.  Take it
// through Locked.
std::mutex &KernelLock();

// Objects are made with std::make_shared; code holding the lock may take a
// reference to one with shared_from_this(), and keeps it past the lock.
class KernelObject : public std::enable_shared_from_this<KernelObject> {
public:
    KernelObject() = default;
    KernelObject(const KernelObject &) = delete;
    KernelObject &operator=(const KernelObject &) = delete;
    // Runs without the kernel lock, and must not take it.
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

// Runs `action` inside a KernelCall with the kernel lock held, and returns
// what it returns.  The result is made in the caller's place, so a
// reference that the action returns outlives the lock.  An action that
// takes a std::unique_lock<std::mutex> & is given the hold, to sleep on a
// condition variable with it.
template <class Action>
decltype(auto) Locked(Action action) {
    KernelCall call;
    std::unique_lock<std::mutex> hold(KernelLock());
    if constexpr (std::is_invocable_v<Action, std::unique_lock<std::mutex> &>)
        return action(hold);
    else
        return action();
}

// GetCurrentProcess's pseudo handle: DuplicateHandle and the priority
// classes take it; it is never in the handle table.
inline HANDLE CurrentProcessPseudoHandle() {
    return reinterpret_cast<HANDLE>(static_cast<intptr_t>(-1));
}

// GetCurrentThread's pseudo handle: it names the calling thread wherever a
// thread handle is taken, and is never in the handle table.  CloseHandle
// leaves it alone.
inline HANDLE CurrentThreadPseudoHandle() {
    return reinterpret_cast<HANDLE>(static_cast<intptr_t>(-2));
}

// The table entry that the pseudo handle stands for: the calling thread's
// own reference to its object, made at the first need; null, with
// ERROR_INVALID_HANDLE, once the thread is ending.  The kernel lock is held.
std::shared_ptr<KernelObject> *CurrentThreadEntry();

// Enters `object` in the handle table and returns its new handle.  The
// kernel lock is held.
HANDLE NewHandle(std::shared_ptr<KernelObject> object);

// The object that `handle` names; null, with ERROR_INVALID_HANDLE as the
// last error, when it names none.  The kernel lock is held, and the object
// lasts at least as long as the lock is held.
KernelObject *ObjectOf(HANDLE handle);

// The same for an object of kind T: a handle to an object of another kind
// fails too, with ERROR_INVALID_HANDLE.
template <class T>
T *ObjectOf(HANDLE handle) {
    T *object = dynamic_cast<T *>(ObjectOf(handle));
    if (object == nullptr)
        SetLastError(ERROR_INVALID_HANDLE);
    return object;
}

// The prologue of a call on one handle: runs `action(object)` on the
// object of kind T that `handle` names, under Locked, and returns what it
// returns; returns `failed` when there is no such object, with
// ERROR_INVALID_HANDLE as the last error.
template <class T, class Action>
std::invoke_result_t<Action, T &> WithObject(HANDLE handle,
                                            std::invoke_result_t<Action, T &> failed,
                                            Action action) {
    return Locked([&] {
        T *object = ObjectOf<T>(handle);
        return object != nullptr ? action(*object) : failed;
    });
}

// A reference to the object of kind T that `handle` names, for a call that
// works on it outside the kernel lock (which this takes and releases); null,
// with ERROR_INVALID_HANDLE, when there is none.  The object lives while
// the reference does, even if the handle is closed meanwhile.  Call it
// without the lock and inside a KernelCall of the caller's own.
template <class T>
std::shared_ptr<T> Reference(HANDLE handle) {
    return Locked([&]() -> std::shared_ptr<T> {
        T *object = ObjectOf<T>(handle);
        if (object == nullptr)
            return nullptr;
        return std::shared_ptr<T>(object->shared_from_this(), object);
    });
}

// The prologue of a call that blocks (reads, writes): runs `action(object)`
// on the object of kind T that `handle` names, holding a reference to it
// and not the kernel lock, and returns what it returns; returns `failed`
// when there is no such object, with ERROR_INVALID_HANDLE as the last
// error.  The action may take the lock itself through Locked.
template <class T, class Action>
std::invoke_result_t<Action, T &> WithReference(HANDLE handle,
                                               std::invoke_result_t<Action, T &> failed,
                                               Action action) {
    KernelCall call;
    std::shared_ptr<T> object = Reference<T>(handle);
    return object != nullptr ? action(*object) : failed;
}

// The name table, which the named objects of every kind share: the object
// that holds `name`, or null when none does.  The kernel lock is held, and
// the reference must outlive it (see the rules above).
std::shared_ptr<KernelObject> NamedObject(const char *name);

// Gives `object` the name `name`, which NamedObject has just found free.
// The name goes with the object.  The kernel lock is held.
void NameObject(const char *name, const std::shared_ptr<KernelObject> &object);

// A new handle to `existing` if it is of kind T, else null with
// ERROR_INVALID_HANDLE.  The kernel lock is held.
template <class T>
HANDLE NewHandleIfKind(const std::shared_ptr<KernelObject> &existing) {
    if (dynamic_cast<T *>(existing.get()) == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return NewHandle(existing);
}

// The Create call of a kind that has names (CreateEventA): a new handle to
// the object of kind T named `name`, with ERROR_ALREADY_EXISTS as the last
// error, when one exists; null with ERROR_INVALID_HANDLE when an object of
// another kind holds the name; else a handle to a new object that `make()`
// returns under the lock (it must not block), named `name` unless that is
// null or empty, with the last error 0.  `make()` may fail by returning
// null with the last error set.
template <class T, class Make>
HANDLE CreateNamed(const char *name, Make make) {
    bool named = name != nullptr && *name != '\0';
    KernelCall call;
    std::shared_ptr<KernelObject> existing;  // dropped after the lock
    return Locked([&]() -> HANDLE {
        if (named && (existing = NamedObject(name)) != nullptr) {
            HANDLE handle = NewHandleIfKind<T>(existing);
            if (handle != nullptr)
                SetLastError(ERROR_ALREADY_EXISTS);
            return handle;
        }
        std::shared_ptr<KernelObject> object = make();
        if (object == nullptr)
            return nullptr;
        if (named)
            NameObject(name, object);
        HANDLE handle = NewHandle(std::move(object));
        SetLastError(ERROR_SUCCESS);
        return handle;
    });
}

// The Open call of a kind that has names: a new handle to the object of
// kind T named `name`; null with ERROR_FILE_NOT_FOUND when no object holds
// the name, and with ERROR_INVALID_HANDLE when one of another kind does.
template <class T>
HANDLE OpenNamed(const char *name) {
    KernelCall call;
    std::shared_ptr<KernelObject> existing;  // dropped after the lock
    return Locked([&]() -> HANDLE {
        if (name == nullptr || (existing = NamedObject(name)) == nullptr) {
            SetLastError(ERROR_FILE_NOT_FOUND);
            return nullptr;
        }
        return NewHandleIfKind<T>(existing);
    });
}

}  // namespace cvz::posix

#endif
