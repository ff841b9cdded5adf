/* struct timex on a 64-bit machine, and the mode bits that the board supports. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#include "board/wire/layout.h"

struct board_wire_timex {
	uint32_t modes, pad0;
	int64_t offset, freq, maxerror, esterror;
	int32_t status, pad1;
	int64_t constant, precision, tolerance;
	int64_t time_sec, time_usec;
	int64_t tick, ppsfreq, jitter;
	int32_t shift, pad2;
	int64_t stabil, jitcnt, calcnt, errcnt, stbcnt;
	int32_t tai;
	int32_t reserved[11];
};
BOARD_WIRE_SIZE(struct board_wire_timex, 208);
BOARD_WIRE_OFFSET(struct board_wire_timex, freq, 16);
BOARD_WIRE_OFFSET(struct board_wire_timex, status, 40);
BOARD_WIRE_OFFSET(struct board_wire_timex, time_sec, 72);
BOARD_WIRE_OFFSET(struct board_wire_timex, time_usec, 80);
BOARD_WIRE_OFFSET(struct board_wire_timex, tick, 88);
BOARD_WIRE_OFFSET(struct board_wire_timex, tai, 160);

#define BOARD_WIRE_ADJ_FREQUENCY 0x0002u
#define BOARD_WIRE_ADJ_MAXERROR 0x0004u
#define BOARD_WIRE_ADJ_ESTERROR 0x0008u
#define BOARD_WIRE_ADJ_STATUS 0x0010u
#define BOARD_WIRE_ADJ_SETOFFSET 0x0100u
#define BOARD_WIRE_ADJ_NANO 0x2000u
#define BOARD_WIRE_ADJ_TICK 0x4000u
BOARD_WIRE_ASSERT((BOARD_WIRE_ADJ_SETOFFSET | BOARD_WIRE_ADJ_NANO) == 0x2100u, "a step in nanoseconds");

#define BOARD_WIRE_STA_UNSYNC 0x0040
#define BOARD_WIRE_STA_NANO 0x2000
#define BOARD_WIRE_TIME_OK 0
#define BOARD_WIRE_TIME_ERROR 5
