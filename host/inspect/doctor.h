// The checks of the doctor: what the facts about a controller say, and what helps.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/inspect/controllerFacts.h"

namespace halvexctl {

enum class Health { ok, warn, fail };

std::string_view healthName(Health health);  ///< "OK", "WARN", "FAIL".

struct Finding {
    std::string check;
    Health health = Health::ok;
    std::string text;
    std::string remedy;  ///< Empty when all is well.
};

/// Every check, in a fixed order, each of them once. Reentrant; looks at nothing but the facts.
std::vector<Finding> examine(const ControllerFacts& facts);

}  // namespace halvexctl
