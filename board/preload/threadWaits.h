// Waiting for another thread through the scheduler: try, announce the wait, try again.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <pthread.h>
#include <semaphore.h>
#include <cerrno>
#include <climits>

#include "board/preload/boardCore.h"
#include "board/preload/waiting.h"

namespace halvexboard {

constexpr int kEveryone = INT_MAX;

// Whether other processes may release it: the key names it in this one only.
inline bool isBetweenProcesses(const pthread_mutex_t& mutex) noexcept {
    constexpr int kSharedBit = 128;
    return (mutex.__data.__kind & kSharedBit) != 0;
}
inline bool isBetweenProcesses(const pthread_rwlock_t& lock) noexcept { return lock.__data.__shared != 0; }
inline bool isBetweenProcesses(const pthread_cond_t& condition) noexcept {
    return (condition.__data.__wrefs & 1U) != 0;
}
/// glibc keeps it behind the 64-bit value.
inline bool isBetweenProcesses(const sem_t& semaphore) noexcept {
    return reinterpret_cast<const int*>(&semaphore)[2] != 0;
}

/// Retries until it succeeds, waiting in between for a release of the object. `attempt` returns `busy` while it cannot
/// succeed.
template <typename Object, typename Attempt>
int tryUntil(const Object* key, int busy, Deadline deadline, Attempt attempt) noexcept {
    if (canLook() && isBetweenProcesses(*key)) {
        int result = busy;
        while (lookUntil(deadline, [&] { return (result = attempt()) != busy; }) == WaitResult::interrupted) {
        }
        return result != busy ? result : ETIMEDOUT;
    }
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
