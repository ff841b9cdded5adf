// The interface of a clock that takes part in epoch alignment.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

#include "source/zuHalvexTimekeeper/clockInterface.h"

namespace halvexTimekeeper {

/// Emits or captures the epoch signal. The virtual base keeps one clock per device object. Owns nothing. Threads:
/// getTime may overlap any call, the timekeeper serialises the rest. Failure: every operation throws zuerr::Exception;
/// operations that a device lacks throw zuplaterr_featureUnsupported. Slot order is part of the contract.
class EpochDeviceInterface : public virtual ClockInterface {
public:
    ~EpochDeviceInterface() override = default;
    const std::string& getName() const override = 0;
    QxmTimestamp getTime() override = 0;
    void adjustTime(std::int64_t offsetNs) override = 0;
    bool isEnabled() override = 0;

    /// Master only: emits one epoch signal and returns this clock's time at it.
    virtual QxmTimestamp generateEpoch() = 0;

    /// Slave only: prepares to capture the next epoch signal; called on every slave before the master emits it.
    virtual void armEpochCapture() = 0;

    /// Slave only: this clock's time at the captured signal; zuplaterr_operationTimedOut if none was captured.
    virtual QxmTimestamp getEpochTimestamp() = 0;

    /// Closes and reopens the handle to the hardware; called on a slave before it is aligned again.
    virtual void reinitialize() = 0;

    /// Passes the host's metadata document (JSON text) to the device.
    virtual void applyQxmMetadata(const std::string& metadata) = 0;

    /// True: this slave is enabled and must be re-initialised and aligned, the opposite of what the name says.
    // Kept on purpose: true requests an alignment; the timekeeper stores false once it is done.
    virtual bool hasBeenEpochAligned() = 0;

    /// Sets the flag behind hasBeenEpochAligned.
    virtual void setHasBeenEpochAligned(bool value) = 0;
};

}  // namespace halvexTimekeeper
