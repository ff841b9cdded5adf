/* The Ferrox and FPGA drivers: the effect of each method on the hardware. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"
#include "board/wire/driver.h"

#define STATUS_SIZE BOARD_WIRE_STATUS_BUFFER_SIZE
#define VALUE_SIZE ((uint32_t)sizeof(struct board_wire_value_buffer))

#define PLAIN(name, request)                                                        \
	{                                                                           \
		name, request, STATUS_SIZE, STATUS_SIZE, 0, 0, BOARD_RECORD_NONE, 0 \
	}
#define TAKES(name, request)                                                       \
	{                                                                          \
		name, request, VALUE_SIZE, STATUS_SIZE, 1, 0, BOARD_RECORD_NONE, 0 \
	}
#define GIVES(name, request)                                                       \
	{                                                                          \
		name, request, STATUS_SIZE, VALUE_SIZE, 0, 1, BOARD_RECORD_NONE, 0 \
	}
#define RECORD(name, request, way, record)                                                         \
	{                                                                                          \
		name, request, VALUE_SIZE, STATUS_SIZE, 1, 0, way, (uint32_t)sizeof(struct record) \
	}

static const struct board_driver_method ferrox_methods[] = {
	GIVES("getTime", BOARD_WIRE_FERROX_GET_TIME),
	PLAIN("generateEpochSignal", BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL),
	GIVES("getEpochTimestamp", BOARD_WIRE_FERROX_GET_EPOCH_TIMESTAMP),
	TAKES("adjustTime", BOARD_WIRE_FERROX_ADJUST_TIME),
	GIVES("getTimeOffset", BOARD_WIRE_FERROX_GET_TIME_OFFSET),
	{ NULL, 0, 0, 0, 0, 0, BOARD_RECORD_NONE, 0 }
};

static const struct board_driver_method fpga_methods[] = {
	TAKES("adjustTime", BOARD_WIRE_FPGA_ADJUST_TIME),
	TAKES("requestEpochAlignment", BOARD_WIRE_FPGA_REQUEST_EPOCH_ALIGNMENT),
	RECORD("setStatusInfo", BOARD_WIRE_FPGA_SET_STATUS_INFO, BOARD_RECORD_IN, board_wire_fpga_status),
	RECORD("getStatusInfo", BOARD_WIRE_FPGA_GET_STATUS_INFO, BOARD_RECORD_IN_OUT, board_wire_fpga_run_state),
	GIVES("getTime", BOARD_WIRE_FPGA_GET_TIME),
	GIVES("getEpochTimestamp", BOARD_WIRE_FPGA_GET_EPOCH_TIMESTAMP),
	{ NULL, 0, 0, 0, 0, 0, BOARD_RECORD_NONE, 0 }
};

const struct board_driver_method *board_driver_methods(int driver)
{
	return driver == BOARD_TARGET_FERROX ? ferrox_methods : driver == BOARD_TARGET_FPGA ? fpga_methods : NULL;
}

const struct board_driver_method *board_driver_find(int driver, uint32_t request)
{
	const struct board_driver_method *method = board_driver_methods(driver);

	for (; method != NULL && method->name != NULL; ++method)
		if (method->request == request)
			return method;
	return NULL;
}

static void do_ferrox(struct board *board, struct board_driver_call *call)
{
	switch (call->request) {
	case BOARD_WIRE_FERROX_GET_TIME:
		call->result = board_time_now(board, BOARD_CLOCK_FERROX);
		break;
	case BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL:
		board_pulse(board);
		break;
	case BOARD_WIRE_FERROX_GET_EPOCH_TIMESTAMP:
		call->result = board->ferrox_epoch_ns;
		break;
	case BOARD_WIRE_FERROX_ADJUST_TIME:
		board_step_clock(board, BOARD_CLOCK_FERROX, (int64_t)call->argument, 0);
		break;
	default: /* getTimeOffset */
		call->result = (uint64_t)board->ferrox_stepped_ns;
	}
}

/* Whether a record begins with its own size; else the driver says so. */
static int has_size(struct board_driver_call *call, uint32_t expected)
{
	uint32_t size;

	memcpy(&size, call->record, sizeof(size));
	if (size != expected)
		call->driver_status = BOARD_WIRE_STATUS_INVALID_PARAMETER;
	return size == expected;
}

static void set_status(struct board *board, struct board_driver_call *call)
{
	struct board_happening happening = { .kind = BOARD_HAPPENING_STATUS_RECORD,
					     .target = BOARD_TARGET_FPGA,
					     .record = call->record,
					     .record_size = (uint32_t)sizeof(struct board_wire_fpga_status) };

	if (has_size(call, happening.record_size))
		board_tell(board, &happening);
}

static void get_status(const struct board *board, struct board_driver_call *call)
{
	if (has_size(call, sizeof(struct board_wire_fpga_run_state)))
		call->record[__builtin_offsetof(struct board_wire_fpga_run_state, running)] = board->fpga.running;
}

static void request_alignment(struct board *board, uint64_t value)
{
	struct board_happening happening = { .kind = BOARD_HAPPENING_ALIGNMENT_REQUEST,
					     .target = BOARD_TARGET_FPGA,
					     .value = (int64_t)value };

	if (board->config.fpga_starts_on_request)
		board->fpga.running = 1;
	board_tell(board, &happening);
}

static void do_fpga(struct board *board, struct board_driver_call *call)
{
	switch (call->request) {
	case BOARD_WIRE_FPGA_ADJUST_TIME:
		board_step_clock(board, BOARD_CLOCK_FPGA, (int64_t)call->argument, 0);
		break;
	case BOARD_WIRE_FPGA_REQUEST_EPOCH_ALIGNMENT:
		request_alignment(board, call->argument);
		break;
	case BOARD_WIRE_FPGA_SET_STATUS_INFO:
		set_status(board, call);
		break;
	case BOARD_WIRE_FPGA_GET_STATUS_INFO:
		get_status(board, call);
		break;
	case BOARD_WIRE_FPGA_GET_TIME:
		call->result = board->fpga.reads_zero ? 0 : board_time_now(board, BOARD_CLOCK_FPGA);
		break;
	default: /* getEpochTimestamp */
		call->result = board->fpga.last_epoch_ns;
	}
}

int board_driver_do(struct board *board, uint64_t raw_ns, int driver, struct board_driver_call *call)
{
	const struct board_driver_method *method = board_driver_find(driver, call->request);
	const int32_t refused = call->forced_status < 0 ? call->forced_status
		: call->caller_status < 0               ? call->caller_status
							: 0;

	board_enter(board, raw_ns);
	if (!board_present(board, driver))
		return -ENODEV;
	if (method == NULL)
		return -ENOTTY;
	call->result = 0;
	call->driver_status = refused;
	if (refused == 0) {
		if (driver == BOARD_TARGET_FERROX)
			do_ferrox(board, call);
		else
			do_fpga(board, call);
	}
	if (call->driver_status == 0)
		call->driver_status = call->forced_status;
	call->bytes_returned = method->out_size;
	return 0;
}
