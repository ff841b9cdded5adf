// The trace as a file: lines are kept in memory and written in pieces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <climits>

#include "board/preload/boardCore.h"

namespace halvexboard {

/// The lines that are not in the file yet. Shared, so that those of a killed process are kept. All zero: no trace.
struct TraceBuffer {
    char path[PATH_MAX];  ///< Absolute; empty: no trace. The file is there, and empty, before the first line.
    bool isBroken;        ///< The file could not be written; the trace has ended.
    std::size_t used;
    char lines[std::size_t{256} * 1024];
};
inline constinit TraceBuffer ownTrace{};
inline constinit TraceBuffer* traceInUse = &ownTrace;  ///< Elsewhere for a board that processes share.

/// The sink that keeps every happening as a line.
HappeningSink traceSink() noexcept;
/// Appends what is kept to the file.
void writeTrace() noexcept REQUIRES(boardLock());

}  // namespace halvexboard
