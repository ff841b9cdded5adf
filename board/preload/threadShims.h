// Whether the interposed thread functions are part of this program; the scheduler is of no use without them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexboard {

/// Weak elsewhere: null when the object with the thread functions was left out.
__attribute__((weak)) bool hasThreadShims() noexcept;
/// To be called once before the scheduler starts, early enough to get one of the first thread-specific keys.
__attribute__((weak)) void prepareThreadShims() noexcept;

}  // namespace halvexboard
