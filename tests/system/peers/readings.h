// What one reading of a clock costs: phc_ctl of linuxptp, and the library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

namespace peers {

/// A JSON object. The board is on; nothing else keeps its clocks.
std::string measureReadings();

}  // namespace peers
