// Reads records and boards' traces into a chronicle.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

#include "host/report/chronicle.h"

namespace halvexctl {

/// Reads the last session of a record file; earlier ones are only counted. Throws like readJsonLines().
void readRecord(const std::string& path, Chronicle& chronicle);

/// Reads a simulated board's trace; log lines come only from it then. Call after readRecord(), whose references it
/// adopts for the truth. Throws like readJsonLines().
void readTrace(const std::string& path, Chronicle& chronicle);

}  // namespace halvexctl
