// Waiting in simulated time, whichever way time runs: under the scheduler, virtual without it, or real.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <ctime>

#include "board/preload/scheduler.h"

namespace halvexboard {

/// True while the calling thread waits through the scheduler: it is registered and the scheduler runs.
bool isScheduled() noexcept;

/// Waits until the model changed, or the deadline. May return early; the caller looks and waits again. The board's lock
/// may be held; it is let go of meanwhile.
WaitResult waitForModel(Deadline deadline) noexcept;

/// Sleeps until the deadline or until a signal handler ran.
WaitResult sleepUntil(Deadline deadline) noexcept;

/// A thread outside the scheduler sleeps for real; so does everybody when time is real.
bool sleepsHere() noexcept;

/// A sleep as a call on the board. 0, or the errno that ended it; `leftNs` is what was left when a signal ended it.
int sleepOnBoard(Deadline deadline, std::uint64_t& leftNs) noexcept;

bool hasPassed(Deadline deadline) noexcept;

/// Deadlines as the C library's functions take them: an instant of a clock, or a span from now.
Deadline deadlineAt(clockid_t clock, const timespec& instant) noexcept;
Deadline deadlineAfter(std::uint64_t ns) noexcept;
bool isValid(const timespec& time) noexcept;
std::uint64_t toNs(const timespec& time) noexcept;
timespec toTimespec(std::uint64_t ns) noexcept;

/// Gives the token away for a call that may block outside the board, for the length of a scope.
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
