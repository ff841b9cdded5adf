// The driver interface of the Ferrox chip, the epoch master.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>

#include "zuplat/platStatus.h"
#include "zuplat/protons/driver/linuxU/iInterfaceProxy.h"

namespace nHALVEXTIMEKEEPER_18_1 {

/// The methods of the Ferrox driver. Times are in ns. Threads: the caller serialises calls, except getTime, which may
/// overlap any other while the proxy is open. Failure: reported in the status; a method does nothing if it already
/// holds an error. Results are returned, 0 if the driver was not reached; methods without a result return the error
/// that stopped them, or whether the status changed. Slot order is part of the contract.
class iInterfaceProxy_HorlixFerrox : public virtual nZUPLAT000::iInterfaceProxy {
public:
    virtual std::uint64_t getTime(nZUPLAT000::PlatStatus* status) noexcept = 0;
    virtual std::int64_t generateEpochSignal(nZUPLAT000::PlatStatus* status) noexcept = 0;
    virtual std::uint64_t getEpochTimestamp(nZUPLAT000::PlatStatus* status) noexcept = 0;  ///< Of the last signal.
    virtual std::int64_t adjustTime(std::int64_t adjustmentNs, nZUPLAT000::PlatStatus* status) noexcept = 0;
    virtual std::uint64_t getTimeOffset(nZUPLAT000::PlatStatus* status) noexcept = 0;
};

}  // namespace nHALVEXTIMEKEEPER_18_1
