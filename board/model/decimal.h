/* Reads and writes decimal numbers as fixed-point values, without floating point. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#include "board/model/platform.h"

/* Reads "  -12.5" times 10^digits into *value; skips leading blanks and rounds further decimals half away from zero.
 * Returns the number of characters used, or 0 for no number or more than 62 bits. Stops at `size` or a NUL. */
uint32_t board_decimal_read(const char *text, uint32_t size, uint32_t digits, int64_t *value);
/* Writes value / 10^digits, with decimals only if there are any; returns the length, or 0 if `size` is too small. */
uint32_t board_decimal_write(char *text, uint32_t size, uint32_t digits, int64_t value);

/* Whether two names agree in their first `size` characters or up to the NUL. */
int board_text_equal(const char *left, const char *right, uint32_t size);
uint32_t board_text_length(const char *text, uint32_t size);
void board_text_copy(char *to, const char *from, uint32_t size); /* truncates to size - 1, always NUL-terminates */
