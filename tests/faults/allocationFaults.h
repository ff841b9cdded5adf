// Allocation failures: counts the library's own allocations and refuses one of them, or all from one on.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace faults {

/// Whether this thread is inside the library; its allocations are then the library's.
extern constinit thread_local bool isInsideLibrary;

/// Refuses the allocation at `position` (the first is 1; 0: none), and with `forEver` all later ones. Restarts the
/// count and tracks allocations from now on.
void refuseAllocation(long position, bool forEver);
void allowAllocations();         ///< Stops refusing; tracking continues.
long countLibraryAllocations();  ///< Since refuseAllocation.
long countLiveAllocations();     ///< Tracked allocations not yet freed.
void forgetAllocations();        ///< Stops tracking.

}  // namespace faults
