// Whether the thread shims are linked; the scheduler is useless without them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexboard {

/// Weak here: null if the thread shims are not linked.
__attribute__((weak)) bool hasThreadShims() noexcept;
/// Call once before the scheduler starts, early enough to get one of the first thread-specific keys.
__attribute__((weak)) void prepareThreadShims() noexcept;

}  // namespace halvexboard
