// A chronicle as the JSON document that the report's page draws.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <nlohmann/json.hpp>

#include "host/report/chronicle.h"

namespace halvexctl {

/// Instants are ns since the first thing known; long tables are thinned.
nlohmann::ordered_json chronicleAsJson(const Chronicle& chronicle);

/// The document as text that may stand in an HTML script element: ASCII, and without <, > and &.
std::string asPageText(const nlohmann::ordered_json& document);

}  // namespace halvexctl
