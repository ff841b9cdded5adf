/* Decimal numbers as text, read and written in thousandths and the like, without floating point. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#ifndef HALVEX_BOARD_MODEL_DECIMAL_H
#define HALVEX_BOARD_MODEL_DECIMAL_H

#include "board/model/platform.h"

/* Reads "  -12.5" times 10^digits into *value, blanks before it skipped, further decimals rounded half away from zero.
 * Returns how many characters it used, 0 when there is no number or it does not fit in 62 bits. Stops at `size` or a
 * zero. */
uint32_t board_decimal_read(const char *text, uint32_t size, uint32_t digits, int64_t *value);
/* Writes value / 10^digits, decimals only when there are any; returns the length, 0 when `size` is too small. */
uint32_t board_decimal_write(char *text, uint32_t size, uint32_t digits, int64_t value);

/* Whether two names agree in their first `size` characters or up to their zero. */
int board_text_equal(const char *left, const char *right, uint32_t size);
uint32_t board_text_length(const char *text, uint32_t size);
void board_text_copy(char *to, const char *from, uint32_t size); /* cut to size - 1, always ended */

#endif
