/* Reproducible random numbers: a counter and a mixing function (splitmix64). */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/random.h"

#define STEP 0x9E3779B97F4A7C15ULL

static uint64_t mix(uint64_t value)
{
	value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9ULL;
	value = (value ^ (value >> 27)) * 0x94D049BB133111EBULL;
	return value ^ (value >> 31);
}

void board_random_seed(struct board_random *random, uint64_t seed, uint64_t stream)
{
	random->state = mix(mix(seed + STEP) + stream * STEP);
}

uint64_t board_random_next(struct board_random *random)
{
	random->state += STEP;
	return mix(random->state);
}

uint64_t board_random_below(struct board_random *random, uint64_t limit)
{
	return limit == 0 ? 0 : board_random_next(random) % limit;
}

/* Twelve 16-bit numbers: their sum has a standard deviation of 65536 (to 1e-9) around its mean. */
int64_t board_random_gaussian(struct board_random *random, int64_t sigma)
{
	int64_t sum = 0;
	int draw, part;

	if (sigma == 0)
		return 0;
	for (draw = 0; draw < 3; ++draw) {
		uint64_t bits = board_random_next(random);

		for (part = 0; part < 4; ++part, bits >>= 16)
			sum += (int64_t)(bits & 0xFFFF);
	}
	return sigma * (2 * sum - 12 * 65535) / (2 * 65536);
}

int64_t board_random_tail(struct board_random *random, int64_t scale)
{
	if (scale == 0)
		return 0;
	return scale * 65536 / (int64_t)board_square_root((board_random_next(random) >> 32) + 1) - scale;
}

uint64_t board_square_root(uint64_t value)
{
	uint64_t root = 0, bit = 1ULL << 62;

	for (; bit != 0; bit >>= 2) {
		if (value >= root + bit) {
			value -= root + bit;
			root += bit << 1;
		}
		root >>= 1;
	}
	return root;
}
