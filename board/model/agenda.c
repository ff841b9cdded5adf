/* The agenda: pending changes in order of time, and advancing time to carry them out. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"

/* Kept sorted, latest first; equal instants happen in the order of scheduling. */
int board_schedule(struct board *board, const struct board_pending *pending)
{
	uint32_t at = board->pending_count;

	if (at == BOARD_MAX_PENDING)
		return 0;
	while (at > 0 && board->pending[at - 1].at_ns <= pending->at_ns) {
		board->pending[at] = board->pending[at - 1];
		--at;
	}
	board->pending[at] = *pending;
	++board->pending_count;
	return 1;
}

uint64_t board_next_change(const struct board *board)
{
	return board->pending_count == 0 ? BOARD_NEVER : board->pending[board->pending_count - 1].at_ns;
}

uint64_t board_enter(struct board *board, uint64_t raw_ns)
{
	while (board_next_change(board) <= raw_ns && board->pending_count > 0) {
		const struct board_pending pending = board->pending[--board->pending_count];

		if (pending.at_ns > board->raw_ns)
			board->raw_ns = pending.at_ns;
		((board_action)((unsigned long)board_schedule + (unsigned long)pending.happen))(board, &pending);
	}
	if (raw_ns > board->raw_ns)
		board->raw_ns = raw_ns;
	return board->raw_ns;
}

void board_advance(struct board *board, uint64_t raw_ns)
{
	(void)board_enter(board, raw_ns);
}

uint64_t board_raw(const struct board *board)
{
	return board->raw_ns;
}
