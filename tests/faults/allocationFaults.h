// Memory that runs out: the allocations of the library's own are counted, and one of them, or all from one on, refused.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace faults {

/// Whether this thread is inside the library, so that what it allocates is the library's.
extern constinit thread_local bool isInsideLibrary;

/// Refuses the allocation at `position` (the first is 1; 0 refuses none), and with `forEver` every later one. Counts
/// anew and keeps track of what is allocated from now on.
void refuseAllocation(long position, bool forEver);
void allowAllocations();         ///< Refuses nothing more; what lives is tracked on.
long countLibraryAllocations();  ///< Since refuseAllocation.
long countLiveAllocations();     ///< Of those tracked, the ones not freed.
void forgetAllocations();        ///< Ends the tracking.

}  // namespace faults
