/* Decides which call fails. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"

static int matches(const struct board *board, const struct board_fault_config *fault, const struct board_call *call)
{
	return board->raw_ns >= fault->from_ns && (fault->kind == BOARD_CALL_ANY || fault->kind == call->kind) &&
		(fault->target == BOARD_TARGET_ANY || fault->target == call->target) &&
		(fault->file == BOARD_FILE_ANY || fault->file == call->file) &&
		(!fault->has_detail || fault->detail == call->detail);
}

static int is_due(const struct board_fault_config *fault, uint32_t counted)
{
	return counted >= fault->nth && (fault->times == BOARD_FOREVER || counted - fault->nth < fault->times);
}

int board_fault_due(struct board *board, uint64_t raw_ns, const struct board_call *call,
		    struct board_fault_outcome *outcome)
{
	struct board_happening happening = {
		.kind = BOARD_HAPPENING_FAULT, .target = call->target, .call = call, .outcome = outcome
	};
	uint32_t at;
	int found = 0;

	board_enter(board, raw_ns);
	board_read_slowly(board, call);
	for (at = 0; at < board->config.fault_count; ++at) {
		const struct board_fault_config *fault = &board->config.faults[at];

		if (!matches(board, fault, call))
			continue;
		if (board->counted[at] < BOARD_FOREVER)
			++board->counted[at];
		if (found || !is_due(fault, board->counted[at]))
			continue;
		found = 1;
		outcome->fault = at;
		outcome->error = fault->error;
		outcome->short_count = fault->has_short_count ? fault->short_count : -1;
		outcome->driver_status = fault->driver_status;
		outcome->delay_ns = fault->delay_ns;
		outcome->kills = fault->kills;
	}
	if (found)
		board_tell(board, &happening);
	return found;
}

int board_add_fault(struct board *board, const struct board_fault_config *fault)
{
	const uint32_t at = board->config.fault_count;

	if (fault->nth == 0 || fault->times == 0)
		return -EINVAL;
	if (at == BOARD_MAX_FAULTS)
		return -ENOSPC;
	board->config.faults[at] = *fault;
	board->counted[at] = 0;
	board->config.fault_count = at + 1;
	return 0;
}
