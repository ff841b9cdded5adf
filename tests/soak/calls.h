// Hooks between the library and the board: choose which call fails, and observe everything that happens.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/preload/boardCore.h"
#include "tests/support/standard.h"

namespace soak {

/// Which calls may fail at present. Changed by the host while no other thread runs.
///
/// A device that cannot be released ends the process, as required. To avoid that, the FPGA's requests are spared while
/// the library is finalised; and an initialisation gets only one fault, so that its cleanup runs without further ones.
struct Weather {
    bool isFaulty = false;
    bool isInitializing = false;
    bool isFinalizing = false;
    bool isControllerWhole = true;       ///< Every driver is present: only a fault can fail an initialisation.
    std::uint64_t errorLinesBefore = 0;  ///< At the start of the initialisation.
};

void seedFaults(std::uint64_t seed) noexcept;
Weather& weather() noexcept;

/// Counters for the account of descriptors and children; the host resets the members.
struct Tally {
    std::uint32_t threads = 0;            ///< Refused since the start of the soak.
    std::uint32_t faults = 0;             ///< Since the start of the initialisation.
    std::uint32_t failedPtpRequests = 0;  ///< The same; each closes its descriptor.
    std::uint32_t failedFpgaLoads = 0;    ///< The same; the FPGA stays closed then.
    std::uint32_t taken = 0;              ///< I210s that are synchronised.
    std::uint32_t spawned = 0;            ///< Since children were reaped.
    std::uint32_t failedKills = 0;        ///< The same.
    std::uint32_t refused = 0;            ///< Clocks refused in construction: each leaks its descriptor.
};
Tally& tally() noexcept;

/// Passed to the board when it is switched on.
halvexboard::HappeningSink sink() noexcept;

}  // namespace soak
