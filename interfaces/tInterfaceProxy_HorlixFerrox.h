// Calls the driver of the Ferrox chip.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "interfaces/driverMethod.h"
#include "interfaces/iInterfaceProxy_HorlixFerrox.h"
#include "zuplat/protons/driver/linuxU/tDeviceInterfaceProxy.h"

namespace nHALVEXTIMEKEEPER_18_1 {

/// Owns only the descriptor of its base. Threads and failure: see the interface.
class tInterfaceProxy_HorlixFerrox final : public nZUPLAT000::tDeviceInterfaceProxy,
                                           public iInterfaceProxy_HorlixFerrox {
public:
    // Inline: an extra return after a system call is mispredicted (docs/performance.md).
    [[gnu::always_inline]] std::uint64_t getTime(nZUPLAT000::PlatStatus* status) noexcept override {
        std::uint64_t time = 0;
        callForResult(*this, kGetTime, &time, status);
        return time;
    }
    std::int64_t generateEpochSignal(nZUPLAT000::PlatStatus* status) noexcept override;
    std::uint64_t getEpochTimestamp(nZUPLAT000::PlatStatus* status) noexcept override;
    std::int64_t adjustTime(std::int64_t adjustmentNs, nZUPLAT000::PlatStatus* status) noexcept override;
    std::uint64_t getTimeOffset(nZUPLAT000::PlatStatus* status) noexcept override;

private:
    static constexpr DriverMethod kGetTime{makeRequest(Direction::read, 0), "tInterfaceProxy_HorlixFerrox", 38};
    static_assert(kGetTime.request == 0x80207500);
};

}  // namespace nHALVEXTIMEKEEPER_18_1
