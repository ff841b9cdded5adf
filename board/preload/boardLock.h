// The one internal lock of the board, shared by scheduler, descriptor table and model.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/preload/futexLock.h"

namespace halvexboard {

/// Constant-initialised, so that it is there before any constructor ran.
inline constinit FutexLock theBoardLock;
constexpr FutexLock& boardLock() noexcept { return theBoardLock; }

}  // namespace halvexboard
