// The alignment's rule written a second time, on numbers alone.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <vector>

#include "bench/standIn.h"

namespace halvexbench {

/// How many iterations the rule takes from these differences to the master, in ns, when steps lose what the stream of
/// `seed` says.
int referenceIterations(std::vector<std::int64_t> differencesNs, std::uint64_t seed, StepLoss loss);

/// How many the library takes on the stand-in: one I210 for every difference but the last, which is the FPGA's.
int libraryIterations(const std::vector<std::int64_t>& differencesNs, std::uint64_t seed, StepLoss loss);

}  // namespace halvexbench
