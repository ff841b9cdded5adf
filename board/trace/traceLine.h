// One happening on the board as one line of JSON.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#ifndef HALVEX_BOARD_TRACE_TRACELINE_H
#define HALVEX_BOARD_TRACE_TRACELINE_H

#include <cstddef>

#include "board/model/board.h"

namespace halvexboard {

/// A buffer of this size holds every line; only the text of a long syslog line or remark is ever cut.
inline constexpr std::size_t kMaxTraceLine = 8192;

/// Writes the happening as one JSON object and a newline, without a terminating zero; returns the length, 0 when even
/// the shortest form does not fit. Allocates nothing, reads no locale, keeps no state: same happening, same bytes.
/// Every line has "seq", "raw_ns" (the true instant) and "kind"; times and differences are ns, steering is ppt.
std::size_t formatHappening(const board& theBoard, const board_happening& happening, char* out, std::size_t capacity);

}  // namespace halvexboard

#endif
