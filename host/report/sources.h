// Reads records and boards' traces into a chronicle.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

#include "host/report/chronicle.h"

namespace halvexctl {

/// The last session of a record file; older ones in it are only counted. Throws as readJsonLines().
void readRecord(const std::string& path, Chronicle& chronicle);

/// A simulated board's trace; log lines are taken from it alone. To be read after the record, whose references it takes
/// over for the truth. Throws as readJsonLines().
void readTrace(const std::string& path, Chronicle& chronicle);

}  // namespace halvexctl
