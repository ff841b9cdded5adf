// Ends a soak that stands still.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

namespace soak {

/// Starts a thread of its own that lives outside virtual time: when `progress` has not changed for `seconds` of real
/// time it prints `describe` and ends the process with 3, whether nothing happens any more or too much. To be called
/// before a board is switched on, once.
void startWatchdog(unsigned seconds, std::uint64_t (*progress)(), std::string (*describe)());

/// Threads that the watchdog adds to the process.
inline constexpr int kWatchdogThreads = 1;

}  // namespace soak
