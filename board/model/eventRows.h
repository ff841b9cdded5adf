/* The kinds of scenario events, one row each; a new kind is a row here and its action in events.c.
 *
 * ROW(CONSTANT, name, aims, action, keys): BOARD_EVENT_CONSTANT; its name in scenarios and traces; its valid targets as
 * bits of enum board_aim; its function in events.c; and the keys that its value is read from, or NO_KEYS.
 * KEY(name, unit, least, most, otherwise): `otherwise` is the default, or REQUIRED. Several keys share one value, eight
 * bits each, the first in the lowest. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#define BOARD_EVENT_ROWS(ROW, KEY, NO_KEYS, REQUIRED)                                                                \
	ROW(INTERFACE_UP, "interface_up", BOARD_AIM_INTERFACE, interface_up, NO_KEYS)                                \
	ROW(INTERFACE_DOWN, "interface_down", BOARD_AIM_INTERFACE, interface_down, NO_KEYS)                          \
	/* PHC := system time, stamping off, interface stays up */                                                   \
	ROW(PHC_RESET, "phc_reset", BOARD_AIM_INTERFACE, phc_reset, NO_KEYS)                                         \
	ROW(FPGA_STOP, "fpga_stop", BOARD_AIM_ANYTHING, fpga_stop, NO_KEYS)                                          \
	/* running, and time readable again */                                                                       \
	ROW(FPGA_RUN, "fpga_run", BOARD_AIM_ANYTHING, fpga_run, NO_KEYS)                                             \
	ROW(FPGA_ZERO, "fpga_zero", BOARD_AIM_ANYTHING, fpga_zero, NO_KEYS)                                          \
	/* how many pulses the target will not stamp */                                                              \
	ROW(LOSE_EDGES, "lose_edges", BOARD_AIM_INTERFACE | BOARD_AIM_FPGA, lose_edges,                              \
	    KEY("count", BOARD_UNIT_COUNT, 1, 1000000000, 1))                                                        \
	/* how many events appear in the target's queue */                                                           \
	ROW(STALE_EVENTS, "stale_events", BOARD_AIM_INTERFACE, stale_events,                                         \
	    KEY("count", BOARD_UNIT_COUNT, 1, 1000, 1))                                                              \
	ROW(DRIVER_GONE, "driver_gone", BOARD_AIM_DRIVER, driver_gone, NO_KEYS)                                      \
	ROW(DRIVER_BACK, "driver_back", BOARD_AIM_DRIVER, driver_back, NO_KEYS)                                      \
	/* to every living phc2sys */                                                                                \
	ROW(KILL_CHILD, "kill_phc2sys", BOARD_AIM_ANYTHING, kill_phc2sys, KEY("signal", BOARD_UNIT_COUNT, 1, 64, 9)) \
	ROW(CAPABILITIES, "capabilities", BOARD_AIM_INTERFACE, capabilities,                                         \
	    KEY("n_ext_ts", BOARD_UNIT_COUNT, 0, BOARD_MAX_CHANNELS, 2),                                             \
	    KEY("n_per_out", BOARD_UNIT_COUNT, 0, BOARD_MAX_CHANNELS, 2),                                            \
	    KEY("n_pins", BOARD_UNIT_COUNT, 0, BOARD_MAX_PINS, BOARD_MAX_PINS))                                      \
	ROW(JUMP, "jump", BOARD_AIM_CLOCK, jump, KEY("by", BOARD_UNIT_DURATION, -INT64_MAX, INT64_MAX, REQUIRED))    \
	ROW(CRYSTAL, "crystal", BOARD_AIM_BOARD | BOARD_AIM_SYSTEM, crystal,                                         \
	    KEY("crystal_error_ppb", BOARD_UNIT_PPB, -1000000000, 1000000000, REQUIRED))                             \
	/* an unsolicited epoch pulse */                                                                             \
	ROW(PULSE, "pulse", BOARD_AIM_ANYTHING, pulse, NO_KEYS)                                                      \
	/* from now on at every whole second of Ferrox, or no longer */                                              \
	ROW(PULSE_EVERY_SECOND, "pulse_every_second", BOARD_AIM_FERROX, pulse_every_second,                          \
	    KEY("on", BOARD_UNIT_COUNT, 0, 1, 1))
