// Thread message queues and message-only windows.
//
// This is the posting half of Win32 messaging.  A thread that uses it has a
// queue of posted messages.  PostThreadMessageA and PostMessageA append to
// a queue; PeekMessageA and GetMessageA take from the calling thread's own.
// A message-only window is a name for the queue of the thread that created
// it: what is posted to the window lands in that queue, marked with the
// window's handle.  The library posts failures this way (an Exception to
// the main thread, or to a window that the application named), and the
// application takes them out in its own message loop.
//
// What follows Win32:
//
// - A thread gets its queue at its first call of PeekMessageA, GetMessageA,
//   CreateWindowExA or a posting call (PostQuitMessage too), as a Windows
//   thread gets one at its first call into the window manager.
//   Posting to a thread without a queue fails with ERROR_INVALID_THREAD_ID,
//   and so does posting to a thread that has ended.
// - Messages come out in the order they were posted, among those that match
//   the filter.  Window filter 0 takes every message of the thread, (HWND)-1
//   only thread messages (hwnd null), a window only that window's.  The
//   range first..last takes the numbers between, both included, and 0..0
//   takes all; a range whose first exceeds its last takes none.
// - PostQuitMessage does not queue a WM_QUIT: it marks the queue, and the
//   quit comes out only when no posted message matches the filter, so what
//   was posted after PostQuitMessage is still received first.  The marked
//   quit passes every filter, of window and of range alike.  A WM_QUIT
//   posted with PostThreadMessageA is an ordinary message, filters and all.
// - A queue holds at most 10000 messages, the default limit of Windows;
//   posting beyond it fails with ERROR_NOT_ENOUGH_QUOTA.
// - msg.time is the tick count when the message was posted (for the quit,
//   when it is taken); msg.pt is 0,0, since there is no cursor here.
// - Only the thread that created a window may destroy it: any other gets
//   ERROR_ACCESS_DENIED.  Messages posted to the window and not yet taken
//   are dropped with it, as Windows drops them.  When a thread
//   ends, its windows and its queue go with it, messages and all.
//
// What differs:
//
// - There are no window procedures, no sent messages and no window
//   classes.  CreateWindowExA makes only message-only windows: the parent
//   must be HWND_MESSAGE and the class name is not looked at beyond being
//   non-null.  Any other request fails with ERROR_CANNOT_FIND_WND_CLASS,
//   as a request for a class that was never registered does.  A window
//   keeps the name it was created with, which GetWindowTextA reads (cut to
//   the buffer, zero-ended); there is no SetWindowTextA.
// - Windows refuses to post, across threads, the system messages below
//   WM_USER that carry pointers (ERROR_MESSAGE_SYNC_ONLY); nothing is
//   refused here.  Posting to HWND_BROADCAST fails here as posting to any
//   unknown window does; Windows posts to every top-level window.
// - A window handle is a number from 0x10000 to 0x7FFFFFFF, so it survives
//   a trip through a 32-bit word and back (the library keeps a window in 32
//   bits and sign-extends it).  Handles are given out in increasing order
//   and used again only after the count wraps, so a stale handle fails
//   rather than reach a newer window.  HWND_BROADCAST (0xFFFF), -1 and -3
//   are never handles.
// - Running out of memory while posting raises through the process's new
//   handler, as every allocation in the library does; Windows returns
//   FALSE with ERROR_NOT_ENOUGH_MEMORY.
//
// The design.  One lock guards all queues and windows, and each queue has a
// condition variable on which its owner waits in GetMessageA.  The traffic
// is light (failures and an application's own messages), and one lock
// leaves no question of lock order.  The registry is created at first use
// and never destroyed, since threads may still end, and free their queues,
// while the process's static objects are being destroyed.  A queue belongs
// to its thread: a thread_local object's destructor frees it, and the
// thread's windows, when the thread ends.  A call made after that, from a
// thread_local destructor that runs later, finds no queue and makes none.
#include "platform/posix/windows.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace {

constexpr size_t kQueueLimit = 10000;
constexpr uintptr_t kFirstWindow = 0x10000;
constexpr uintptr_t kLastWindow = 0x7FFFFFFF;

struct Queue {
    explicit Queue(DWORD owner) : owner(owner) {}

    DWORD owner;
    std::deque<MSG> posted;
    bool quitPending = false;
    int quitCode = 0;
    std::condition_variable arrived;
};

struct Window {
    DWORD owner;       // the creating thread
    std::string text;  // the window name given to CreateWindowExA
};

struct Registry {
    std::mutex lock;
    std::unordered_map<DWORD, std::unique_ptr<Queue>> queues;  // by owning thread
    std::unordered_map<uintptr_t, Window> windows;             // by handle
    uintptr_t nextWindow = kFirstWindow;
};

Registry &TheRegistry() {
    static Registry *registry = new Registry;  // never destroyed: see above
    return *registry;
}

// Frees the thread's queue and windows when the thread ends.  Only threads
// that made a queue construct one, and so register its destructor.
struct QueueReaper {
    DWORD thread = 0;
    ~QueueReaper();
};

thread_local Queue *ownQueue = nullptr;
thread_local bool threadEnding = false;
thread_local QueueReaper reaper;

QueueReaper::~QueueReaper() {
    Registry &registry = TheRegistry();
    std::lock_guard<std::mutex> hold(registry.lock);
    for (auto it = registry.windows.begin(); it != registry.windows.end();)
        it = it->second.owner == thread ? registry.windows.erase(it) : std::next(it);
    registry.queues.erase(thread);
    ownQueue = nullptr;
    threadEnding = true;
}

// The calling thread's queue, made at its first call; null once the thread
// is ending.  The registry's lock is held.
Queue *OwnQueue(Registry &registry) {
    if (ownQueue == nullptr && !threadEnding) {
        DWORD self = GetCurrentThreadId();
        std::unique_ptr<Queue> &slot = registry.queues[self];
        slot = std::make_unique<Queue>(self);
        ownQueue = slot.get();
        reaper.thread = self;
    }
    return ownQueue;
}

Queue *FindQueue(Registry &registry, DWORD thread) {
    auto it = registry.queues.find(thread);
    return it != registry.queues.end() ? it->second.get() : nullptr;
}

uintptr_t Handle(HWND window) {
    return reinterpret_cast<uintptr_t>(window);
}

HWND ThreadMessagesOnly() {
    return reinterpret_cast<HWND>(static_cast<intptr_t>(-1));
}

// Whether GetMessageA and PeekMessageA accept `window` as a filter: 0, -1,
// or a window that exists.
bool IsFilter(Registry &registry, HWND window) {
    return window == nullptr || window == ThreadMessagesOnly() ||
           registry.windows.count(Handle(window)) != 0;
}

bool Matches(const MSG &msg, HWND window, UINT first, UINT last) {
    bool windowMatches = window == ThreadMessagesOnly() ? msg.hwnd == nullptr
                                                        : window == nullptr || msg.hwnd == window;
    bool inRange = (first == 0 && last == 0) || (first <= msg.message && msg.message <= last);
    return windowMatches && inRange;
}

// Copies the first posted message that `matches` takes into `msg`, and
// takes it out of the queue when `remove` is set.  The registry's lock is
// held.
template <typename Predicate>
bool TakePosted(Queue &queue, MSG *msg, Predicate matches, bool remove) {
    for (auto it = queue.posted.begin(); it != queue.posted.end(); ++it) {
        if (matches(*it)) {
            *msg = *it;
            if (remove)
                queue.posted.erase(it);
            return true;
        }
    }
    return false;
}

// Copies the first message that matches the filter into `msg`, the pending
// quit when no posted one does, and takes it out of the queue when
// `remove` is set.  The registry's lock is held.
bool Take(Queue &queue, MSG *msg, HWND window, UINT first, UINT last, bool remove) {
    if (TakePosted(queue, msg, [&](const MSG &m) { return Matches(m, window, first, last); }, remove))
        return true;
    if (queue.quitPending) {
        *msg = MSG{nullptr, WM_QUIT, static_cast<WPARAM>(queue.quitCode), 0, GetTickCount(), {0, 0}};
        if (remove)
            queue.quitPending = false;
        return true;
    }
    return false;
}

// Appends a message to `queue`, which is null when its thread has none.
// The registry's lock is held, so the queue cannot end meanwhile.
BOOL Post(Queue *queue, HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (queue == nullptr) {
        SetLastError(ERROR_INVALID_THREAD_ID);
        return FALSE;
    }
    if (queue->posted.size() >= kQueueLimit) {
        SetLastError(ERROR_NOT_ENOUGH_QUOTA);
        return FALSE;
    }
    queue->posted.push_back(MSG{window, message, wParam, lParam, GetTickCount(), {0, 0}});
    queue->arrived.notify_one();
    return TRUE;
}

uintptr_t NextWindow(uintptr_t handle) {
    return handle < kLastWindow ? handle + 1 : kFirstWindow;
}

}  // namespace

BOOL PostThreadMessageA(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam) {
    Registry &registry = TheRegistry();
    std::lock_guard<std::mutex> hold(registry.lock);
    OwnQueue(registry);
    return Post(FindQueue(registry, threadId), nullptr, message, wParam, lParam);
}

BOOL PostMessageA(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    Registry &registry = TheRegistry();
    std::lock_guard<std::mutex> hold(registry.lock);
    Queue *own = OwnQueue(registry);
    if (window == nullptr)
        return Post(own, nullptr, message, wParam, lParam);
    auto it = registry.windows.find(Handle(window));
    if (it == registry.windows.end()) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return FALSE;
    }
    return Post(FindQueue(registry, it->second.owner), window, message, wParam, lParam);
}

BOOL PeekMessageA(LPMSG msg, HWND window, UINT first, UINT last, UINT remove) {
    Registry &registry = TheRegistry();
    std::lock_guard<std::mutex> hold(registry.lock);
    if (!IsFilter(registry, window)) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return FALSE;
    }
    Queue *queue = OwnQueue(registry);
    return queue != nullptr && Take(*queue, msg, window, first, last, (remove & PM_REMOVE) != 0);
}

BOOL GetMessageA(LPMSG msg, HWND window, UINT first, UINT last) {
    Registry &registry = TheRegistry();
    std::unique_lock<std::mutex> hold(registry.lock);
    if (!IsFilter(registry, window)) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return -1;
    }
    Queue *queue = OwnQueue(registry);
    if (queue == nullptr) {
        SetLastError(ERROR_INVALID_THREAD_ID);
        return -1;
    }
    while (!Take(*queue, msg, window, first, last, true))
        queue->arrived.wait(hold);
    return msg->message != WM_QUIT;
}

void PostQuitMessage(int exitCode) {
    Registry &registry = TheRegistry();
    std::lock_guard<std::mutex> hold(registry.lock);
    Queue *queue = OwnQueue(registry);
    if (queue != nullptr) {
        queue->quitPending = true;
        queue->quitCode = exitCode;
    }
}

HWND CreateWindowExA(DWORD, LPCSTR className, LPCSTR windowName, DWORD, int, int, int, int, HWND parent,
                     HMENU, HINSTANCE, LPVOID) {
    if (className == nullptr || parent != HWND_MESSAGE) {
        SetLastError(ERROR_CANNOT_FIND_WND_CLASS);
        return nullptr;
    }
    Registry &registry = TheRegistry();
    std::lock_guard<std::mutex> hold(registry.lock);
    Queue *queue = OwnQueue(registry);
    if (queue == nullptr) {
        SetLastError(ERROR_INVALID_THREAD_ID);
        return nullptr;
    }
    uintptr_t handle = registry.nextWindow;
    while (registry.windows.count(handle) != 0)
        handle = NextWindow(handle);
    registry.nextWindow = NextWindow(handle);
    registry.windows.emplace(handle, Window{queue->owner, windowName ? windowName : ""});
    return reinterpret_cast<HWND>(handle);
}

BOOL DestroyWindow(HWND window) {
    Registry &registry = TheRegistry();
    std::lock_guard<std::mutex> hold(registry.lock);
    auto it = registry.windows.find(Handle(window));
    if (it == registry.windows.end()) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return FALSE;
    }
    if (it->second.owner != GetCurrentThreadId()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    Queue *queue = FindQueue(registry, it->second.owner);
    registry.windows.erase(it);
    if (queue != nullptr) {
        std::deque<MSG> &posted = queue->posted;
        posted.erase(std::remove_if(posted.begin(), posted.end(),
                                    [window](const MSG &msg) { return msg.hwnd == window; }),
                     posted.end());
    }
    return TRUE;
}

BOOL IsWindow(HWND window) {
    Registry &registry = TheRegistry();
    std::lock_guard<std::mutex> hold(registry.lock);
    return registry.windows.count(Handle(window)) != 0;
}

int GetWindowTextA(HWND window, LPSTR buffer, int bufferMax) {
    Registry &registry = TheRegistry();
    std::lock_guard<std::mutex> hold(registry.lock);
    auto it = registry.windows.find(Handle(window));
    if (it == registry.windows.end()) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        if (buffer != nullptr && bufferMax > 0)
            buffer[0] = '\0';
        return 0;
    }
    if (buffer == nullptr || bufferMax <= 0)
        return 0;
    const std::string &text = it->second.text;
    const size_t count = std::min(text.size(), static_cast<size_t>(bufferMax - 1));
    text.copy(buffer, count);
    buffer[count] = '\0';
    return static_cast<int>(count);
}

bool TakeWindowMessage(MSG *msg, bool (*accept)(HWND window, void *context), void *context) {
    Registry &registry = TheRegistry();
    std::lock_guard<std::mutex> hold(registry.lock);
    Queue *queue = OwnQueue(registry);
    return queue != nullptr &&
           TakePosted(*queue, msg, [&](const MSG &m) { return m.hwnd != nullptr && accept(m.hwnd, context); }, true);
}
