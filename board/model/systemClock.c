/* The system clock: read, set and adjusted as in the kernel, with its own crystal. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"

#define NOMINAL_TICK_US 10000
#define PPT_PER_TICK_US 100000000LL /* 1 us in 10 ms is 100 ppm */
#define MAX_FREQUENCY 32768000LL    /* 500 ppm with 16 fractional bits */
#define PHASE_LIMIT_US 16000000LL
#define NS_PER_ERROR_US 2000000ULL /* maxerror grows by 500 us a second */
#define LATEST_SECOND 8277292036LL /* the kernel reserves 30 years before its time overflows */

int64_t board_system_correction(const struct board *board)
{
	return board->system.frequency * 15625 / 1024 + (board->system.tick - NOMINAL_TICK_US) * PPT_PER_TICK_US;
}

static void apply_rate(struct board *board)
{
	board_line_set_rate(&board->system.line, board->raw_ns,
			    board->config.system_crystal_error_ppt + board_system_correction(board));
}

void board_system_set_rate(struct board *board, int64_t correction_ppt)
{
	const int64_t half_ppt = correction_ppt < 0 ? -PPT_PER_TICK_US / 2 : PPT_PER_TICK_US / 2;
	const int64_t ticks_us = (correction_ppt + half_ppt) / PPT_PER_TICK_US;

	board->system.tick = NOMINAL_TICK_US + ticks_us;
	board->system.frequency = (correction_ppt - ticks_us * PPT_PER_TICK_US) * 1024 / 15625;
	apply_rate(board);
}

static int64_t maxerror_us(const struct board *board)
{
	const int64_t grown_us = (int64_t)((board->raw_ns - board->system.maxerror_raw_ns) / NS_PER_ERROR_US);
	const int64_t error_us = board->system.maxerror_us + grown_us;

	return error_us > PHASE_LIMIT_US ? PHASE_LIMIT_US : error_us;
}

static void set_maxerror(struct board *board, int64_t error_us)
{
	board->system.maxerror_us = error_us < 0 ? 0 : error_us > PHASE_LIMIT_US ? PHASE_LIMIT_US : error_us;
	board->system.maxerror_raw_ns = board->raw_ns;
}

void board_system_synchronised(struct board *board)
{
	set_maxerror(board, 0);
	board->system.status &= ~BOARD_WIRE_STA_UNSYNC;
}

/* The effect of every step on the kernel's synchronisation state. */
void board_system_unsynchronised(struct board *board)
{
	set_maxerror(board, PHASE_LIMIT_US);
	board->system.esterror_us = PHASE_LIMIT_US;
	board->system.status |= BOARD_WIRE_STA_UNSYNC;
}

uint64_t board_system_get_time(struct board *board, uint64_t raw_ns)
{
	board_enter(board, raw_ns);
	return board_time_now(board, BOARD_CLOCK_SYSTEM);
}

int board_system_set_time(struct board *board, uint64_t raw_ns, int64_t seconds, int64_t nanoseconds)
{
	uint64_t target_ns;

	board_enter(board, raw_ns);
	if (nanoseconds < 0 || nanoseconds >= BOARD_NS_PER_S || seconds < 0 || seconds >= LATEST_SECOND)
		return -EINVAL;
	target_ns = (uint64_t)seconds * (uint64_t)BOARD_NS_PER_S + (uint64_t)nanoseconds;
	if (target_ns < board->raw_ns)
		return -EINVAL;
	board_step_clock(board, BOARD_CLOCK_SYSTEM, (int64_t)(target_ns - board_time_now(board, BOARD_CLOCK_SYSTEM)),
			 0);
	board_system_unsynchronised(board);
	return 0;
}

static int inject_offset(struct board *board, const struct board_wire_timex *timex)
{
	const int is_nano = (timex->modes & BOARD_WIRE_ADJ_NANO) != 0;
	const int64_t fraction_limit = is_nano ? BOARD_NS_PER_S : BOARD_NS_PER_S / 1000;
	const uint64_t scale = is_nano ? 1 : 1000;

	if (timex->time_usec < 0 || timex->time_usec >= fraction_limit)
		return -EINVAL;
	if (timex->time_sec >= LATEST_SECOND || timex->time_sec <= -LATEST_SECOND)
		return -EINVAL;
	board_step_clock(board, BOARD_CLOCK_SYSTEM,
			 timex->time_sec * BOARD_NS_PER_S + (int64_t)((uint64_t)timex->time_usec * scale), 0);
	board_system_unsynchronised(board);
	return 0;
}

static void adjust(struct board *board, const struct board_wire_timex *timex)
{
	if (timex->modes & BOARD_WIRE_ADJ_STATUS)
		board->system.status = timex->status;
	if (timex->modes & BOARD_WIRE_ADJ_FREQUENCY)
		board->system.frequency = timex->freq > MAX_FREQUENCY ? MAX_FREQUENCY
			: timex->freq < -MAX_FREQUENCY                ? -MAX_FREQUENCY
								      : timex->freq;
	if (timex->modes & BOARD_WIRE_ADJ_TICK)
		board->system.tick = timex->tick;
	if (timex->modes & BOARD_WIRE_ADJ_MAXERROR)
		set_maxerror(board, timex->maxerror);
	if (timex->modes & BOARD_WIRE_ADJ_ESTERROR)
		board->system.esterror_us = timex->esterror;
	apply_rate(board);
}

int board_system_adjtime(struct board *board, uint64_t raw_ns, struct board_wire_timex *timex)
{
	uint64_t now_ns;
	int error = 0;

	board_enter(board, raw_ns);
	if ((timex->modes & BOARD_WIRE_ADJ_TICK) && (timex->tick < 9000 || timex->tick > 11000))
		return -EINVAL;
	if (timex->modes & BOARD_WIRE_ADJ_SETOFFSET)
		error = inject_offset(board, timex);
	if (error != 0)
		return error;
	if (timex->modes != 0)
		adjust(board, timex);
	now_ns = board_time_now(board, BOARD_CLOCK_SYSTEM);
	if (maxerror_us(board) >= PHASE_LIMIT_US)
		board->system.status |= BOARD_WIRE_STA_UNSYNC;
	timex->offset = 0;
	timex->freq = board->system.frequency;
	timex->maxerror = maxerror_us(board);
	timex->esterror = board->system.esterror_us;
	timex->status = board->system.status;
	timex->constant = 2;
	timex->precision = 1;
	timex->tolerance = MAX_FREQUENCY;
	timex->tick = board->system.tick;
	timex->tai = 0;
	timex->time_sec = (int64_t)(now_ns / (uint64_t)BOARD_NS_PER_S);
	timex->time_usec =
		(int64_t)(now_ns % (uint64_t)BOARD_NS_PER_S) / (board->system.status & BOARD_WIRE_STA_NANO ? 1 : 1000);
	return board->system.status & BOARD_WIRE_STA_UNSYNC ? BOARD_WIRE_TIME_ERROR : BOARD_WIRE_TIME_OK;
}
