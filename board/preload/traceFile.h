// The trace as a file: lines are stored in a mapping of it, so that a killed program loses none.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/preload/boardCore.h"

namespace halvexboard {

/// Opens and truncates the file on a descriptor near the process's limit, out of the program's way. Returns 0 or errno,
/// EWOULDBLOCK if another board writes it.
int openTraceFile(const char* path) noexcept;
/// The sink that writes every happening to the file.
HappeningSink traceFileSink() noexcept;
/// Cuts the file behind the last line. Later lines are written one by one.
void finishTraceFile() noexcept;
/// In a forked child: the file is the parent's.
void abandonTraceFile() noexcept REQUIRES(boardLock());

}  // namespace halvexboard
