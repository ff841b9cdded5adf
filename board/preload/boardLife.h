// Switching a board on and off in this process: core, files, threads and forks together.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/preload/boardCore.h"

namespace halvexboard {

/// Switches a board on. False when the model refuses the configuration, or the scheduler is asked for and the thread
/// functions are not part of this program.
bool switchOn(const board_config& config, const CoreOptions& options) noexcept;
/// Switches it off: descriptors given out stay open but mean nothing any more.
void switchOff() noexcept;

}  // namespace halvexboard
