// Shows output of the program and the board while they run, as lines on a descriptor.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/model/board.h"

namespace halvexboard {

/// Writes one line for a syslog entry, an injected fault or an event; nothing for other happenings. Call with the
/// board's lock held; allocates nothing. Lines that cannot be written are dropped: the record is the trace.
void showOnConsole(int fd, const board_happening& happening) noexcept;
bool isForConsole(const board_happening& happening) noexcept;

}  // namespace halvexboard
