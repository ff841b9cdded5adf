// The verbs of the tool, one row each.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "host/cli/verb.h"

namespace halvexctl {

/// For the layers above the verbs: actions get the table in ReadingRules.
std::span<const Verb> verbs();

}  // namespace halvexctl
