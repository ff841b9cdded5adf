// Starting a program on the simulated controller.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/launcher/options.h"

namespace halvexboard {

/// Replaces this process by the command. Returns only by throwing std::runtime_error (or ScenarioError).
[[noreturn]] void runOnBoard(const Options& options);

}  // namespace halvexboard
