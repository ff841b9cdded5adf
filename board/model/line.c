/* A time line: see line.h. Splits the product of distance and rate so that every part fits 64 bits. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/line.h"

#define PPM_IN_PPT 1000000LL

static int64_t floor_divide(int64_t value, int64_t by)
{
	int64_t quotient = value / by;

	return quotient * by > value ? quotient - 1 : quotient;
}

/* distance * rate / 1e12 in whole ns, rounded down; *fraction carries the remainder. */
static int64_t correction(uint64_t distance, int64_t rate_ppt, uint64_t *fraction)
{
	const int64_t ppm = floor_divide(rate_ppt, PPM_IN_PPT);
	const int64_t rest_ppt = rate_ppt - ppm * PPM_IN_PPT;
	const int64_t millions = (int64_t)(distance / (uint64_t)PPM_IN_PPT);
	const int64_t below_million = (int64_t)(distance % (uint64_t)PPM_IN_PPT);
	const int64_t trillions = (int64_t)(distance / (uint64_t)BOARD_PPT_PER_ONE);
	const int64_t below_trillion = (int64_t)(distance % (uint64_t)BOARD_PPT_PER_ONE);
	const int64_t rest = below_million * ppm * PPM_IN_PPT + below_trillion * rest_ppt + (int64_t)*fraction;
	const int64_t carried = floor_divide(rest, BOARD_PPT_PER_ONE);

	*fraction = (uint64_t)(rest - carried * BOARD_PPT_PER_ONE);
	return millions * ppm + trillions * rest_ppt + carried;
}

uint64_t board_line_value(const struct board_line *line, uint64_t x)
{
	const uint64_t distance = x - line->anchor;
	uint64_t fraction = line->fraction;

	return line->whole + distance + (uint64_t)correction(distance, line->rate_ppt, &fraction);
}

void board_line_set_rate(struct board_line *line, uint64_t x, int64_t rate_ppt)
{
	const uint64_t distance = x - line->anchor;

	line->whole += distance + (uint64_t)correction(distance, line->rate_ppt, &line->fraction);
	line->anchor = x;
	line->rate_ppt = rate_ppt;
}

void board_line_shift(struct board_line *line, int64_t by_ns)
{
	line->whole += (uint64_t)by_ns;
}
