// The FPGA's time-sync logic: an epoch slave.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

#include "interfaces/tInterfaceProxy_HorlixFpga.h"
#include "source/zuHalvexTimekeeper/epochDeviceInterface.h"
#include "source/zuHalvexTimekeeper/timeReferenceMetadata.h"

namespace halvexTimekeeper {

/// The epoch device that receives the selected time reference. Owns the driver proxy. Threads: the timekeeper
/// serialises calls. Failure: throws zuerr::Exception with the code that driver or platform reported; master-only
/// operations throw zuplaterr_featureUnsupported. The device is enabled while getTime succeeds with a nonzero time; a
/// derived class that overrides getTime changes that too.
class FpgaEpochDevice : public EpochDeviceInterface {
public:
    /// Opens the first driver interface found (zuplaterr_resourceNotFound if there is none) and resets the FPGA if it
    /// is enabled. `alignmentValue` is passed to the FPGA with every request for epoch alignment.
    explicit FpgaEpochDevice(std::uint64_t alignmentValue);
    FpgaEpochDevice(const FpgaEpochDevice&) = delete;
    FpgaEpochDevice& operator=(const FpgaEpochDevice&) = delete;
    /// Resets the FPGA if it is enabled; a failed reset terminates the process. The proxy then closes itself.
    ~FpgaEpochDevice() override;

    const std::string& getName() const override;
    QxmTimestamp getTime() override;
    void adjustTime(std::int64_t offsetNs) override;
    bool isEnabled() override;
    [[noreturn]] QxmTimestamp generateEpoch() override;
    /// Remembers the latest epoch; getEpochTimestamp waits for the next.
    void armEpochCapture() override;
    /// Waits about 1 s for an epoch that differs from the remembered one.
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
