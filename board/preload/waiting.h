// Waiting in simulated time: under the scheduler, in virtual time without it, or in real time.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <ctime>

#include "board/preload/scheduler.h"

namespace halvexboard {

/// Whether the calling thread waits through the scheduler: it is registered and the scheduler runs.
bool isScheduled() noexcept;

/// Waits until the model changes or the deadline passes. May return early: check and wait again. Releases the board's
/// lock meanwhile if it is held.
WaitResult waitForModel(Deadline deadline) noexcept;

/// Sleeps until the deadline or until a signal handler runs.
WaitResult sleepUntil(Deadline deadline) noexcept;

/// False for threads that sleep in real time: foreign ones, and all when time is real.
bool sleepsHere() noexcept;

/// A sleep as a call on the board. Returns 0, or the errno that ended it; `leftNs` is the rest after a signal.
int sleepOnBoard(Deadline deadline, std::uint64_t& leftNs) noexcept;

bool hasPassed(Deadline deadline) noexcept;
/// Time to the deadline from now; kNever if there is none.
std::uint64_t remainingNs(Deadline deadline) noexcept;

/// Deadlines as the C library's functions take them: an instant of a clock, or a span from now.
Deadline deadlineAt(clockid_t clock, const timespec& instant) noexcept;
Deadline deadlineAfter(std::uint64_t ns) noexcept;
bool isValid(const timespec& time) noexcept;
std::uint64_t toNs(const timespec& time) noexcept;
timespec toTimespec(std::uint64_t ns) noexcept;

/// Waits in virtual time for what the processes on a shared board do to the machine: `isDone` is asked again whenever
/// another thread has run. For threads that wait through the scheduler.
template <typename Done>
WaitResult lookUntil(Deadline deadline, Done isDone, const void* key = nullptr) noexcept {
    for (;;) {
        if (isDone()) {
            scheduler().endLooking();
            return WaitResult::woken;
        }
        if (hasPassed(deadline)) return WaitResult::timedOut;
        if (scheduler().waitToLook(key, deadline) == WaitResult::interrupted) return WaitResult::interrupted;
    }
}

/// Whether the calling thread can wait by looking: there are others on a shared board.
bool canLook() noexcept;

/// Whether a machine descriptor is ready, without waiting.
bool isReadyNow(int fd, short events) noexcept;

/// Call before a machine call that reads: waits for its input without stopping the other threads.
void awaitReadable(int fd) noexcept;
/// The same before one that writes, to a pipe between processes on the board. False: it may block for another reason.
bool awaitRoom(int fd) noexcept;

/// Gives up the token for a scope, for a call that may block outside the board.
class ExternalCall {
public:
    ExternalCall() noexcept;
    ~ExternalCall();
    ExternalCall(const ExternalCall&) = delete;
    ExternalCall& operator=(const ExternalCall&) = delete;

private:
    bool given_;
};

}  // namespace halvexboard
