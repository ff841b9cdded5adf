// The board's files by path: what is where, and what it stands for. No contents, no calls.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>

#include "board/model/board.h"

namespace halvexboard {

enum class NodeKind : std::uint8_t {
    directory,
    directoryLink,  ///< A symbolic link to a directory, as sysfs is full of them.
    constantText,   ///< Reads as a text of the configuration.
    ppbOffset,
    writeOnly,  ///< bind, unbind, uevent
    ptpDevice,
    driverNode,
    program,  ///< phc2sys
};

struct Node {
    const char* path = nullptr;
    const char* name = nullptr;  ///< Last component of path.
    NodeKind kind = NodeKind::directory;
    board_file file = BOARD_FILE_ANY;
    int target = BOARD_TARGET_ANY;  ///< Gone while this target's driver is gone.
    const char* text = nullptr;
    int parent = -1;  ///< Position of the directory it is listed in; -1: a directory of the real machine.
};

/// What a path means to the board.
enum class PathClass : std::uint8_t {
    foreign,  ///< Not the board's: passes through.
    missing,  ///< Would be the board's, and is not there.
    present,
};

struct PathAnswer {
    PathClass what = PathClass::foreign;
    const Node* node = nullptr;
};

/// Beside the scenario's interfaces, as on every machine.
inline constexpr const char* kLoopbackInterface = "lo";

inline constexpr std::size_t kMaxPath = 512;

/// Builds the tree for a configuration, which must outlive it. Allocates nothing.
void buildTree(const board_config& config) noexcept;

/// Looks up an absolute path; "//", "/./", "/../" and trailing slashes are understood. Only while a board is on.
PathAnswer findPath(const char* path) noexcept;

/// Walks the children of a directory in the order in which the kernel lists them. Start with position 0; null at the
/// end.
const Node* nextChild(const Node& directory, std::size_t& position) noexcept;
/// The same for a directory of the real machine that has board files in it (/dev, /proc/driver ...).
const Node* nextGuest(const char* realDirectory, std::size_t& position) noexcept;
bool hasGuests(const char* realDirectory) noexcept;

/// Whether files of the board lie somewhere below: the machine may lack the directory that would lead to them.
bool leadsToBoard(const char* path) noexcept;

/// The path in its plain form. False if it is relative or too long.
bool plainPath(const char* path, char (&plain)[kMaxPath]) noexcept;

}  // namespace halvexboard
