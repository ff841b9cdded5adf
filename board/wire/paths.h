/* Paths of the board's files. */
/* SPDX-License-Identifier: GPL-2.0-only OR LicenseRef-HalvexTimekeeper */
#pragma once

#define BOARD_WIRE_NETWORK_DIRECTORY "/sys/class/net"
#define BOARD_WIRE_I210_VENDOR "0x8086"
#define BOARD_WIRE_I210_DEVICE "0x1533"
/* Empty on the board: none of its clocks has virtual clocks. */
#define BOARD_WIRE_PTP_CLASS_DIRECTORY "/sys/class/ptp"
#define BOARD_WIRE_PTP_DEVICE "/dev/ptp"

#define BOARD_WIRE_SI514_DIRECTORY "/sys/bus/i2c/drivers/si514"
#define BOARD_WIRE_SI514_NAME_FILE "name"
#define BOARD_WIRE_SI514_OFFSET_FILE "ppb_offset"

#define BOARD_WIRE_DRIVER_DIRECTORY "/proc/driver/zu"
#define BOARD_WIRE_INTERFACES_DIRECTORY "deviceInterfaces"
#define BOARD_WIRE_INTERFACE_PATH_FILE "interfacePath"
#define BOARD_WIRE_FERROX_IDENTIFIER "nZUHORLIXFERROX000_HorlixFerrox"
#define BOARD_WIRE_FPGA_IDENTIFIER "nZUHORLIXFPGA000_HorlixFpga"
/* An instance's directory is named identifier, backslash, instance. */
#define BOARD_WIRE_FERROX_DRIVER "horlixFerrox"
#define BOARD_WIRE_FPGA_DRIVER "horlixFpga"
#define BOARD_WIRE_DRIVER_INSTANCE "0"
#define BOARD_WIRE_FERROX_NODE "/dev/zu/horlixFerrox0"
#define BOARD_WIRE_FPGA_NODE "/dev/zu/horlixFpga0"

#define BOARD_WIRE_PHC2SYS "/usr/local/tarnesk/share/Horlix/TimeKeepers/phc2sys"
