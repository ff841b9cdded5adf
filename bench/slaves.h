// The library's own devices on the stand-in, in any number.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "bench/bareCalls.h"
#include "bench/standIn.h"
#include "source/zuHalvexTimekeeper/epochAlignment.h"
#include "source/zuHalvexTimekeeper/ferroxEpochDevice.h"
#include "source/zuHalvexTimekeeper/fpgaEpochDevice.h"
#include "source/zuHalvexTimekeeper/halvexTimekeeper.h"
#include "source/zuHalvexTimekeeper/i210EpochDevice.h"
#include "source/zuHalvexTimekeeper/si514FreqSteeringDevice.h"
#include "source/zuHalvexTimekeeper/systemTimeClock.h"

namespace halvexbench {

/// One I210 if alone; otherwise the last slave is the FPGA.
inline bool hasFpga(int slaveCount) { return slaveCount > 1; }
inline int phcCountOf(int slaveCount) { return hasFpga(slaveCount) ? slaveCount - 1 : slaveCount; }

inline halvexTimekeeper::EpochDevices makeSlaves(int slaveCount) {
    halvexTimekeeper::EpochDevices slaves;
    for (int phc = 0; phc < phcCountOf(slaveCount); ++phc) {
        char name[16];
        interfaceName(phc, name);
        slaves.push_back(std::make_shared<halvexTimekeeper::I210EpochDevice>(name));
    }
    if (hasFpga(slaveCount)) slaves.push_back(std::make_shared<halvexTimekeeper::FpgaEpochDevice>(4'000'000'000));
    return slaves;
}

inline halvexTimekeeper::HalvexTimekeeper makeTimekeeper(int slaveCount) {
    using namespace halvexTimekeeper;
    return {std::make_shared<FerroxEpochDevice>(), std::make_shared<SystemTimeClock>(false, ""),
            std::make_shared<Si514FreqSteeringDevice>(62'000, -62'000), makeSlaves(slaveCount)};
}

/// Moves all slaves by the same time.
inline void disturb(int slaveCount, std::int64_t byNs) {
    if (hasFpga(slaveCount)) differenceNs(0) = byNs;
    for (int phc = 0; phc < phcCountOf(slaveCount); ++phc) differenceNs(phc + 1) = byNs;
}

}  // namespace halvexbench
