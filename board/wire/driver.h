/* The ABI of the Ferrox and FPGA drivers: ioctl block, request numbers, buffers and records. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#include "board/wire/layout.h"

struct board_wire_ioctl_block {
	uint64_t in_address, out_address;
	uint32_t in_size, out_size;
	uint64_t bytes_returned;
};
BOARD_WIRE_SIZE(struct board_wire_ioctl_block, 32);
BOARD_WIRE_OFFSET(struct board_wire_ioctl_block, in_size, 16);
BOARD_WIRE_OFFSET(struct board_wire_ioctl_block, bytes_returned, 24);

/* A buffer with a 64-bit value before its status; a buffer without a value is only a status. */
struct board_wire_value_buffer {
	uint64_t value;
	int32_t status;
	int32_t padding;
};
BOARD_WIRE_SIZE(struct board_wire_value_buffer, 16);
BOARD_WIRE_OFFSET(struct board_wire_value_buffer, status, 8);
#define BOARD_WIRE_STATUS_BUFFER_SIZE 4u

#define BOARD_WIRE_DRIVER_GET(number) BOARD_WIRE_REQUEST(2, sizeof(struct board_wire_ioctl_block), 'u', number)
#define BOARD_WIRE_DRIVER_DO(number) BOARD_WIRE_REQUEST(3, sizeof(struct board_wire_ioctl_block), 'u', number)

#define BOARD_WIRE_FERROX_GET_TIME BOARD_WIRE_DRIVER_GET(0)
#define BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL BOARD_WIRE_DRIVER_DO(1)
#define BOARD_WIRE_FERROX_GET_EPOCH_TIMESTAMP BOARD_WIRE_DRIVER_GET(2)
#define BOARD_WIRE_FERROX_ADJUST_TIME BOARD_WIRE_DRIVER_DO(3)
#define BOARD_WIRE_FERROX_GET_TIME_OFFSET BOARD_WIRE_DRIVER_GET(4)
BOARD_WIRE_ASSERT(BOARD_WIRE_FERROX_GET_TIME == 0x80207500u, "Ferrox getTime");
BOARD_WIRE_ASSERT(BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL == 0xC0207501u, "Ferrox generateEpochSignal");
BOARD_WIRE_ASSERT(BOARD_WIRE_FERROX_GET_EPOCH_TIMESTAMP == 0x80207502u, "Ferrox getEpochTimestamp");
BOARD_WIRE_ASSERT(BOARD_WIRE_FERROX_ADJUST_TIME == 0xC0207503u, "Ferrox adjustTime");
BOARD_WIRE_ASSERT(BOARD_WIRE_FERROX_GET_TIME_OFFSET == 0x80207504u, "Ferrox getTimeOffset");

#define BOARD_WIRE_FPGA_ADJUST_TIME BOARD_WIRE_DRIVER_DO(0)
#define BOARD_WIRE_FPGA_REQUEST_EPOCH_ALIGNMENT BOARD_WIRE_DRIVER_DO(1)
#define BOARD_WIRE_FPGA_SET_STATUS_INFO BOARD_WIRE_DRIVER_DO(2)
#define BOARD_WIRE_FPGA_GET_STATUS_INFO BOARD_WIRE_DRIVER_DO(3)
#define BOARD_WIRE_FPGA_GET_TIME BOARD_WIRE_DRIVER_DO(4)
#define BOARD_WIRE_FPGA_GET_EPOCH_TIMESTAMP BOARD_WIRE_DRIVER_DO(5)
BOARD_WIRE_ASSERT(BOARD_WIRE_FPGA_ADJUST_TIME == 0xC0207500u, "FPGA adjustTime");
BOARD_WIRE_ASSERT(BOARD_WIRE_FPGA_GET_TIME == 0xC0207504u, "FPGA getTime");
BOARD_WIRE_ASSERT(BOARD_WIRE_FPGA_GET_EPOCH_TIMESTAMP == 0xC0207505u, "FPGA getEpochTimestamp");

#pragma pack(push, 1)
struct board_wire_fpga_status {
	uint32_t size;
	uint8_t not_aligned;
	uint32_t reference_kind;
	int32_t reference_offset;
	uint8_t has_reference_offset;
	int32_t utc_offset;
	uint8_t has_utc_offset;
};
struct board_wire_fpga_run_state {
	uint32_t size;
	uint8_t running;
	uint8_t flags[3];
};
#pragma pack(pop)
BOARD_WIRE_SIZE(struct board_wire_fpga_status, 19);
BOARD_WIRE_OFFSET(struct board_wire_fpga_status, reference_kind, 5);
BOARD_WIRE_OFFSET(struct board_wire_fpga_status, reference_offset, 9);
BOARD_WIRE_OFFSET(struct board_wire_fpga_status, utc_offset, 14);
BOARD_WIRE_OFFSET(struct board_wire_fpga_status, has_utc_offset, 18);
BOARD_WIRE_SIZE(struct board_wire_fpga_run_state, 8);

#define BOARD_WIRE_STATUS_INVALID_PARAMETER (-52005)
