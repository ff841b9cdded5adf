// The verb explain: what an error code, its name or the place that raised it stands for.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

#include "host/output/result.h"

namespace halvexctl {

/// Throws UsageError when nothing of that code, name or place ("fileWrapper:20") is known and it is not "all".
/// Reentrant.
void checkExplanationTopic(const std::string& topic);

/// Fills in what is known of the topic, which was checked.
void explainTopic(const std::string& topic, Result& result);

}  // namespace halvexctl
