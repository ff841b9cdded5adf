// Switches a board on and off in this process, or takes part in one that other processes are on.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/preload/boardCore.h"
#include "board/preload/sharedBoard.h"

namespace halvexboard {

/// Switches on a board of this process alone. Returns false if the configuration exceeds a maximum of the model, or if
/// the scheduler is wanted without the thread shims.
bool switchOn(const board_config& config, const CoreOptions& options) noexcept;
void switchOff() noexcept;

/// Comes to a board that processes share, and switches it on if this is the first. Waits for this process's turn.
/// Returns null, or what is wrong.
const char* joinBoard(SharedBoard& board) noexcept;

}  // namespace halvexboard
