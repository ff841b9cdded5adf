// Checks whether a descriptor of the real machine would block, and waits without stopping the other threads.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexboard {

/// Returns once a read of the descriptor would not block; other threads run meanwhile. Returns at once if no other
/// thread could run, or if the descriptor is ready or does not report readiness.
void awaitReadable(int fd) noexcept;
void awaitWritable(int fd) noexcept;

}  // namespace halvexboard
