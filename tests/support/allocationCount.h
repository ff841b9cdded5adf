// Counts allocations by operator new; test programs that use it list allocationCount.cpp among their sources.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace testsupport {

/// Allocations of the calling thread since its start.
long countAllocations();

}  // namespace testsupport
