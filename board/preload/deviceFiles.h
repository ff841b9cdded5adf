// What the calls on a descriptor of the board do. The shims named like the C library's functions only forward to these.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <sys/types.h>
#include <cstddef>
#include <cstdint>

#include "board/preload/descriptors.h"

namespace halvexboard {

// Each returns what the system call of that name returns, with errno set on -1, and is one call for faults and the
// trace.

int openNode(const Node& node, int flags) noexcept;
/// A path of the board's that is not there. Faults and the trace see the attempt.
int openMissing() noexcept;
ssize_t readFile(OpenFile& file, void* buffer, std::size_t size) noexcept;
ssize_t writeFile(OpenFile& file, const void* buffer, std::size_t size) noexcept;
off_t seekFile(OpenFile& file, off_t offset, int whence) noexcept;
int requestOnFile(OpenFile& file, unsigned long request, void* argument) noexcept;
/// Close as far as the board is concerned; false: a fault says the call fails (the descriptor is gone all the same).
bool closeFile(OpenFile& file) noexcept;

/// What an attribute reads as now, into the file's own buffer. Its length, or a negative errno.
int renderContent(OpenFile& file, std::uint64_t rawNs) noexcept;
/// Whether a read would not block.
bool isReadable(const OpenFile& file) noexcept;
bool isAlwaysReady(const OpenFile& file) noexcept;

/// Requests about a network interface on a socket. False: not the board's business.
bool requestOnSocket(int fd, unsigned long request, void* argument, int& result) noexcept;

}  // namespace halvexboard
