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

/// 0, or -1 with errno, like the semaphore functions.
int takeSemaphore(sem_t* semaphore, Deadline deadline) noexcept {
    const int error =
        tryUntil(semaphore, EAGAIN, deadline, [semaphore] { return REAL(sem_trywait)(semaphore) == 0 ? 0 : errno; });
    return error == 0 ? 0 : refuse(error);
}

}  // namespace

HALVEXBOARD_SHIM int sem_wait(sem_t* semaphore) {
    pthread_testcancel();
    return isScheduled() ? takeSemaphore(semaphore, Deadline::never()) : REAL(sem_wait)(semaphore);
}

HALVEXBOARD_SHIM int sem_timedwait(sem_t* semaphore, const timespec* until) {
    pthread_testcancel();
    return isScheduled() ? takeSemaphore(semaphore, deadlineAt(CLOCK_REALTIME, *until))
                         : REAL(sem_timedwait)(semaphore, until);
}

HALVEXBOARD_SHIM int sem_clockwait(sem_t* semaphore, clockid_t clock, const timespec* until) {
    pthread_testcancel();
    return isScheduled() ? takeSemaphore(semaphore, deadlineAt(clock, *until))
                         : REAL(sem_clockwait)(semaphore, clock, until);
}

HALVEXBOARD_SHIM int sem_post(sem_t* semaphore) noexcept {
    const int result = REAL(sem_post)(semaphore);
    wakeWaiters(semaphore, 1);
    return result;
}
