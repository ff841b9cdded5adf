// Reads records and boards' traces into a chronicle.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "host/report/chronicle.h"

namespace halvexctl {

enum class LinesOf { record, trace };

/// Passes each object to `take` and counts lines. A line that is not an object, or has another form than `take`
/// expects, counts as unread: a recording may be truncated. Throws std::system_error if the file cannot be read,
/// std::runtime_error if it is of the other kind or has no readable line.
Source readJsonLines(const std::string& path, LinesOf kind,
                     const std::function<void(const nlohmann::json& line)>& take);

/// Reads the last session of a record file; earlier ones are only counted. Throws like readJsonLines().
void readRecord(const std::string& path, Chronicle& chronicle);

/// Reads a simulated board's trace; log lines come only from it then. Call after readRecord(), whose references it
/// adopts for the truth. Throws like readJsonLines().
void readTrace(const std::string& path, Chronicle& chronicle);

}  // namespace halvexctl
