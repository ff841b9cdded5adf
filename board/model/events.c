/* Events: the effect, the valid targets and the valid values of each kind. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"

#define STALE_SPACING_NS 1000

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

/* ------------------------------------------------------------------------------------------------------ actions -- */

static void interface_up(struct board *board, const struct board_event_config *event)
{
	const uint32_t interface = (uint32_t)interface_of(board, event->target);
	struct board_interface_config *config = &board->config.interfaces[interface];

	if (!config->is_up && config->reset_on_up)
		board_phc_reset(board, interface);
	config->is_up = 1;
}

static void interface_down(struct board *board, const struct board_event_config *event)
{
	board->config.interfaces[interface_of(board, event->target)].is_up = 0;
}

static void phc_reset(struct board *board, const struct board_event_config *event)
{
	board_phc_reset(board, (uint32_t)interface_of(board, event->target));
}

static void fpga_stop(struct board *board, const struct board_event_config *event)
{
	(void)event;
	board->fpga.running = 0;
}

static void fpga_run(struct board *board, const struct board_event_config *event)
{
	(void)event;
	board->fpga.running = 1;
	board->fpga.reads_zero = 0;
}

static void fpga_zero(struct board *board, const struct board_event_config *event)
{
	(void)event;
	board->fpga.reads_zero = 1;
}

static void lose_edges(struct board *board, const struct board_event_config *event)
{
	if (event->target == BOARD_TARGET_FPGA)
		board->fpga.pulses_to_lose += event->value;
	else
		board->phcs[interface_of(board, event->target)].pulses_to_lose += event->value;
}

static void stale_events(struct board *board, const struct board_event_config *happened)
{
	const int interface = interface_of(board, happened->target);
	const int clock = BOARD_CLOCK_PHC(interface);
	int64_t count;

	for (count = happened->value; count > 0; --count) {
		const uint64_t time_ns = board_time_now(board, clock) - (uint64_t)count * STALE_SPACING_NS;
		const struct board_phc_event event = { .time_ns = time_ns };
		const struct board_stamp stamp = { .clock = clock, .stale = 1, .time_ns = time_ns };

		board_phc_enqueue(board, (uint32_t)interface, &event);
		board_tell_stamp(board, &stamp);
	}
}

static void driver_gone(struct board *board, const struct board_event_config *event)
{
	board->gone[event->target] = 1;
}

static void driver_back(struct board *board, const struct board_event_config *event)
{
	board->gone[event->target] = 0;
}

static void kill_phc2sys(struct board *board, const struct board_event_config *event)
{
	board_phc2sys_signal_all(board, (int32_t)event->value);
}

static void capabilities(struct board *board, const struct board_event_config *event)
{
	struct board_interface_config *config = &board->config.interfaces[interface_of(board, event->target)];

	config->n_ext_ts = (int32_t)(event->value & 0xFF);
	config->n_per_out = (int32_t)((event->value >> 8) & 0xFF);
	config->n_pins = (int32_t)((event->value >> 16) & 0xFF);
}

static void jump(struct board *board, const struct board_event_config *event)
{
	board_shift(board, clock_of(board, event->target), event->value);
}

static void crystal(struct board *board, const struct board_event_config *event)
{
	if (event->target == BOARD_TARGET_SYSTEM) {
		board->config.system_crystal_error_ppt = event->value;
		board_line_set_rate(&board->system.line, board->raw_ns, event->value + board_system_correction(board));
		return;
	}
	board->crystal_ppt = event->value;
	board_set_rate(board);
}

static void pulse(struct board *board, const struct board_event_config *event)
{
	(void)event;
	board_pulse(board);
}

static void pulse_every_second(struct board *board, const struct board_event_config *event)
{
	board_pulse_every_second(board, event->value == 1);
}

/* ------------------------------------------------------------------------------------------------------- rows -- */

enum board_aim {
	BOARD_AIM_ANYTHING = 0,
	BOARD_AIM_BOARD = 1,
	BOARD_AIM_FERROX = 2,
	BOARD_AIM_FPGA = 4,
	BOARD_AIM_SYSTEM = 8,
	BOARD_AIM_SI514 = 16,
	BOARD_AIM_INTERFACE = 32,
	BOARD_AIM_CLOCK = BOARD_AIM_FERROX | BOARD_AIM_FPGA | BOARD_AIM_SYSTEM | BOARD_AIM_INTERFACE,
	BOARD_AIM_DRIVER = BOARD_AIM_FERROX | BOARD_AIM_FPGA | BOARD_AIM_SI514 | BOARD_AIM_INTERFACE
};

#define ROW(constant, name, aims, action, ...) [BOARD_EVENT_##constant] = { name, aims, action, { __VA_ARGS__ } },
#define KEY(name, unit, least, most, otherwise)    \
	{                                          \
		name, unit, least, most, otherwise \
	}
#define NO_KEYS                                \
	{                                      \
		NULL, BOARD_UNIT_NONE, 0, 0, 0 \
	}

static const struct {
	const char *name;
	int aims;
	void (*act)(struct board *board, const struct board_event_config *event);
	struct board_event_key keys[BOARD_MAX_EVENT_KEYS + 1]; /* terminated by one without a unit */
} rows[BOARD_EVENT_KINDS] = { [BOARD_EVENT_NONE] = { "none", BOARD_AIM_ANYTHING, NULL, { NO_KEYS } },
			      BOARD_EVENT_ROWS(ROW, KEY, NO_KEYS, BOARD_REQUIRED) };

const char *board_event_kind_name(enum board_event_kind kind)
{
	return (uint32_t)kind < BOARD_EVENT_KINDS ? rows[kind].name : NULL;
}

const struct board_event_key *board_event_keys(enum board_event_kind kind)
{
	return rows[kind].keys;
}

static int aim_of(const struct board *board, int target)
{
	switch (target) {
	case BOARD_TARGET_ANY:
		return BOARD_AIM_BOARD;
	case BOARD_TARGET_FERROX:
		return BOARD_AIM_FERROX;
	case BOARD_TARGET_FPGA:
		return BOARD_AIM_FPGA;
	case BOARD_TARGET_SYSTEM:
		return BOARD_AIM_SYSTEM;
	case BOARD_TARGET_SI514:
		return BOARD_AIM_SI514;
	default:
		return interface_of(board, target) < 0 ? 0 : BOARD_AIM_INTERFACE;
	}
}

int board_event_fits(const struct board *board, const struct board_event_config *event)
{
	const struct board_event_key *key;
	int64_t rest = event->value;

	if (event->kind <= BOARD_EVENT_NONE || event->kind >= BOARD_EVENT_KINDS)
		return 0;
	if (rows[event->kind].aims != BOARD_AIM_ANYTHING && !(rows[event->kind].aims & aim_of(board, event->target)))
		return 0;
	for (key = rows[event->kind].keys; key->unit != BOARD_UNIT_NONE; ++key) {
		const int64_t part =
			key[1].unit == BOARD_UNIT_NONE ? rest : rest & 0xFF; /* the last key takes all remaining bits */

		if (part < key->least || part > key->most)
			return 0;
		rest >>= 8;
	}
	return 1;
}

/* --------------------------------------------------------------------------------------------------- happening -- */

/* Runs ahead of other changes due at this instant. */
void board_event_now(struct board *board, const struct board_event_config *event)
{
	struct board_happening happening = {
		.kind = BOARD_HAPPENING_EVENT, .target = event->target, .value = event->value, .event = event
	};

	board_tell(board, &happening);
	rows[event->kind].act(board, event);
}

int board_do_event(struct board *board, uint64_t raw_ns, const struct board_event_config *event)
{
	board_enter(board, raw_ns);
	if (!board_event_fits(board, event))
		return -EINVAL;
	board_event_now(board, event);
	return 0;
}
