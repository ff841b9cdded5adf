// A second implementation of the alignment's rule, on plain numbers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <vector>

#include "bench/standIn.h"

namespace halvexbench {

/// Iterations of the rule from these differences to the master, in ns, with step losses from the stream of `seed`.
int referenceIterations(std::vector<std::int64_t> differencesNs, std::uint64_t seed, StepLoss loss);

/// Iterations of the library on the stand-in: one I210 per difference except the last, which is the FPGA's.
int libraryIterations(const std::vector<std::int64_t>& differencesNs, std::uint64_t seed, StepLoss loss);

}  // namespace halvexbench
