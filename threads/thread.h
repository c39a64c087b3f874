// Thread: one platform thread, and who waits for it and who frees it.
//
// An application derives from Thread and overrides MainLoop, then calls
// Run, which starts a platform thread that runs MainLoop; its result is the
// thread's exit code.  Or it attaches a Thread to a thread that already
// runs: through the second constructor, Init, or InitAsCurrentThread.
//
// Three modes decide how the object and its thread part:
//
// - autoDeath (the default for Thread(name)): the destructor waits for the
//   thread's end and releases its handle.  The owner must see to it that
//   MainLoop can end, and must not destroy the object on the thread itself.
//   With SetAutoDeathMode(0) the destructor leaves the thread running, and
//   the thread must then not touch the object.  Attached objects start with
//   autoDeath 0.  A derived class's destructor, and its members', run
//   before ~Thread waits: a MainLoop still running then must not use them,
//   so the owner ends it first or keeps what the two share outside the
//   object.
// - self-destructible (SetAsAutoDestructible, with no way back): when
//   MainLoop returns, the thread runs ~Thread on the object, frees its
//   memory and releases its handle.  The object must come from new, and
//   belongs to its thread from the moment Run is called.  ~Thread is not
//   virtual, so a derived class's destructor does not run then: such a
//   class releases what it holds before MainLoop returns.
// - neither: the object stays, holding the handle, after MainLoop returns.
//
// Suspend and Resume count their own calls (IsSuspended); the platform
// counts every suspension of the thread.  A suspended thread makes no
// progress at all until resumed as often.  Terminate stops the thread where
// it is, running none of its code any more, and is a last resort: what the
// thread holds stays held.
//
// A Thread can be copied: the copy names the same platform thread through a
// handle of its own, so that each object releases its own; it is no new
// thread.  The pseudo handle of InitAsCurrentThread is copied as it is.
//
// Priorities are the platform's THREAD_PRIORITY_* values (0 normal, -2 to 2,
// -15 idle, 15 time critical); GetPriority gives 0x7FFFFFFF on failure.
// The priority class is the process's: a thread has none of its own, so
// GetPriorityClass and SetPriorityClass read and set the class of the
// process the thread runs in (the platform's *_PRIORITY_CLASS values).
//
// InterThreadMessage is a record of four 32-bit words for applications that
// pass messages between threads.  The library gives the fields no meaning.
#ifndef CVZ_THREADS_THREAD_H
#define CVZ_THREADS_THREAD_H

#include <stdint.h>

#include <atomic>

#include "CommonVcZq/frame/api.h"

// The platform's calling convention for a thread's entry function.
#if defined(_WIN32)
#define CVZ_THREAD_ENTRY __stdcall
#else
#define CVZ_THREAD_ENTRY
#endif

class CVZ_API Thread {
public:
    // An object of its own with no thread yet; autoDeath 1.  `name` is kept
    // as a pointer, and the caller keeps the text alive.
    explicit Thread(const char *name = nullptr);
    // Attaches to a running thread; autoDeath 0, so the destructor does not
    // wait unless SetAutoDeathMode asks for it.
    Thread(void *threadHandle, uint32_t threadId, const char *name = nullptr);
    // With autoDeath set, waits for the thread's end (WaitForEnd).
    ~Thread();
    Thread(const Thread &other);
    Thread &operator=(const Thread &other);

    // Starts a thread that runs object->MainLoop() (normally object is
    // this), at `priority` (0: normal) with `stackSize` bytes of stack (0:
    // the platform's default).  On failure no handle is held: IsTerminated
    // gives 0 and GetThreadHandle null.
    void Run(Thread *object, int32_t priority = 0, int32_t stackSize = 0);

    // Binds the object to a thread; bound exactly when the handle is not
    // null.  autoDeath is left as it is.
    void Init(void *threadHandle, uint32_t threadId);
    // Binds the object to the calling thread, through the platform's pseudo
    // handle, which is valid only on this thread; autoDeath 0.
    void InitAsCurrentThread();

    // Waits without limit for the thread's end, then releases the handle.
    // Without a handle it does nothing.
    void WaitForEnd();
    // 1 once the thread has ended (or the handle was released after its
    // end or its termination); 0 before, and for an object never bound.
    int IsTerminated() const;
    // Stops the thread for good with `exitCode`, then releases the handle.
    void Terminate(uint32_t exitCode);

    // Suspends or resumes the thread; the platform's previous suspend count,
    // 0xFFFFFFFF on failure.
    uint32_t Suspend();
    uint32_t Resume();
    // 1 while this object's Suspend calls outnumber its Resume calls.
    int IsSuspended() const;

    int32_t GetPriority() const;
    // Non-zero on success.
    int SetPriority(int32_t priority);
    uint32_t GetPriorityClass() const;
    int SetPriorityClass(uint32_t priorityClass);

    // Lets other threads run (Sleep(0)).
    static void GiveUpTimeSlice();

    // Posts a message to the thread's queue; non-zero on success.
    int PostThreadMessageA(unsigned message, int32_t wParam, int32_t lParam);

    int IsAutoDeathActive() const { return autoDeath; }
    // The value is kept as given; non-zero makes the destructor wait.
    void SetAutoDeathMode(int mode) { autoDeath = mode; }
    int IsSelfDestructible() const { return selfDestruct; }
    void SetAsAutoDestructible() { selfDestruct = 1; }

    uint32_t GetThreadId() const { return threadId; }
    void *GetThreadHandle() const { return threadHandle; }
    void SetName(const char *newName) { name = newName; }

protected:
    // The thread's work; its result is the exit code.  The default ends at
    // once with 0.
    virtual uint32_t MainLoop();

private:
    static unsigned CVZ_THREAD_ENTRY Starter(void *object);
    void ReleaseHandle();

    const char *name;
    uint32_t threadId;
    void *threadHandle;
    std::atomic<int32_t> suspendCount;
    int autoDeath;
    int hasThread;
    int selfDestruct;
};

class CVZ_API InterThreadMessage {
public:
    InterThreadMessage() = default;
    InterThreadMessage(const InterThreadMessage &other) = default;
    InterThreadMessage &operator=(const InterThreadMessage &other) = default;
    virtual ~InterThreadMessage();

    int32_t message = -1;
    int32_t param1 = 0;
    int32_t param2 = 0;
    int32_t param3 = 0;
};

#endif
