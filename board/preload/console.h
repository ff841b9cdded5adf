// What the program and the board have to say while they run, as lines on a descriptor.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/model/board.h"

namespace halvexboard {

/// Writes one line for a syslog entry, an injected fault or an event; nothing for anything else. Called with the
/// board's lock held; allocates nothing. A line that cannot be written is lost: it is a view, the trace is the record.
void showOnConsole(int fd, const board_happening& happening) noexcept;
bool isForConsole(const board_happening& happening) noexcept;

}  // namespace halvexboard
