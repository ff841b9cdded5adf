// What each kind of call can plausibly come to instead of its success.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <vector>

#include "tests/faults/simulatedController.h"

namespace faults {

const std::vector<Outcome>& outcomesOf(Call call, bool isDriver);

}  // namespace faults
