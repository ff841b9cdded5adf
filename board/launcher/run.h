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

/// Runs the command on a board of its own and ends as it does. Throws std::runtime_error or ScenarioError.
[[noreturn]] void runOnBoard(const Options& options);
/// Replaces this process by the command, on a board that is running. Throws std::runtime_error or UsageError.
[[noreturn]] void attachToBoard(const Options& options);

}  // namespace halvexboard
