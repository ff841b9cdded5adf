// Standard output and standard error, with error tracking.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdio>
#include <string_view>

namespace halvexctl {

/// Occupies the descriptor of each closed standard stream, so that no file opened later gets its number. The stream
/// still fails with EBADF. Call before opening anything.
void holdStandardStreams() noexcept;

/// Writes and flushes. Threads: thread-bound. Failure: see outputError().
void put(std::FILE* stream, std::string_view text) noexcept;

/// errno of the first failed put() to standard output; 0: none.
int outputError() noexcept;

}  // namespace halvexctl
