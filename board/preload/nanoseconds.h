// Nanoseconds per unit of time.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

namespace halvexboard {

inline constexpr std::int64_t kNsPerSecond = 1'000'000'000;
inline constexpr std::int64_t kNsPerMillisecond = 1'000'000;
inline constexpr std::int64_t kNsPerMicrosecond = 1'000;

}  // namespace halvexboard
