// The interface of a steerable oscillator.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

namespace halvexTimekeeper {

/// Steers a frequency in parts per billion; positive makes the clocks run faster. Owns nothing. Threads: every
/// operation may be called from any thread at any time. Failure: throws zuerr::Exception or a standard exception. Slot
/// order is part of the contract: the maximum precedes the minimum.
class FreqSteeringDeviceInterface {
public:
    virtual ~FreqSteeringDeviceInterface() = default;
    virtual const std::string& getName() const = 0;                       ///< Lives as long as the device.
    virtual std::int32_t getMaxCorrectionPerSecond() = 0;                 ///< Upper limit, in ppb.
    virtual std::int32_t getMinCorrectionPerSecond() = 0;                 ///< Lower limit, in ppb.
    virtual std::int32_t getCorrectionPerSecond() = 0;                    ///< In force now, read back, in ppb.
    virtual void setCorrectionPerSecond(std::int32_t correctionPpb) = 0;  ///< Refuses a value out of range.
};

}  // namespace halvexTimekeeper
