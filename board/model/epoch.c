/* The epoch signal: one pulse, two edges; every listening clock stamps each edge at the same instant. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"

void board_tell_stamp(struct board *board, const struct board_stamp *stamp)
{
	struct board_happening happening = { .kind = BOARD_HAPPENING_STAMP,
					     .target = board_target_of_clock(stamp->clock),
					     .stamp = stamp };

	board_tell(board, &happening);
}

static void tell_stamp(struct board *board, int clock, uint32_t channel, int falling, int lost)
{
	const struct board_stamp stamp = { .clock = clock,
					   .channel = channel,
					   .falling = (uint8_t)falling,
					   .lost = (uint8_t)lost,
					   .time_ns = board_time_now(board, clock) };

	board_tell_stamp(board, &stamp);
}

static void arrive(struct board *board, const struct board_pending *pending)
{
	board_phc_enqueue(board, pending->index, &pending->stamp);
}

/* The event follows its edge after the interrupt's latency. An interrupt in flight also handles later edges, so events
 * never overtake each other. */
static void deliver(struct board *board, uint32_t interface, uint32_t channel)
{
	struct board_phc *phc = &board->phcs[interface];
	const struct board_interface_config *config = &board->config.interfaces[interface];
	struct board_pending pending = { .happen = BOARD_DISTANCE_TO(arrive), .index = interface };

	pending.at_ns = board->raw_ns + config->interrupt_latency_ns +
		board_random_below(&phc->latency_random, config->interrupt_jitter_ns + 1);
	if (phc->last_delivery_ns > board->raw_ns)
		pending.at_ns = phc->last_delivery_ns;
	phc->last_delivery_ns = pending.at_ns;
	pending.stamp.time_ns = board_time_now(board, BOARD_CLOCK_PHC((int)interface));
	pending.stamp.channel = channel;
	(void)board_schedule(board, &pending); /* if full the event is lost, as on a busy machine */
}

static int listens(const struct board *board, uint32_t interface, uint32_t channel)
{
	const struct board_phc *phc = &board->phcs[interface];

	/* The signal is connected to pin 0 of every clock. */
	return phc->stamping[channel] && phc->pin_function[0] == 1 && phc->pin_channel[0] == channel &&
		board_present(board, BOARD_TARGET_INTERFACE((int)interface));
}

static void edge(struct board *board, int falling, uint32_t lost_mask)
{
	uint32_t interface, channel;

	for (interface = 0; interface < board->config.interface_count; ++interface)
		for (channel = 0; channel < BOARD_MAX_CHANNELS; ++channel) {
			const int clock = BOARD_CLOCK_PHC((int)interface);
			const int lost = (int)((lost_mask >> clock) & 1);

			if (!listens(board, interface, channel))
				continue;
			tell_stamp(board, clock, channel, falling, lost);
			if (!lost)
				deliver(board, interface, channel);
		}
}

static int takes_one(int64_t *count)
{
	if (*count <= 0)
		return 0;
	--*count;
	return 1;
}

/* Which clocks miss this pulse: those that events selected, and others at random. */
static uint32_t losers(struct board *board)
{
	uint32_t mask = 0, interface;

	if (takes_one(&board->fpga.pulses_to_lose))
		mask |= 1u << BOARD_CLOCK_FPGA;
	for (interface = 0; interface < board->config.interface_count; ++interface) {
		struct board_phc *phc = &board->phcs[interface];
		const uint64_t chance = board->config.interfaces[interface].lost_edges_per_million;

		if (!listens(board, interface, 0) && !listens(board, interface, 1))
			continue;
		if (board_random_below(&phc->loss_random, 1000000) < chance || takes_one(&phc->pulses_to_lose))
			mask |= 1u << BOARD_CLOCK_PHC((int)interface);
	}
	return mask;
}

static void stamp_fpga(struct board *board, int lost)
{
	if (!board_present(board, BOARD_TARGET_FPGA) || !board->fpga.running || board->fpga.reads_zero)
		return;
	tell_stamp(board, BOARD_CLOCK_FPGA, 0, 0, lost);
	if (!lost)
		board->fpga.last_epoch_ns = board_time_now(board, BOARD_CLOCK_FPGA);
}

static void falling_edge(struct board *board, const struct board_pending *pending)
{
	edge(board, 1, pending->mask);
}

void board_pulse(struct board *board)
{
	struct board_pending falling = { .happen = BOARD_DISTANCE_TO(falling_edge) };
	const uint32_t lost_mask = losers(board);

	board->ferrox_epoch_ns = board_time_now(board, BOARD_CLOCK_FERROX);
	board_tell_truth_now(board, BOARD_HAPPENING_EPOCH);
	stamp_fpga(board, (int)((lost_mask >> BOARD_CLOCK_FPGA) & 1));
	edge(board, 0, lost_mask);
	falling.at_ns = board->raw_ns + board->config.pulse_width_ns;
	falling.mask = lost_mask;
	(void)board_schedule(board, &falling);
}

/* Waits for the master's next second. The rate may change and the master may be stepped meanwhile, so this waits for
 * all but a thousandth of the remaining time, repeatedly, until it is short: a rate change then shifts the pulse by no
 * more than a clock's rounding. A step may cancel the awaited pulse. */
#define SHORT_WAY_NS 1000

static void second(struct board *board, const struct board_pending *pending);

static void await_second(struct board *board, uint64_t second_ns)
{
	struct board_pending next = { .happen = BOARD_DISTANCE_TO(second) };
	const uint64_t way_ns = second_ns - board_time_now(board, BOARD_CLOCK_FERROX);

	next.at_ns = board->raw_ns + way_ns - (way_ns > SHORT_WAY_NS ? way_ns / SHORT_WAY_NS : 0);
	next.stamp.time_ns = second_ns;
	(void)board_schedule(board, &next);
}

static uint64_t next_second(const struct board *board)
{
	const uint64_t now_ns = board_time_now(board, BOARD_CLOCK_FERROX);

	return now_ns - now_ns % (uint64_t)BOARD_NS_PER_S + (uint64_t)BOARD_NS_PER_S;
}

static void second(struct board *board, const struct board_pending *pending)
{
	const uint64_t second_ns = pending->stamp.time_ns;
	const int64_t way_ns = (int64_t)(second_ns - board_time_now(board, BOARD_CLOCK_FERROX));
	const int is_stepped = way_ns > BOARD_NS_PER_S || way_ns < -SHORT_WAY_NS;

	if (!board->pulses_every_second)
		return;
	if (way_ns > 0 && !is_stepped) {
		await_second(board, second_ns);
		return;
	}
	if (!is_stepped)
		board_pulse(board);
	await_second(board, next_second(board));
}

void board_pulse_every_second(struct board *board, int is_wanted)
{
	const int was_wanted = board->pulses_every_second;

	board->pulses_every_second = (uint8_t)is_wanted;
	if (is_wanted && !was_wanted)
		await_second(board, next_second(board));
}
