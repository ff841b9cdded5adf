// The timekeeper: one master clock, the system clock, an oscillator, and the slaves it keeps aligned.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <future>
#include <memory>
#include <string>

#include "locks/annotatedLocks.h"
#include "source/zuHalvexTimekeeper/clockInterface.h"
#include "source/zuHalvexTimekeeper/epochAlignment.h"
#include "source/zuHalvexTimekeeper/epochDeviceInterface.h"
#include "source/zuHalvexTimekeeper/freqSteeringDeviceInterface.h"
#include "source/zuHalvexTimekeeper/timekeeperInterface.h"

namespace halvexTimekeeper {

/// The plug-in's TimekeeperInterface. Shares ownership of its components and owns the thread of at most one pending
/// alignment. Threads: thread-safe; the device mutex serialises snapTime, applyMetaData and serviceEpochDevices, each
/// of which waits for a pending alignment before it touches a device. getTime and the correction operations
/// take no lock of the timekeeper. Failure: throws what a component threw, and zuplaterr_resourceNotInitialized if the
/// master or the system clock is not enabled.
class HalvexTimekeeper final : public TimekeeperInterface {
public:
    /// Seeds the master from the system clock and aligns all slaves; throws if that fails.
    HalvexTimekeeper(std::shared_ptr<EpochDeviceInterface> master, std::shared_ptr<ClockInterface> systemClock,
                     std::shared_ptr<FreqSteeringDeviceInterface> freqSteeringDevice, const EpochDevices& slaves);
    /// Waits for a pending alignment and discards its error.
    ~HalvexTimekeeper() override;

    const std::string& getName() const override { return name_; }
    QxmTimestamp getTime() override;
    void snapTime(std::int64_t offsetNs) override;
    std::int32_t getMaxCorrectionPerSecond() override;
    std::int32_t getMinCorrectionPerSecond() override;
    std::int32_t getCorrectionPerSecond() override;
    void setCorrectionPerSecond(std::int32_t correctionPpb) override;
    bool isSeeded() const override { return isSeeded_; }
    void applyMetaData(const std::string& metadata) override;
    void serviceEpochDevices() override;

private:
    void seedMaster();
    void startAlignment() REQUIRES(deviceMutex_);
    void finishAlignment() REQUIRES(deviceMutex_);
    EpochDevices reinitializeReturningSlaves() REQUIRES(deviceMutex_);

    std::string name_{"HalvexTimekeeper"};
    bool isSeeded_ = false;
    std::shared_ptr<EpochDeviceInterface> master_;
    std::shared_ptr<ClockInterface> systemClock_;
    std::shared_ptr<FreqSteeringDeviceInterface> freqSteeringDevice_;
    EpochDevices slaves_;
    locks::TimedMutex deviceMutex_;
    std::string metadata_ GUARDED_BY(deviceMutex_){"{}"};
    std::future<void> alignment_ GUARDED_BY(deviceMutex_);  ///< Of the last step; invalid if none is pending.
};

}  // namespace halvexTimekeeper
