// Waiting for another thread through the scheduler: try, announce the wait, try again.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cerrno>
#include <climits>

#include "board/preload/boardCore.h"
#include "board/preload/waiting.h"

namespace halvexboard {

constexpr int kEveryone = INT_MAX;

/// Tries until it works, waiting in between for whoever lets go of `key`. What `attempt` returns when it is busy is
/// `busy`.
template <typename Attempt>
int tryUntil(const void* key, int busy, Deadline deadline, Attempt attempt) noexcept {
    for (;;) {
        const int result = attempt();
        if (result != busy) return result;
        if (hasPassed(deadline)) return ETIMEDOUT;
        // A thread outside the scheduler may let go between the attempt and the wait: announce the wait, then try
        // again.
        scheduler().prepareWait(key, deadline, false);
        const int second = attempt();
        if (second != busy) {
            scheduler().cancelWait();
            return second;
        }
        scheduler().commitWait();
    }
}

inline void wakeWaiters(const void* key, int count) noexcept {
    if (isActive() && scheduler().isRunning() && scheduler().anyoneWaits()) scheduler().wake(key, count);
}

}  // namespace halvexboard
