// Shims: start and end of threads.
// This and the other shims that wait for threads form a separate object library: a thread sanitizer intercepts the same
// names and cannot coexist with them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <pthread.h>
#include <cerrno>

#include "board/preload/boardCore.h"
#include "board/preload/realCalls.h"
#include "board/preload/shimHooks.h"
#include "board/preload/waiting.h"

using namespace halvexboard;

namespace {

pthread_key_t leaveKey;
bool hasLeaveKey = false;

/// Runs at the end of a thread. Defers itself to the last round, so that other destructors keep the token.
void leave(void* round) {
    const auto done = reinterpret_cast<std::intptr_t>(round);
    if (done < PTHREAD_DESTRUCTOR_ITERATIONS) {
        pthread_setspecific(leaveKey, reinterpret_cast<void*>(done + 1));
        return;
    }
    scheduler().leaveThread();
}

void* runScheduled(void* argument) {
    auto* const thread = static_cast<Scheduler::Thread*>(argument);
    void* (*body)(void*) = nullptr;
    void* bodyArgument = nullptr;
    Scheduler::runThread(thread, body, bodyArgument);
    pthread_setspecific(leaveKey, reinterpret_cast<void*>(std::intptr_t{1}));
    scheduler().enterThread(thread);
    return body(bodyArgument);
}

bool isDetached(const pthread_attr_t* attributes) noexcept {
    int state = PTHREAD_CREATE_JOINABLE;
    if (attributes != nullptr) pthread_attr_getdetachstate(attributes, &state);
    return state == PTHREAD_CREATE_DETACHED;
}

/// Joins through the scheduler: 0 if the thread has left (only the real join remains), or ETIMEDOUT.
int awaitThread(pthread_t thread, Deadline deadline) noexcept {
    WaitResult result = WaitResult::woken;
    if (scheduler().awaitEnd(thread, deadline, result) && result == WaitResult::timedOut) return ETIMEDOUT;
    return 0;
}

}  // namespace

namespace halvexboard {

void prepareThreadShims() noexcept {
    if (!hasLeaveKey) hasLeaveKey = pthread_key_create(&leaveKey, leave) == 0;
}

bool hasThreadShims() noexcept { return true; }

}  // namespace halvexboard

HALVEXBOARD_SHIM int pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*body)(void*),
                                    void* argument) noexcept {
    Scheduler::Thread* const thread =
        isScheduled() ? scheduler().prepareThread(body, argument, isDetached(attributes)) : nullptr;
    if (thread == nullptr) return REAL(pthread_create)(handle, attributes, body, argument);
    const int result = REAL(pthread_create)(handle, attributes, runScheduled, thread);
    if (result != 0)
        scheduler().abandonThread(thread);
    else
        scheduler().nameThread(thread, *handle);
    return result;
}

HALVEXBOARD_SHIM int pthread_join(pthread_t thread, void** result) {
    pthread_testcancel();
    if (isScheduled()) awaitThread(thread, Deadline::never());
    return REAL(pthread_join)(thread, result);
}

HALVEXBOARD_SHIM int pthread_tryjoin_np(pthread_t thread, void** result) noexcept {
    if (isScheduled() && awaitThread(thread, Deadline::atRaw(0)) == ETIMEDOUT) return EBUSY;
    return isScheduled() ? REAL(pthread_join)(thread, result) : REAL(pthread_tryjoin_np)(thread, result);
}

HALVEXBOARD_SHIM int pthread_timedjoin_np(pthread_t thread, void** result, const timespec* until) {
    pthread_testcancel();
    if (!isScheduled() || until == nullptr) return REAL(pthread_timedjoin_np)(thread, result, until);
    const int outcome = awaitThread(thread, deadlineAt(CLOCK_REALTIME, *until));
    return outcome != 0 ? outcome : REAL(pthread_join)(thread, result);
}

HALVEXBOARD_SHIM int pthread_clockjoin_np(pthread_t thread, void** result, clockid_t clock, const timespec* until) {
    pthread_testcancel();
    if (!isScheduled() || until == nullptr) return REAL(pthread_clockjoin_np)(thread, result, clock, until);
    const int outcome = awaitThread(thread, deadlineAt(clock, *until));
    return outcome != 0 ? outcome : REAL(pthread_join)(thread, result);
}

HALVEXBOARD_SHIM int pthread_detach(pthread_t thread) noexcept {
    if (scheduler().isRunning()) scheduler().detach(thread);
    return REAL(pthread_detach)(thread);
}
