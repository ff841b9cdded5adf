// The processes on a board: those that live, their children, and those that have ended.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/types.h>
#include <cstdint>

#include "board/preload/scheduler.h"

namespace halvexboard {

/// Of setitimer, kept for what is executed next. 0: none.
struct Alarm {
    std::uint64_t rawNs, intervalNs;
};

struct Process {
    pid_t pid;  ///< 0: not in use, or of a child that is just being started.
    pid_t parent;
    bool isUsed;
    Scheduler::Thread* first;  ///< Of a child until it takes part.
    Alarm alarm;
};

/// All zero is its initial state.
struct ProcessTable {
    Process entries[Scheduler::kMaxProcesses];
    pid_t ending;               ///< Has left the board and is about to end; 0: none.
    int starting;               ///< Children whose pid is not known yet.
    std::int64_t lookedAtNs;    ///< Of the last look for dead ones, real time.
    std::uint64_t outside[64];  ///< Pipes and sockets from outside the board, by inode.
    std::size_t outsideCount;
};
inline constinit ProcessTable ownProcesses{};
inline constinit ProcessTable* processesInUse = &ownProcesses;  ///< Elsewhere for a board that processes share.

/// Where this process comes from, when it comes to the board.
enum class Arrival : std::uint8_t {
    newcomer,  ///< Its parent is not on it.
    child,     ///< Prepared for by its parent.
    replaced,  ///< The same process as before, with another program.
};

/// Finds or makes the entry of this process. Returns its position, or -1: the table is full.
int enterProcess(Arrival& arrival) noexcept;
std::uint16_t ownProcess() noexcept;

/// Before a child is started. Returns its position, or -1: it cannot be on the board. Follow by one of the next three.
int prepareChild() noexcept REQUIRES(boardLock());
/// In the parent: the child lives.
void nameChild(int position, pid_t pid) noexcept;
/// In the parent: it could not be started.
void abandonChild(int position) noexcept;
/// In a forked child.
void becomeChild(int position) noexcept REQUIRES(boardLock());

/// The calling process is about to end, or to leave the board for a program that cannot be on it.
void leaveBoard(bool isEnding) noexcept;
/// Removes processes that have ended without leaving. Called when one has waited for kHeartbeatNs.
void lookAfterProcesses() noexcept REQUIRES(boardLock());
/// Waits until the process that left last has ended: what it held open counts as open until then.
void awaitEnding() noexcept REQUIRES(boardLock());
/// After a signal to a process on the board: waits for its end if it is deadly, else ends its waits.
void noteSignal(pid_t pid, int signal) noexcept;

/// Before this process sends a signal to itself: leaves the board if it is deadly, else ends the waits of its threads.
void beforeOwnSignal(int signal) noexcept;

/// Whether a living child of this process is on the board; -1: any.
bool hasChildOnBoard(pid_t pid) noexcept;
bool isOnBoard(pid_t pid) noexcept;

/// Whether only processes on the board can make the descriptor ready: its waits take virtual time.
bool isInside(int fd) noexcept;

}  // namespace halvexboard
