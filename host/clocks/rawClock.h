// CLOCK_MONOTONIC_RAW, CLOCK_REALTIME, and sleeping.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

namespace halvexctl {

std::int64_t rawTimeNs();     ///< CLOCK_MONOTONIC_RAW.
std::int64_t systemTimeNs();  ///< CLOCK_REALTIME.

/// Sleeps for the duration; false if a stop was requested meanwhile.
bool sleepNs(std::int64_t durationNs);

}  // namespace halvexctl
