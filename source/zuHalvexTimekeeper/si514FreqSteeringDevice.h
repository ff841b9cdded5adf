// The Si514 oscillator, steered through the attributes of its kernel driver.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

#include "source/tools/fileWrapper.h"
#include "source/tools/leafMutex.h"
#include "source/zuHalvexTimekeeper/freqSteeringDeviceInterface.h"

namespace halvexTimekeeper {

/// Reads and writes the frequency offset of the oscillator, in ppb; positive makes it run faster. Caches nothing. Owns
/// the open attribute. Threads: thread-safe; a leaf mutex makes each seek atomic with its read or write. Failure:
/// throws zuerr::Exception, and std::invalid_argument or std::out_of_range ("stod") if the attribute holds no usable
/// number.
class Si514FreqSteeringDevice : public FreqSteeringDeviceInterface {
public:
    /// Finds and opens the driver's I2C client; throws zuplaterr_resourceNotFound if there is none.
    Si514FreqSteeringDevice(std::int32_t maxPpb, std::int32_t minPpb);

    const std::string& getName() const override;  ///< As the driver reports it, including a newline.
    std::int32_t getMaxCorrectionPerSecond() override;
    std::int32_t getMinCorrectionPerSecond() override;
    std::int32_t getCorrectionPerSecond() override;

    /// Throws zuplaterr_invalidParameter, without writing, beyond the maximum in either direction.
    void setCorrectionPerSecond(std::int32_t correctionPpb) override;

private:
    std::string modulePath_;  ///< The client's directory; ends in '/'.
    std::string name_;
    std::int32_t maxPpb_;
    std::int32_t minPpb_;
    FileWrapper ppbFile_ GUARDED_BY(mutex_);
    LeafMutex mutex_;
};

}  // namespace halvexTimekeeper
