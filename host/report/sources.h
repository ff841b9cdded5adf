// Reads records and boards' traces into a chronicle.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "host/report/chronicle.h"

namespace halvexctl {

enum class LinesOf { record, trace };

struct InputText {
    std::string name;
    std::string text;
};

/// A whole file, or standard input for "-". Throws std::system_error if it cannot be read.
InputText readInput(const std::string& path);

/// Passes each object to `take` and counts lines. A line that is not an object, or has another form than `take`
/// expects, counts as unread: a recording may be truncated. Throws std::runtime_error if the input is of
/// the other kind or has no readable line.
Source readJsonLines(const InputText& input, LinesOf kind, const std::function<void(const nlohmann::json& line)>& take);

/// Reads the last session of a record file; earlier ones are only counted. Throws like readInput() and
/// readJsonLines().
void readRecord(const std::string& path, Chronicle& chronicle);

/// Reads a simulated board's trace; log lines come only from it then. Call after readRecord(), whose references it
/// adopts for the truth. Throws like readRecord().
void readTrace(const std::string& path, Chronicle& chronicle);

}  // namespace halvexctl
