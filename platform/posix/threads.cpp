// Threads: creation, thread handles, suspension, termination, priorities,
// Sleep and timeGetTime.
//
// A thread handle names a kernel object (kernel_objects.h) that becomes
// signalled when the thread ends, and GetExitCodeThread then gives its exit
// code (STILL_ACTIVE, 259, before).  Threads started by _beginthreadex have
// one from the start; any other thread gets one at its first use of
// GetCurrentThread's pseudo handle (a wait on it, DuplicateHandle, and the
// calls below), so that the main thread or a std::thread can be given a real
// handle with DuplicateHandle, as on Windows.
//
// What follows Win32:
//
// - _beginthreadex returns the handle, or 0 with errno set (EINVAL for a
//   null start, EAGAIN when the system has no thread to give).  The id is
//   the thread's GetCurrentThreadId, known before the call returns.  A
//   stack size is rounded up to 64 KiB and, unless
//   STACK_SIZE_PARAM_IS_A_RESERVATION is given, is at least the system's
//   default: Windows reads the size as the part to commit at once and
//   reserves at least the program's default, so a small size never makes a
//   small stack.  With CREATE_SUSPENDED the thread's function does not
//   begin until ResumeThread brings the count to 0.
// - The suspend count goes from 0 to 127; beyond, SuspendThread fails with
//   ERROR_SIGNAL_REFUSED.  Both calls return the count as it was, and
//   0xFFFFFFFF on failure; ResumeThread at 0 changes nothing.  A thread
//   that has ended cannot be suspended (ERROR_ACCESS_DENIED); resuming it
//   only counts down.
//   A thread may suspend itself; the call returns when another thread has
//   resumed it.
// - A suspended thread makes no progress at all, as the Windows kernel
//   stops it, and so does a thread ended by TerminateThread.  Both take
//   effect asynchronously, as on Windows: the thread stops within moments
//   of the call, not necessarily before it returns.
// - A thread is never stopped inside one of this layer's calls that hold
//   its lock, or while it waits in one, as Windows stops a thread only on
//   its way out of the kernel: a request that reaches it there takes
//   effect as the call ends (KernelCall in kernel_objects.h).  A thread
//   asleep in WaitForSingleObject or WaitForMultipleObjectsEx stays asleep
//   while suspended, and is woken by TerminateThread to end.
// - TerminateThread on a thread that has already ended, or has already been
//   asked to end, succeeds and changes nothing: the first exit code stays.
//
// How a thread is stopped.  A thread can be stopped from outside only
// from within itself, so SuspendThread and TerminateThread record the
// request in the thread's control word (its suspend count and an end flag)
// and send it a real-time signal, RequestSignal() below.  The handler
// looks at the control word: while the count is above 0 it sleeps on that
// word (a futex on Linux; elsewhere it polls every millisecond with
// nanosleep), and ResumeThread lowers the count and wakes it.  Everything
// the handler does is async-signal-safe, with one reasoned exception told
// under TerminateThread.  Its mask blocks every signal, so a suspended
// thread runs no signal handler either, and it keeps errno as it found it.
// The handler finds its thread through an initial-exec thread-local
// pointer, which reads no lazily allocated storage.  A signal that arrives
// inside a KernelCall only marks the request, and the call's end carries
// it out.
//
// What differs:
//
// - The signal is SIGRTMAX - 3.  A program must leave it alone: a handler
//   of its own for it, or a thread that blocks it, defeats suspension and
//   termination of that thread (the request waits until the signal is
//   unblocked).  Threads that _beginthreadex starts, and threads as they get
//   their handle, have it unblocked.
// - A system call that the signal interrupts is restarted where the system
//   allows it (SA_RESTART); where it does not (nanosleep, sigsuspend,
//   poll, ...) it fails with EINTR.  Sleep goes on with the time it had
//   left, so the time spent suspended does not count towards it.
// - A thread suspended or ended while it holds a lock of the C library (the
//   heap's, a stdio stream's) or of the program keeps it, as on Windows,
//   where a thread suspended inside the heap blocks every allocation.  A
//   thread suspended or ended in a wait on a pthread condition variable
//   counts as a waiter in it; with glibc this can hold up other threads'
//   signalling of that variable until it is resumed, and for good once it
//   is ended.
// - Under ThreadSanitizer a signal reaches a thread at the next function
//   that the sanitizer intercepts or at its next atomic operation, not
//   between any two instructions; a thread in a loop of plain computation
//   is stopped only when the loop calls out.
//
// TerminateThread.  Windows ends the thread where it is: no more of its
// code runs, no destructor, no thread-local clean-up, no notification of
// its modules; its locks stay held and what it allocated stays allocated.
// POSIX has no call that ends one thread like that.  pthread_cancel, and
// pthread_exit from a signal handler, unwind the thread's stack instead,
// running C++ destructors and cleanup handlers at whatever instruction the
// thread had reached, in the middle of any operation; and an unwind that
// meets a noexcept function calls std::terminate, which ends the whole
// process.  Asynchronous cancellation does the same.  Ending the kernel
// thread with a raw exit system call would run nothing, but would leave
// the C library (and the sanitizers) believing the thread alive, so its
// stack and descriptor would never be freed either.  So here the thread is
// stopped for good: the handler blocks every signal, marks the thread's
// object ended with the exit code (which signals its handle and releases
// its waiters), and sleeps for the rest of the process's life.  What
// differs from Windows:
//
// - The thread's stack, its kernel thread and its object stay until the
//   process ends (Windows frees the stack and the kernel thread).  The
//   thread's id is not reused meanwhile.  Its thread-local objects are not
//   destroyed, as on Windows.
// - Marking the object ended takes the layer's lock, from a signal handler.
//   That is safe here although POSIX does not promise it for mutexes in
//   general: the handler acts only outside every KernelCall, so the thread
//   does not hold that lock, and a glibc mutex and condition variable keep
//   no per-thread state that the interrupted code could have left half
//   changed; nothing is allocated or freed.
// - A thread created suspended and ended before it began never runs its
//   function, and ends normally, stack and all.
// - Ending oneself with TerminateThread(GetCurrentThread(), code) stops the
//   calling thread at the end of the call, which therefore never returns.
//
// Priorities.  Every value is kept and reported as given: the seven
// THREAD_PRIORITY_* values (and -7 to 6 in the realtime class), and the
// six priority classes, with NORMAL_PRIORITY_CLASS at first.  Other values
// fail with ERROR_INVALID_PARAMETER.  Only the calling process can be named
// (GetCurrentProcess).  On Linux, where a thread's nice value is its own,
// the pair is also applied as a nice value: the class gives 15, 5, 0, -5,
// -10 or -15 from idle to realtime, and each step of thread priority is two
// steps of nice (about a factor 1.5 in processor share), with the idle and
// time-critical priorities at 19 and -20.  A class applies to every thread
// of the process.  An unprivileged process may raise its nice values but
// not lower them (RLIMIT_NICE), so a priority above what a thread had is
// kept and reported but not applied, and a thread brought down cannot come
// back up; Windows lets any process raise priorities up to high.  New
// threads take the nice value of the current class.  Elsewhere the values
// are only kept.
//
// Sleep(0) yields the processor (sched_yield); Sleep(INFINITE) never
// returns; a signal does not shorten a Sleep.
//
// timeGetTime reads the clock of GetTickCount: milliseconds since the
// system started, in 32 bits.
#include "platform/posix/kernel_objects.h"

#include <errno.h>
#include <limits.h>
#include <sched.h>
#include <signal.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>

#if defined(__linux__)
#include <dirent.h>
#include <linux/futex.h>
#include <stdlib.h>
#include <sys/syscall.h>
#endif

namespace {

using cvz::posix::CurrentProcessPseudoHandle;
using cvz::posix::KernelObject;
using cvz::posix::Locked;
using cvz::posix::WithObject;

// The control word: the suspend count in the low bits, and the end request.
constexpr uint32_t kCountMask = 0xFF;
constexpr uint32_t kEndRequested = 0x100;

constexpr size_t kStackGranularity = 65536;

// glibc's SIGRTMAX is not a constant.
int RequestSignal() {
    return SIGRTMAX - 3;
}

// Sleeps while `*word` holds `value`, or less long: callers test again.
// Async-signal-safe.
void SleepOnWord(uint32_t *word, uint32_t value) {
#if defined(__linux__)
    syscall(SYS_futex, word, FUTEX_WAIT_PRIVATE, value, nullptr, nullptr, 0);
#else
    (void)word;
    (void)value;
    timespec millisecond{0, 1000000};
    nanosleep(&millisecond, nullptr);
#endif
}

void WakeWord(uint32_t *word) {
#if defined(__linux__)
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
#else
    (void)word;
#endif
}

uint32_t Load(const uint32_t *word) {
    return __atomic_load_n(word, __ATOMIC_ACQUIRE);
}

class ThreadObject final : public KernelObject {
public:
    bool IsSignalled() const override { return ended; }

    // Marks the thread ended with `code`, once, and releases its waiters.
    // The kernel lock is held.
    void End(DWORD code);

    // Set before the object can be reached from another thread.
    pthread_t thread{};

    // Changed with atomics: the handler and the thread's own start read
    // them without the kernel lock.  Written under the lock.
    uint32_t control = 0;
    uint32_t id = 0;  // 0 until the thread has told it

    // The kernel lock guards the rest.
    bool ended = false;
    DWORD exitCode = STILL_ACTIVE;
    DWORD requestedExitCode = 0;  // TerminateThread's, before kEndRequested
    int priority = THREAD_PRIORITY_NORMAL;
    std::condition_variable *sleep = nullptr;  // the wait it sleeps in
    ThreadObject *previousLive = nullptr;      // threads not yet ended
    ThreadObject *nextLive = nullptr;
    bool live = false;

    // What the thread's function returned; the thread's own.
    DWORD returnedCode = 0;
};

// The threads that have objects and have not ended.  Kernel lock.
ThreadObject *firstLive = nullptr;
DWORD processClass = NORMAL_PRIORITY_CLASS;  // kernel lock

void LinkLive(ThreadObject *thread) {
    thread->nextLive = firstLive;
    if (firstLive != nullptr)
        firstLive->previousLive = thread;
    firstLive = thread;
    thread->live = true;
}

void UnlinkLive(ThreadObject *thread) {
    if (!thread->live)
        return;
    (thread->previousLive != nullptr ? thread->previousLive->nextLive : firstLive) =
        thread->nextLive;
    if (thread->nextLive != nullptr)
        thread->nextLive->previousLive = thread->previousLive;
    thread->previousLive = thread->nextLive = nullptr;
    thread->live = false;
}

void ThreadObject::End(DWORD code) {
    if (ended)
        return;
    ended = true;
    exitCode = code;
    sleep = nullptr;
    UnlinkLive(this);
    ReleaseWaiters();
}

// Per-thread state the signal handler reads: plain words with the
// initial-exec model, so that reading them allocates nothing.
__attribute__((tls_model("initial-exec"))) thread_local ThreadObject *currentThread = nullptr;
// KernelCalls open, and whether a request came in during one.
__attribute__((tls_model("initial-exec"))) thread_local volatile sig_atomic_t callDepth = 0;
__attribute__((tls_model("initial-exec"))) thread_local volatile sig_atomic_t requestDeferred = 0;
// Set once the thread's object has ended with it: the pseudo handle then
// names nothing.
thread_local bool threadEnding = false;

// The thread's own reference to its object, which the pseudo handle
// resolves to.  Its destructor, at the thread's end, marks the object
// ended with the function's result.
struct ThreadSelf {
    std::shared_ptr<KernelObject> object;
    ~ThreadSelf();
};
thread_local ThreadSelf threadSelf;

[[noreturn]] void StopForGood(ThreadObject *self) {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
    ++callDepth;  // what the lock guards is this thread's to change now
    Locked([&] { self->End(self->requestedExitCode); });
    for (;;)
        pause();
}

// Carries out what was asked of the calling thread: sleeps while it is
// suspended, stops for good when it is to end.  Async-signal-safe, but for
// StopForGood (see the top of the file).  Never called inside a KernelCall.
void ObeyRequests(ThreadObject *self) {
    for (;;) {
        uint32_t control = Load(&self->control);
        if ((control & kEndRequested) != 0)
            StopForGood(self);
        if ((control & kCountMask) == 0)
            return;
        SleepOnWord(&self->control, control);
    }
}

void OnRequestSignal(int) {
    int savedErrno = errno;
    ThreadObject *self = currentThread;
    if (self != nullptr) {
        if (callDepth > 0)
            requestDeferred = 1;
        else
            ObeyRequests(self);
    }
    errno = savedErrno;
}

void InstallRequestHandler() {
    static const bool installed = [] {
        struct sigaction action = {};
        action.sa_handler = OnRequestSignal;
        sigfillset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        sigaction(RequestSignal(), &action, nullptr);
        return true;
    }();
    (void)installed;
}

void UnblockRequests() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, RequestSignal());
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

ThreadSelf::~ThreadSelf() {
    ThreadObject *self = currentThread;
    if (self == nullptr)
        return;
    Locked([&] {
        self->End(self->returnedCode);
        // No request reaches the thread any more, also not one the call
        // holds back.
        currentThread = nullptr;
        threadEnding = true;
    });
    object.reset();
}

// Priorities as nice values.
int ClassNice(DWORD priorityClass) {
    switch (priorityClass) {
    case IDLE_PRIORITY_CLASS: return 15;
    case BELOW_NORMAL_PRIORITY_CLASS: return 5;
    case ABOVE_NORMAL_PRIORITY_CLASS: return -5;
    case HIGH_PRIORITY_CLASS: return -10;
    case REALTIME_PRIORITY_CLASS: return -15;
    default: return 0;
    }
}

int NiceFor(DWORD priorityClass, int priority) {
    if (priority == THREAD_PRIORITY_IDLE)
        return 19;
    if (priority == THREAD_PRIORITY_TIME_CRITICAL)
        return -20;
    return std::clamp(ClassNice(priorityClass) - 2 * priority, -20, 19);
}

bool IsPriority(int priority, DWORD priorityClass) {
    if (priority == THREAD_PRIORITY_IDLE || priority == THREAD_PRIORITY_TIME_CRITICAL)
        return true;
    if (priorityClass == REALTIME_PRIORITY_CLASS)
        return priority >= -7 && priority <= 6;
    return priority >= THREAD_PRIORITY_LOWEST && priority <= THREAD_PRIORITY_HIGHEST;
}

bool IsPriorityClass(DWORD priorityClass) {
    switch (priorityClass) {
    case IDLE_PRIORITY_CLASS:
    case BELOW_NORMAL_PRIORITY_CLASS:
    case NORMAL_PRIORITY_CLASS:
    case ABOVE_NORMAL_PRIORITY_CLASS:
    case HIGH_PRIORITY_CLASS:
    case REALTIME_PRIORITY_CLASS:
        return true;
    default:
        return false;
    }
}

// Sets the nice value of kernel thread `id`, where the system allows it.
void ApplyNice(uint32_t id, int nice) {
#if defined(__linux__)
    int savedErrno = errno;
    setpriority(PRIO_PROCESS, static_cast<id_t>(id), nice);
    errno = savedErrno;
#else
    (void)id;
    (void)nice;
#endif
}

// Applies the process's class to each of its threads, with the priority
// of those that have objects.  The kernel lock is held.
void ApplyClassToAllThreads() {
#if defined(__linux__)
    DIR *tasks = opendir("/proc/self/task");
    if (tasks == nullptr)
        return;
    while (dirent *task = readdir(tasks)) {
        uint32_t id = static_cast<uint32_t>(strtoul(task->d_name, nullptr, 10));
        if (id == 0)
            continue;
        int priority = THREAD_PRIORITY_NORMAL;
        for (ThreadObject *thread = firstLive; thread != nullptr; thread = thread->nextLive) {
            if (Load(&thread->id) == id)
                priority = thread->priority;
        }
        ApplyNice(id, NiceFor(processClass, priority));
    }
    closedir(tasks);
#endif
}

// Asks `thread` to look at its control word.  The kernel lock is held, so
// the thread has not passed its end, and its pthread_t is valid.
void Notify(ThreadObject *thread) {
    if (thread == currentThread)
        requestDeferred = 1;  // inside this KernelCall; done at its end
    else
        pthread_kill(thread->thread, RequestSignal());
}

struct StartPacket {
    unsigned (*start)(void *);
    void *argument;
    std::shared_ptr<ThreadObject> object;
};

void *ThreadMain(void *packetAddress) {
    std::unique_ptr<StartPacket> packet(static_cast<StartPacket *>(packetAddress));
    ThreadObject *self = packet->object.get();
    threadSelf.object = packet->object;
    currentThread = self;
    UnblockRequests();
    __atomic_store_n(&self->id, GetCurrentThreadId(), __ATOMIC_RELEASE);
    WakeWord(&self->id);
    // Created suspended, or suspended or ended before it began.
    for (;;) {
        uint32_t control = Load(&self->control);
        if ((control & kEndRequested) != 0) {
            self->returnedCode = self->requestedExitCode;
            return nullptr;
        }
        if ((control & kCountMask) == 0)
            break;
        SleepOnWord(&self->control, control);
    }
    unsigned (*start)(void *) = packet->start;
    void *argument = packet->argument;
    packet.reset();
    self->returnedCode = start(argument);
    return nullptr;
}

size_t StackSizeFor(const pthread_attr_t &attributes, unsigned requested, unsigned flags) {
    size_t standard = 0;
    pthread_attr_getstacksize(&attributes, &standard);
    size_t size = (size_t{requested} + kStackGranularity - 1) / kStackGranularity *
                  kStackGranularity;
    if ((flags & STACK_SIZE_PARAM_IS_A_RESERVATION) == 0)
        size = std::max(size, standard);
    return std::max(size, static_cast<size_t>(PTHREAD_STACK_MIN));
}

}  // namespace

namespace cvz::posix {

KernelCall::KernelCall() {
    ++callDepth;
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

KernelCall::~KernelCall() {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (--callDepth == 0 && requestDeferred != 0) {
        requestDeferred = 0;
        if (ThreadObject *self = currentThread)
            ObeyRequests(self);
    }
}

KernelSleep::KernelSleep(std::condition_variable &wake) {
    if (currentThread != nullptr)
        currentThread->sleep = &wake;
}

KernelSleep::~KernelSleep() {
    if (currentThread != nullptr)
        currentThread->sleep = nullptr;
}

bool KernelSleep::Interrupted() const {
    return currentThread != nullptr && (Load(&currentThread->control) & kEndRequested) != 0;
}

std::shared_ptr<KernelObject> *CurrentThreadEntry() {
    if (threadEnding) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    if (threadSelf.object == nullptr) {
        InstallRequestHandler();
        auto object = std::make_shared<ThreadObject>();
        object->thread = pthread_self();
        object->id = GetCurrentThreadId();
        LinkLive(object.get());
        currentThread = object.get();
        threadSelf.object = std::move(object);
        UnblockRequests();
    }
    return &threadSelf.object;
}

}  // namespace cvz::posix

uintptr_t _beginthreadex(void *, unsigned stackSize, unsigned (*start)(void *), void *argument,
                         unsigned initFlags, unsigned *threadId) {
    if (start == nullptr) {
        errno = EINVAL;
        return 0;
    }
    InstallRequestHandler();
    auto object = std::make_shared<ThreadObject>();
    object->control = (initFlags & CREATE_SUSPENDED) != 0 ? 1 : 0;
    auto *packet = new StartPacket{start, argument, object};

    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, StackSizeFor(attributes, stackSize, initFlags));
    int error = pthread_create(&object->thread, &attributes, ThreadMain, packet);
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        delete packet;
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        errno = error == EINVAL ? EINVAL : EAGAIN;
        return 0;
    }
    uint32_t id;
    while ((id = Load(&object->id)) == 0)
        SleepOnWord(&object->id, 0);

    if (threadId != nullptr)
        *threadId = id;
    return Locked([&] {
        if (!object->ended) {
            LinkLive(object.get());
            ApplyNice(id, NiceFor(processClass, THREAD_PRIORITY_NORMAL));
        }
        return reinterpret_cast<uintptr_t>(cvz::posix::NewHandle(std::move(object)));
    });
}

HANDLE GetCurrentThread(void) {
    return cvz::posix::CurrentThreadPseudoHandle();
}

BOOL GetExitCodeThread(HANDLE handle, DWORD *exitCode) {
    return WithObject<ThreadObject>(handle, FALSE, [&](ThreadObject &thread) {
        *exitCode = thread.exitCode;
        return TRUE;
    });
}

DWORD SuspendThread(HANDLE handle) {
    return WithObject<ThreadObject>(handle, 0xFFFFFFFF, [](ThreadObject &thread) -> DWORD {
        if (thread.ended) {
            SetLastError(ERROR_ACCESS_DENIED);
            return 0xFFFFFFFF;
        }
        uint32_t count = Load(&thread.control) & kCountMask;
        if (count >= MAXIMUM_SUSPEND_COUNT) {
            SetLastError(ERROR_SIGNAL_REFUSED);
            return 0xFFFFFFFF;
        }
        __atomic_add_fetch(&thread.control, 1, __ATOMIC_RELEASE);
        if (count == 0)
            Notify(&thread);
        return count;
    });
}

DWORD ResumeThread(HANDLE handle) {
    return WithObject<ThreadObject>(handle, 0xFFFFFFFF, [](ThreadObject &thread) -> DWORD {
        uint32_t count = Load(&thread.control) & kCountMask;
        if (count > 0 &&
            (__atomic_sub_fetch(&thread.control, 1, __ATOMIC_RELEASE) & kCountMask) == 0)
            WakeWord(&thread.control);
        return count;
    });
}

BOOL TerminateThread(HANDLE handle, DWORD exitCode) {
    return WithObject<ThreadObject>(handle, FALSE, [&](ThreadObject &thread) {
        if (thread.ended || (Load(&thread.control) & kEndRequested) != 0)
            return TRUE;
        thread.requestedExitCode = exitCode;
        __atomic_or_fetch(&thread.control, kEndRequested, __ATOMIC_RELEASE);
        WakeWord(&thread.control);  // a suspended thread, or one not yet begun
        if (thread.sleep != nullptr)
            thread.sleep->notify_all();
        Notify(&thread);
        return TRUE;
    });
}

BOOL SetThreadPriority(HANDLE handle, int priority) {
    return WithObject<ThreadObject>(handle, FALSE, [&](ThreadObject &thread) {
        if (!IsPriority(priority, processClass)) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return FALSE;
        }
        thread.priority = priority;
        if (!thread.ended)
            ApplyNice(Load(&thread.id), NiceFor(processClass, priority));
        return TRUE;
    });
}

int GetThreadPriority(HANDLE handle) {
    return WithObject<ThreadObject>(handle, THREAD_PRIORITY_ERROR_RETURN,
                                    [](ThreadObject &thread) { return thread.priority; });
}

BOOL SetPriorityClass(HANDLE process, DWORD priorityClass) {
    if (process != CurrentProcessPseudoHandle()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    if (!IsPriorityClass(priorityClass)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    Locked([&] {
        processClass = priorityClass;
        ApplyClassToAllThreads();
    });
    return TRUE;
}

DWORD GetPriorityClass(HANDLE process) {
    if (process != CurrentProcessPseudoHandle()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    return Locked([] { return processClass; });
}

void Sleep(DWORD milliseconds) {
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    if (milliseconds == INFINITE) {
        for (;;)
            pause();
    }
    timespec rest{static_cast<time_t>(milliseconds / 1000),
                  static_cast<long>(milliseconds % 1000) * 1000000L};
    int savedErrno = errno;
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
    }
    errno = savedErrno;
}

DWORD timeGetTime(void) {
    return GetTickCount();
}
