// Shims: read-write locks and barriers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <pthread.h>
#include <cerrno>

#include "board/preload/boardCore.h"
#include "board/preload/realCalls.h"
#include "board/preload/threadWaits.h"

using namespace halvexboard;

namespace {

HALVEXBOARD_REAL(pthread_rwlock_rdlock);
HALVEXBOARD_REAL(pthread_rwlock_wrlock);
HALVEXBOARD_REAL(pthread_rwlock_tryrdlock);
HALVEXBOARD_REAL(pthread_rwlock_trywrlock);
HALVEXBOARD_REAL(pthread_rwlock_timedrdlock);
HALVEXBOARD_REAL(pthread_rwlock_timedwrlock);
HALVEXBOARD_REAL(pthread_rwlock_clockrdlock);
HALVEXBOARD_REAL(pthread_rwlock_clockwrlock);
HALVEXBOARD_REAL(pthread_rwlock_unlock);
HALVEXBOARD_REAL(pthread_barrier_wait);

int lockReading(pthread_rwlock_t* lock, Deadline deadline) noexcept {
    return tryUntil(lock, EBUSY, deadline, [lock] { return real_pthread_rwlock_tryrdlock(lock); });
}

int lockWriting(pthread_rwlock_t* lock, Deadline deadline) noexcept {
    return tryUntil(lock, EBUSY, deadline, [lock] { return real_pthread_rwlock_trywrlock(lock); });
}

}  // namespace

HALVEXBOARD_SHIM int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
    return isScheduled() ? lockReading(lock, Deadline::never()) : real_pthread_rwlock_rdlock(lock);
}

HALVEXBOARD_SHIM int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
    return isScheduled() ? lockWriting(lock, Deadline::never()) : real_pthread_rwlock_wrlock(lock);
}

HALVEXBOARD_SHIM int pthread_rwlock_timedrdlock(pthread_rwlock_t* lock, const timespec* until) noexcept {
    return isScheduled() ? lockReading(lock, deadlineAt(CLOCK_REALTIME, *until))
                         : real_pthread_rwlock_timedrdlock(lock, until);
}

HALVEXBOARD_SHIM int pthread_rwlock_timedwrlock(pthread_rwlock_t* lock, const timespec* until) noexcept {
    return isScheduled() ? lockWriting(lock, deadlineAt(CLOCK_REALTIME, *until))
                         : real_pthread_rwlock_timedwrlock(lock, until);
}

HALVEXBOARD_SHIM int pthread_rwlock_clockrdlock(pthread_rwlock_t* lock, clockid_t clock,
                                                const timespec* until) noexcept {
    return isScheduled() ? lockReading(lock, deadlineAt(clock, *until))
                         : real_pthread_rwlock_clockrdlock(lock, clock, until);
}

HALVEXBOARD_SHIM int pthread_rwlock_clockwrlock(pthread_rwlock_t* lock, clockid_t clock,
                                                const timespec* until) noexcept {
    return isScheduled() ? lockWriting(lock, deadlineAt(clock, *until))
                         : real_pthread_rwlock_clockwrlock(lock, clock, until);
}

HALVEXBOARD_SHIM int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
    const int result = real_pthread_rwlock_unlock(lock);
    wakeWaiters(lock, kEveryone);
    return result;
}

HALVEXBOARD_SHIM int pthread_barrier_wait(pthread_barrier_t* barrier) noexcept {
    const ExternalCall external;
    return real_pthread_barrier_wait(barrier);
}
