/* What events do to the board. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"

#define STALE_SPACING_NS 1000
#define MOST_LOST_PULSES 1000000000LL

static int interface_of(const struct board *board, int target)
{
	const int interface = target - BOARD_TARGET_FIRST_INTERFACE;

	return interface >= 0 && (uint32_t)interface < board->config.interface_count ? interface : -1;
}

static int clock_of(const struct board *board, int target)
{
	switch (target) {
	case BOARD_TARGET_FERROX:
		return BOARD_CLOCK_FERROX;
	case BOARD_TARGET_FPGA:
		return BOARD_CLOCK_FPGA;
	case BOARD_TARGET_SYSTEM:
		return BOARD_CLOCK_SYSTEM;
	default:
		return interface_of(board, target) < 0 ? -1 : BOARD_CLOCK_PHC(interface_of(board, target));
	}
}

static void add_stale_events(struct board *board, uint32_t interface, int64_t count)
{
	const int clock = BOARD_CLOCK_PHC((int)interface);

	for (; count > 0; --count) {
		struct board_stamp stamp = { clock, 0, 0, 0, 1, 0 };
		struct board_phc_event event = { 0, 0, 0 };
		struct board_happening happening = { .kind = BOARD_HAPPENING_STAMP };

		event.time_ns = board_time_now(board, clock) - (uint64_t)count * STALE_SPACING_NS;
		stamp.time_ns = event.time_ns;
		happening.target = BOARD_TARGET_INTERFACE((int)interface);
		happening.stamp = &stamp;
		board_phc_enqueue(board, interface, &event);
		board_tell(board, &happening);
	}
}

static void change_interface(struct board *board, uint32_t interface, const struct board_event_config *event)
{
	struct board_interface_config *config = &board->config.interfaces[interface];

	switch (event->kind) {
	case BOARD_EVENT_INTERFACE_UP:
		if (!config->is_up && config->reset_on_up)
			board_phc_reset(board, interface);
		config->is_up = 1;
		break;
	case BOARD_EVENT_INTERFACE_DOWN:
		config->is_up = 0;
		break;
	case BOARD_EVENT_PHC_RESET:
		board_phc_reset(board, interface);
		break;
	case BOARD_EVENT_CAPABILITIES:
		config->n_ext_ts = (int32_t)(event->value & 0xFF);
		config->n_per_out = (int32_t)((event->value >> 8) & 0xFF);
		config->n_pins = (int32_t)((event->value >> 16) & 0xFF);
		break;
	default: /* BOARD_EVENT_STALE_EVENTS */
		add_stale_events(board, interface, event->value);
	}
}

static void change_crystal(struct board *board, const struct board_event_config *event)
{
	if (event->target == BOARD_TARGET_SYSTEM) {
		board->config.system_crystal_error_ppt = event->value;
		board_line_set_rate(&board->system.line, board->raw_ns, event->value + board_system_correction(board));
		return;
	}
	board->crystal_ppt = event->value;
	board_set_rate(board);
}

static void lose_pulses(struct board *board, const struct board_event_config *event)
{
	if (event->target == BOARD_TARGET_FPGA)
		board->fpga.pulses_to_lose += event->value;
	else
		board->phcs[interface_of(board, event->target)].pulses_to_lose += event->value;
}

/* Whether the event makes sense for its target and value. */
static int fits(const struct board *board, const struct board_event_config *event)
{
	const int is_interface = interface_of(board, event->target) >= 0;
	const int64_t value = event->value;

	switch (event->kind) {
	case BOARD_EVENT_INTERFACE_UP:
	case BOARD_EVENT_INTERFACE_DOWN:
	case BOARD_EVENT_PHC_RESET:
		return is_interface;
	case BOARD_EVENT_STALE_EVENTS:
		return is_interface && value > 0 && value <= 1000;
	case BOARD_EVENT_CAPABILITIES:
		return is_interface && (value & 0xFF) <= BOARD_MAX_CHANNELS &&
			((value >> 8) & 0xFF) <= BOARD_MAX_CHANNELS && value >> 16 >= 0 &&
			value >> 16 <= BOARD_MAX_PINS;
	case BOARD_EVENT_LOSE_EDGES:
		return (is_interface || event->target == BOARD_TARGET_FPGA) && value > 0 && value <= MOST_LOST_PULSES;
	case BOARD_EVENT_DRIVER_GONE:
	case BOARD_EVENT_DRIVER_BACK:
		return is_interface || event->target == BOARD_TARGET_FERROX || event->target == BOARD_TARGET_FPGA ||
			event->target == BOARD_TARGET_SI514;
	case BOARD_EVENT_JUMP:
		return clock_of(board, event->target) >= 0;
	case BOARD_EVENT_CRYSTAL:
		return (event->target == BOARD_TARGET_ANY || event->target == BOARD_TARGET_SYSTEM) &&
			value >= -BOARD_NS_PER_S && value <= BOARD_NS_PER_S;
	case BOARD_EVENT_KILL_CHILD:
		return value > 0 && value <= 64;
	case BOARD_EVENT_PULSE_EVERY_SECOND:
		return event->target == BOARD_TARGET_FERROX && (value == 0 || value == 1);
	default:
		return event->kind > BOARD_EVENT_NONE && event->kind < BOARD_EVENT_KINDS;
	}
}

static void carry_out(struct board *board, const struct board_event_config *event)
{
	switch (event->kind) {
	case BOARD_EVENT_FPGA_STOP:
		board->fpga.running = 0;
		break;
	case BOARD_EVENT_FPGA_RUN:
		board->fpga.running = 1;
		board->fpga.reads_zero = 0;
		break;
	case BOARD_EVENT_FPGA_ZERO:
		board->fpga.reads_zero = 1;
		break;
	case BOARD_EVENT_LOSE_EDGES:
		lose_pulses(board, event);
		break;
	case BOARD_EVENT_DRIVER_GONE:
		board->gone[event->target] = 1;
		break;
	case BOARD_EVENT_DRIVER_BACK:
		board->gone[event->target] = 0;
		break;
	case BOARD_EVENT_KILL_CHILD:
		board_phc2sys_signal_all(board, (int32_t)event->value);
		break;
	case BOARD_EVENT_JUMP:
		board_shift(board, clock_of(board, event->target), event->value);
		break;
	case BOARD_EVENT_CRYSTAL:
		change_crystal(board, event);
		break;
	case BOARD_EVENT_PULSE:
		board_pulse(board);
		break;
	case BOARD_EVENT_PULSE_EVERY_SECOND:
		board_pulse_every_second(board, event->value == 1);
		break;
	default:
		change_interface(board, (uint32_t)interface_of(board, event->target), event);
	}
}

/* Without letting other things due at this instant go first. */
void board_event_now(struct board *board, const struct board_event_config *event)
{
	struct board_happening happening = { .kind = BOARD_HAPPENING_EVENT };

	happening.target = event->target;
	happening.value = event->value;
	happening.event = event;
	board_tell(board, &happening);
	carry_out(board, event);
}

int board_do_event(struct board *board, uint64_t raw_ns, const struct board_event_config *event)
{
	board_enter(board, raw_ns);
	if (!fits(board, event))
		return -EINVAL;
	board_event_now(board, event);
	return 0;
}

int board_event_fits(const struct board *board, const struct board_event_config *event)
{
	return fits(board, event);
}
