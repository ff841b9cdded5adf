// A second implementation of the alignment's rule, on plain numbers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "bench/alignmentReference.h"

#include <cstdlib>

#include "bench/slaves.h"
#include "source/zuHalvexTimekeeper/ferroxEpochDevice.h"

namespace halvexbench {

int referenceIterations(std::vector<std::int64_t> differencesNs, std::uint64_t seed, StepLoss loss) {
    seedLosses(seed, loss);
    std::vector<bool> isDone(differencesNs.size());
    std::size_t doneCount = 0;
    int iterations = 0;
    for (; doneCount < differencesNs.size(); ++iterations) {
        for (std::size_t slave = 0; slave < differencesNs.size(); ++slave) {
            if (isDone[slave]) continue;
            if (std::abs(differencesNs[slave]) <= 100) {
                isDone[slave] = true;
                ++doneCount;
            } else {
                const int factor = iterations % 2 == 0 ? 1 : 2;
                differencesNs[slave] += -factor * differencesNs[slave] - drawLossNs();
            }
        }
    }
    return iterations;
}

int libraryIterations(const std::vector<std::int64_t>& differencesNs, std::uint64_t seed, StepLoss loss) {
    const int slaveCount = static_cast<int>(differencesNs.size());
    static halvexTimekeeper::FerroxEpochDevice master;
    static const halvexTimekeeper::EpochDevices slaves = makeSlaves(slaveCount);
    for (int phc = 0; phc + 1 < slaveCount; ++phc) differenceNs(phc + 1) = differencesNs[static_cast<std::size_t>(phc)];
    differenceNs(0) = differencesNs.back();
    seedLosses(seed, loss);
    halvexTimekeeper::EpochAlignment(master, slaves).run();
    return static_cast<int>(counters().iterations);
}

}  // namespace halvexbench
