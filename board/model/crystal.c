/* The wandering crystal: white, flicker and random-walk frequency noise, ageing, a ramp, measured frequencies.
 *
 * The frequency is constant during one interval T and then drawn again. With y the mean frequency of an interval:
 *   white: y is independent from one interval to the next, so its Allan deviation at t is sigma * sqrt(T / t);
 *   flicker: the sum of independent values kept for 1, 2, 4 ... intervals, each with half of the Allan variance;
 *   random walk: y grows by independent steps of sigma, and its Allan deviation at t >> T is sigma * sqrt(t / (3 T)).
 */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"

#define FRACTIONS_PER_PPT 100000LL
#define NS_PER_MS 1000000ULL
#define NS_PER_DAY (86400ULL * 1000000000ULL)

/* value * elapsed / whole, in whole ms. */
static int64_t proportion(int64_t value, uint64_t elapsed_ns, uint64_t whole_ns)
{
	return whole_ns < NS_PER_MS ? value
				    : value * (int64_t)(elapsed_ns / NS_PER_MS) / (int64_t)(whole_ns / NS_PER_MS);
}

static int64_t ramp(const struct board_crystal_config *config, uint64_t at_ns)
{
	if (at_ns < config->ramp_at_ns)
		return 0;
	if (at_ns - config->ramp_at_ns >= config->ramp_takes_ns)
		return config->ramp_ppt;
	return proportion(config->ramp_ppt, at_ns - config->ramp_at_ns, config->ramp_takes_ns);
}

static int64_t measured(const struct board_crystal_config *config, uint64_t at_ns)
{
	const uint64_t at = at_ns / config->frequencies_every_ns;
	int64_t ppt;

	if (config->frequency_count == 0)
		return 0;
	if (at + 1 >= config->frequency_count)
		return config->frequencies_ppt[config->frequency_count - 1];
	ppt = config->frequencies_ppt[at];
	return ppt +
		proportion(config->frequencies_ppt[at + 1] - ppt, at_ns % config->frequencies_every_ns,
			   config->frequencies_every_ns);
}

/* The value of octave n is drawn again at every 2^n-th change: two draws a change. */
static void draw_flicker(struct board_crystal *crystal)
{
	uint32_t octave = 0;
	int both;

	for (both = 0; both < 2; ++both) {
		const int64_t value = board_random_gaussian(&crystal->random, crystal->octave_sigma);

		crystal->flicker += value - crystal->octaves[octave];
		crystal->octaves[octave] = value;
		for (octave = 1; octave + 1 < BOARD_FLICKER_OCTAVES && (crystal->changes >> (octave - 1) & 1) == 0;)
			++octave;
	}
}

static int64_t draw_noise(struct board_crystal *crystal)
{
	int64_t noise;

	++crystal->changes;
	draw_flicker(crystal);
	crystal->walk += board_random_gaussian(&crystal->random, crystal->walk_sigma);
	noise = board_random_gaussian(&crystal->random, crystal->white_sigma) + crystal->flicker + crystal->walk;
	return (noise + (noise < 0 ? -FRACTIONS_PER_PPT : FRACTIONS_PER_PPT) / 2) / FRACTIONS_PER_PPT;
}

static void wander(struct board *board, const struct board_pending *pending)
{
	const struct board_crystal_config *config = &board->config.crystal;
	struct board_pending again = *pending;

	board->wander_ppt = draw_noise(&board->crystal) +
		proportion(config->ageing_ppt_per_day, pending->at_ns, NS_PER_DAY) + ramp(config, pending->at_ns) +
		measured(config, pending->at_ns);
	board_set_rate(board);
	again.at_ns += config->interval_ns;
	(void)board_schedule(board, &again);
}

/* Roots of ratios are computed in millionths. */
void board_crystal_start(struct board *board)
{
	const struct board_crystal_config *config = &board->config.crystal;
	struct board_crystal *crystal = &board->crystal;
	const struct board_pending first = { .happen = BOARD_DISTANCE_TO(wander) };
	const uint64_t interval_us = config->interval_ns / 1000;
	const int64_t per_interval = (int64_t)board_square_root(1000000000000000000ULL / interval_us);
	const int64_t per_walk = (int64_t)board_square_root(3 * interval_us * 1000000);

	if (config->white_ppt == 0 && config->flicker_ppt == 0 && config->walk_ppt == 0 &&
	    config->ageing_ppt_per_day == 0 && config->ramp_ppt == 0 && config->frequency_count == 0)
		return;
	crystal->white_sigma = config->white_ppt * FRACTIONS_PER_PPT * per_interval / 1000000;
	crystal->octave_sigma = config->flicker_ppt * FRACTIONS_PER_PPT * 1000000 / 1414214;
	crystal->walk_sigma = config->walk_ppt * FRACTIONS_PER_PPT * per_walk / 1000000;
	board_random_seed(&crystal->random, board->config.seed, BOARD_STREAM_CRYSTAL);
	(void)board_schedule(board, &first);
}
