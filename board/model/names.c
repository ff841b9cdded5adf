/* Names in scenario files and traces. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"
#include "board/model/decimal.h"
#include "board/wire/driver.h"
#include "board/wire/netInterface.h"
#include "board/wire/ptp.h"

#define NAME(constant, name) name,
static const char *const call_kinds[BOARD_CALL_KINDS] = { BOARD_CALL_ROWS(NAME) };
static const char *const files[BOARD_FILE_KINDS] = { BOARD_FILE_ROWS(NAME) };

static const char *const happenings[BOARD_HAPPENING_KINDS] = { BOARD_HAPPENING_ROWS(NAME) };

static const struct {
	uint32_t request;
	const char *name;
} interface_requests[] = { { BOARD_WIRE_PTP_GETCAPS, "PTP_CLOCK_GETCAPS" },
			   { BOARD_WIRE_PTP_EXTTS_REQUEST, "PTP_EXTTS_REQUEST" },
			   { BOARD_WIRE_PTP_SYS_OFFSET, "PTP_SYS_OFFSET" },
			   { BOARD_WIRE_PTP_PIN_GETFUNC, "PTP_PIN_GETFUNC" },
			   { BOARD_WIRE_PTP_PIN_SETFUNC, "PTP_PIN_SETFUNC" },
			   { BOARD_WIRE_PTP_SYS_OFFSET_EXTENDED, "PTP_SYS_OFFSET_EXTENDED" },
			   { BOARD_WIRE_PTP_GETCAPS2, "PTP_CLOCK_GETCAPS2" },
			   { BOARD_WIRE_PTP_EXTTS_REQUEST2, "PTP_EXTTS_REQUEST2" },
			   { BOARD_WIRE_PTP_PIN_GETFUNC2, "PTP_PIN_GETFUNC2" },
			   { BOARD_WIRE_PTP_PIN_SETFUNC2, "PTP_PIN_SETFUNC2" },
			   { BOARD_WIRE_SIOCETHTOOL, "SIOCETHTOOL" },
			   { BOARD_WIRE_SIOCGIFFLAGS, "SIOCGIFFLAGS" } };
#define INTERFACE_REQUESTS (sizeof(interface_requests) / sizeof(interface_requests[0]))

const char *board_call_kind_name(enum board_call_kind kind)
{
	return (uint32_t)kind < BOARD_CALL_KINDS ? call_kinds[kind] : NULL;
}

const char *board_file_name(enum board_file file)
{
	return (uint32_t)file < BOARD_FILE_KINDS ? files[file] : NULL;
}

const char *board_happening_kind_name(enum board_happening_kind kind)
{
	return (uint32_t)kind < BOARD_HAPPENING_KINDS ? happenings[kind] : NULL;
}

const char *board_request_name(int target, uint32_t request)
{
	const struct board_driver_method *method = board_driver_find(target, request);
	uint32_t at;

	if (method != NULL)
		return method->name;
	if (target < BOARD_TARGET_FIRST_INTERFACE && target != BOARD_TARGET_NETWORK)
		return NULL;
	for (at = 0; at < INTERFACE_REQUESTS; ++at)
		if (interface_requests[at].request == request)
			return interface_requests[at].name;
	return NULL;
}

uint32_t board_request_at(int target, uint32_t at)
{
	const struct board_driver_method *method = board_driver_methods(target);

	if (method == NULL)
		return at < INTERFACE_REQUESTS ? interface_requests[at].request : 0;
	for (; at > 0 && method->name != NULL; --at)
		++method;
	return method->name != NULL ? method->request : 0;
}

uint32_t board_request_named(int target, const char *name)
{
	const struct board_driver_method *method = board_driver_methods(target);
	uint32_t at;

	for (; method != NULL && method->name != NULL; ++method)
		if (board_text_equal(method->name, name, BOARD_TEXT_SIZE))
			return method->request;
	for (at = 0; at < INTERFACE_REQUESTS && board_driver_methods(target) == NULL; ++at)
		if (board_text_equal(interface_requests[at].name, name, BOARD_TEXT_SIZE))
			return interface_requests[at].request;
	return 0;
}

const char *board_target_name(const struct board_config *config, int target)
{
	static const char *const fixed[] = {
		[BOARD_TARGET_ANY] = "board",      [BOARD_TARGET_FERROX] = "ferrox", [BOARD_TARGET_FPGA] = "fpga",
		[BOARD_TARGET_SYSTEM] = "system",  [BOARD_TARGET_SI514] = "si514",   [BOARD_TARGET_PHC2SYS] = "phc2sys",
		[BOARD_TARGET_NETWORK] = "network"
	};
	const int interface = target - BOARD_TARGET_FIRST_INTERFACE;

	if (target >= 0 && target <= BOARD_TARGET_NETWORK)
		return fixed[target];
	if (interface >= 0 && (uint32_t)interface < config->interface_count)
		return config->interfaces[interface].name;
	return "unknown";
}

int board_target_find(const struct board_config *config, const char *name)
{
	int target;

	for (target = BOARD_TARGET_ANY; target < BOARD_TARGET_INTERFACE((int)config->interface_count); ++target)
		if (board_text_equal(board_target_name(config, target), name, BOARD_NAME_SIZE) &&
		    (target <= BOARD_TARGET_NETWORK || target >= BOARD_TARGET_FIRST_INTERFACE))
			return target;
	return -1;
}

const char *board_clock_name(const struct board *board, int clock)
{
	return board_target_name(&board->config, board_target_of_clock(clock));
}

int board_interface_find(const struct board *board, const char *name)
{
	uint32_t interface;

	for (interface = 0; interface < board->config.interface_count; ++interface)
		if (board_text_equal(board->config.interfaces[interface].name, name, BOARD_NAME_SIZE - 1))
			return (int)interface;
	return -1;
}

int board_phc_find(const struct board *board, int32_t phc_index)
{
	uint32_t interface;

	for (interface = 0; interface < board->config.interface_count && phc_index >= 0; ++interface)
		if (board->config.interfaces[interface].phc_index == phc_index)
			return (int)interface;
	return -1;
}
