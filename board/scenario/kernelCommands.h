// A scenario as the commands of the kernel's board.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#ifndef HALVEX_BOARD_SCENARIO_KERNELCOMMANDS_H
#define HALVEX_BOARD_SCENARIO_KERNELCOMMANDS_H

#include <cstdint>
#include <string>
#include <vector>

#include "board/model/board.h"

namespace halvexboard {

/// What /proc/halvexboard/control takes in one write, at an instant after the board was switched on.
struct KernelCommand {
    std::uint64_t atNs = 0;
    std::string text;
};

/// Switches on a board like this one, then adds its faults and events, in the order of time. The machine keeps its own
/// system clock, phc2sys and costs of calls. Throws ScenarioError for what a kernel's board cannot be.
std::vector<KernelCommand> kernelCommands(const board_config& config);

std::string kernelFaultCommand(const board_fault_config& fault);

}  // namespace halvexboard

#endif
