// An event that one thread waits for and others set.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <pthread.h>

#include <cstdint>

#include "locks/annotatedLocks.h"
#include "zuplat/platStatus.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {

/// Auto-reset: each set releases one wait, and a set without a waiter is kept for the next. Owns a recursive mutex with
/// priority inheritance and a condition variable on the monotonic clock. Threads: thread-safe. Failure: reported in the
/// status; an event that failed to construct can be set and destroyed, and waiting on it fails.
class tEvent {
public:
    /// Reports -52003 if the mutex and -52008 if the condition variable cannot be created.
    explicit tEvent(PlatStatus* status) noexcept;
    ~tEvent();
    tEvent(const tEvent&) = delete;
    tEvent& operator=(const tEvent&) = delete;

    void set() noexcept;

    /// Waits until the event is set; reports -52007 once the monotonic clock reaches `deadlineNs`.
    void waitUntil(std::uint64_t deadlineNs, PlatStatus* status) noexcept;

private:
    struct CAPABILITY("mutex") Mutex {
        void lock() noexcept ACQUIRE() { pthread_mutex_lock(&native); }
        void unlock() noexcept RELEASE() { pthread_mutex_unlock(&native); }
        pthread_mutex_t native;
    };

    Mutex mutex_;
    pthread_cond_t condition_;
    bool hasMutex_ = false;
    bool hasCondition_ = false;
    bool isSignalled_ GUARDED_BY(mutex_) = false;
};

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
