/* Switches a board on. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"
#include "board/model/decimal.h"

static void start_clocks(struct board *board)
{
	const struct board_config *config = &board->config;
	uint32_t at;

	board->crystal_ppt = config->crystal_error_ppt;
	board_set_rate(board);
	board->ferrox_offset_ns = config->start_time_ns + (uint64_t)config->ferrox.clock.offset_ns;
	board->fpga_offset_ns = config->start_time_ns + (uint64_t)config->fpga.clock.offset_ns;
	board->system.line.whole = config->start_time_ns + (uint64_t)config->system.offset_ns;
	board_system_set_rate(board, 0);
	board_system_unsynchronised(board);
	board->fpga.running = config->fpga_running;
	board->fpga.reads_zero = config->fpga_reads_zero;
	for (at = 0; at < config->interface_count; ++at)
		board->phcs[at].line.whole = config->start_time_ns + (uint64_t)config->interfaces[at].clock.offset_ns;
}

static void seed_streams(struct board *board)
{
	const uint64_t seed = board->config.seed;
	uint32_t at;

	for (at = 0; at < BOARD_MAX_CLOCKS; ++at)
		board_random_seed(&board->step_random[at], seed, BOARD_STREAM_STEP + (uint64_t)at);
	for (at = 0; at < BOARD_MAX_INTERFACES; ++at) {
		board_random_seed(&board->phcs[at].latency_random, seed, BOARD_STREAM_LATENCY + (uint64_t)at);
		board_random_seed(&board->phcs[at].loss_random, seed, BOARD_STREAM_LOSS + (uint64_t)at);
		board_random_seed(&board->phcs[at].slow_random, seed, BOARD_STREAM_SLOW_READ + (uint64_t)at);
	}
}

static void start_oscillator(struct board *board)
{
	const struct board_config *config = &board->config;

	if (!config->si514_present)
		board->gone[BOARD_TARGET_SI514] = 1;
	board->steering_ppt = config->si514_initial_ppt;
	board->si514_size = board_decimal_write(board->si514_text, BOARD_TEXT_SIZE - 1, 3, config->si514_initial_ppt);
	board->si514_text[board->si514_size++] = '\n';
	if (config->si514_has_text) {
		board_text_copy(board->si514_text, config->si514_text, BOARD_TEXT_SIZE);
		board->si514_size = board_text_length(board->si514_text, BOARD_TEXT_SIZE);
	}
}

static void configured_event(struct board *board, const struct board_pending *pending)
{
	board_event_now(board, &board->config.events[pending->index]);
}

static void regular_truth(struct board *board, const struct board_pending *pending)
{
	struct board_pending again = *pending;

	board_tell_truth_now(board, BOARD_HAPPENING_TRUTH);
	again.at_ns += board->config.truth_interval_ns;
	(void)board_schedule(board, &again);
}

static int schedule_everything(struct board *board)
{
	struct board_pending pending = { .happen = BOARD_DISTANCE_TO(configured_event) };

	for (; pending.index < board->config.event_count; ++pending.index) {
		const struct board_event_config *event = &board->config.events[pending.index];

		if (!board_event_fits(board, event))
			return 0;
		pending.at_ns = event->at_ns;
		(void)board_schedule(board, &pending);
	}
	if (board->config.truth_interval_ns != 0) {
		pending.happen = BOARD_DISTANCE_TO(regular_truth);
		pending.at_ns = board->config.truth_interval_ns;
		(void)board_schedule(board, &pending);
	}
	board_crystal_start(board);
	return 1;
}

_Static_assert(sizeof(struct board) <= BOARD_STORAGE_SIZE, "BOARD_STORAGE_SIZE holds a board");

size_t board_size(void)
{
	return sizeof(struct board);
}

struct board *board_init(void *memory, const struct board_config *config, board_observer observer, void *context)
{
	struct board *board = memory;
	struct board_happening happening = { .kind = BOARD_HAPPENING_START };
	uint32_t at;

	if (memory == NULL || !board_config_is_sane(config))
		return NULL;
	memset(board, 0, sizeof(*board));
	board->config = *config;
	board->observer = observer;
	board->context = context;
	board->next_pid = BOARD_FIRST_PID;
	board->slow_interface = -1;
	board->gone[BOARD_TARGET_FERROX] = (uint8_t)!config->ferrox.present;
	board->gone[BOARD_TARGET_FPGA] = (uint8_t)!config->fpga.present;
	for (at = 0; at < config->interface_count; ++at)
		board->gone[BOARD_TARGET_INTERFACE(at)] = (uint8_t)!config->interfaces[at].present;
	start_oscillator(board);
	start_clocks(board);
	seed_streams(board);
	if (!schedule_everything(board))
		return NULL;
	happening.value = (int64_t)config->seed;
	board_tell(board, &happening);
	board_tell_truth_now(board, BOARD_HAPPENING_TRUTH);
	return board;
}
