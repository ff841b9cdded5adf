// Chooses which call fails, and how: one in a thousand, each with a plausible outcome for its kind.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/model/board.h"
#include "tests/support/standard.h"

namespace soak {

/// A small generator that depends only on its seed.
class Random {
public:
    explicit constexpr Random(std::uint64_t seed) noexcept : state_(seed) {}

    std::uint64_t next() noexcept;
    /// 0 to `bound` - 1.
    std::uint64_t below(std::uint64_t bound) noexcept { return next() % bound; }

private:
    std::uint64_t state_;
};

/// One call in this many fails.
inline constexpr std::uint64_t kCallsPerFault = 1000;

/// Chooses the outcome of a failing call; false for kinds of call that cannot fail or are not the library's.
bool chooseOutcome(Random& random, const board_call& call, board_fault_outcome& outcome) noexcept;

/// The errno of a thread that cannot be started.
int chooseThreadError(Random& random) noexcept;

}  // namespace soak
