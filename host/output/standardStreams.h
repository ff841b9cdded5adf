// What is written to standard output and standard error, and whether it arrived.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdio>
#include <string_view>

namespace halvexctl {

/// Occupies the descriptor of each standard stream that is closed, so that no file opened later takes its number. The
/// stream still fails with EBADF. To be called before anything is opened.
void holdStandardStreams() noexcept;

/// Writes and flushes. Threads: thread-bound. Failure: kept for outputError().
void put(std::FILE* stream, std::string_view text) noexcept;

/// errno of the first put() to standard output that failed; 0: all is written.
int outputError() noexcept;

}  // namespace halvexctl
