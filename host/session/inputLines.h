// Lines of standard input carried out as they come, until there are no more or a stop is requested.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexctl {

class Session;

/// The session stays up while lines are awaited. A line that is refused is a failed result of `run` with the line as
/// its argument. Threads: thread-bound. Failure: std::system_error when the input cannot be read.
void runLines(Session& session);

}  // namespace halvexctl
