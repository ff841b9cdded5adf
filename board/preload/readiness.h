// Whether a descriptor of the real machine would block, and waiting for it without stopping the other threads.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexboard {

/// Returns once a read of the descriptor would not block, the other threads running meanwhile. At once when nobody else
/// could run, when the descriptor is ready, or when it says nothing about being ready.
void awaitReadable(int fd) noexcept;
void awaitWritable(int fd) noexcept;

}  // namespace halvexboard
