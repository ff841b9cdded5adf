// CLOCK_MONOTONIC_RAW, CLOCK_REALTIME, and sleeping.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/rawClock.h"

#include <time.h>

#include <cerrno>
#include <system_error>

#include "host/output/units.h"
#include "host/session/stopRequest.h"

namespace halvexctl {
namespace {

std::int64_t readNs(clockid_t clock) {
    timespec now{};
    if (::clock_gettime(clock, &now) != 0) {
        const int error = errno;
        throw std::system_error(error, std::generic_category(), "clock_gettime");
    }
    return now.tv_sec * kNsPerSecond + now.tv_nsec;
}

}  // namespace

std::int64_t rawTimeNs() { return readNs(CLOCK_MONOTONIC_RAW); }

std::int64_t systemTimeNs() { return readNs(CLOCK_REALTIME); }

bool sleepNs(std::int64_t durationNs) {
    timespec left{durationNs / kNsPerSecond, durationNs % kNsPerSecond};
    while (!StopRequest::isMade()) {
        if (::nanosleep(&left, &left) == 0) {
            return true;
        }
        const int error = errno;
        if (error != EINTR) {
            throw std::system_error(error, std::generic_category(), "nanosleep");
        }
    }
    return false;
}

}  // namespace halvexctl
