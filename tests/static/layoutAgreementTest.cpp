// Compares what product and board define independently; the only file that includes both.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <linux/ethtool.h>
#include <linux/ptp_clock.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/timex.h>

#include "board/wire/driver.h"
#include "board/wire/netInterface.h"
#include "board/wire/paths.h"
#include "board/wire/ptp.h"
#include "board/wire/timex.h"
#include "interfaces/driverMethod.h"
#include "interfaces/iInterfaceProxy_HorlixFpga.h"
#include "interfaces/interfaceIdentifiers.h"
#include "source/zuHalvexTimekeeper/i210EpochHelpers.h"
#include "tests/support/test.h"

namespace layoutAgreementTest {

using namespace nHALVEXTIMEKEEPER_18_1;

// The block and the buffers of a driver call.
static_assert(sizeof(board_wire_ioctl_block) == sizeof(nZUPLAT000::IoctlArgs));
static_assert(offsetof(board_wire_ioctl_block, in_address) == offsetof(nZUPLAT000::IoctlArgs, inAddress));
static_assert(offsetof(board_wire_ioctl_block, out_address) == offsetof(nZUPLAT000::IoctlArgs, outAddress));
static_assert(offsetof(board_wire_ioctl_block, in_size) == offsetof(nZUPLAT000::IoctlArgs, inSize));
static_assert(offsetof(board_wire_ioctl_block, out_size) == offsetof(nZUPLAT000::IoctlArgs, outSize));
static_assert(offsetof(board_wire_ioctl_block, bytes_returned) == offsetof(nZUPLAT000::IoctlArgs, bytesReturned));
static_assert(sizeof(board_wire_value_buffer) == sizeof(ValueBuffer));
static_assert(offsetof(board_wire_value_buffer, status) == offsetof(ValueBuffer, statusCode));
static_assert(BOARD_WIRE_STATUS_BUFFER_SIZE == sizeof(StatusBuffer));

// Request numbers, method by method.
static_assert(BOARD_WIRE_FERROX_GET_TIME == makeRequest(Direction::read, 0));
static_assert(BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL == makeRequest(Direction::readWrite, 1));
static_assert(BOARD_WIRE_FERROX_GET_EPOCH_TIMESTAMP == makeRequest(Direction::read, 2));
static_assert(BOARD_WIRE_FERROX_ADJUST_TIME == makeRequest(Direction::readWrite, 3));
static_assert(BOARD_WIRE_FERROX_GET_TIME_OFFSET == makeRequest(Direction::read, 4));
static_assert(BOARD_WIRE_FPGA_ADJUST_TIME == makeRequest(Direction::readWrite, 0));
static_assert(BOARD_WIRE_FPGA_REQUEST_EPOCH_ALIGNMENT == makeRequest(Direction::readWrite, 1));
static_assert(BOARD_WIRE_FPGA_SET_STATUS_INFO == makeRequest(Direction::readWrite, 2));
static_assert(BOARD_WIRE_FPGA_GET_STATUS_INFO == makeRequest(Direction::readWrite, 3));
static_assert(BOARD_WIRE_FPGA_GET_TIME == makeRequest(Direction::readWrite, 4));
static_assert(BOARD_WIRE_FPGA_GET_EPOCH_TIMESTAMP == makeRequest(Direction::readWrite, 5));

// The records of the FPGA.
static_assert(sizeof(board_wire_fpga_status) == sizeof(FpgaStatusInfo));
static_assert(offsetof(board_wire_fpga_status, not_aligned) == offsetof(FpgaStatusInfo, isNotAligned));
static_assert(offsetof(board_wire_fpga_status, reference_kind) == offsetof(FpgaStatusInfo, referenceKind));
static_assert(offsetof(board_wire_fpga_status, reference_offset) == offsetof(FpgaStatusInfo, selectedOffset));
static_assert(offsetof(board_wire_fpga_status, has_reference_offset) ==
              offsetof(FpgaStatusInfo, isSelectedOffsetPresent));
static_assert(offsetof(board_wire_fpga_status, utc_offset) == offsetof(FpgaStatusInfo, utcOffset));
static_assert(offsetof(board_wire_fpga_status, has_utc_offset) == offsetof(FpgaStatusInfo, isUtcOffsetPresent));
static_assert(sizeof(board_wire_fpga_run_state) == sizeof(FpgaRunState));
static_assert(offsetof(board_wire_fpga_run_state, running) == offsetof(FpgaRunState, isRunning));

// The kernel's headers, which the product is compiled against.
static_assert(BOARD_WIRE_PTP_GETCAPS == PTP_CLOCK_GETCAPS);
static_assert(BOARD_WIRE_PTP_EXTTS_REQUEST == PTP_EXTTS_REQUEST);
static_assert(BOARD_WIRE_PTP_PIN_SETFUNC == PTP_PIN_SETFUNC);
static_assert(BOARD_WIRE_PTP_SYS_OFFSET == PTP_SYS_OFFSET);
static_assert(BOARD_WIRE_PTP_SYS_OFFSET_EXTENDED == PTP_SYS_OFFSET_EXTENDED);
static_assert(sizeof(board_wire_ptp_caps) == sizeof(ptp_clock_caps));
static_assert(offsetof(board_wire_ptp_caps, n_pins) == offsetof(ptp_clock_caps, n_pins));
static_assert(sizeof(board_wire_ptp_pin) == sizeof(ptp_pin_desc));
static_assert(offsetof(board_wire_ptp_pin, function) == offsetof(ptp_pin_desc, func));
static_assert(offsetof(board_wire_ptp_pin, channel) == offsetof(ptp_pin_desc, chan));
static_assert(sizeof(board_wire_ptp_extts_request) == sizeof(ptp_extts_request));
static_assert(sizeof(board_wire_ptp_extts_event) == sizeof(ptp_extts_event));
static_assert(offsetof(board_wire_ptp_extts_event, index) == offsetof(ptp_extts_event, index));
static_assert(BOARD_WIRE_PIN_EXTTS == PTP_PF_EXTTS && BOARD_WIRE_PIN_NONE == PTP_PF_NONE);
static_assert(BOARD_WIRE_EXTTS_ENABLE == PTP_ENABLE_FEATURE && BOARD_WIRE_EXTTS_RISING == PTP_RISING_EDGE);
static_assert(BOARD_WIRE_SIOCETHTOOL == SIOCETHTOOL && BOARD_WIRE_SIOCGIFFLAGS == SIOCGIFFLAGS);
static_assert(sizeof(board_wire_ifreq) == sizeof(ifreq));
static_assert(offsetof(board_wire_ifreq, value) == offsetof(ifreq, ifr_flags));
static_assert(sizeof(board_wire_ts_info) == sizeof(ethtool_ts_info));
static_assert(offsetof(board_wire_ts_info, phc_index) == offsetof(ethtool_ts_info, phc_index));
static_assert(BOARD_WIRE_IFF_UP == IFF_UP);

TEST(BoardAndProduct, GiveTheDriverInterfacesTheSameNames) {
    EXPECT_STREQ(BOARD_WIRE_FERROX_IDENTIFIER, interfaceIdentifier(InterfaceKind::horlixFerrox));
    EXPECT_STREQ(BOARD_WIRE_FPGA_IDENTIFIER, interfaceIdentifier(InterfaceKind::horlixFpga));
}

TEST(BoardAndProduct, TurnADescriptorIntoAClockIdAndBack) {
    for (const int fd : {0, 1, 3, 1023, 4096}) {
        const clockid_t id = halvexTimekeeper::i210EpochHelpers::fdToClockId(fd);
        EXPECT_TRUE(BOARD_WIRE_IS_CLOCK_FD(id)) << fd;
        EXPECT_EQ(BOARD_WIRE_CLOCK_TO_FD(id), fd);
    }
}

}  // namespace layoutAgreementTest
