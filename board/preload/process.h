// Handles fork and exit of the process.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexboard {

/// Writes out buffered lines. Set by the owner of the trace; safe to call at any time.
void flushAtExit() noexcept;
void setFlushAtExit(void (*flush)() noexcept) noexcept;

void forgetChildren() noexcept;
void resetFileShimsAfterFork() noexcept;

}  // namespace halvexboard
