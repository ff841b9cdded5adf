/* Notifies the observer of happenings. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"

void board_tell(struct board *board, struct board_happening *happening)
{
	happening->where = board;
	happening->sequence = board->sequence++;
	happening->raw_ns = board->raw_ns;
	if (board->observer != NULL)
		board->observer(board->context, happening);
}

void board_observe(struct board *board, board_observer observer, void *context)
{
	board->observer = observer;
	board->context = context;
}

void board_tell_call(struct board *board, uint64_t raw_ns, const struct board_call *call)
{
	struct board_happening happening = { .kind = BOARD_HAPPENING_CALL, .target = call->target, .call = call };

	board_enter(board, raw_ns);
	board_tell(board, &happening);
}

void board_tell_syslog(struct board *board, uint64_t raw_ns, int32_t priority, const char *text, uint32_t text_size)
{
	struct board_happening happening = {
		.kind = BOARD_HAPPENING_SYSLOG, .value = priority, .text = text, .text_size = text_size
	};

	board_enter(board, raw_ns);
	board_tell(board, &happening);
}
