// Shims: mutexes, and the condition variables that release them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <pthread.h>
#include <cerrno>

#include "board/preload/boardCore.h"
#include "board/preload/realCalls.h"
#include "board/preload/threadWaits.h"

using namespace halvexboard;

namespace {

/// Whether the thread would wait for itself and the mutex's kind reports that.
bool wouldReportDeadlock(const pthread_mutex_t& mutex) noexcept {
    constexpr int kKindMask = 3;
    return (mutex.__data.__kind & kKindMask) == PTHREAD_MUTEX_ERRORCHECK_NP &&
           static_cast<std::uint32_t>(mutex.__data.__owner) == currentThreadId();
}

int lockMutex(pthread_mutex_t* mutex, Deadline deadline) noexcept {
    if (wouldReportDeadlock(*mutex)) return REAL(pthread_mutex_lock)(mutex);
    return tryUntil(mutex, EBUSY, deadline, [mutex] { return REAL(pthread_mutex_trylock)(mutex); });
}

int unlockMutex(pthread_mutex_t* mutex) noexcept {
    const int result = REAL(pthread_mutex_unlock)(mutex);
    wakeWaiters(mutex, 1);
    return result;
}

/// The clock from the variable's attributes; glibc keeps it in the second bit of the waiters' word.
clockid_t clockOf(const pthread_cond_t& condition) noexcept {
    constexpr unsigned kMonotonicBit = 2;
    return (condition.__data.__wrefs & kMonotonicBit) != 0 ? CLOCK_MONOTONIC : CLOCK_REALTIME;
}

int waitOnCondition(pthread_cond_t* condition, pthread_mutex_t* mutex, Deadline deadline) noexcept {
    WaitResult result = WaitResult::woken;
    if (isBetweenProcesses(*condition)) {  // the caller asks again what it waits for: a waiter may wake for no reason
        unlockMutex(mutex);
        result = scheduler().waitToLook(condition, deadline);
        scheduler().endLooking();
    } else {
        scheduler().prepareWait(condition, deadline, false);
        unlockMutex(mutex);
        result = scheduler().commitWait();
    }
    lockMutex(mutex, Deadline::never());
    return result == WaitResult::timedOut ? ETIMEDOUT : 0;
}

/// In real time only the simulated system clock differs from the machine's: its deadlines become monotonic ones.
bool isOnSimulatedClock(clockid_t clock) noexcept { return isActive() && !isTimeVirtual() && clock == CLOCK_REALTIME; }

timespec onMonotonicClock(const timespec& instant) noexcept {
    const std::uint64_t now = systemNow();
    const std::uint64_t at = instant.tv_sec < 0 ? 0 : toNs(instant);
    return toTimespec(monotonicNow() + (at > now ? at - now : 0));
}

}  // namespace

HALVEXBOARD_SHIM int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    return isScheduled() ? lockMutex(mutex, Deadline::never()) : REAL(pthread_mutex_lock)(mutex);
}

HALVEXBOARD_SHIM int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock, const timespec* until) noexcept {
    if (isOnSimulatedClock(clock)) {
        const timespec monotonic = onMonotonicClock(*until);
        return REAL(pthread_mutex_clocklock)(mutex, CLOCK_MONOTONIC, &monotonic);
    }
    if (!isScheduled()) return REAL(pthread_mutex_clocklock)(mutex, clock, until);
    const int first = REAL(pthread_mutex_trylock)(mutex);
    if (first != EBUSY) return first;
    return isValid(*until) ? lockMutex(mutex, deadlineAt(clock, *until)) : EINVAL;
}

HALVEXBOARD_SHIM int pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* until) noexcept {
    if (isScheduled() || isOnSimulatedClock(CLOCK_REALTIME))
        return pthread_mutex_clocklock(mutex, CLOCK_REALTIME, until);
    return REAL(pthread_mutex_timedlock)(mutex, until);
}

HALVEXBOARD_SHIM int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    const int result = unlockMutex(mutex);
    // A mutex waiter gets a turn once the slice is over, even if this thread would lock again at once.
    if (isScheduled() && scheduler().anyoneWaits()) scheduler().yieldWhenSliceIsSpent();
    return result;
}

HALVEXBOARD_SHIM int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    pthread_testcancel();
    return isScheduled() ? waitOnCondition(condition, mutex, Deadline::never())
                         : REAL_CONDITION(pthread_cond_wait)(condition, mutex);
}

HALVEXBOARD_SHIM int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                            const timespec* until) {
    pthread_testcancel();
    if (isOnSimulatedClock(clock)) {
        const timespec monotonic = onMonotonicClock(*until);
        return REAL(pthread_cond_clockwait)(condition, mutex, CLOCK_MONOTONIC, &monotonic);
    }
    if (!isScheduled()) return REAL(pthread_cond_clockwait)(condition, mutex, clock, until);
    if (!isValid(*until) || (clock != CLOCK_MONOTONIC && clock != CLOCK_REALTIME)) return EINVAL;
    return waitOnCondition(condition, mutex, deadlineAt(clock, *until));
}

HALVEXBOARD_SHIM int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* until) {
    const clockid_t clock = clockOf(*condition);
    if (isScheduled() || isOnSimulatedClock(clock)) return pthread_cond_clockwait(condition, mutex, clock, until);
    return REAL_CONDITION(pthread_cond_timedwait)(condition, mutex, until);
}

HALVEXBOARD_SHIM int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    if (isActive() && scheduler().isRunning() && scheduler().wake(condition, 1) != 0) return 0;
    return REAL_CONDITION(pthread_cond_signal)(condition);  // a foreign thread may wait for it
}

HALVEXBOARD_SHIM int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    wakeWaiters(condition, kEveryone);
    return REAL_CONDITION(pthread_cond_broadcast)(condition);
}
