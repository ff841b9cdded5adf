// A leaf mutex for short critical sections: acquire nothing while holding it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <atomic>

#include "locks/annotatedLocks.h"

namespace halvexTimekeeper {

/// One atomic operation per uncontended lock and unlock; contended waiters sleep in the kernel. Not recursive. Owns
/// nothing. Threads: thread-safe. Failure: none.
class CAPABILITY("mutex") LeafMutex {
public:
    LeafMutex() = default;
    LeafMutex(const LeafMutex&) = delete;
    LeafMutex& operator=(const LeafMutex&) = delete;

    void lock() noexcept ACQUIRE() {
        int expected = kFree;
        if (!state_.compare_exchange_strong(expected, kHeld)) waitUntilHeld();
    }
    void unlock() noexcept RELEASE() {
        if (state_.exchange(kFree) == kWanted) wakeOne();
    }

private:
    static constexpr int kFree = 0;
    static constexpr int kHeld = 1;
    static constexpr int kWanted = 2;  ///< Held, possibly with waiters.

    void waitUntilHeld() noexcept;
    void wakeOne() noexcept;

    std::atomic<int> state_{kFree};
};

}  // namespace halvexTimekeeper
