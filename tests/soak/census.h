// Resources of the process: descriptors by target, threads, written memory.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/model/board.h"
#include "tests/support/standard.h"

namespace soak {

struct Census {
    int descriptors = 0;                                                              ///< All in the process.
    std::array<int, BOARD_TARGET_FIRST_INTERFACE + BOARD_MAX_INTERFACES> onTarget{};  ///< Of the board, by target.
    int sockets = 0;
    int threads = 0;
    std::int64_t writtenKiB = 0;
};

/// Allocates nothing that outlives the call.
Census takeCensus();

}  // namespace soak
