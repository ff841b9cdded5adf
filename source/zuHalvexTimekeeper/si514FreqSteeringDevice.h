// The Si514 oscillator, steered through the attributes of its kernel driver.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

#include "source/tools/fileWrapper.h"
#include "source/tools/leafMutex.h"
#include "source/zuHalvexTimekeeper/freqSteeringDeviceInterface.h"

namespace halvexTimekeeper {

/// Reads and writes the frequency offset of the oscillator, in ppb; positive makes it run faster. Nothing is cached.
/// Owns the open attribute. Threads: thread-safe; a leaf mutex keeps each seek together with its read or write.
/// Failure: throws zuerr::Exception, and std::invalid_argument or std::out_of_range ("stod") when the attribute holds
/// no usable number.
class Si514FreqSteeringDevice : public FreqSteeringDeviceInterface {
public:
    /// Finds the driver's client and opens it; throws zuplaterr_resourceNotFound when there is none.
    Si514FreqSteeringDevice(std::int32_t maxPpb, std::int32_t minPpb);

    const std::string& getName() const override;  ///< As the driver gives it, a line end included.
    std::int32_t getMaxCorrectionPerSecond() override;
    std::int32_t getMinCorrectionPerSecond() override;
    std::int32_t getCorrectionPerSecond() override;

    /// Throws zuplaterr_invalidParameter and writes nothing beyond the maximum in either direction.
    void setCorrectionPerSecond(std::int32_t correctionPpb) override;

private:
    std::string modulePath_;  ///< The client's directory; ends in '/'.
    std::string name_;
    std::int32_t maxPpb_;
    std::int32_t minPpb_;
    FileWrapper ppbFile_;  ///< Its offset and content are used under mutex_.
    LeafMutex mutex_;
};

}  // namespace halvexTimekeeper
