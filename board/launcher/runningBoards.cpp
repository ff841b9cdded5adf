// The boards that are running on this machine.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/launcher/runningBoards.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>

#include "board/preload/sharedBoard.h"

namespace halvexboard {

namespace {

namespace fs = std::filesystem;

std::string commandLine(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/cmdline", std::ios::binary);
    std::string words;
    for (char character = 0; file.get(character);) words += character == '\0' ? ' ' : character;
    return words.substr(0, words.find_last_not_of(' ') + 1);
}

void describe(const RunningBoard& running, const SharedBoard& board, std::string& text) {
    char line[256];
    const double seconds = static_cast<double>(board.core.virtualNs.load()) / 1e9;
    const int length =
        std::snprintf(line, sizeof line, "board %d: scenario %s, seed %llu, ", running.pid, board.settings.scenario,
                      static_cast<unsigned long long>(board.settings.config.seed));
    std::snprintf(line + length, sizeof line - static_cast<std::size_t>(length),
                  board.settings.isTimeReal ? "in real time\n" : "%.9f s\n", seconds);
    text += line;
    for (const Process& process : board.processes.entries)
        if (process.isUsed && process.pid > 0)
            text += "  " + std::to_string(process.pid) + " " + commandLine(process.pid) + "\n";
}

/// Every file of a board that this user may use.
std::vector<RunningBoard> boardFiles() {
    const fs::path pattern(kBoardFiles);
    std::vector<RunningBoard> boards;
    for (const auto& entry : fs::directory_iterator(pattern.parent_path())) {
        const std::string name = entry.path().filename();
        const std::string start = pattern.filename();
        if (!name.starts_with(start)) continue;
        const pid_t pid = std::atoi(name.c_str() + start.size());
        if (pid > 0 && access(entry.path().c_str(), R_OK | W_OK) == 0) boards.push_back({pid, entry.path()});
    }
    std::sort(boards.begin(), boards.end(), [](const auto& a, const auto& b) { return a.pid < b.pid; });
    return boards;
}

bool isAlive(pid_t pid) { return pid > 0 && !hasDied(static_cast<std::uint32_t>(pid)); }

bool isPopulated(const SharedBoard& board) {
    return std::any_of(std::begin(board.processes.entries), std::end(board.processes.entries),
                       [](const Process& process) { return process.isUsed && isAlive(process.pid); });
}

}  // namespace

std::vector<RunningBoard> runningBoards() {
    std::vector<RunningBoard> boards = boardFiles();
    std::erase_if(boards, [](const RunningBoard& running) { return !isAlive(running.pid); });
    return boards;
}

void removeDeadBoards() {
    for (const RunningBoard& running : boardFiles()) {
        if (isAlive(running.pid)) continue;
        SharedBoard* const board = mapBoard(running.path.c_str());
        if (board == nullptr || !isPopulated(*board)) unlink(running.path.c_str());
        if (board != nullptr) munmap(board, sizeof *board);
    }
}

std::string boardTable() {
    std::string text;
    for (const RunningBoard& running : runningBoards()) {
        const SharedBoard* const board = mapBoard(running.path.c_str());
        if (board == nullptr) continue;  // gone meanwhile, or of another version
        describe(running, *board, text);
        munmap(const_cast<SharedBoard*>(board), sizeof *board);
    }
    return text;
}

}  // namespace halvexboard
