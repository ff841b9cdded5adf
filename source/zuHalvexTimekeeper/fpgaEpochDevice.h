// The FPGA's time-sync logic: an epoch slave.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

#include "interfaces/tInterfaceProxy_HorlixFpga.h"
#include "source/zuHalvexTimekeeper/epochDeviceInterface.h"
#include "source/zuHalvexTimekeeper/timeReferenceMetadata.h"

namespace halvexTimekeeper {

/// The epoch device that receives the selected time reference. Owns the way to its driver. Threads: serialised by
/// the timekeeper. Failure: throws zuerr::Exception with the code that driver or platform reported; what only a master
/// does is refused with zuplaterr_featureUnsupported. The device counts as enabled while its time can be read and is
/// not 0; a derived class that reads another time decides that too.
class FpgaEpochDevice : public EpochDeviceInterface {
public:
    /// Opens the first driver interface that is found, zuplaterr_resourceNotFound when there is none, and resets the
    /// FPGA if it is enabled. `alignmentValue` is handed to the FPGA with every request for epoch alignment.
    explicit FpgaEpochDevice(std::uint64_t alignmentValue);
    FpgaEpochDevice(const FpgaEpochDevice&) = delete;
    FpgaEpochDevice& operator=(const FpgaEpochDevice&) = delete;
    /// Resets the FPGA if it is enabled, then the proxy closes itself; a reset that fails ends the process.
    ~FpgaEpochDevice() override;

    const std::string& getName() const override;
    QxmTimestamp getTime() override;
    void adjustTime(std::int64_t offsetNs) override;
    bool isEnabled() override;
    [[noreturn]] QxmTimestamp generateEpoch() override;
    /// Remembers the epoch seen last, for getEpochTimestamp to wait for the next.
    void armEpochCapture() override;
    /// Waits about 1 s for an epoch that differs from the one remembered.
    QxmTimestamp getEpochTimestamp() override;
    void reinitialize() override;
    void applyQxmMetadata(const std::string& metadata) override;
    bool hasBeenEpochAligned() override;
    void setHasBeenEpochAligned(bool value) override;

private:
    void load();
    void reset();
    void resetOrTerminate() noexcept;
    bool isRunning();

    nHALVEXTIMEKEEPER_18_1::tInterfaceProxy_HorlixFpga proxy_;
    QxmTimestamp lastEpochTimestamp_ = 0;
    std::uint64_t alignmentValue_;
    bool epochAligned_ = true;
    SelectedTimeReference selectedTimeReference_;
};

}  // namespace halvexTimekeeper
