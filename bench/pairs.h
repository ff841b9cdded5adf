// Paired runs: a block of bare calls, then a block of the library's, repeatedly in one process.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

#include "bench/loadedPlugin.h"

namespace halvexbench {

/// The host's calls. Both functions run their pairs and write Google Benchmark's JSON to `outputPath`.
void runCallPairs(const Plugin& plugin, const std::string& outputPath);
/// Operations that scale with the number of slaves, and a complete life.
void runSlavePairs(const Plugin& plugin, const std::string& outputPath);

}  // namespace halvexbench
