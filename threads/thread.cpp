// Thread over the platform's threads, and InterThreadMessage.
//
// Run starts the thread suspended and lets it go only once the object
// holds its handle and id and the priority is set.  So the new thread
// never sees a half-bound object, and a self-destructible object, which
// may be gone as soon as its thread runs, is not written to afterwards.
//
// A self-destructing thread releases its own handle: closing a handle does
// not disturb the thread it names, and nobody else holds this one.  The
// object's memory is freed at the address of the complete object, which
// for a class that derives from Thread and something else need not be
// that of its Thread part.
#include "CommonVcZq/threads/thread.h"

#include "platform/win32.h"

namespace {

HANDLE AsHandle(void *handle) {
    return static_cast<HANDLE>(handle);
}

// A handle of its own to the thread that `handle` names.  The pseudo
// handle of the calling thread stays as it is: duplicating it would name
// the copying thread, not the thread of the original.
void *ShareThread(void *handle) {
    if (handle == nullptr || AsHandle(handle) == GetCurrentThread())
        return handle;
    HANDLE copy = nullptr;
    if (!DuplicateHandle(GetCurrentProcess(), AsHandle(handle), GetCurrentProcess(), &copy, 0,
                         FALSE, DUPLICATE_SAME_ACCESS))
        return nullptr;
    return copy;
}

}  // namespace

Thread::Thread(const char *name)
    : name(name), threadId(0), threadHandle(nullptr), suspendCount(0), autoDeath(1),
      hasThread(0), selfDestruct(0) {}

Thread::Thread(void *threadHandle, uint32_t threadId, const char *name)
    : name(name), threadId(threadId), threadHandle(threadHandle), suspendCount(0), autoDeath(0),
      hasThread(1), selfDestruct(0) {}

Thread::~Thread() {
    if (autoDeath)
        WaitForEnd();
}

Thread::Thread(const Thread &other)
    : name(other.name), threadId(other.threadId), threadHandle(ShareThread(other.threadHandle)),
      suspendCount(other.suspendCount.load()), autoDeath(other.autoDeath),
      hasThread(other.hasThread), selfDestruct(other.selfDestruct) {}

Thread &Thread::operator=(const Thread &other) {
    if (this == &other)
        return *this;
    name = other.name;
    threadId = other.threadId;
    threadHandle = ShareThread(other.threadHandle);
    suspendCount = other.suspendCount.load();
    autoDeath = other.autoDeath;
    hasThread = other.hasThread;
    selfDestruct = other.selfDestruct;
    return *this;
}

void Thread::Run(Thread *object, int32_t priority, int32_t stackSize) {
    unsigned id = 0;
    uintptr_t handle = _beginthreadex(nullptr, static_cast<unsigned>(stackSize), Starter, object,
                                      CREATE_SUSPENDED, &id);
    threadHandle = reinterpret_cast<void *>(handle);
    threadId = handle != 0 ? id : 0;
    hasThread = handle != 0;
    if (handle == 0)
        return;
    if (priority != 0)
        SetThreadPriority(AsHandle(threadHandle), priority);
    ResumeThread(AsHandle(threadHandle));  // the object may be gone from here on
}

unsigned CVZ_THREAD_ENTRY Thread::Starter(void *argument) {
    Thread *object = static_cast<Thread *>(argument);
    uint32_t exitCode = object->MainLoop();
    if (!object->selfDestruct)
        return exitCode;
    // Waiting for its own end would never end.
    object->autoDeath = 0;
    void *handle = object->threadHandle;
    void *storage = dynamic_cast<void *>(object);
    object->Thread::~Thread();
    ::operator delete(storage);
    if (handle != nullptr)
        CloseHandle(AsHandle(handle));
    return exitCode;
}

void Thread::Init(void *handle, uint32_t id) {
    threadHandle = handle;
    threadId = id;
    hasThread = handle != nullptr;
}

void Thread::InitAsCurrentThread() {
    autoDeath = 0;
    Init(GetCurrentThread(), GetCurrentThreadId());
}

void Thread::ReleaseHandle() {
    if (AsHandle(threadHandle) != GetCurrentThread())
        CloseHandle(AsHandle(threadHandle));
    threadHandle = nullptr;
}

void Thread::WaitForEnd() {
    if (threadHandle == nullptr)
        return;
    WaitForSingleObject(AsHandle(threadHandle), INFINITE);
    ReleaseHandle();
}

int Thread::IsTerminated() const {
    if (!hasThread)
        return 0;
    if (threadHandle == nullptr)
        return 1;  // released by WaitForEnd or Terminate
    return WaitForSingleObject(AsHandle(threadHandle), 0) == WAIT_OBJECT_0;
}

void Thread::Terminate(uint32_t exitCode) {
    TerminateThread(AsHandle(threadHandle), exitCode);
    ReleaseHandle();
}

uint32_t Thread::Suspend() {
    ++suspendCount;
    return SuspendThread(AsHandle(threadHandle));
}

uint32_t Thread::Resume() {
    --suspendCount;
    return ResumeThread(AsHandle(threadHandle));
}

int Thread::IsSuspended() const {
    return suspendCount > 0;
}

int32_t Thread::GetPriority() const {
    return GetThreadPriority(AsHandle(threadHandle));
}

int Thread::SetPriority(int32_t priority) {
    return SetThreadPriority(AsHandle(threadHandle), priority) ? 1 : 0;
}

uint32_t Thread::GetPriorityClass() const {
    return ::GetPriorityClass(GetCurrentProcess());
}

int Thread::SetPriorityClass(uint32_t priorityClass) {
    return ::SetPriorityClass(GetCurrentProcess(), priorityClass) ? 1 : 0;
}

void Thread::GiveUpTimeSlice() {
    Sleep(0);
}

int Thread::PostThreadMessageA(unsigned message, int32_t wParam, int32_t lParam) {
    // The words are sign-extended, as a 32-bit long is when widened.
    return ::PostThreadMessageA(threadId, message, static_cast<WPARAM>(wParam),
                                static_cast<LPARAM>(lParam))
               ? 1
               : 0;
}

uint32_t Thread::MainLoop() {
    return 0;
}

InterThreadMessage::~InterThreadMessage() = default;
