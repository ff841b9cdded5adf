// Runs a program on the simulated controller.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/launcher/options.h"

#include <string>
#include <vector>

namespace halvexboard {

struct ReadyScenario {
    std::string name, title;  ///< The title without the name.
};

/// The scenarios that come with the board, by name. Throws std::runtime_error (or ScenarioError).
std::vector<ReadyScenario> readyScenarios();

/// Replaces this process with the command. Throws std::runtime_error or ScenarioError on failure.
[[noreturn]] void runOnBoard(const Options& options);

}  // namespace halvexboard
