// The board's internal lock, shared by scheduler, descriptor table and model.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/preload/futexLock.h"

namespace halvexboard {

/// Constant-initialised: usable before any constructor runs.
inline constinit FutexLock theBoardLock;
constexpr FutexLock& boardLock() noexcept RETURN_CAPABILITY(theBoardLock) { return theBoardLock; }

}  // namespace halvexboard
