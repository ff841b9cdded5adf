// Ends a soak that makes no progress.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/standard.h"

namespace soak {

/// Starts a thread outside virtual time: if `progress` has not changed for `seconds` of real time, whether the soak
/// hangs or spins, it prints `describe` and exits with 3. Call once, before a board is switched on.
void startWatchdog(unsigned seconds, std::uint64_t (*progress)(), std::string (*describe)());

/// Threads that the watchdog adds to the process.
inline constexpr int kWatchdogThreads = 1;

}  // namespace soak
