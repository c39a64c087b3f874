// Locks and events.
//
// CriticalSection is the library's one lock type.  It is recursive: the
// thread that holds it may enter it again without blocking, and the lock
// is free once that thread has left it as often as it entered.  A lock is
// left by the thread that entered it.  AutoCriticalSection holds a lock
// for the length of a scope.
//
// ThreadEvent is a flag that threads set, reset and wait on, from any
// thread.  A manual-reset event stays true until it is set false; an
// auto-reset event turns false again as soon as it releases one waiter.
// On an auto-reset event the polls are not neutral: IsTrue, IsFalse and
// WaitForIt that find the event true consume the signal.
//
// WaitForAll and WaitForAny wait on two to five events together.  The
// events after the first may be absent, given as a reference at the null
// address; absent events come only at the end of the list, and the wait
// counts only those before the first absent one.  A wait for all takes the
// signals of all its events in one step, only when all are true at once,
// so a wait that times out has consumed nothing; naming one event twice
// in it makes it fail.  The waits are never alertable.  Their results:
//
//   0       WaitForAll: all events were true.  WaitForAny: the first event
//           ended the wait.
//   1 to 4  WaitForAny: the event of that zero-based index ended the wait;
//           of several true at once, the lowest index.
//   -1      the time ran out, or the wait failed.
//
// A time of 0 polls; 0xFFFFFFFF waits without limit.  None of these
// classes throws.
#ifndef CVZ_THREADS_LOCKS_H
#define CVZ_THREADS_LOCKS_H

#include <stdint.h>

#include "CommonVcZq/frame/api.h"

class CVZ_API CriticalSection {
public:
    CriticalSection();
    // A new lock of its own, free: `other` is not looked at.  So an object
    // that holds a CriticalSection by value gets its own lock when copied.
    CriticalSection(const CriticalSection &other);
    ~CriticalSection();
    // Copying the lock state would be meaningless; there is no assignment.
    CriticalSection &operator=(const CriticalSection &) = delete;

    // Initialises the lock in storage that has not been through the
    // constructor, such as a global used before static construction.  Not
    // for a lock in use.
    void Init() const;
    // Blocks until the calling thread holds the lock.
    void Enter() const;
    void Leave() const;

private:
    // The platform's critical-section object, held by value.  The room is
    // enough for every platform's object; locks.cpp checks that it fits.
    alignas(8) mutable unsigned char section[64];
};

class CVZ_API AutoCriticalSection {
public:
    // Enters `lock` and leaves it at destruction.
    explicit AutoCriticalSection(const CriticalSection &lock);
    // The same for a lock given by address; a null address gives a guard
    // that does nothing.
    explicit AutoCriticalSection(const CriticalSection *lock);
    ~AutoCriticalSection();
    AutoCriticalSection(const AutoCriticalSection &) = delete;
    // Takes over the other guard's lock address; enters nothing and leaves
    // nothing.  Both guards then leave that lock at destruction, so the
    // caller must have entered it once more.
    AutoCriticalSection &operator=(const AutoCriticalSection &other);

private:
    const CriticalSection *lock;
};

class CVZ_API ThreadEvent {
public:
    // An event, signalled at once when `initialState` is non-zero,
    // auto-reset when `autoReset` is non-zero.  If the platform cannot make
    // one, the handle is null.
    explicit ThreadEvent(int initialState = 0, int autoReset = 0);
    // The same event as `other`, through a handle of its own: each
    // ThreadEvent closes its own handle, so copies end independently.
    ThreadEvent(const ThreadEvent &other);
    ~ThreadEvent();
    // Makes this object signal and wait on `other`'s event, as the copy
    // constructor does.  The event this object had is not closed: a thread
    // may still be waiting on it through its handle.
    ThreadEvent &operator=(const ThreadEvent &other);

    void *GetHandle() const;
    operator void *() const;

    // Polls: whether the event is signalled (1) or not (0).  On an
    // auto-reset event, finding it signalled consumes the signal.  A failed
    // poll counts as not signalled, so the two are always opposites.
    int IsTrue() const;
    int IsFalse() const;
    // Waits up to `milliseconds` (0xFFFFFFFF: without limit); 1 when the
    // event was signalled, 0 on time-out or failure.
    int WaitForIt(uint32_t milliseconds) const;

    void SetTrue();
    void SetFalse();
    // Releases the threads waiting now (on an auto-reset event, one of
    // them) and leaves the event false.
    void Pulse();

private:
    void *handle;
};

CVZ_API int32_t WaitForAll(const ThreadEvent &e1, const ThreadEvent &e2, uint32_t milliseconds);
CVZ_API int32_t WaitForAll(const ThreadEvent &e1, const ThreadEvent &e2, const ThreadEvent &e3,
                           uint32_t milliseconds);
CVZ_API int32_t WaitForAll(const ThreadEvent &e1, const ThreadEvent &e2, const ThreadEvent &e3,
                           const ThreadEvent &e4, uint32_t milliseconds);
CVZ_API int32_t WaitForAll(const ThreadEvent &e1, const ThreadEvent &e2, const ThreadEvent &e3,
                           const ThreadEvent &e4, const ThreadEvent &e5, uint32_t milliseconds);

CVZ_API int32_t WaitForAny(const ThreadEvent &e1, const ThreadEvent &e2, uint32_t milliseconds);
CVZ_API int32_t WaitForAny(const ThreadEvent &e1, const ThreadEvent &e2, const ThreadEvent &e3,
                           uint32_t milliseconds);
CVZ_API int32_t WaitForAny(const ThreadEvent &e1, const ThreadEvent &e2, const ThreadEvent &e3,
                           const ThreadEvent &e4, uint32_t milliseconds);
CVZ_API int32_t WaitForAny(const ThreadEvent &e1, const ThreadEvent &e2, const ThreadEvent &e3,
                           const ThreadEvent &e4, const ThreadEvent &e5, uint32_t milliseconds);

#endif
