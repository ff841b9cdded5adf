// Environment variables through which the launcher configures the preloaded library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexboard {

inline constexpr const char* kScenarioVariable =
    "HALVEXBOARD_SCENARIO";                                         ///< Path of a scenario file; unset: an empty board.
inline constexpr const char* kSeedVariable = "HALVEXBOARD_SEED";    ///< Overrides the scenario's seed.
inline constexpr const char* kTraceVariable = "HALVEXBOARD_TRACE";  ///< Path of the trace.
inline constexpr const char* kConsoleVariable = "HALVEXBOARD_CONSOLE";  ///< "1": syslog lines and faults on stderr.
inline constexpr const char* kTimeVariable = "HALVEXBOARD_TIME";        ///< "virtual" (default) or "real".
inline constexpr const char* kChildrenVariable =
    "HALVEXBOARD_CHILDREN";  ///< "1": child programs get boards of their own.
inline constexpr const char* kNestedVariable =
    "HALVEXBOARD_NESTED";  ///< Set for such programs: their traces get a pid.
inline constexpr const char* kEarlierPreloadVariable = "HALVEXBOARD_EARLIER_PRELOAD";  ///< LD_PRELOAD as it was.

}  // namespace halvexboard
