// The descriptors the board has given out. Each is a real kernel descriptor; this table says what it stands for.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>

#include "board/preload/tree.h"

namespace halvexboard {

/// An open file of the board, shared by the descriptors duplicated from one another.
struct OpenFile {
    static constexpr std::size_t kContentSize = 4096;  ///< A sysfs attribute is one page at most.

    const Node* node = nullptr;
    int flags = 0;  ///< As given to open().
    std::int64_t offset = 0;
    std::uint32_t references = 0;
    bool isStream = false;  ///< Opened through stdio, whose inner reads the shim does not see.
    std::uint32_t contentSize = 0;
    char content[kContentSize] = {};  ///< What the attribute held when it was last read from its start.

    bool canRead() const noexcept;
    bool canWrite() const noexcept;
    int interface() const noexcept { return node->target - BOARD_TARGET_FIRST_INTERFACE; }
};

inline constexpr int kMaxDescriptor = 65'536;

/// Null when the descriptor is not the board's. Cheap; safe for any number.
OpenFile* findDescriptor(int fd) noexcept;
/// Makes a descriptor for the node. -errno: EMFILE as the kernel says, ENFILE when the table is full.
int makeDescriptor(const Node& node, int flags) noexcept;
/// Lets a second descriptor stand for the same open file.
void shareDescriptor(int from, int to) noexcept;
/// The number no longer stands for anything; the caller closes it.
void forgetDescriptor(int fd) noexcept;
void forgetAllDescriptors() noexcept;

/// Datagram sockets are the machine's own, but calls on the board while interface requests are made on them.
void noteSocket(int fd) noexcept;
bool isNotedSocket(int fd) noexcept;

}  // namespace halvexboard
