// The clock that nobody steers, the system's, and waiting.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

namespace halvexctl {

std::int64_t rawTimeNs();     ///< CLOCK_MONOTONIC_RAW.
std::int64_t systemTimeNs();  ///< CLOCK_REALTIME.

/// Sleeps for that long; false when a request to stop cut it short.
bool sleepNs(std::int64_t durationNs);

}  // namespace halvexctl
