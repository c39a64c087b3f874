// Events: CreateEventA, SetEvent, ResetEvent and PulseEvent.
//
// An event is a kernel object (kernel_objects.h) that is signalled while it
// is set; the handles, the names and the waits it shares with every kind
// live in handles.cpp.
//
// What follows Win32:
//
// - An auto-reset event stays signalled until a wait is satisfied by it,
//   and that wait resets it: SetEvent with threads waiting releases exactly
//   one of them.  A manual-reset event stays signalled until ResetEvent,
//   and every wait on it is satisfied meanwhile.
// - PulseEvent releases the threads waiting at the moment of the call and
//   leaves the event unsignalled: for a manual-reset event every waiter
//   whose wait can be satisfied (a wait for all needs its other objects
//   signalled at the same moment), for an auto-reset event one.  Waits
//   are satisfied inside the signalling call (see kernel_objects.h), so
//   "waiting at the moment" is exact: a thread that has entered its wait
//   cannot miss a pulse, and one that enters it after the pulse does not
//   see it.  The Windows caveat, that a kernel-mode APC may take a waiting
//   thread briefly out of its wait and make it miss a pulse, has no
//   counterpart here.
// - CreateEventA sets the last error to 0 when it creates an event, and to
//   ERROR_ALREADY_EXISTS when it opens an existing event of that name; the
//   reset kind and initial state given are then ignored.  A name held by an
//   object of another kind fails with ERROR_INVALID_HANDLE.  An empty name
//   is no name.  Calls that succeed otherwise leave the last error alone.
// - A handle to an object of another kind fails with ERROR_INVALID_HANDLE.
//
// What differs: names are known within this process only (handles.cpp).
#include "platform/posix/kernel_objects.h"

namespace {

using cvz::posix::WithObject;

class Event final : public cvz::posix::KernelObject {
public:
    Event(bool manualReset, bool signalled) : manualReset(manualReset), signalled(signalled) {}

    bool IsSignalled() const override { return signalled; }
    void Acquire() override {
        if (!manualReset)
            signalled = false;
    }

    void Set() {
        signalled = true;
        ReleaseWaiters();
    }
    void Reset() { signalled = false; }
    // Set, with the waits that this satisfies, then reset: an auto-reset
    // event that released a waiter is already reset.
    void Pulse() {
        Set();
        signalled = false;
    }

private:
    const bool manualReset;
    bool signalled;
};

}  // namespace

HANDLE CreateEventA(LPSECURITY_ATTRIBUTES, BOOL manualReset, BOOL initialState, LPCSTR name) {
    return cvz::posix::CreateNamed<Event>(name, [&] {
        return std::make_shared<Event>(manualReset != FALSE, initialState != FALSE);
    });
}

BOOL SetEvent(HANDLE handle) {
    return WithObject<Event>(handle, FALSE, [](Event &event) {
        event.Set();
        return TRUE;
    });
}

BOOL ResetEvent(HANDLE handle) {
    return WithObject<Event>(handle, FALSE, [](Event &event) {
        event.Reset();
        return TRUE;
    });
}

BOOL PulseEvent(HANDLE handle) {
    return WithObject<Event>(handle, FALSE, [](Event &event) {
        event.Pulse();
        return TRUE;
    });
}
