// The verb explain: explains an error code, its name or the place that raised it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

#include "host/output/result.h"

namespace halvexctl {

/// Throws UsageError unless the topic is a known code, name or place ("fileWrapper:20"), or "all". Reentrant.
void checkExplanationTopic(const std::string& topic);

/// Adds the explanation of a checked topic to the result.
void explainTopic(const std::string& topic, Result& result);

}  // namespace halvexctl
