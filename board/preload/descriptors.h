// The descriptors that the board has handed out. Each is a real kernel descriptor; this table maps it to a node.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>

#include "board/preload/futexLock.h"
#include "board/preload/tree.h"

namespace halvexboard {

/// An open file of the board, shared by all descriptors duplicated or inherited from it. All zero: not in use.
struct OpenFile {
    static constexpr std::size_t kContentSize = 4096;  ///< A sysfs attribute is one page at most.

    std::uint16_t nodePosition;
    bool isStream;  ///< Opened through stdio, whose internal reads bypass the shim.
    int flags;      ///< As passed to open().
    std::int64_t offset GUARDED_BY(boardLock());
    std::uint64_t holders GUARDED_BY(boardLock());  ///< A bit for each process with descriptors of it.
    std::uint64_t inode GUARDED_BY(boardLock());  ///< Of the kernel's file behind them: how they are known after exec.
    std::uint32_t contentSize GUARDED_BY(boardLock());
    char content[kContentSize] GUARDED_BY(boardLock());  ///< The attribute as of the last read from its start.

    bool canRead() const noexcept;
    bool canWrite() const noexcept;
    const Node* node() const noexcept { return &nodeAt(nodePosition); }
    int interface() const noexcept { return node()->target - BOARD_TARGET_FIRST_INTERFACE; }
};

/// The open files of all processes on the board.
inline constexpr std::uint16_t kMaxOpenFiles = 2048;
using OpenFiles = OpenFile[kMaxOpenFiles];
inline constinit OpenFiles ownFiles{};
inline constinit OpenFile* filesInUse = ownFiles;  ///< Elsewhere for a board that processes share.

inline constexpr int kMaxDescriptor = 65'536;

/// Returns null if the descriptor is not the board's. Fast; safe for any number.
OpenFile* findDescriptor(int fd) noexcept;
/// Makes a descriptor for the node. Returns -errno: EMFILE from the kernel, ENFILE if the table is full.
int makeDescriptor(const Node& node, int flags) noexcept;
/// Makes `to` refer to the same open file as `from`.
void shareDescriptor(int from, int to) noexcept;
/// Removes the number from the table; the caller closes it.
void forgetDescriptor(int fd) noexcept;
void forgetAllDescriptors() noexcept;

// Processes, by their position in the table of processes. Descriptors pass from one to the next by fork, spawn and
// exec.

/// From here on this process is that one.
void ownDescriptorsAs(std::uint16_t process) noexcept;
/// A process about to be started inherits the descriptors of this one.
void leaveDescriptorsTo(std::uint16_t process) noexcept REQUIRES(boardLock());
/// After exec: finds out which of them are still there.
void findInheritedDescriptors() noexcept;
/// A process has ended.
void dropDescriptorsOf(std::uint16_t process) noexcept REQUIRES(boardLock());

/// Datagram sockets belong to the machine, but interface requests on them are calls on the board.
void noteSocket(int fd) noexcept;
bool isNotedSocket(int fd) noexcept;

}  // namespace halvexboard
