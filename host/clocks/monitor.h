// The verbs monitor and record: every clock looked at again and again.
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
    std::uint64_t count = 0;  ///< Samples to take; 0: until a stop is requested.
    std::string metricsPath;  ///< Empty: none.
    bool isQuiet = false;     ///< Samples are kept, not shown.
};

/// Watches until the count is reached or a stop is requested. The master is measured when the session has an
/// initialised library; nothing is initialised for it. A session that is recorded keeps the samples. Throws
/// std::system_error when a file cannot be written.
void watchClocks(Session& session, const MonitorOptions& options, Result& result);

}  // namespace halvexctl
