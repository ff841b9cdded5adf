// Counts what operator new hands out; a test program that uses it lists allocationCount.cpp among its sources.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace testsupport {

/// Allocations of the calling thread since it began.
long countAllocations();

}  // namespace testsupport
