// Calls on a descriptor of the board. The shims named like the C library's functions only forward to these.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/types.h>
#include <cstddef>
#include <cstdint>

#include "board/preload/boardCore.h"
#include "board/preload/descriptors.h"

namespace halvexboard {

/// The open file of a descriptor of the board; null for the machine's, and while no board is on.
inline OpenFile* ours(int fd) noexcept { return isActive() ? findDescriptor(fd) : nullptr; }

// Each returns what the system call of that name returns, with errno set on -1, and is one call for faults and trace.

int openNode(const Node& node, int flags) noexcept;
/// Fails for a missing path of the board, visible to faults and the trace.
int openMissing() noexcept;
ssize_t readFile(OpenFile& file, void* buffer, std::size_t size) noexcept;
ssize_t writeFile(OpenFile& file, const void* buffer, std::size_t size) noexcept;
off_t seekFile(OpenFile& file, off_t offset, int whence) noexcept;
int requestOnFile(OpenFile& file, unsigned long request, void* argument) noexcept;
/// The board's side of close(). False: a fault makes the call fail (the descriptor is closed anyway).
bool closeFile(OpenFile& file) noexcept;

/// Renders the attribute's current text into the file's buffer. Returns its length, or a negative errno.
int renderContent(OpenFile& file, std::uint64_t rawNs) noexcept REQUIRES(boardLock());
/// Whether a read would not block.
bool isReadable(const OpenFile& file) noexcept REQUIRES(boardLock());
bool isAlwaysReady(const OpenFile& file) noexcept;
/// Those of the events of poll (and of epoll, whose numbers are the same) that are there.
std::uint32_t readiness(const OpenFile& file, std::uint32_t events) noexcept REQUIRES(boardLock());

/// Network interface requests on a socket. False: not for the board.
bool requestOnSocket(int fd, unsigned long request, void* argument, int& result) noexcept;

}  // namespace halvexboard
