// Runs a program on the simulated controller.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/launcher/options.h"

namespace halvexboard {

/// Replaces this process with the command. Throws std::runtime_error or ScenarioError on failure.
[[noreturn]] void runOnBoard(const Options& options);

}  // namespace halvexboard
