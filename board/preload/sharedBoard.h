// What the processes on one board share: a file, mapped by each of them at the same address.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

#include "board/preload/boardCore.h"
#include "board/preload/descriptors.h"
#include "board/preload/processes.h"
#include "board/preload/scheduler.h"
#include "board/preload/traceFile.h"

namespace halvexboard {

/// As requested on the command line; written before the first program starts.
struct BoardSettings {
    std::uint64_t layout;  ///< SharedBoard::kLayout of who wrote it.
    board_config config;
    bool isTimeReal;
    bool hasConsole;
    char scenario[128];  ///< For people.
    char outside[512];   ///< Names of programs that may run outside the board, with a space before and behind each.
};

/// All zero is the state before the first program. Pointers inside hold in every process, because the address is one.
struct SharedBoard {
    static const std::uint64_t kLayout;  ///< Another build of the library would see other members.

    BoardSettings settings;
    FutexLock lock;
    CoreState core;
    Scheduler scheduler;
    ProcessTable processes;
    OpenFiles files;
    TraceBuffer trace;
};
inline const std::uint64_t SharedBoard::kLayout = sizeof(SharedBoard);

/// Maps a board's file; null with errno set when that fails, EPROTO if another build has made it.
SharedBoard* mapBoard(const char* path) noexcept;
/// From now on this process uses the shared board. The launcher does so too, without taking part.
void useBoard(SharedBoard& board) noexcept;

}  // namespace halvexboard
