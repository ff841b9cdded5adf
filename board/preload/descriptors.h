// The descriptors that the board has handed out. Each is a real kernel descriptor; this table maps it to a node.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>

#include "board/preload/futexLock.h"
#include "board/preload/tree.h"

namespace halvexboard {

/// An open file of the board, shared by all descriptors duplicated from it.
struct OpenFile {
    static constexpr std::size_t kContentSize = 4096;  ///< A sysfs attribute is one page at most.

    const Node* node = nullptr;
    int flags = 0;  ///< As passed to open().
    std::int64_t offset GUARDED_BY(boardLock()) = 0;
    std::uint32_t references GUARDED_BY(boardLock()) = 0;
    bool isStream = false;  ///< Opened through stdio, whose internal reads bypass the shim.
    std::uint32_t contentSize GUARDED_BY(boardLock()) = 0;
    char content[kContentSize] GUARDED_BY(boardLock()) = {};  ///< The attribute as of the last read from its start.

    bool canRead() const noexcept;
    bool canWrite() const noexcept;
    int interface() const noexcept { return node->target - BOARD_TARGET_FIRST_INTERFACE; }
};

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

/// Datagram sockets belong to the machine, but interface requests on them are calls on the board.
void noteSocket(int fd) noexcept;
bool isNotedSocket(int fd) noexcept;

}  // namespace halvexboard
