// The cost of one clock reading: phc_ctl of linuxptp, and the library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/standard.h"

namespace peers {

/// Returns a JSON object. The board must be on, with nothing else disciplining its clocks.
std::string measureReadings();

}  // namespace peers
