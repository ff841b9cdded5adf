// Which call fails, and how: one in a thousand, each with something that this kind of call can plausibly come to.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

#include "board/model/board.h"

namespace soak {

/// A small generator whose numbers depend on nothing but its seed.
class Random {
public:
    explicit constexpr Random(std::uint64_t seed) noexcept : state_(seed) {}

    std::uint64_t next() noexcept;
    /// 0 to `bound` - 1.
    std::uint64_t below(std::uint64_t bound) noexcept { return next() % bound; }

private:
    std::uint64_t state_;
};

/// One fault in this many calls.
inline constexpr std::uint64_t kCallsPerFault = 1000;

/// What the call results in instead of its success; false for kinds of call that cannot fail or are none of the
/// library's.
bool chooseOutcome(Random& random, const board_call& call, board_fault_outcome& outcome) noexcept;

/// The errno of a thread that cannot be started.
int chooseThreadError(Random& random) noexcept;

}  // namespace soak
