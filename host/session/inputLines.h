// Executes lines of standard input as they arrive, until end of file or a stop request.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexctl {

class Session;

/// The session stays open while it waits for lines; a line "quit" ends it. On a terminal lines are edited, with a
/// prompt on standard error. An invalid line is a failed result of `run` with the line as its argument. Threads:
/// thread-bound. Failure: std::system_error if the input cannot be read.
void runLines(Session& session);

}  // namespace halvexctl
