// How the timekeeper takes a step, said before it is asked to.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

namespace halvexctl {

inline constexpr std::int64_t kStepGranularityNs = 200;
inline constexpr std::int64_t kUnconfirmedStepLimitNs = 1'000'000'000;

/// The step that will be carried out: cut toward zero to a multiple of 200 ns.
constexpr std::int64_t cutStepNs(std::int64_t offsetNs) { return offsetNs / kStepGranularityNs * kStepGranularityNs; }

/// Backward, or over one second: not without confirmation.
constexpr bool stepNeedsConfirmation(std::int64_t offsetNs) {
    return offsetNs < 0 || offsetNs > kUnconfirmedStepLimitNs;
}

}  // namespace halvexctl
