// Locks and interlocked words.
//
// A CRITICAL_SECTION is a recursive pthread mutex: the owning thread may
// enter again, and the section is free when it has left as often as it
// entered, as on Windows.  What differs:
//
// - Windows spins a while on a multiprocessor before a waiter sleeps; here
//   the waiting is the pthread library's (on Linux a futex, after a short
//   spin of its own).  Neither hands the lock over in a fair order.
// - Leaving a section that the thread doesn't own corrupts a Windows
//   section; here the mutex refuses it (EPERM) and nothing changes.  Both
//   are a caller's fault, and neither reports it.
// - Deleting a section that a thread still owns, or using one that was
//   never initialised, is undefined on both.
// - InitializeCriticalSection cannot fail on Windows since Vista.  Neither
//   can initialising a pthread mutex where it allocates nothing (Linux and
//   the BSDs), so the result is not tested.
//
// The interlocked family works on 32-bit LONG words with sequentially
// consistent atomics, which is the full barrier that Win32 documents for
// these calls.  Each returns what its Win32 namesake returns: Increment and
// Decrement the new value; Exchange, ExchangeAdd and CompareExchange the
// value the word held before.  Arithmetic wraps around, as the hardware's
// does on Windows.
#include "platform/win32.h"

void InitializeCriticalSection(LPCRITICAL_SECTION section) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&section->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

void DeleteCriticalSection(LPCRITICAL_SECTION section) {
    pthread_mutex_destroy(&section->mutex);
}

void EnterCriticalSection(LPCRITICAL_SECTION section) {
    pthread_mutex_lock(&section->mutex);
}

BOOL TryEnterCriticalSection(LPCRITICAL_SECTION section) {
    return pthread_mutex_trylock(&section->mutex) == 0 ? TRUE : FALSE;
}

void LeaveCriticalSection(LPCRITICAL_SECTION section) {
    pthread_mutex_unlock(&section->mutex);
}

LONG InterlockedIncrement(LONG volatile *value) {
    return __atomic_add_fetch(value, 1, __ATOMIC_SEQ_CST);
}

LONG InterlockedDecrement(LONG volatile *value) {
    return __atomic_sub_fetch(value, 1, __ATOMIC_SEQ_CST);
}

LONG InterlockedExchange(LONG volatile *target, LONG value) {
    return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}

LONG InterlockedExchangeAdd(LONG volatile *target, LONG value) {
    return __atomic_fetch_add(target, value, __ATOMIC_SEQ_CST);
}

LONG InterlockedCompareExchange(LONG volatile *target, LONG exchange, LONG comparand) {
    // On a mismatch the builtin stores the word's value in `comparand`; on a
    // match `comparand` already is that value.  Either way it is the result.
    __atomic_compare_exchange_n(target, &comparand, exchange, false, __ATOMIC_SEQ_CST,
                                __ATOMIC_SEQ_CST);
    return comparand;
}
