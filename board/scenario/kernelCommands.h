// A scenario as commands for the kernel's board.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "board/model/board.h"

namespace halvexboard {

/// One write to /proc/halvexboard/control, at an instant after the board was switched on.
struct KernelCommand {
    std::uint64_t atNs = 0;
    std::string text;
};

/// Switches on an equivalent board, then adds its faults and events, in order of time. The machine keeps its own system
/// clock, phc2sys and call costs. Throws ScenarioError for what the kernel's board does not support.
std::vector<KernelCommand> kernelCommands(const board_config& config);

std::string kernelFaultCommand(const board_fault_config& fault);

}  // namespace halvexboard
