// The known word that a mistyped one most resembles.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace halvexctl {

/// Letters to insert, drop, replace or swap with a neighbour to turn one word into the other.
std::size_t editDistance(std::string_view from, std::string_view to);

/// `; did you mean "step"?`, or nothing when no known word is near. Reentrant.
std::string suggestion(std::string_view word, std::span<const std::string_view> known);

}  // namespace halvexctl
