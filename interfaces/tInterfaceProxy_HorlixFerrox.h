// Calls the driver of the Ferrox chip.
#pragma once

#include "interfaces/iInterfaceProxy_HorlixFerrox.h"
#include "zuplat/protons/driver/linuxU/tDeviceInterfaceProxy.h"

namespace nHALVEXTIMEKEEPER_18_1 {

/// Owns nothing but the descriptor of its base. Threads and failure: as the interface says.
class tInterfaceProxy_HorlixFerrox final : public nZUPLAT000::tDeviceInterfaceProxy,
                                           public iInterfaceProxy_HorlixFerrox {
public:
    std::uint64_t getTime(nZUPLAT000::PlatStatus* status) noexcept override;
    std::int64_t generateEpochSignal(nZUPLAT000::PlatStatus* status) noexcept override;
    std::uint64_t getEpochTimestamp(nZUPLAT000::PlatStatus* status) noexcept override;
    std::int64_t adjustTime(std::int64_t adjustmentNs, nZUPLAT000::PlatStatus* status) noexcept override;
    std::uint64_t getTimeOffset(nZUPLAT000::PlatStatus* status) noexcept override;
};

}  // namespace nHALVEXTIMEKEEPER_18_1
