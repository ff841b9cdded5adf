/* The ABI of the PTP character device: records, request numbers, dynamic clock ids. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#include "board/wire/layout.h"

struct board_wire_ptp_caps {
	int32_t max_adj, n_alarm, n_ext_ts, n_per_out, pps, n_pins, cross_timestamping, adjust_phase;
	int32_t reserved[12];
};
BOARD_WIRE_SIZE(struct board_wire_ptp_caps, 80);
BOARD_WIRE_OFFSET(struct board_wire_ptp_caps, n_ext_ts, 8);
BOARD_WIRE_OFFSET(struct board_wire_ptp_caps, n_per_out, 12);
BOARD_WIRE_OFFSET(struct board_wire_ptp_caps, n_pins, 20);

struct board_wire_ptp_pin {
	char name[64];
	uint32_t index, function, channel;
	uint32_t reserved[5];
};
BOARD_WIRE_SIZE(struct board_wire_ptp_pin, 96);
BOARD_WIRE_OFFSET(struct board_wire_ptp_pin, index, 64);
BOARD_WIRE_OFFSET(struct board_wire_ptp_pin, function, 68);
BOARD_WIRE_OFFSET(struct board_wire_ptp_pin, channel, 72);

#define BOARD_WIRE_PIN_NONE 0u
#define BOARD_WIRE_PIN_EXTTS 1u
#define BOARD_WIRE_PIN_PEROUT 2u
#define BOARD_WIRE_PIN_PHYSYNC 3u

struct board_wire_ptp_extts_request {
	uint32_t index, flags;
	uint32_t reserved[2];
};
BOARD_WIRE_SIZE(struct board_wire_ptp_extts_request, 16);

#define BOARD_WIRE_EXTTS_ENABLE 1u
#define BOARD_WIRE_EXTTS_RISING 2u
#define BOARD_WIRE_EXTTS_FALLING 4u

struct board_wire_ptp_time {
	int64_t seconds;
	uint32_t nanoseconds, reserved;
};

struct board_wire_ptp_extts_event {
	struct board_wire_ptp_time time;
	uint32_t index, flags;
	uint32_t reserved[2];
};
BOARD_WIRE_SIZE(struct board_wire_ptp_extts_event, 32);
BOARD_WIRE_OFFSET(struct board_wire_ptp_extts_event, index, 16);
BOARD_WIRE_OFFSET(struct board_wire_ptp_extts_event, flags, 20);

#define BOARD_WIRE_PTP_READ_MAX 30u /* maximum number of events per read() */

struct board_wire_ptp_sys_offset {
	uint32_t n_samples;
	uint32_t reserved[3];
	struct board_wire_ptp_time time[51]; /* system, PHC, system ... */
};
BOARD_WIRE_SIZE(struct board_wire_ptp_sys_offset, 832);

struct board_wire_ptp_sys_offset_extended {
	uint32_t n_samples;
	uint32_t reserved[3];
	struct board_wire_ptp_time time[25][3]; /* system before, PHC, system after */
};
BOARD_WIRE_SIZE(struct board_wire_ptp_sys_offset_extended, 1216);

#define BOARD_WIRE_PTP_GETCAPS BOARD_WIRE_REQUEST(2, sizeof(struct board_wire_ptp_caps), '=', 1)
#define BOARD_WIRE_PTP_EXTTS_REQUEST BOARD_WIRE_REQUEST(1, sizeof(struct board_wire_ptp_extts_request), '=', 2)
#define BOARD_WIRE_PTP_SYS_OFFSET BOARD_WIRE_REQUEST(1, sizeof(struct board_wire_ptp_sys_offset), '=', 5)
#define BOARD_WIRE_PTP_PIN_GETFUNC BOARD_WIRE_REQUEST(3, sizeof(struct board_wire_ptp_pin), '=', 6)
#define BOARD_WIRE_PTP_PIN_SETFUNC BOARD_WIRE_REQUEST(1, sizeof(struct board_wire_ptp_pin), '=', 7)
#define BOARD_WIRE_PTP_SYS_OFFSET_EXTENDED \
	BOARD_WIRE_REQUEST(3, sizeof(struct board_wire_ptp_sys_offset_extended), '=', 9)
#define BOARD_WIRE_PTP_GETCAPS2 BOARD_WIRE_REQUEST(2, sizeof(struct board_wire_ptp_caps), '=', 10)
#define BOARD_WIRE_PTP_EXTTS_REQUEST2 BOARD_WIRE_REQUEST(1, sizeof(struct board_wire_ptp_extts_request), '=', 11)
#define BOARD_WIRE_PTP_PIN_GETFUNC2 BOARD_WIRE_REQUEST(3, sizeof(struct board_wire_ptp_pin), '=', 15)
#define BOARD_WIRE_PTP_PIN_SETFUNC2 BOARD_WIRE_REQUEST(1, sizeof(struct board_wire_ptp_pin), '=', 16)
BOARD_WIRE_ASSERT(BOARD_WIRE_PTP_GETCAPS == 0x80503D01u, "PTP_CLOCK_GETCAPS");
BOARD_WIRE_ASSERT(BOARD_WIRE_PTP_EXTTS_REQUEST == 0x40103D02u, "PTP_EXTTS_REQUEST");
BOARD_WIRE_ASSERT(BOARD_WIRE_PTP_PIN_SETFUNC == 0x40603D07u, "PTP_PIN_SETFUNC");
BOARD_WIRE_ASSERT(BOARD_WIRE_PTP_SYS_OFFSET == 0x43403D05u, "PTP_SYS_OFFSET");

/* A dynamic clock id encodes the descriptor: ~fd above three bits of value 3. */
#define BOARD_WIRE_CLOCK_FD 3
#define BOARD_WIRE_IS_CLOCK_FD(id) ((id) < 0 && ((id)&7) == BOARD_WIRE_CLOCK_FD)
#define BOARD_WIRE_CLOCK_TO_FD(id) (~((id) >> 3))
#define BOARD_WIRE_FD_TO_CLOCK(fd) ((int32_t)((~(uint32_t)(fd) << 3) | BOARD_WIRE_CLOCK_FD))
BOARD_WIRE_ASSERT(BOARD_WIRE_CLOCK_TO_FD(BOARD_WIRE_FD_TO_CLOCK(1025)) == 1025, "clock id keeps the descriptor");
