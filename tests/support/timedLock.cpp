// The timed lock of a chosen clock for thread sanitizers, in place of the C library's.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/timedLock.h"

extern "C" int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock, const timespec* deadline) noexcept {
    return testsupport::lockByRealTime(mutex, clock, deadline);
}
