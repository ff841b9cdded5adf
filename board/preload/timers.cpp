// Timers of this process in virtual time: a thread of the board waits for them, and sends their signals.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/timers.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "board/preload/boardCore.h"
#include "board/preload/processes.h"
#include "board/preload/waiting.h"

namespace halvexboard {

namespace {

constexpr std::size_t kMaxTimers = 64;
Timer timers[kMaxTimers] GUARDED_BY(boardLock());
bool hasThread GUARDED_BY(boardLock()) = false;

bool isDue(const Timer& timer) noexcept {
    return timer.isUsed && timer.deadline.clock != Deadline::Clock::none && hasPassed(timer.deadline);
}

/// The next deadline in virtual time.
Deadline nextDeadline() noexcept REQUIRES(boardLock()) {
    Deadline next = Deadline::never();
    std::uint64_t leastNs = kNever;
    for (const Timer& timer : timers) {
        const std::uint64_t ns = timer.isUsed ? remainingNs(timer.deadline) : kNever;
        if (ns >= leastNs) continue;
        leastNs = ns;
        next = timer.deadline;
    }
    return next;
}

void keepForExec(const Timer& timer) noexcept REQUIRES(boardLock()) {
    if (timer.isAlarm && isBoardShared())
        processesInUse->entries[ownProcess()].alarm = {timer.deadline.ns, timer.intervalNs};
}

/// Moves on to the next expiration. Returns how many there have been.
std::uint64_t expire(Timer& timer) noexcept REQUIRES(boardLock()) {
    std::uint64_t count = 1;
    if (timer.intervalNs == 0) {
        timer.deadline = Deadline::never();
    } else {
        const std::uint64_t now = timer.deadline.clock == Deadline::Clock::system ? systemNow() : rawNow();
        count += (now - timer.deadline.ns) / timer.intervalNs;
        timer.deadline.ns += count * timer.intervalNs;
    }
    keepForExec(timer);
    return count;
}

void sendSignal(const Timer& timer) noexcept {
    const int signal = timer.notice.sigev_signo;
    const auto pid = static_cast<pid_t>(rawSystemCall(SYS_getpid));
    siginfo_t info{};
    info.si_signo = signal;
    info.si_code = SI_TIMER;
    info.si_value = timer.notice.sigev_value;
    beforeOwnSignal(signal);
    if (timer.notice.sigev_notify == SIGEV_THREAD_ID)
        rawSystemCall(SYS_rt_tgsigqueueinfo, pid, timer.notice._sigev_un._tid, signal, reinterpret_cast<long>(&info));
    else if (timer.notice.sigev_notify == SIGEV_SIGNAL)
        rawSystemCall(SYS_rt_sigqueueinfo, pid, signal, reinterpret_cast<long>(&info));
}

/// The number of an event descriptor may have passed to another file.
bool isEventDescriptor(int fd) noexcept {
    static constexpr char kTarget[] = "anon_inode:[eventfd]";
    char path[64];
    char target[sizeof kTarget] = {};
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
    rawSystemCall(SYS_readlink, reinterpret_cast<long>(path), reinterpret_cast<long>(target), sizeof target - 1);
    return std::strcmp(target, kTarget) == 0;
}

void act(const Timer& timer, std::uint64_t count) noexcept {
    if (timer.fd < 0)
        sendSignal(timer);
    else if (isEventDescriptor(timer.fd))
        rawSystemCall(SYS_write, timer.fd, reinterpret_cast<long>(&count), sizeof count);
}

void* keepTime(void*) {
    for (;;) {
        const LockGuard guard(boardLock());
        Timer* const due = std::find_if(std::begin(timers), std::end(timers), isDue);
        if (due == std::end(timers)) {
            scheduler().wait(timers, nextDeadline(), false);
            continue;
        }
        const Timer timer = *due;
        const std::uint64_t count = expire(*due);
        const UnlockGuard released(boardLock());
        act(timer, count);
    }
}

/// With every signal blocked: the program's threads handle them.
bool startThread() noexcept {
    {
        const LockGuard guard(boardLock());
        if (std::exchange(hasThread, true)) return true;
    }
    sigset_t every;
    sigset_t before;
    sigfillset(&every);
    pthread_sigmask(SIG_SETMASK, &every, &before);
    pthread_t handle{};
    const int error = pthread_create(&handle, nullptr, keepTime, nullptr);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (error == 0) return pthread_detach(handle) == 0;
    const LockGuard guard(boardLock());
    hasThread = false;
    errno = error;
    return false;
}

}  // namespace

Timer* makeTimer(clockid_t clock) noexcept {
    const LockGuard guard(boardLock());
    for (Timer& timer : timers) {
        if (timer.isUsed) continue;
        timer = {
            .isUsed = true, .clock = clock, .deadline = {}, .intervalNs = 0, .fd = -1, .notice = {}, .isAlarm = false};
        timer.notice.sigev_signo = SIGALRM;
        return &timer;
    }
    errno = EAGAIN;
    return nullptr;
}

void removeTimer(Timer& timer) noexcept {
    const LockGuard guard(boardLock());
    timer = {};
}

Timer* timerOf(int fd) noexcept {
    const LockGuard guard(boardLock());
    Timer* const found = std::find_if(std::begin(timers), std::end(timers),
                                      [fd](const Timer& timer) { return timer.isUsed && timer.fd == fd; });
    return found != std::end(timers) ? found : nullptr;
}

bool isTimer(const Timer* timer) noexcept {
    const LockGuard guard(boardLock());
    return timer >= std::begin(timers) && timer < std::end(timers) && timer->isUsed;
}

Timer* alarmTimer() noexcept {
    const LockGuard guard(boardLock());
    Timer* const found = std::find_if(std::begin(timers), std::end(timers),
                                      [](const Timer& timer) { return timer.isUsed && timer.isAlarm; });
    if (found != std::end(timers)) return found;
    Timer* const made = makeTimer(CLOCK_MONOTONIC);
    if (made != nullptr) made->isAlarm = true;
    return made;
}

itimerspec timeLeft(const Timer& timer) noexcept {
    const std::uint64_t ns = remainingNs(timer.deadline);
    return {toTimespec(timer.intervalNs), ns == kNever ? timespec{} : toTimespec(std::max<std::uint64_t>(ns, 1))};
}

bool setTimer(Timer& timer, bool isAbsolute, const itimerspec& span, itimerspec* before) noexcept {
    if (!isValid(span.it_value) || !isValid(span.it_interval)) {
        errno = EINVAL;
        return false;
    }
    if (!startThread()) return false;
    const LockGuard guard(boardLock());
    if (before != nullptr) *before = timeLeft(timer);
    const std::uint64_t ns = toNs(span.it_value);
    timer.intervalNs = toNs(span.it_interval);
    timer.deadline = ns == 0      ? Deadline::never()
                     : isAbsolute ? deadlineAt(timer.clock, span.it_value)
                                  : deadlineAfter(ns);
    keepForExec(timer);
    scheduler().wake(timers, 1);
    return true;
}

void forgetTimers() noexcept {
    const LockGuard guard(boardLock());
    std::fill(std::begin(timers), std::end(timers), Timer{});
    hasThread = false;
}

void restoreAlarm() noexcept {
    const LockGuard guard(boardLock());
    const Alarm kept = processesInUse->entries[ownProcess()].alarm;
    Timer* const timer = kept.rawNs != 0 ? alarmTimer() : nullptr;
    if (timer == nullptr || !startThread()) return;
    timer->deadline = Deadline::atRaw(kept.rawNs);
    timer->intervalNs = kept.intervalNs;
    scheduler().wake(timers, 1);
}

}  // namespace halvexboard
