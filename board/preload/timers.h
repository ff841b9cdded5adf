// Timers of this process in virtual time: a thread of the board waits for them, and sends their signals.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <csignal>
#include <cstdint>

#include "board/preload/scheduler.h"

namespace halvexboard {

struct Timer {
    bool isUsed;
    clockid_t clock;
    Deadline deadline;  ///< Never: not armed.
    std::uint64_t intervalNs;
    int fd;           ///< An eventfd that counts expirations; -1: a signal.
    sigevent notice;  ///< sigev_notify SIGEV_SIGNAL, SIGEV_THREAD_ID or SIGEV_NONE.
    bool isAlarm;     ///< setitimer's and alarm's, which survives exec.
};

/// Returns null with errno EAGAIN if there are too many.
Timer* makeTimer(clockid_t clock) noexcept;
void removeTimer(Timer& timer) noexcept;
Timer* timerOf(int fd) noexcept;
/// Whether the address is one of makeTimer's.
bool isTimer(const Timer* timer) noexcept;
/// The timer of setitimer(ITIMER_REAL) and alarm.
Timer* alarmTimer() noexcept;
/// Arms or disarms it as timer_settime does. Returns false with errno if its thread cannot be started.
bool setTimer(Timer& timer, bool isAbsolute, const itimerspec& span, itimerspec* before) noexcept;
itimerspec timeLeft(const Timer& timer) noexcept;

/// A forked child inherits no timer.
void forgetTimers() noexcept;
/// After exec: the alarm goes on.
void restoreAlarm() noexcept;

}  // namespace halvexboard
