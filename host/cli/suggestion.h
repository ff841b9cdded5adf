// Suggests the known word most similar to a mistyped one.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace halvexctl {

/// Number of letters to insert, drop, replace or swap with a neighbour to turn one word into the other.
std::size_t editDistance(std::string_view from, std::string_view to);

/// `; did you mean "step"?`, or empty if no known word is similar. Reentrant.
std::string suggestion(std::string_view word, std::span<const std::string_view> known);

}  // namespace halvexctl
