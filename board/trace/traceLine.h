// Formats one happening on the board as a line of JSON.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>

#include "board/model/board.h"

namespace halvexboard {

/// Holds any line; only the text of a long syslog line or remark is ever truncated.
inline constexpr std::size_t kMaxTraceLine = 8192;

/// Writes the happening as one JSON object and a newline, without NUL; returns the length, or 0 if even the shortest
/// form does not fit. Allocates nothing, ignores the locale, keeps no state: same happening, same bytes. Every line has
/// "seq", "raw_ns" (the true instant) and "kind"; times and differences are ns, steering is ppt.
std::size_t formatHappening(const board& theBoard, const board_happening& happening, char* out, std::size_t capacity);

}  // namespace halvexboard
