// The timekeeper: one master clock, the system clock, an oscillator, and the slaves it keeps aligned.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/halvexTimekeeper.h"

#include <syslog.h>

#include <chrono>
#include <limits>
#include <utility>

#include "source/tools/backgroundTask.h"
#include "source/tools/cancellationDisabled.h"
#include "source/zuHalvexTimekeeper/timeDifference.h"
#include "zuerr/codes.h"
#include "zuerr/exception.h"

namespace halvexTimekeeper {
namespace {

constexpr zuerr::ErrorSite kNotEnabled{zuerr::zuplaterr_resourceNotInitialized, "halvexTimekeeper", 44};

constexpr std::chrono::milliseconds kLockTimeout{15};  // for snapTime and applyMetaData

constexpr std::int64_t kStepNs = 200;  // granularity of a step of the master

/// Truncates toward zero.
constexpr std::int64_t truncateToStep(std::int64_t offsetNs) noexcept { return offsetNs / kStepNs * kStepNs; }

/// Rounds to the nearest multiple, halves away from zero; truncates where rounding would overflow.
constexpr std::int64_t roundToStep(std::int64_t offsetNs) noexcept {
    constexpr std::int64_t kHalfStepNs = kStepNs / 2;
    using Limits = std::numeric_limits<std::int64_t>;
    if (offsetNs >= 0) {
        if (offsetNs <= Limits::max() - kHalfStepNs) offsetNs += kHalfStepNs;
    } else {
        if (offsetNs >= Limits::min() + kHalfStepNs) offsetNs -= kHalfStepNs;
    }
    return truncateToStep(offsetNs);
}

void requireEnabled(ClockInterface& clock) {
    if (!clock.isEnabled()) raise(kNotEnabled, {clock.getName(), " needs to be enabled to allow timekeeper to work"});
}

}  // namespace

HalvexTimekeeper::HalvexTimekeeper(std::shared_ptr<EpochDeviceInterface> master,
                                   std::shared_ptr<ClockInterface> systemClock,
                                   std::shared_ptr<FreqSteeringDeviceInterface> freqSteeringDevice,
                                   const EpochDevices& slaves)
    : master_(std::move(master)),
      systemClock_(std::move(systemClock)),
      freqSteeringDevice_(std::move(freqSteeringDevice)),
      slaves_(slaves) {
    seedMaster();
    EpochAlignment(*master_, slaves_).run();
    isSeeded_ = true;
}

HalvexTimekeeper::~HalvexTimekeeper() {
    const CancellationDisabled cancellationDisabled;  // cancellation must not unwind a destructor
    alignment_ = {};
}

QxmTimestamp HalvexTimekeeper::getTime() { return master_->getTime(); }

void HalvexTimekeeper::snapTime(std::int64_t offsetNs) {
    // A cancelled wait below would lose the alignment's error.
    const CancellationDisabled cancellationDisabled;
    // Kept on purpose: if the mutex stays busy the step is silently dropped; the host steps again.
    if (!deviceMutex_.try_lock_for(kLockTimeout)) return;
    const locks::LockGuard lock(deviceMutex_, std::adopt_lock);

    finishAlignment();
    requireEnabled(*master_);
    requireEnabled(*systemClock_);

    // Kept on purpose: truncated toward zero, while seeding rounds to nearest.
    const std::int64_t stepNs = truncateToStep(offsetNs);
    master_->adjustTime(stepNs);
    systemClock_->adjustTime(stepNs);

    startAlignment();
}

std::int32_t HalvexTimekeeper::getMaxCorrectionPerSecond() { return freqSteeringDevice_->getMaxCorrectionPerSecond(); }

std::int32_t HalvexTimekeeper::getMinCorrectionPerSecond() { return freqSteeringDevice_->getMinCorrectionPerSecond(); }

std::int32_t HalvexTimekeeper::getCorrectionPerSecond() { return freqSteeringDevice_->getCorrectionPerSecond(); }

void HalvexTimekeeper::setCorrectionPerSecond(std::int32_t correctionPpb) {
    freqSteeringDevice_->setCorrectionPerSecond(correctionPpb);
}

void HalvexTimekeeper::applyMetaData(const std::string& metadata) {
    // Kept on purpose: if the mutex stays busy the text is silently dropped.
    if (!deviceMutex_.try_lock_for(kLockTimeout)) return;
    const locks::LockGuard lock(deviceMutex_, std::adopt_lock);
    metadata_ = metadata;
}

void HalvexTimekeeper::serviceEpochDevices() {
    const locks::LockGuard lock(deviceMutex_);
    finishAlignment();
    const EpochDevices returning = reinitializeReturningSlaves();
    if (!returning.empty()) EpochAlignment(*master_, returning).run();
    for (const auto& slave : slaves_) slave->applyQxmMetadata(metadata_);
}

/// Steps the master to the system time, rounded to the master's step.
void HalvexTimekeeper::seedMaster() {
    requireEnabled(*master_);
    requireEnabled(*systemClock_);
    const QxmTimestamp systemTime = systemClock_->getTime();
    const QxmTimestamp masterTime = master_->getTime();
    master_->adjustTime(roundToStep(timeDifferenceNs(systemTime, masterTime)));
}

void HalvexTimekeeper::startAlignment() {
    alignment_ = startBackgroundTask([this] { EpochAlignment(*master_, slaves_).run(); });
}

/// Waits for a pending alignment and throws its error. Must not be cancelled.
void HalvexTimekeeper::finishAlignment() {
    if (alignment_.valid()) std::exchange(alignment_, {}).get();
}

/// The slaves that request an alignment, re-initialised.
EpochDevices HalvexTimekeeper::reinitializeReturningSlaves() {
    EpochDevices returning;
    for (const auto& slave : slaves_) {
        if (!slave->hasBeenEpochAligned()) continue;
        slave->reinitialize();
        returning.push_back(slave);
        syslog(LOG_INFO, "%s is enabled.", slave->getName().c_str());
    }
    return returning;
}

}  // namespace halvexTimekeeper
