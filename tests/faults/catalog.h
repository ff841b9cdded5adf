// The plausible failures of each kind of call.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/faults/simulatedController.h"

namespace faults {

const std::vector<Outcome>& outcomesOf(Call call, bool isDriver);

}  // namespace faults
