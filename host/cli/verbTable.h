// The verbs of the tool: all there is to know about one is its row.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "host/cli/verb.h"

namespace halvexctl {

/// For whoever stands above the verbs: their actions get the table in ReadingRules.
std::span<const Verb> verbs();

}  // namespace halvexctl
