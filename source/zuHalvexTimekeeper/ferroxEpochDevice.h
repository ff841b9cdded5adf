// The Ferrox chip: the epoch master.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

#include "interfaces/tInterfaceProxy_HorlixFerrox.h"
#include "source/zuHalvexTimekeeper/epochDeviceInterface.h"

namespace halvexTimekeeper {

/// The epoch device that every slave is aligned to. Owns the driver proxy and keeps no other state. Threads: getTime
/// may overlap any call but reinitialize, the timekeeper serialises the rest. Failure: throws zuerr::Exception with the
/// code that driver or platform reported; slave-only operations throw zuplaterr_featureUnsupported.
class FerroxEpochDevice final : public EpochDeviceInterface {
public:
    /// Opens the first driver interface found; zuplaterr_resourceNotFound if there is none.
    FerroxEpochDevice();
    FerroxEpochDevice(const FerroxEpochDevice&) = delete;
    FerroxEpochDevice& operator=(const FerroxEpochDevice&) = delete;
    ~FerroxEpochDevice() override = default;  ///< The proxy closes itself.

    const std::string& getName() const override;
    QxmTimestamp getTime() override;
    void adjustTime(std::int64_t offsetNs) override;
    bool isEnabled() override;  ///< Always true; does not query the hardware.
    QxmTimestamp generateEpoch() override;
    [[noreturn]] void armEpochCapture() override;
    [[noreturn]] QxmTimestamp getEpochTimestamp() override;
    void reinitialize() override;
    [[noreturn]] void applyQxmMetadata(const std::string& metadata) override;
    [[noreturn]] bool hasBeenEpochAligned() override;
    [[noreturn]] void setHasBeenEpochAligned(bool value) override;

private:
    void load();

    nHALVEXTIMEKEEPER_18_1::tInterfaceProxy_HorlixFerrox proxy_;
};

}  // namespace halvexTimekeeper
