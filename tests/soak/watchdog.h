// Ends a soak that stands still.
#pragma once

#include <string>

namespace soak {

/// Starts a thread of its own that lives outside virtual time: when no call is made on the board for `seconds` of real
/// time it prints `describe` and ends the process. To be called before a board is switched on, once.
void startWatchdog(unsigned seconds, std::string (*describe)());

/// Threads that the watchdog adds to the process.
inline constexpr int kWatchdogThreads = 1;

}  // namespace soak
