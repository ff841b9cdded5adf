// Shims: timers, by signal and by descriptor.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <ctime>

#include "board/preload/boardCore.h"
#include "board/preload/nanoseconds.h"
#include "board/preload/realCalls.h"
#include "board/preload/timers.h"
#include "board/preload/waiting.h"

using namespace halvexboard;

namespace {

timespec fromMicroseconds(const timeval& time) noexcept { return {time.tv_sec, time.tv_usec * kNsPerMicrosecond}; }
timeval toMicroseconds(const timespec& time) noexcept { return {time.tv_sec, time.tv_nsec / kNsPerMicrosecond}; }

itimerval inMicroseconds(const itimerspec& span) noexcept {
    return {toMicroseconds(span.it_interval), toMicroseconds(span.it_value)};
}

bool isKnown(clockid_t clock) noexcept {
    return clock == CLOCK_REALTIME || clock == CLOCK_MONOTONIC || clock == CLOCK_BOOTTIME || clock == CLOCK_TAI;
}

/// Null for a timer that the C library made, before the board was on or for a clock of processor time.
Timer* timerOf(timer_t id) noexcept {
    auto* const timer = static_cast<Timer*>(id);
    return isTimer(timer) ? timer : nullptr;
}

}  // namespace

HALVEXBOARD_SHIM int setitimer(__itimer_which_t which, const itimerval* span, itimerval* before) noexcept {
    if (which != ITIMER_REAL || !isScheduled() || span == nullptr) return REAL(setitimer)(which, span, before);
    Timer* const timer = alarmTimer();
    if (timer == nullptr) return -1;
    itimerspec left{};
    if (!setTimer(*timer, false, {fromMicroseconds(span->it_interval), fromMicroseconds(span->it_value)}, &left))
        return -1;
    if (before != nullptr) *before = inMicroseconds(left);
    return 0;
}

HALVEXBOARD_SHIM int getitimer(__itimer_which_t which, itimerval* left) noexcept {
    if (which != ITIMER_REAL || !isScheduled()) return REAL(getitimer)(which, left);
    Timer* const timer = alarmTimer();
    if (timer != nullptr) *left = inMicroseconds(timeLeft(*timer));
    return timer != nullptr ? 0 : -1;
}

HALVEXBOARD_SHIM unsigned alarm(unsigned seconds) noexcept {
    if (!isScheduled()) return REAL(alarm)(seconds);
    itimerval left{};
    const itimerval span{{}, {static_cast<time_t>(seconds), 0}};
    setitimer(ITIMER_REAL, &span, &left);
    return static_cast<unsigned>(left.it_value.tv_sec + (left.it_value.tv_usec != 0 ? 1 : 0));
}

HALVEXBOARD_SHIM useconds_t ualarm(useconds_t microseconds, useconds_t interval) noexcept {
    if (!isScheduled()) return REAL(ualarm)(microseconds, interval);
    itimerval left{};
    const itimerval span{{interval / 1'000'000, interval % 1'000'000},
                         {microseconds / 1'000'000, microseconds % 1'000'000}};
    setitimer(ITIMER_REAL, &span, &left);
    return static_cast<useconds_t>(left.it_value.tv_sec * 1'000'000 + left.it_value.tv_usec);
}

HALVEXBOARD_SHIM int timer_create(clockid_t clock, sigevent* notice, timer_t* id) noexcept {
    const bool isThread = notice != nullptr && notice->sigev_notify == SIGEV_THREAD;
    if (!isScheduled() || !isKnown(clock) || isThread) return REAL(timer_create)(clock, notice, id);
    Timer* const timer = makeTimer(clock);
    if (timer == nullptr) return -1;
    if (notice != nullptr) timer->notice = *notice;
    *id = timer;
    return 0;
}

HALVEXBOARD_SHIM int timer_settime(timer_t id, int flags, const itimerspec* span, itimerspec* before) noexcept {
    Timer* const timer = timerOf(id);
    if (timer == nullptr) return REAL(timer_settime)(id, flags, span, before);
    return setTimer(*timer, (flags & TIMER_ABSTIME) != 0, *span, before) ? 0 : -1;
}

HALVEXBOARD_SHIM int timer_gettime(timer_t id, itimerspec* left) noexcept {
    const Timer* const timer = timerOf(id);
    if (timer == nullptr) return REAL(timer_gettime)(id, left);
    *left = timeLeft(*timer);
    return 0;
}

HALVEXBOARD_SHIM int timer_delete(timer_t id) noexcept {
    Timer* const timer = timerOf(id);
    if (timer == nullptr) return REAL(timer_delete)(id);
    removeTimer(*timer);
    return 0;
}

HALVEXBOARD_SHIM int timer_getoverrun(timer_t id) noexcept {
    return timerOf(id) == nullptr ? REAL(timer_getoverrun)(id) : 0;
}

// A timer's descriptor is an event descriptor: reading either takes the count.
static_assert(int{TFD_NONBLOCK} == int{EFD_NONBLOCK} && int{TFD_CLOEXEC} == int{EFD_CLOEXEC}, "one set of flags");

HALVEXBOARD_SHIM int timerfd_create(int clock, int flags) noexcept {
    if (!isScheduled() || !isKnown(clock)) return REAL(timerfd_create)(clock, flags);
    Timer* const timer = makeTimer(clock);
    if (timer == nullptr) return refuse(ENFILE);
    const int fd = eventfd(0, flags);
    if (fd >= 0)
        timer->fd = fd;
    else
        removeTimer(*timer);
    return fd;
}

HALVEXBOARD_SHIM int timerfd_settime(int fd, int flags, const itimerspec* span, itimerspec* before) noexcept {
    Timer* const timer = isActive() ? halvexboard::timerOf(fd) : nullptr;
    if (timer == nullptr) return REAL(timerfd_settime)(fd, flags, span, before);
    std::uint64_t count = 0;  // expirations so far no longer count
    if (isReadyNow(fd, POLLIN)) rawSystemCall(SYS_read, fd, reinterpret_cast<long>(&count), sizeof count);
    return setTimer(*timer, (flags & TFD_TIMER_ABSTIME) != 0, *span, before) ? 0 : -1;
}

HALVEXBOARD_SHIM int timerfd_gettime(int fd, itimerspec* left) noexcept {
    const Timer* const timer = isActive() ? halvexboard::timerOf(fd) : nullptr;
    if (timer == nullptr) return REAL(timerfd_gettime)(fd, left);
    *left = timeLeft(*timer);
    return 0;
}
