// Aligns the clocks of slave epoch devices to the epoch master.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/epochAlignment.h"

#include <syslog.h>

#include <bit>
#include <string>

#include "source/zuHalvexTimekeeper/timeDifference.h"
#include "zuerr/codes.h"
#include "zuerr/status.h"
#include "zuerr/tools/exception_errStatus.h"

namespace halvexTimekeeper {
namespace {

constexpr zuerr::ErrorSite kNotAligned{zuerr::zuplaterr_communicationsFault, "halvexTimekeeper", 71};

constexpr std::int32_t kMostIterations = 2000;
constexpr std::int32_t kMostRetries = 5;
constexpr std::int64_t kAlignmentToleranceNs = 100;
constexpr std::size_t kMaskBits = 64;

/// -`differenceNs`, or twice that; wraps in 64 bits.
std::int64_t correctionNs(std::int64_t differenceNs, bool isDoubled) noexcept {
    const auto negated = 0 - static_cast<std::uint64_t>(differenceNs);
    return static_cast<std::int64_t>(isDoubled ? 2 * negated : negated);
}

}  // namespace

void EpochAlignment::run() {
    while (!areAllDone()) {
        if (iterations_ == kMostIterations) giveUp();
        try {
            runIteration();
        } catch (...) {
            if (!forgiveCurrentError()) throw;
        }
        ++iterations_;
    }
    syslog(LOG_INFO, "Successfully aligned all timekeeping elements after %d iterations.", iterations_);
}

void EpochAlignment::runIteration() {
    armSlaves();
    if (areAllDone()) return;
    handled_ = &master_;
    readSlaves(master_.generateEpoch());
}

void EpochAlignment::armSlaves() {
    for (std::size_t position = 0; position < slaves_.size(); ++position) {
        if (isDone(position)) continue;
        handled_ = slaves_[position].get();
        if (handled_->isEnabled()) {
            handled_->armEpochCapture();
        } else {
            // Kept on purpose: a slave found disabled here keeps its flag, so it is aligned when it comes up.
            markDone(position);
        }
    }
}

void EpochAlignment::readSlaves(QxmTimestamp masterTime) {
    for (std::size_t position = 0; position < slaves_.size(); ++position) {
        if (!isDone(position)) alignSlave(position, masterTime);
    }
}

void EpochAlignment::alignSlave(std::size_t position, QxmTimestamp masterTime) {
    handled_ = slaves_[position].get();
    if (!handled_->isEnabled()) {
        markDone(position);
        handled_->setHasBeenEpochAligned(false);
        return;
    }
    const std::int64_t differenceNs = timeDifferenceNs(handled_->getEpochTimestamp(), masterTime);
    if (-kAlignmentToleranceNs <= differenceNs && differenceNs <= kAlignmentToleranceNs) {
        markDone(position);
        handled_->setHasBeenEpochAligned(false);
        return;
    }
    // Kept on purpose: odd iterations step twice as far. A step of a PHC loses a near-constant time, so single steps
    // would miss by the same amount every time; overshooting once cancels the loss.
    const bool isOddIteration = iterations_ % 2 != 0;
    handled_->adjustTime(correctionNs(differenceNs, isOddIteration));
}

/// Logs the error in flight; returns true for a time-out while the five allowed per alignment last.
bool EpochAlignment::forgiveCurrentError() {
    const zuerr::ExceptionBase error = zuerr::copyCurrentException();
    syslog(LOG_ERR, "Encountered err while trying to sync %s, retry count %d: %s(%i,%s)", handled_->getName().c_str(),
           retries_, zuerr::severityWord(error.getCode()), error.getCode(), zuerr::jsonOrNull(error.getStatus()));
    if (error.getCode() != zuerr::zuplaterr_operationTimedOut || retries_ >= kMostRetries) return false;
    ++retries_;
    return true;
}

void EpochAlignment::giveUp() const {
    std::string names;
    for (std::size_t position = 0; position < slaves_.size(); ++position) {
        if (!isDone(position)) names += slaves_[position]->getName() + ' ';
    }
    raise(kNotAligned, {"Failed to sync following slaves: ", names});
}

// Kept on purpose: positions wrap at 64, so a 65th slave shares the bit of the first and the mask never fills.
bool EpochAlignment::isDone(std::size_t position) const noexcept { return (done_ >> (position % kMaskBits) & 1) != 0; }

void EpochAlignment::markDone(std::size_t position) noexcept { done_ |= std::uint64_t{1} << (position % kMaskBits); }

bool EpochAlignment::areAllDone() const noexcept {
    return static_cast<std::size_t>(std::popcount(done_)) >= slaves_.size();
}

}  // namespace halvexTimekeeper
