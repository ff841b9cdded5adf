// Where the soak sits between the library and the board: it decides which call fails and sees everything that happens.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

#include "board/preload/boardCore.h"

namespace soak {

/// What may fail at present. Changed by the host while no other thread runs.
///
/// A device whose release fails ends the process, as it must. So that no such end comes by chance, the FPGA's requests
/// are spared while the library is finalised; and what fails an initialisation fails it once, so that the way back is
/// walked without further faults.
struct Weather {
    bool isFaulty = false;
    bool isInitializing = false;
    bool isFinalizing = false;
    bool isControllerWhole = true;  ///< Every driver is there, so that nothing but a fault can fail an initialisation.
    std::uint64_t errorLinesBefore = 0;  ///< When the initialisation began.
};

void seedFaults(std::uint64_t seed) noexcept;
Weather& weather() noexcept;

/// For the account of descriptors and children; the host sets the members back.
struct Tally {
    std::uint32_t threads = 0;            ///< Refused since the soak began.
    std::uint32_t faults = 0;             ///< Since the initialisation began.
    std::uint32_t failedPtpRequests = 0;  ///< The same; each closes its descriptor.
    std::uint32_t failedFpgaLoads = 0;    ///< The same; the FPGA stays closed then.
    std::uint32_t taken = 0;              ///< I210s that are synchronised.
    std::uint32_t spawned = 0;            ///< Since children were reaped.
    std::uint32_t failedKills = 0;        ///< The same.
    std::uint32_t refused = 0;  ///< Clocks refused while being made: each leaves its descriptor open for good.
};
Tally& tally() noexcept;

/// Passed to the board as it is switched on.
halvexboard::HappeningSink sink() noexcept;

}  // namespace soak
