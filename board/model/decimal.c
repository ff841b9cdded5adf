/* Decimal numbers as text: see decimal.h. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#include "board/model/decimal.h"

#define LARGEST ((int64_t)1 << 62)

struct reading {
	int64_t value;
	uint32_t decimals; /* read so far */
	int seen_digit, seen_point, rounded, too_large;
};

static void take_digit(struct reading *reading, int digit, uint32_t digits)
{
	reading->seen_digit = 1;
	if (reading->seen_point && reading->decimals == digits) {
		if (!reading->rounded && digit >= 5)
			++reading->value;
		reading->rounded = 1;
		return;
	}
	if (reading->value > (LARGEST - digit) / 10) {
		reading->too_large = 1;
		return;
	}
	reading->value = reading->value * 10 + digit;
	if (reading->seen_point)
		++reading->decimals;
}

uint32_t board_decimal_read(const char *text, uint32_t size, uint32_t digits, int64_t *value)
{
	struct reading reading = { 0, 0, 0, 0, 0, 0 };
	uint32_t at = 0;
	int negative = 0;

	while (at < size && (text[at] == ' ' || text[at] == '\t'))
		++at;
	if (at < size && (text[at] == '-' || text[at] == '+'))
		negative = text[at++] == '-';
	for (; at < size; ++at) {
		if (text[at] >= '0' && text[at] <= '9')
			take_digit(&reading, text[at] - '0', digits);
		else if (text[at] == '.' && !reading.seen_point)
			reading.seen_point = 1;
		else
			break;
	}
	if (!reading.seen_digit)
		return 0;
	reading.seen_point = 1;
	while (reading.decimals < digits && !reading.too_large)
		take_digit(&reading, 0, digits);
	if (reading.too_large)
		return 0;
	*value = negative ? -reading.value : reading.value;
	return at;
}

uint32_t board_decimal_write(char *text, uint32_t size, uint32_t digits, int64_t value)
{
	char reversed[40];
	uint32_t used = 0, length, position = 0;
	uint64_t rest = value < 0 ? 0 - (uint64_t)value : (uint64_t)value;
	int started = 0;

	for (; rest != 0 || position <= digits; ++position, rest /= 10) {
		const int is_point = position == digits;

		if (is_point && started)
			reversed[used++] = '.';
		if (rest % 10 != 0 || position >= digits)
			started = 1;
		if (started)
			reversed[used++] = (char)('0' + rest % 10);
	}
	if (value < 0)
		reversed[used++] = '-';
	if (used > size)
		return 0;
	for (length = 0; length < used; ++length)
		text[length] = reversed[used - 1 - length];
	return used;
}

int board_text_equal(const char *left, const char *right, uint32_t size)
{
	uint32_t at;

	for (at = 0; at < size && left[at] == right[at]; ++at)
		if (left[at] == '\0')
			return 1;
	return at == size;
}

uint32_t board_text_length(const char *text, uint32_t size)
{
	uint32_t length = 0;

	while (length < size && text[length] != '\0')
		++length;
	return length;
}

void board_text_copy(char *to, const char *from, uint32_t size)
{
	const uint32_t length = board_text_length(from, size - 1);

	memcpy(to, from, length);
	memset(to + length, 0, size - length);
}
