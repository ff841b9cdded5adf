// The verb map: interfaces, clocks and drivers, and which of them the library uses.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "host/inspect/controllerFacts.h"
#include "host/output/result.h"

namespace halvexctl {

void showMap(const ControllerFacts& facts, Result& result);

}  // namespace halvexctl
