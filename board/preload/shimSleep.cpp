// Shims: sleeping and yielding.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <pthread.h>
#include <sched.h>
#include <unistd.h>
#include <cerrno>

#include "board/preload/boardCore.h"
#include "board/preload/nanoseconds.h"
#include "board/preload/realCalls.h"
#include "board/preload/waiting.h"

using namespace halvexboard;

HALVEXBOARD_SHIM int nanosleep(const timespec* span, timespec* left) {
    pthread_testcancel();
    if (!sleepsHere() || span == nullptr) return REAL(nanosleep)(span, left);
    const int error = clock_nanosleep(CLOCK_MONOTONIC, 0, span, left);
    return error == 0 ? 0 : refuse(error);
}

HALVEXBOARD_SHIM int clock_nanosleep(clockid_t clock, int flags, const timespec* span, timespec* left) {
    pthread_testcancel();
    const bool isKnown =
        clock == CLOCK_REALTIME || clock == CLOCK_MONOTONIC || clock == CLOCK_BOOTTIME || clock == CLOCK_TAI;
    if (!sleepsHere() || !isKnown || span == nullptr) return REAL(clock_nanosleep)(clock, flags, span, left);
    if (!isValid(*span) || span->tv_sec < 0) return EINVAL;
    const bool isAbsolute = (flags & TIMER_ABSTIME) != 0;
    std::uint64_t leftNs = 0;
    const int error = sleepOnBoard(isAbsolute ? deadlineAt(clock, *span) : deadlineAfter(toNs(*span)), leftNs);
    if (error == EINTR && left != nullptr && !isAbsolute) *left = toTimespec(leftNs);
    return error;
}

HALVEXBOARD_SHIM int usleep(useconds_t microseconds) {
    if (!sleepsHere()) return REAL(usleep)(microseconds);
    const timespec span = toTimespec(microseconds * kNsPerMicrosecond);
    return nanosleep(&span, nullptr);
}

HALVEXBOARD_SHIM unsigned sleep(unsigned seconds) {
    if (!sleepsHere()) return REAL(sleep)(seconds);
    const timespec span{static_cast<time_t>(seconds), 0};
    timespec left{};
    return nanosleep(&span, &left) == 0 ? 0 : static_cast<unsigned>(left.tv_sec + (left.tv_nsec != 0 ? 1 : 0));
}

HALVEXBOARD_SHIM int sched_yield() noexcept {
    // A lone thread waits for nothing on the board; what it does wait for takes no virtual time.
    if (!isScheduled() || !scheduler().hasOthers()) return REAL(sched_yield)();
    // Time must pass for threads that wait by yielding in a loop.
    spend(kNsPerMicrosecond);
    scheduler().yield();
    return 0;
}
