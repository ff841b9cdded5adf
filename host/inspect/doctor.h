// The doctor's checks: evaluates the facts about a controller and suggests remedies.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/inspect/controllerFacts.h"

namespace halvexctl {

enum class Health { ok, unknown, warn, fail };

std::string_view healthName(Health health);  ///< "OK", "UNKNOWN", "WARN", "FAIL".

struct Finding {
    std::string check;
    Health health = Health::ok;
    std::string text;
    std::string remedy;  ///< Empty if all is well.
};

/// Every check once, in a fixed order. Reentrant; uses only the facts.
std::vector<Finding> examine(const ControllerFacts& facts);

}  // namespace halvexctl
