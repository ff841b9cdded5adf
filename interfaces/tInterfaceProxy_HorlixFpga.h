// Calls the driver of the FPGA's time-sync logic.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "interfaces/iInterfaceProxy_HorlixFpga.h"
#include "zuplat/protons/driver/linuxU/tDeviceInterfaceProxy.h"

namespace nHALVEXTIMEKEEPER_18_1 {

/// Owns only the descriptor of its base. Threads and failure: see the interface.
class tInterfaceProxy_HorlixFpga final : public nZUPLAT000::tDeviceInterfaceProxy, public iInterfaceProxy_HorlixFpga {
public:
    std::int64_t adjustTime(std::int64_t adjustmentNs, nZUPLAT000::PlatStatus* status) noexcept override;
    std::int64_t requestEpochAlignment(std::uint64_t alignmentValue, nZUPLAT000::PlatStatus* status) noexcept override;
    std::int64_t setStatusInfo(const FpgaStatusInfo* info, nZUPLAT000::PlatStatus* status) noexcept override;
    std::int64_t getStatusInfo(FpgaRunState* runState, nZUPLAT000::PlatStatus* status) noexcept override;
    std::int64_t getTime(std::uint64_t* timeNs, nZUPLAT000::PlatStatus* status) noexcept override;
    std::int64_t getEpochTimestamp(std::uint64_t* timeNs, nZUPLAT000::PlatStatus* status) noexcept override;
};

}  // namespace nHALVEXTIMEKEEPER_18_1
