// Suggests the known word most similar to a mistyped one.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/suggestion.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace halvexctl {

std::size_t editDistance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> beforeLast(to.size() + 1), last(to.size() + 1), current(to.size() + 1);
    for (std::size_t column = 0; column <= to.size(); ++column) {
        last[column] = column;
    }
    for (std::size_t row = 1; row <= from.size(); ++row) {
        current[0] = row;
        for (std::size_t column = 1; column <= to.size(); ++column) {
            const std::size_t replaced = last[column - 1] + (from[row - 1] == to[column - 1] ? 0 : 1);
            current[column] = std::min({replaced, last[column] + 1, current[column - 1] + 1});
            const bool swapped =
                row > 1 && column > 1 && from[row - 1] == to[column - 2] && from[row - 2] == to[column - 1];
            if (swapped) {
                current[column] = std::min(current[column], beforeLast[column - 2] + 1);
            }
        }
        std::swap(beforeLast, last);
        std::swap(last, current);
    }
    return last[to.size()];
}

std::string suggestion(std::string_view word, std::span<const std::string_view> known) {
    const std::size_t tolerance = std::max<std::size_t>(1, word.size() / 3);
    std::string_view nearest;
    std::size_t nearestDistance = tolerance + 1;
    for (const std::string_view candidate : known) {
        const bool begun = word.size() >= 3 && candidate.starts_with(word);
        const std::size_t distance = begun ? 1 : editDistance(word, candidate);
        if (distance < nearestDistance) {
            nearest = candidate;
            nearestDistance = distance;
        }
    }
    return nearest.empty() ? std::string() : fmt::format("; did you mean \"{}\"?", nearest);
}

}  // namespace halvexctl
