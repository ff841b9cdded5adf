/* Clock readings and steps. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"
#include "board/wire/paths.h"

uint64_t board_tick_now(const struct board *board)
{
	return board_line_value(&board->oscillator, board->raw_ns);
}

uint64_t board_time_now(const struct board *board, int clock)
{
	switch (clock) {
	case BOARD_CLOCK_FERROX:
		return board_tick_now(board) + board->ferrox_offset_ns;
	case BOARD_CLOCK_FPGA:
		return board_tick_now(board) + board->fpga_offset_ns;
	case BOARD_CLOCK_SYSTEM:
		return board_line_value(&board->system.line, board->raw_ns);
	default:
		return board_line_value(&board->phcs[clock - BOARD_CLOCK_FIRST_PHC].line, board_tick_now(board));
	}
}

void board_shift(struct board *board, int clock, int64_t by_ns)
{
	switch (clock) {
	case BOARD_CLOCK_FERROX:
		board->ferrox_offset_ns += (uint64_t)by_ns;
		break;
	case BOARD_CLOCK_FPGA:
		board->fpga_offset_ns += (uint64_t)by_ns;
		break;
	case BOARD_CLOCK_SYSTEM:
		board_line_shift(&board->system.line, by_ns);
		break;
	default:
		board_line_shift(&board->phcs[clock - BOARD_CLOCK_FIRST_PHC].line, by_ns);
	}
}

static const struct board_clock_config *clock_configuration(const struct board *board, int clock)
{
	switch (clock) {
	case BOARD_CLOCK_FERROX:
		return &board->config.ferrox.clock;
	case BOARD_CLOCK_FPGA:
		return &board->config.fpga.clock;
	case BOARD_CLOCK_SYSTEM:
		return &board->config.system;
	default:
		return &board->config.interfaces[clock - BOARD_CLOCK_FIRST_PHC].clock;
	}
}

int board_target_of_clock(int clock)
{
	return clock >= BOARD_CLOCK_FIRST_PHC ? BOARD_TARGET_INTERFACE(clock - BOARD_CLOCK_FIRST_PHC)
		: clock == BOARD_CLOCK_FERROX ? BOARD_TARGET_FERROX
		: clock == BOARD_CLOCK_FPGA   ? BOARD_TARGET_FPGA
					      : BOARD_TARGET_SYSTEM;
}

static int64_t draw_loss(struct board *board, int clock, const struct board_clock_config *config)
{
	struct board_random *random = &board->step_random[clock];
	int64_t loss_ns = config->step_loss_ns;

	if (config->step_other_per_million != 0 && board_random_below(random, 1000000) < config->step_other_per_million)
		loss_ns = config->step_other_loss_ns;
	if (board->slow_interface >= 0 && clock == BOARD_CLOCK_PHC(board->slow_interface))
		loss_ns += (int64_t)board->slow_for_ns; /* the clock runs on between the reading and the writing */
	loss_ns += board_random_gaussian(random, config->step_jitter_ns);
	return loss_ns + board_random_tail(random, config->step_tail_ns);
}

void board_step_clock(struct board *board, int clock, int64_t asked_ns, int by_phc2sys)
{
	const struct board_clock_config *config = clock_configuration(board, clock);
	const int64_t granularity_ns = config->step_granularity_ns > 1 ? config->step_granularity_ns : 1;
	const int64_t loss_ns = draw_loss(board, clock, config);
	const int64_t cut_ns = asked_ns - asked_ns % granularity_ns;
	const int64_t real_ns = (int64_t)((uint64_t)cut_ns - (uint64_t)loss_ns);
	struct board_step step = { clock, asked_ns, real_ns, 0, 0, (uint8_t)by_phc2sys };
	struct board_happening happening = { .kind = BOARD_HAPPENING_STEP,
					     .target = board_target_of_clock(clock),
					     .step = &step };

	step.before_ns = board_time_now(board, clock);
	board_shift(board, clock, real_ns);
	step.after_ns = board_time_now(board, clock);
	if (clock == BOARD_CLOCK_FERROX)
		board->ferrox_stepped_ns = (int64_t)((uint64_t)board->ferrox_stepped_ns + (uint64_t)real_ns);
	board_tell(board, &happening);
}

static int starts_with(const char *text, const char *start)
{
	while (*start != '\0' && *text == *start)
		++text, ++start;
	return *start == '\0';
}

/* Whether epochs can be stamped and generated on it: one that cannot is none of the timekeeper's clocks. */
static int is_usable(const struct board_interface_config *interface)
{
	enum { PINS_NEEDED = 4 };

	return starts_with(interface->vendor, BOARD_WIRE_I210_VENDOR) &&
		starts_with(interface->device, BOARD_WIRE_I210_DEVICE) && interface->phc_index >= 0 &&
		interface->n_ext_ts > 0 && interface->n_per_out > 0 && interface->n_pins >= PINS_NEEDED;
}

static int is_enabled(const struct board *board, int clock)
{
	const struct board_interface_config *interface;

	switch (clock) {
	case BOARD_CLOCK_FERROX:
		return board_present(board, BOARD_TARGET_FERROX);
	case BOARD_CLOCK_FPGA:
		return board_present(board, BOARD_TARGET_FPGA) && board->fpga.running && !board->fpga.reads_zero;
	case BOARD_CLOCK_SYSTEM:
		return board->system.is_disciplined;
	default:
		interface = &board->config.interfaces[clock - BOARD_CLOCK_FIRST_PHC];
		return board_present(board, BOARD_TARGET_INTERFACE(clock - BOARD_CLOCK_FIRST_PHC)) &&
			interface->is_up && is_usable(interface);
	}
}

static void truth_now(const struct board *board, struct board_truth *truth)
{
	int clock;

	memset(truth, 0, sizeof(*truth));
	truth->raw_ns = board->raw_ns;
	truth->tick_ns = board_tick_now(board);
	truth->clock_count = BOARD_CLOCK_FIRST_PHC + board->config.interface_count;
	for (clock = 0; clock < (int)truth->clock_count; ++clock) {
		truth->time_ns[clock] = board_time_now(board, clock);
		truth->difference_ns[clock] = (int64_t)(truth->time_ns[clock] - truth->time_ns[BOARD_CLOCK_FERROX]);
		truth->enabled[clock] = (uint8_t)is_enabled(board, clock);
	}
}

void board_tell_truth_now(struct board *board, enum board_happening_kind kind)
{
	struct board_truth truth;
	struct board_happening happening = { .kind = kind, .truth = &truth };

	truth_now(board, &truth);
	board_tell(board, &happening);
}

void board_set_rate(struct board *board)
{
	board_line_set_rate(&board->oscillator, board->raw_ns,
			    board->crystal_ppt + board->wander_ppt + board->steering_ppt);
}

uint64_t board_tick(struct board *board, uint64_t raw_ns)
{
	board_enter(board, raw_ns);
	return board_tick_now(board);
}

uint64_t board_clock_time(struct board *board, uint64_t raw_ns, int clock)
{
	board_enter(board, raw_ns);
	return board_time_now(board, clock);
}

void board_get_truth(struct board *board, uint64_t raw_ns, struct board_truth *truth)
{
	board_enter(board, raw_ns);
	truth_now(board, truth);
}
