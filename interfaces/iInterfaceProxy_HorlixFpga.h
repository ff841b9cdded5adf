// The driver interface of the FPGA's time-sync logic, and the records its methods exchange.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>

#include "zuplat/platStatus.h"
#include "zuplat/protons/driver/linuxU/iInterfaceProxy.h"

namespace nHALVEXTIMEKEEPER_18_1 {

#pragma pack(push, 1)

/// The selected time reference, as sent to the FPGA.
struct FpgaStatusInfo {
    std::uint32_t size = sizeof(FpgaStatusInfo);
    std::uint8_t isNotAligned = 0;
    std::uint32_t referenceKind = 0;  ///< 2: known type; 1: unknown type; 0: reset.
    std::int32_t selectedOffset = 0;
    std::uint8_t isSelectedOffsetPresent = 0;
    std::int32_t utcOffset = 0;
    std::uint8_t isUtcOffsetPresent = 0;
};

/// The FPGA's time base, as read from it.
struct FpgaRunState {
    std::uint32_t size = sizeof(FpgaRunState);
    std::uint8_t isRunning = 0;  ///< Nonzero while running.
    std::uint8_t furtherFlags[3] = {};
};

#pragma pack(pop)

static_assert(sizeof(FpgaStatusInfo) == 19);
static_assert(offsetof(FpgaStatusInfo, size) == 0);
static_assert(offsetof(FpgaStatusInfo, isNotAligned) == 4);
static_assert(offsetof(FpgaStatusInfo, referenceKind) == 5);
static_assert(offsetof(FpgaStatusInfo, selectedOffset) == 9);
static_assert(offsetof(FpgaStatusInfo, isSelectedOffsetPresent) == 13);
static_assert(offsetof(FpgaStatusInfo, utcOffset) == 14);
static_assert(offsetof(FpgaStatusInfo, isUtcOffsetPresent) == 18);
static_assert(sizeof(FpgaRunState) == 8);
static_assert(offsetof(FpgaRunState, size) == 0);
static_assert(offsetof(FpgaRunState, isRunning) == 4);
static_assert(offsetof(FpgaRunState, furtherFlags) == 5);

/// The methods of the FPGA driver. Times are in ns. Threads: the caller serialises calls, except getTime, which may
/// overlap any other while the proxy is open. Failure: reported in the status; a method does nothing if it already
/// holds an error. Results are stored if the driver was reached, whatever it then reports. Every method returns the
/// error that stopped it, or whether the status changed. Slot order is part of the contract.
class iInterfaceProxy_HorlixFpga : public virtual nZUPLAT000::iInterfaceProxy {
public:
    virtual std::int64_t adjustTime(std::int64_t adjustmentNs, nZUPLAT000::PlatStatus* status) noexcept = 0;
    virtual std::int64_t requestEpochAlignment(std::uint64_t alignmentValue,
                                               nZUPLAT000::PlatStatus* status) noexcept = 0;
    virtual std::int64_t setStatusInfo(const FpgaStatusInfo* info, nZUPLAT000::PlatStatus* status) noexcept = 0;
    virtual std::int64_t getStatusInfo(FpgaRunState* runState, nZUPLAT000::PlatStatus* status) noexcept = 0;
    virtual std::int64_t getTime(std::uint64_t* timeNs, nZUPLAT000::PlatStatus* status) noexcept = 0;
    virtual std::int64_t getEpochTimestamp(std::uint64_t* timeNs,
                                           nZUPLAT000::PlatStatus* status) noexcept = 0;  ///< Of the last epoch seen.
};

}  // namespace nHALVEXTIMEKEEPER_18_1
