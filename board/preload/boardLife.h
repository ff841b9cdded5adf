// Switches a board on and off in this process: core, files, threads and forks.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/preload/boardCore.h"

namespace halvexboard {

/// Switches a board on. Returns false if the model rejects the configuration, or if the scheduler is requested and the
/// thread shims are not linked.
bool switchOn(const board_config& config, const CoreOptions& options) noexcept;
/// Switches it off: its descriptors stay open but are dead.
void switchOff() noexcept;

}  // namespace halvexboard
