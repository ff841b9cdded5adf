// Waiting in simulated time: under the scheduler, in virtual time without it, or in real time.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/preload/waiting.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <algorithm>
#include <cerrno>

#include "board/preload/boardCore.h"
#include "board/preload/nanoseconds.h"
#include "board/preload/processes.h"

namespace halvexboard {

namespace {

std::uint64_t remainingToChangeNs() noexcept {
    const LockGuard guard(boardLock());
    const std::uint64_t at = board_next_change(model());
    const std::uint64_t now = rawNow();
    return at == BOARD_NEVER ? kNever : (at > now ? at - now : 0);
}

/// A wait without the scheduler; releases the lock meanwhile if it is held.
WaitResult pauseFor(std::uint64_t ns) noexcept NO_THREAD_SAFETY_ANALYSIS {
    // A foreign thread must not advance the others' time: wait in real time.
    if (isTimeVirtual() && !scheduler().isRunning() && ns != kNever) {
        spend(ns);
        return WaitResult::woken;
    }
    std::atomic<std::uint32_t> nobodyMovesThis{0};
    const std::int64_t spanNs = ns == kNever ? -1 : static_cast<std::int64_t>(std::min<std::uint64_t>(ns, INT64_MAX));
    const std::uint32_t depth = boardLock().isMine() ? boardLock().releaseAll() : 0;
    const int outcome = futexWait(nobodyMovesThis, 0, spanNs);
    if (depth != 0) boardLock().retake(depth);
    return outcome == -EINTR ? WaitResult::interrupted : WaitResult::woken;
}

long pollOne(int fd, short events, const timespec* span) noexcept {
    pollfd entry{fd, events, 0};
    return rawSystemCall(SYS_ppoll, reinterpret_cast<long>(&entry), 1, reinterpret_cast<long>(span), 0, 0);
}

bool isNonBlocking(int fd) noexcept { return (rawSystemCall(SYS_fcntl, fd, F_GETFL) & O_NONBLOCK) != 0; }

}  // namespace

bool isScheduled() noexcept { return isActive() && scheduler().isRunning() && Scheduler::self() != nullptr; }

WaitResult waitForModel(Deadline deadline) noexcept {
    if (isScheduled()) return scheduler().wait(scheduler().modelKey(), deadline, true);
    // Other threads may change the model at any time: check again at least every millisecond.
    constexpr std::uint64_t kLookAgainNs = 1'000'000;
    std::uint64_t ns = std::min(remainingNs(deadline), remainingToChangeNs());
    if (!isTimeVirtual() || ns == kNever) ns = std::min(ns, kLookAgainNs);
    return pauseFor(ns);
}

WaitResult sleepUntil(Deadline deadline) noexcept {
    if (isScheduled()) return scheduler().wait(nullptr, deadline, true);
    while (!hasPassed(deadline)) {
        if (pauseFor(remainingNs(deadline)) == WaitResult::interrupted) return WaitResult::interrupted;
    }
    return WaitResult::timedOut;
}

bool sleepsHere() noexcept { return isActive() && isTimeVirtual() && (isScheduled() || !scheduler().isRunning()); }

int sleepOnBoard(Deadline deadline, std::uint64_t& leftNs) noexcept {
    DeviceCall call(BOARD_CALL_NANOSLEEP, BOARD_TARGET_ANY, BOARD_FILE_ANY);
    const std::uint64_t now = deadline.clock == Deadline::Clock::system ? systemNow() : rawNow();
    call.with(static_cast<std::int64_t>(deadline.ns > now ? deadline.ns - now : 0));
    if (!call.isFaulted()) {
        const bool interrupted = sleepUntil(deadline) == WaitResult::interrupted;
        call.refresh();
        call.succeed(interrupted ? -EINTR : 0);
    }
    leftNs = deadline.ns > rawNow() ? deadline.ns - rawNow() : 0;
    return call.finishWithError();
}

std::uint64_t remainingNs(Deadline deadline) noexcept {
    if (deadline.clock == Deadline::Clock::none) return kNever;
    const std::uint64_t now = deadline.clock == Deadline::Clock::system ? systemNow() : rawNow();
    return deadline.ns > now ? deadline.ns - now : 0;
}

bool hasPassed(Deadline deadline) noexcept { return remainingNs(deadline) == 0; }

Deadline deadlineAt(clockid_t clock, const timespec& instant) noexcept {
    if (instant.tv_sec < 0) return Deadline::atRaw(0);
    if (clock == CLOCK_REALTIME || clock == CLOCK_TAI) return Deadline::atSystem(toNs(instant));
    return Deadline::atRaw(rawFromMonotonic(toNs(instant)));
}

Deadline deadlineAfter(std::uint64_t ns) noexcept {
    const std::uint64_t now = rawNow();
    return Deadline::atRaw(ns > kNever - now ? kNever : now + ns);
}

bool isValid(const timespec& time) noexcept { return time.tv_nsec >= 0 && time.tv_nsec < kNsPerSecond; }

std::uint64_t toNs(const timespec& time) noexcept {
    constexpr std::uint64_t kMostSeconds = kNever / kNsPerSecond - 1;
    return std::min(static_cast<std::uint64_t>(time.tv_sec), kMostSeconds) * kNsPerSecond +
           static_cast<std::uint64_t>(time.tv_nsec);
}

timespec toTimespec(std::uint64_t ns) noexcept {
    return {static_cast<time_t>(ns / kNsPerSecond), static_cast<long>(ns % kNsPerSecond)};
}

bool canLook() noexcept { return isBoardShared() && isScheduled() && scheduler().hasOthers(); }

bool isReadyNow(int fd, short events) noexcept {
    constexpr timespec kNoWait{0, 0};
    return pollOne(fd, events, &kNoWait) != 0;
}

bool awaitRoom(int fd) noexcept {
    if (!canLook() || isNonBlocking(fd) || !isInside(fd)) return false;
    while (lookUntil(Deadline::never(), [fd] { return isReadyNow(fd, POLLOUT); }) != WaitResult::woken) {
    }
    return true;
}

void awaitReadable(int fd) noexcept {
    if (!isScheduled() || !scheduler().hasOthers()) return;
    if (isReadyNow(fd, POLLIN) || isNonBlocking(fd)) return;
    if (isBoardShared() && isInside(fd)) {
        while (lookUntil(Deadline::never(), [fd] { return isReadyNow(fd, POLLIN); }) != WaitResult::woken) {
        }
        return;
    }
    const ExternalCall external;
    pollOne(fd, POLLIN, nullptr);  // if interrupted, the call itself reports it or blocks
}

ExternalCall::ExternalCall() noexcept : given_(isScheduled() && scheduler().beginExternal()) {}

ExternalCall::~ExternalCall() {
    const int error = errno;  // of the enclosed call
    if (given_) scheduler().endExternal();
    errno = error;
}

}  // namespace halvexboard
