// The timed lock of a chosen clock for thread sanitizers, which do not support it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/syscall.h>

#include "tests/support/standard.h"

namespace testsupport {

/// The sanitizers of gcc 12 and clang 14 would consider a mutex locked by the real call free. They know the lock on the
/// real-time clock, which is never stepped under a sanitizer. The chosen clock, read by `readClock`, may be a simulated
/// one.
template <typename ReadClock = decltype(&clock_gettime)>
int lockByRealTime(pthread_mutex_t* mutex, clockid_t clock, const timespec* deadline,
                   ReadClock readClock = clock_gettime) {
    timespec now, realNow;
    readClock(clock, &now);
    syscall(SYS_clock_gettime, CLOCK_REALTIME, &realNow);
    const std::int64_t leftNs = (deadline->tv_sec - now.tv_sec) * 1'000'000'000 + deadline->tv_nsec - now.tv_nsec;
    const std::int64_t untilNs = realNow.tv_nsec + (leftNs > 0 ? leftNs : 0);
    const timespec until{realNow.tv_sec + untilNs / 1'000'000'000, untilNs % 1'000'000'000};
    return pthread_mutex_timedlock(mutex, &until);
}

}  // namespace testsupport
