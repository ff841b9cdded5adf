/* A time line: runs against another one at a slightly different rate, exactly.
 *
 * value(x) = whole + (x - anchor) + (x - anchor) * rate / 1e12; the remainder is kept in `fraction` (1e-12 ns), so rate
 * changes add no rounding error. Rates stay within +-1e12 ppt, distances within 2^63 ns. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#include "board/model/platform.h"

#define BOARD_PPT_PER_ONE 1000000000000LL

struct board_line {
	uint64_t anchor;
	uint64_t whole;
	uint64_t fraction;
	int64_t rate_ppt;
};

uint64_t board_line_value(const struct board_line *line, uint64_t x);
void board_line_set_rate(struct board_line *line, uint64_t x, int64_t rate_ppt); /* effective from x on */
void board_line_shift(struct board_line *line, int64_t by_ns);
