// What happens to the board when the process forks or ends.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexboard {

/// Writes out what is still in memory. Set by whoever owns the trace; safe to call at any time.
void flushAtExit() noexcept;
void setFlushAtExit(void (*flush)() noexcept) noexcept;

void forgetChildren() noexcept;
void resetFileShimsAfterFork() noexcept;

}  // namespace halvexboard
