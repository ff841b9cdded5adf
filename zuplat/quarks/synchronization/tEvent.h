// An event that one thread waits for and others set.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <pthread.h>

#include <cstdint>

#include "zuplat/platStatus.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {

/// Auto-reset: one set lets one wait through, and a set without a waiter is kept for the next. Owns a recursive mutex
/// with priority inheritance and a condition variable on the monotonic clock. Threads: thread-safe. Failure: reported
/// in the status; an event whose making failed can be set and destroyed, and waiting on it fails.
class tEvent {
public:
    /// Reports -52003 when the mutex, and -52008 when the condition variable cannot be made.
    explicit tEvent(PlatStatus* status) noexcept;
    ~tEvent();
    tEvent(const tEvent&) = delete;
    tEvent& operator=(const tEvent&) = delete;

    void set() noexcept;

    /// Waits until the event is set or the monotonic clock reaches `deadlineNs`, which reports -52007.
    void waitUntil(std::uint64_t deadlineNs, PlatStatus* status) noexcept;

private:
    pthread_mutex_t mutex_;
    pthread_cond_t condition_;
    bool hasMutex_ = false;
    bool hasCondition_ = false;
    bool isSignalled_ = false;
};

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
