// The trace as a file: lines collected in memory of fixed size and written out in pieces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/preload/boardCore.h"

namespace halvexboard {

/// Opens (and empties) the file on a descriptor number near the process's limit, out of the program's way. 0, or an
/// errno.
int openTraceFile(const char* path) noexcept;
/// The sink that formats every happening into the file.
HappeningSink traceFileSink() noexcept;
/// Writes out what is still in memory. From then on every line is written at once.
void finishTraceFile() noexcept;
/// In a forked child: the file is the parent's.
void abandonTraceFile() noexcept;

}  // namespace halvexboard
