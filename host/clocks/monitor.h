// The verbs monitor and record: sample all clocks repeatedly.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

#include "host/output/result.h"
#include "host/output/units.h"

namespace halvexctl {

class Session;

struct MonitorOptions {
    std::int64_t intervalNs = kNsPerSecond;
    std::uint64_t count = 0;      ///< Number of samples; 0: until a stop is requested.
    std::int64_t durationNs = 0;  ///< Shortens the last interval; 0: none.
    std::string metricsPath;      ///< Empty: none.
    bool isQuiet = false;         ///< Samples are recorded, not shown.
};

/// Watches until the count is reached or a stop is requested. Measures the master if the session has an initialised
/// library, but initialises nothing. A recorded session keeps the samples. Throws std::system_error if a file cannot be
/// written.
void watchClocks(Session& session, const MonitorOptions& options, Result& result);

}  // namespace halvexctl
