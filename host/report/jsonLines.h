// The lines of a file, each a JSON object.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "host/report/chronicle.h"

namespace halvexctl {

enum class LinesOf { record, trace };

/// Hands over each object and counts lines. A line that is no object, or that `take` finds of another shape than it
/// expects, is counted as unread: a recording may have been cut off. Throws std::system_error when the file cannot be
/// read, std::runtime_error when it is of the other kind or no line of it could be read.
Source readJsonLines(const std::string& path, LinesOf kind,
                     const std::function<void(const nlohmann::json& line)>& take);

}  // namespace halvexctl
