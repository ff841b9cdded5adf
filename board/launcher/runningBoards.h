// The boards that are running on this machine.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/types.h>
#include <filesystem>
#include <string>
#include <vector>

namespace halvexboard {

inline constexpr const char* kBoardFiles = "/dev/shm/halvexboard.";  ///< Followed by the launcher's pid.

struct RunningBoard {
    pid_t pid;  ///< Of its launcher.
    std::filesystem::path path;
};

/// Those that this user may use, by pid.
std::vector<RunningBoard> runningBoards();

/// Removes the files of boards on which no process lives, nor their launcher.
void removeDeadBoards();

/// A line for each board, and one for each process on it.
std::string boardTable();

}  // namespace halvexboard
