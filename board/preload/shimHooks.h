// What the shims do when a board is switched on or off and when the process forks.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexboard {

/// Null if the thread shims are not linked; the scheduler is useless without them.
__attribute__((weak)) bool hasThreadShims() noexcept;
/// Call once before the scheduler starts, early enough to get one of the first thread-specific keys.
__attribute__((weak)) void prepareThreadShims() noexcept;

void forgetChildren() noexcept;
/// In the parent, behind fork: its result for the child that was prepared for.
void endFork(int result) noexcept;
void resetFileShimsAfterFork() noexcept;

}  // namespace halvexboard
