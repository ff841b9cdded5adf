/* Socket requests about a network interface: flags and time-stamping information. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#include "board/wire/layout.h"

struct board_wire_ifreq {
	char name[16];
	union {
		int16_t flags;
		void *data;
		uint8_t bytes[24];
	} value;
};
BOARD_WIRE_SIZE(struct board_wire_ifreq, 40);
BOARD_WIRE_OFFSET(struct board_wire_ifreq, value, 16);

struct board_wire_ts_info {
	uint32_t command, so_timestamping;
	int32_t phc_index;
	uint32_t tx_types, tx_reserved[3], rx_filters, rx_reserved[3];
};
BOARD_WIRE_SIZE(struct board_wire_ts_info, 44);
BOARD_WIRE_OFFSET(struct board_wire_ts_info, phc_index, 8);

#define BOARD_WIRE_SIOCETHTOOL 0x8946u
#define BOARD_WIRE_SIOCGIFFLAGS 0x8913u
#define BOARD_WIRE_ETHTOOL_GET_TS_INFO 0x41u

#define BOARD_WIRE_IFF_UP 0x0001
#define BOARD_WIRE_IFF_BROADCAST 0x0002
#define BOARD_WIRE_IFF_RUNNING 0x0040
#define BOARD_WIRE_IFF_MULTICAST 0x1000
