// Waiting for another thread through the scheduler: try, announce the wait, try again.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cerrno>
#include <climits>

#include "board/preload/boardCore.h"
#include "board/preload/waiting.h"

namespace halvexboard {

constexpr int kEveryone = INT_MAX;

/// Retries until it succeeds, waiting in between for a release of `key`. `attempt` returns `busy` while it cannot
/// succeed.
template <typename Attempt>
int tryUntil(const void* key, int busy, Deadline deadline, Attempt attempt) noexcept {
    for (;;) {
        const int result = attempt();
        if (result != busy) return result;
        if (hasPassed(deadline)) return ETIMEDOUT;
        // A foreign thread may release between the attempt and the wait: prepare the wait, then try again.
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
