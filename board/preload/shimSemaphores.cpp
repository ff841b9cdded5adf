// Shims: semaphores.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <pthread.h>
#include <semaphore.h>
#include <cerrno>

#include "board/preload/boardCore.h"
#include "board/preload/realCalls.h"
#include "board/preload/threadWaits.h"

using namespace halvexboard;

namespace {

HALVEXBOARD_REAL(sem_wait);
HALVEXBOARD_REAL(sem_trywait);
HALVEXBOARD_REAL(sem_timedwait);
HALVEXBOARD_REAL(sem_clockwait);
HALVEXBOARD_REAL(sem_post);

/// 0, or -1 with errno, like the semaphore functions.
int takeSemaphore(sem_t* semaphore, Deadline deadline) noexcept {
    const int error =
        tryUntil(semaphore, EAGAIN, deadline, [semaphore] { return real_sem_trywait(semaphore) == 0 ? 0 : errno; });
    if (error == 0) return 0;
    errno = error;
    return -1;
}

}  // namespace

HALVEXBOARD_SHIM int sem_wait(sem_t* semaphore) {
    pthread_testcancel();
    return isScheduled() ? takeSemaphore(semaphore, Deadline::never()) : real_sem_wait(semaphore);
}

HALVEXBOARD_SHIM int sem_timedwait(sem_t* semaphore, const timespec* until) {
    pthread_testcancel();
    return isScheduled() ? takeSemaphore(semaphore, deadlineAt(CLOCK_REALTIME, *until))
                         : real_sem_timedwait(semaphore, until);
}

HALVEXBOARD_SHIM int sem_clockwait(sem_t* semaphore, clockid_t clock, const timespec* until) {
    pthread_testcancel();
    return isScheduled() ? takeSemaphore(semaphore, deadlineAt(clock, *until))
                         : real_sem_clockwait(semaphore, clock, until);
}

HALVEXBOARD_SHIM int sem_post(sem_t* semaphore) noexcept {
    const int result = real_sem_post(semaphore);
    wakeWaiters(semaphore, 1);
    return result;
}
