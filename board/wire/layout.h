/* Layout checks and request number construction for the wire headers. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#include "board/model/platform.h"

#ifdef __cplusplus
#define BOARD_WIRE_ASSERT(condition, text) static_assert(condition, text)
#else
#define BOARD_WIRE_ASSERT(condition, text) _Static_assert(condition, text)
#endif
#define BOARD_WIRE_OFFSET(type, member, expected) \
	BOARD_WIRE_ASSERT(__builtin_offsetof(type, member) == (expected), #type "." #member)
#define BOARD_WIRE_SIZE(type, expected) BOARD_WIRE_ASSERT(sizeof(type) == (expected), #type)

/* A request number: direction (1: the program writes, 2: it reads) | size | letter | number. */
#define BOARD_WIRE_REQUEST(direction, size, letter, number) \
	(((uint32_t)(direction) << 30) | ((uint32_t)(size) << 16) | ((uint32_t)(letter) << 8) | (uint32_t)(number))
