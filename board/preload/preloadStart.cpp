// Constructor and destructor of the preloaded library: takes part in the board before the program runs, until it ends.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/preload/boardLife.h"
#include "board/preload/environment.h"
#include "board/preload/programs.h"

namespace halvexboard {

namespace {

[[noreturn]] void giveUp(const char* what, const char* why) {
    std::fprintf(stderr, "halvexboard: %s: %s\n", what, why);
    _exit(kCannotStart);
}

__attribute__((constructor)) void startPreloaded() {
    const char* const path = std::getenv(kBoardVariable);
    if (path == nullptr) return;
    SharedBoard* const board = mapBoard(path);
    if (board == nullptr) giveUp(path, std::strerror(errno));
    rememberEnvironment(board->settings.outside);
    const char* const problem = joinBoard(*board);
    if (problem != nullptr) giveUp(path, problem);
}

__attribute__((destructor)) void endPreloaded() { leaveBoard(true); }

}  // namespace

}  // namespace halvexboard
