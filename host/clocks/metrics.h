// A watch in the text format of Prometheus.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

#include "host/clocks/clockSample.h"
#include "host/clocks/watchSummary.h"

namespace halvexctl {

/// The latest sample, and the counters since the start. Reentrant.
std::string metricsOf(const Sample& sample, const WatchSummary& summary);

}  // namespace halvexctl
