// Converts a chronicle to the JSON document for the report's page.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <nlohmann/json.hpp>

#include "host/report/chronicle.h"

namespace halvexctl {

/// Instants are ns since the first known one; long tables are thinned.
nlohmann::ordered_json chronicleAsJson(const Chronicle& chronicle);

/// The document as text for an HTML script element: ASCII, and without <, > and &.
std::string asPageText(const nlohmann::ordered_json& document);

}  // namespace halvexctl
