// Quantities in human notation: "1.5 ms", "-399 ns", 12.5 ppb.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace halvexboard {

/// "1.5 ms" in ns; units ns us ms s min h d, sign and blanks allowed. Exact: empty if the text is not a duration, is
/// finer than 1 ns or beyond 146 years.
std::optional<std::int64_t> parseDuration(std::string_view text);

/// What parseDuration reads as this, in the largest unit up to s that needs no decimals: 1500000 as "1500 us".
std::string durationText(std::int64_t ns);

/// ppb in ppt, rounded to nearest; empty beyond +-1e9 ppb or for NaN.
std::optional<std::int64_t> ppbToPpt(double ppb);

}  // namespace halvexboard
