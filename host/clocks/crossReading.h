// Measures the timekeeper against CLOCK_MONOTONIC_RAW.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

#include "host/session/hostCalls.h"

namespace halvexctl {

/// The timekeeper's time between two readings of the raw clock.
struct CrossReading {
    std::uint64_t timeNs = 0;
    std::int64_t rawNs = 0;        ///< Midpoint of the two readings.
    std::int64_t halfWidthNs = 0;  ///< The true instant is within rawNs +- halfWidthNs.
};

/// Reads several times and keeps the reading with the narrowest bracket. Reports one line for all of them.
CrossReading readAgainstRaw(HostCalls& calls, int readings);

/// The timekeeper's movement against the raw clock between two readings; wraps in 64 bits.
std::int64_t movedAgainstRawNs(const CrossReading& from, const CrossReading& to);

/// A rate with its bound: the true rate is within ratePpb +- boundPpb.
struct Drift {
    double ratePpb = 0;
    double boundPpb = 0;
};
Drift driftBetween(const CrossReading& from, const CrossReading& to);

}  // namespace halvexctl
