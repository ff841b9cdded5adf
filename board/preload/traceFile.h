// The trace as a file: buffers lines in fixed memory and writes them in pieces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/preload/boardCore.h"

namespace halvexboard {

/// Opens and truncates the file on a descriptor near the process's limit, out of the program's way. Returns 0 or errno.
int openTraceFile(const char* path) noexcept;
/// The sink that writes every happening to the file.
HappeningSink traceFileSink() noexcept;
/// Writes out the buffer. Later lines are written at once.
void finishTraceFile() noexcept;
/// In a forked child: drops the buffer, the file is the parent's.
void abandonTraceFile() noexcept REQUIRES(boardLock());

}  // namespace halvexboard
