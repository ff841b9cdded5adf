// Shims: read-write locks and barriers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <pthread.h>
#include <cerrno>

#include "board/preload/boardCore.h"
#include "board/preload/realCalls.h"
#include "board/preload/threadWaits.h"

using namespace halvexboard;

/// The three functions that lock for KIND.
#define LOCK_FUNCTIONS(KIND)                                                                                        \
    static int KIND##lock(pthread_rwlock_t* lock, Deadline deadline) noexcept {                                     \
        return tryUntil(lock, EBUSY, deadline, [lock] { return REAL(pthread_rwlock_try##KIND##lock)(lock); });      \
    }                                                                                                               \
    HALVEXBOARD_SHIM int pthread_rwlock_##KIND##lock(pthread_rwlock_t* lock) noexcept {                             \
        return isScheduled() ? KIND##lock(lock, Deadline::never()) : REAL(pthread_rwlock_##KIND##lock)(lock);       \
    }                                                                                                               \
    HALVEXBOARD_SHIM int pthread_rwlock_timed##KIND##lock(pthread_rwlock_t* lock, const timespec* until) noexcept { \
        return isScheduled() ? KIND##lock(lock, deadlineAt(CLOCK_REALTIME, *until))                                 \
                             : REAL(pthread_rwlock_timed##KIND##lock)(lock, until);                                 \
    }                                                                                                               \
    HALVEXBOARD_SHIM int pthread_rwlock_clock##KIND##lock(pthread_rwlock_t* lock, clockid_t clock,                  \
                                                          const timespec* until) noexcept {                         \
        return isScheduled() ? KIND##lock(lock, deadlineAt(clock, *until))                                          \
                             : REAL(pthread_rwlock_clock##KIND##lock)(lock, clock, until);                          \
    }
LOCK_FUNCTIONS(rd)
LOCK_FUNCTIONS(wr)

HALVEXBOARD_SHIM int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
    const int result = REAL(pthread_rwlock_unlock)(lock);
    wakeWaiters(lock, kEveryone);
    return result;
}

HALVEXBOARD_SHIM int pthread_barrier_wait(pthread_barrier_t* barrier) noexcept {
    const ExternalCall external;
    return REAL(pthread_barrier_wait)(barrier);
}
