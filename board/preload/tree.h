// The board's files by path: location and meaning only, no contents, no calls.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>

#include "board/model/board.h"

namespace halvexboard {

enum class NodeKind : std::uint8_t {
    directory,
    directoryLink,  ///< A symbolic link to a directory, common in sysfs.
    constantText,   ///< Contains a text of the configuration.
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
    int target = BOARD_TARGET_ANY;  ///< Absent while this target's driver is.
    const char* text = nullptr;
    int parent = -1;  ///< Position of the directory it is listed in; -1: a directory of the real machine.
};

/// Relation of a path to the board.
enum class PathClass : std::uint8_t {
    foreign,  ///< Not the board's: passes through.
    missing,  ///< The board's, but absent.
    present,
};

struct PathAnswer {
    PathClass what = PathClass::foreign;
    const Node* node = nullptr;
};

/// Exists beside the scenario's interfaces, as on every machine.
inline constexpr const char* kLoopbackInterface = "lo";

inline constexpr std::size_t kMaxPath = 512;

/// Builds the tree for a configuration, which must outlive it. Allocates nothing.
void buildTree(const board_config& config) noexcept;

/// By position in the tree, which is the same in every process of a board.
const Node& nodeAt(std::uint16_t position) noexcept;
std::uint16_t positionOf(const Node& node) noexcept;

/// Looks up an absolute path; handles "//", "/./", "/../" and trailing slashes. Only while a board is on.
PathAnswer findPath(const char* path) noexcept;

/// Iterates over the children of a directory in kernel order. Start with position 0; null at the end.
const Node* nextChild(const Node& directory, std::size_t& position) noexcept;
/// The same for a directory of the real machine that contains board files (/dev, /proc/driver ...).
const Node* nextGuest(const char* realDirectory, std::size_t& position) noexcept;
bool hasGuests(const char* realDirectory) noexcept;

/// Whether the board has files below this path; the machine may lack the directories.
bool leadsToBoard(const char* path) noexcept;

/// Normalises the path. Returns false if it is relative or too long.
bool plainPath(const char* path, char (&plain)[kMaxPath]) noexcept;

}  // namespace halvexboard
