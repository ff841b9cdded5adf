/* Reproducible random numbers: one small generator per purpose, so that an extra draw for one does not shift others. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#include "board/model/platform.h"

struct board_random {
	uint64_t state;
};

void board_random_seed(struct board_random *random, uint64_t seed, uint64_t stream);
uint64_t board_random_next(struct board_random *random);
uint64_t board_random_below(struct board_random *random, uint64_t limit); /* 0 .. limit - 1; 0 for limit 0 */
int64_t board_random_gaussian(struct board_random *random,
			      int64_t sigma); /* mean 0, at most 6 sigma; |sigma| <= 1e12 */
/* Never negative; more than n * scale with probability 1 / (n + 1)^2. At most 65535 * scale; scale <= 1e12. */
int64_t board_random_tail(struct board_random *random, int64_t scale);
uint64_t board_square_root(uint64_t value); /* rounded down */
