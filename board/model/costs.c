/* Durations of calls. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"
#include "board/wire/ptp.h"

/* Call durations on a small machine, in ns; measured without hardware access. */
static const uint32_t kind_costs_ns[BOARD_CALL_KINDS] = {
	[BOARD_CALL_ANY] = 100,           [BOARD_CALL_OPEN] = 2000,         [BOARD_CALL_CLOSE] = 300,
	[BOARD_CALL_READ] = 450,          [BOARD_CALL_WRITE] = 470,         [BOARD_CALL_LSEEK] = 146,
	[BOARD_CALL_IOCTL] = 148,         [BOARD_CALL_SELECT] = 254,        [BOARD_CALL_POLL] = 254,
	[BOARD_CALL_MMAP] = 600,          [BOARD_CALL_SOCKET] = 1440,       [BOARD_CALL_CLOCK_GETTIME] = 22,
	[BOARD_CALL_CLOCK_SETTIME] = 900, [BOARD_CALL_CLOCK_ADJTIME] = 822, [BOARD_CALL_OPENDIR] = 2500,
	[BOARD_CALL_READDIR] = 200,       [BOARD_CALL_FOPEN] = 2600,        [BOARD_CALL_FREAD] = 450,
	[BOARD_CALL_GLOB] = 20000,        [BOARD_CALL_POSIX_SPAWN] = 55000, [BOARD_CALL_KILL] = 300,
	[BOARD_CALL_WAITPID] = 300,       [BOARD_CALL_NANOSLEEP] = 60,      [BOARD_CALL_SYSLOG] = 2000,
	[BOARD_CALL_THREAD] = 33
};

#define REGISTER_ACCESS_NS 1500 /* one access to the controller or chip across the bus */

/* Number of hardware register accesses of a call. */
static uint32_t register_accesses(const struct board_call *call)
{
	const int is_interface = call->target >= BOARD_TARGET_FIRST_INTERFACE;
	const int is_driver = call->target == BOARD_TARGET_FERROX || call->target == BOARD_TARGET_FPGA;

	switch (call->kind) {
	case BOARD_CALL_CLOCK_GETTIME:
		return is_interface ? 2 : 0;
	case BOARD_CALL_CLOCK_SETTIME:
		return is_interface ? 2 : 0;
	case BOARD_CALL_CLOCK_ADJTIME:
		return is_interface ? 4 : 0;
	case BOARD_CALL_IOCTL:
		if (is_driver)
			return 2;
		if (!is_interface)
			return 0;
		return call->detail == BOARD_WIRE_PTP_PIN_SETFUNC || call->detail == BOARD_WIRE_PTP_PIN_SETFUNC2 ? 3
			: call->detail == BOARD_WIRE_PTP_EXTTS_REQUEST || call->detail == BOARD_WIRE_PTP_EXTTS_REQUEST2
			? 4
			: 0;
	case BOARD_CALL_WRITE: /* the oscillator is on a slow bus */
		return call->target == BOARD_TARGET_SI514 ? 400 : 0;
	default:
		return 0;
	}
}

static int reads_phc(const struct board_call *call)
{
	if (call->target < BOARD_TARGET_FIRST_INTERFACE)
		return 0;
	return call->kind == BOARD_CALL_CLOCK_GETTIME || call->kind == BOARD_CALL_CLOCK_ADJTIME ||
		(call->kind == BOARD_CALL_IOCTL &&
		 (call->detail == BOARD_WIRE_PTP_SYS_OFFSET || call->detail == BOARD_WIRE_PTP_SYS_OFFSET_EXTENDED));
}

void board_read_slowly(struct board *board, const struct board_call *call)
{
	const int interface = call->target - BOARD_TARGET_FIRST_INTERFACE;
	const struct board_interface_config *config;

	board->slow_interface = -1;
	if (!reads_phc(call))
		return;
	config = &board->config.interfaces[interface];
	if (config->slow_reads_per_million == 0 ||
	    board_random_below(&board->phcs[interface].slow_random, 1000000) >= config->slow_reads_per_million)
		return;
	board->slow_interface = interface;
	board->slow_for_ns = config->slow_read_ns > REGISTER_ACCESS_NS ? config->slow_read_ns - REGISTER_ACCESS_NS : 0;
}

static uint64_t usual_cost(const struct board *board, const struct board_call *call)
{
	uint32_t at = board->config.cost_count;

	while (at-- > 0) {
		const struct board_cost_config *cost = &board->config.costs[at];

		if ((cost->kind == BOARD_CALL_ANY || cost->kind == call->kind) &&
		    (cost->target == BOARD_TARGET_ANY || cost->target == call->target) &&
		    (!cost->has_detail || cost->detail == call->detail))
			return cost->cost_ns == 0 ? 1 : cost->cost_ns;
	}
	if ((uint32_t)call->kind >= BOARD_CALL_KINDS)
		return 1;
	return kind_costs_ns[call->kind] + (uint64_t)register_accesses(call) * REGISTER_ACCESS_NS;
}

uint64_t board_call_cost(const struct board *board, const struct board_call *call)
{
	const int is_slow = board->slow_interface >= 0 && reads_phc(call) &&
		call->target == BOARD_TARGET_INTERFACE(board->slow_interface);

	return usual_cost(board, call) + (is_slow ? board->slow_for_ns : 0);
}
