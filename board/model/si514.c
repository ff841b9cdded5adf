/* The driver of the Si514 oscillator: its ppb_offset attribute steers the board's common tick. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/boardState.h"
#include "board/model/decimal.h"

#define PPT_DIGITS 3u /* thousandths of a ppb */

static void keep_text(struct board *board, const char *text, uint32_t size)
{
	memcpy(board->si514_text, text, size);
	board->si514_size = size;
}

/* The true rate is limited to the oscillator's resolution; the attribute shows the requested value. */
static int64_t quantised(const struct board *board, int64_t ppt)
{
	const int64_t step_ppt = board->config.si514_resolution_ppt;
	const int64_t half_ppt = ppt < 0 ? -(step_ppt / 2) : step_ppt / 2;

	return step_ppt <= 1 ? ppt : (ppt + half_ppt) / step_ppt * step_ppt;
}

static int steer(struct board *board, int64_t ppt)
{
	struct board_happening happening = { .kind = BOARD_HAPPENING_STEERING };
	char text[40];
	uint32_t size;

	if (ppt > board->config.si514_max_ppt || ppt < -board->config.si514_max_ppt)
		return -EINVAL;
	board->steering_ppt = quantised(board, ppt);
	board_set_rate(board);
	size = board_decimal_write(text, sizeof(text) - 1, PPT_DIGITS, ppt);
	text[size++] = '\n';
	keep_text(board, text, size);
	happening.target = BOARD_TARGET_SI514;
	happening.value = board->steering_ppt;
	board_tell(board, &happening);
	return 0;
}

int board_si514_store(struct board *board, uint64_t raw_ns, const char *text, uint32_t size)
{
	int64_t ppt = 0;
	const uint32_t used = board_decimal_read(text, size, PPT_DIGITS, &ppt);
	int error;

	board_enter(board, raw_ns);
	if (!board_present(board, BOARD_TARGET_SI514))
		return -ENODEV;
	if (used == 0)
		return -EINVAL;
	if (used != size && !(used + 1 == size && text[used] == '\n'))
		return -EINVAL;
	error = steer(board, ppt);
	return error != 0 ? error : (int)size;
}

int board_si514_show(struct board *board, uint64_t raw_ns, char *buffer, uint32_t size)
{
	uint32_t length;

	board_enter(board, raw_ns);
	length = size < board->si514_size ? size : board->si514_size;
	if (!board_present(board, BOARD_TARGET_SI514))
		return -ENODEV;
	memcpy(buffer, board->si514_text, length);
	return (int)length;
}
