// What the timekeeper asks of a clock that takes part in epoch alignment.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

#include "source/zuHalvexTimekeeper/clockInterface.h"

namespace halvexTimekeeper {

/// Emits or captures the epoch signal. One device object is one clock however it is reached, hence the virtual base.
/// Owns nothing. Threads: getTime may overlap any call, the rest is serialised by the timekeeper. Failure: every
/// operation throws zuerr::Exception, those that a device cannot perform with zuplaterr_featureUnsupported. Slot order
/// is part of the contract.
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

    /// Slave only: this clock's time at the captured signal; zuplaterr_operationTimedOut when none was seen.
    virtual QxmTimestamp getEpochTimestamp() = 0;

    /// Drops the handle to the hardware and acquires it again; called on a slave before it is aligned again.
    virtual void reinitialize() = 0;

    /// Hands the device the host's metadata document (JSON text).
    virtual void applyQxmMetadata(const std::string& metadata) = 0;

    /// True: this slave is enabled and must be re-initialised and aligned. The name says the opposite of its use.
    // Kept on purpose: true asks for an alignment, and the timekeeper stores false once it is done.
    virtual bool hasBeenEpochAligned() = 0;

    /// Stores the flag behind hasBeenEpochAligned.
    virtual void setHasBeenEpochAligned(bool value) = 0;
};

}  // namespace halvexTimekeeper
