// Locks and events over the platform's critical sections, event objects and
// waits.
//
// A CriticalSection keeps the platform's CRITICAL_SECTION in its own
// storage, so that a lock costs no allocation and a global lock can be
// initialised in place (Init) before static construction reaches it.
//
// A ThreadEvent owns one event handle.  A copy gets a handle of its own to
// the same event (DuplicateHandle), rather than the same handle value: two
// objects closing one handle would close it twice, and on Windows the
// second close may hit whatever object has since been given that value.
//
// The multi-event waits take later events by reference, and an absent one
// arrives as a reference at the null address.  The count of handles is the
// first event plus the present ones before the first absent one.  The
// platform's WAIT_TIMEOUT (258) becomes -1; WAIT_FAILED already reads -1.
#include "CommonVcZq/threads/locks.h"

#include <initializer_list>

#include "platform/win32.h"

namespace {

CRITICAL_SECTION *AsSection(unsigned char *storage) {
    return reinterpret_cast<CRITICAL_SECTION *>(storage);
}

// A new handle to the event that `handle` names; null when there is none.
HANDLE ShareEvent(HANDLE handle) {
    HANDLE copy = nullptr;
    if (handle == nullptr ||
        !DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &copy, 0, FALSE,
                         DUPLICATE_SAME_ACCESS))
        return nullptr;
    return copy;
}

// The address of an event argument, null for an absent event.  A compiler
// may take a reference's address for non-null and drop the test, so the
// address passes through a volatile, whose value it cannot assume.
const ThreadEvent *AddressOf(const ThreadEvent &event) {
    const ThreadEvent *volatile address = &event;
    return address;
}

int32_t WaitForEvents(BOOL waitAll, uint32_t milliseconds, const ThreadEvent &first,
                      std::initializer_list<const ThreadEvent *> later) {
    HANDLE handles[5];
    DWORD count = 0;
    handles[count++] = first.GetHandle();
    for (const ThreadEvent *event : later) {
        if (event == nullptr)
            break;
        handles[count++] = event->GetHandle();
    }
    DWORD result = WaitForMultipleObjectsEx(count, handles, waitAll, milliseconds, FALSE);
    return result == WAIT_TIMEOUT ? -1 : static_cast<int32_t>(result);
}

}  // namespace

CriticalSection::CriticalSection() {
    Init();
}

CriticalSection::CriticalSection(const CriticalSection &) {
    Init();
}

CriticalSection::~CriticalSection() {
    DeleteCriticalSection(AsSection(section));
}

void CriticalSection::Init() const {
    static_assert(sizeof(CRITICAL_SECTION) <= sizeof section, "the lock needs more room");
    static_assert(alignof(CRITICAL_SECTION) <= 8, "the lock needs a stricter alignment");
    InitializeCriticalSection(AsSection(section));
}

void CriticalSection::Enter() const {
    EnterCriticalSection(AsSection(section));
}

void CriticalSection::Leave() const {
    LeaveCriticalSection(AsSection(section));
}

AutoCriticalSection::AutoCriticalSection(const CriticalSection &lock) : lock(&lock) {
    lock.Enter();
}

AutoCriticalSection::AutoCriticalSection(const CriticalSection *lock) : lock(lock) {
    if (lock != nullptr)
        lock->Enter();
}

AutoCriticalSection::~AutoCriticalSection() {
    if (lock != nullptr)
        lock->Leave();
}

AutoCriticalSection &AutoCriticalSection::operator=(const AutoCriticalSection &other) {
    lock = other.lock;
    return *this;
}

ThreadEvent::ThreadEvent(int initialState, int autoReset)
    : handle(CreateEventA(nullptr, autoReset ? FALSE : TRUE, initialState ? TRUE : FALSE,
                          nullptr)) {}

ThreadEvent::ThreadEvent(const ThreadEvent &other) : handle(ShareEvent(other.handle)) {}

ThreadEvent::~ThreadEvent() {
    if (handle != nullptr)
        CloseHandle(handle);
}

ThreadEvent &ThreadEvent::operator=(const ThreadEvent &other) {
    if (this != &other)
        handle = ShareEvent(other.handle);
    return *this;
}

void *ThreadEvent::GetHandle() const {
    return handle;
}

ThreadEvent::operator void *() const {
    return handle;
}

int ThreadEvent::IsTrue() const {
    return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0 ? 1 : 0;
}

int ThreadEvent::IsFalse() const {
    return IsTrue() ? 0 : 1;
}

int ThreadEvent::WaitForIt(uint32_t milliseconds) const {
    return WaitForSingleObject(handle, milliseconds) == WAIT_OBJECT_0 ? 1 : 0;
}

void ThreadEvent::SetTrue() {
    SetEvent(handle);
}

void ThreadEvent::SetFalse() {
    ResetEvent(handle);
}

void ThreadEvent::Pulse() {
    PulseEvent(handle);
}

int32_t WaitForAll(const ThreadEvent &e1, const ThreadEvent &e2, uint32_t milliseconds) {
    return WaitForEvents(TRUE, milliseconds, e1, {AddressOf(e2)});
}

int32_t WaitForAll(const ThreadEvent &e1, const ThreadEvent &e2, const ThreadEvent &e3,
                   uint32_t milliseconds) {
    return WaitForEvents(TRUE, milliseconds, e1, {AddressOf(e2), AddressOf(e3)});
}

int32_t WaitForAll(const ThreadEvent &e1, const ThreadEvent &e2, const ThreadEvent &e3,
                   const ThreadEvent &e4, uint32_t milliseconds) {
    return WaitForEvents(TRUE, milliseconds, e1, {AddressOf(e2), AddressOf(e3), AddressOf(e4)});
}

int32_t WaitForAll(const ThreadEvent &e1, const ThreadEvent &e2, const ThreadEvent &e3,
                   const ThreadEvent &e4, const ThreadEvent &e5, uint32_t milliseconds) {
    return WaitForEvents(TRUE, milliseconds, e1,
                         {AddressOf(e2), AddressOf(e3), AddressOf(e4), AddressOf(e5)});
}

int32_t WaitForAny(const ThreadEvent &e1, const ThreadEvent &e2, uint32_t milliseconds) {
    return WaitForEvents(FALSE, milliseconds, e1, {AddressOf(e2)});
}

int32_t WaitForAny(const ThreadEvent &e1, const ThreadEvent &e2, const ThreadEvent &e3,
                   uint32_t milliseconds) {
    return WaitForEvents(FALSE, milliseconds, e1, {AddressOf(e2), AddressOf(e3)});
}

int32_t WaitForAny(const ThreadEvent &e1, const ThreadEvent &e2, const ThreadEvent &e3,
                   const ThreadEvent &e4, uint32_t milliseconds) {
    return WaitForEvents(FALSE, milliseconds, e1, {AddressOf(e2), AddressOf(e3), AddressOf(e4)});
}

int32_t WaitForAny(const ThreadEvent &e1, const ThreadEvent &e2, const ThreadEvent &e3,
                   const ThreadEvent &e4, const ThreadEvent &e5, uint32_t milliseconds) {
    return WaitForEvents(FALSE, milliseconds, e1,
                         {AddressOf(e2), AddressOf(e3), AddressOf(e4), AddressOf(e5)});
}
