// The PTP hardware clock of an I210 network controller as an epoch slave.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

#include "source/zuHalvexTimekeeper/epochDeviceInterface.h"

namespace halvexTimekeeper {

/// Time-stamps the epoch pulse on pin 0 of its clock. Owns the descriptor of the clock device. Threads: thread-bound;
/// the timekeeper serialises calls. Failure: throws zuerr::Exception, with zuplaterr_communicationsFault unless stated
/// otherwise.
class I210EpochDevice : public EpochDeviceInterface {
public:
    /// Finds and opens the clock of a network interface. Throws zuplaterr_featureUnsupported if and only if the
    /// interface has no clock or its clock cannot take part; the latter's descriptor stays open.
    explicit I210EpochDevice(const std::string& interfaceName);
    I210EpochDevice(const I210EpochDevice&) = delete;
    I210EpochDevice& operator=(const I210EpochDevice&) = delete;
    ~I210EpochDevice() override;

    const std::string& getName() const override;
    QxmTimestamp getTime() override;
    void adjustTime(std::int64_t offsetNs) override;
    bool isEnabled() override;                  ///< Whether the interface is up, with or without link.
    QxmTimestamp generateEpoch() override;      ///< Always throws zuplaterr_featureUnsupported.
    void armEpochCapture() override;            ///< Discards earlier edges, then stamps the next.
    QxmTimestamp getEpochTimestamp() override;  ///< Waits for the edge for up to 1 s.
    void reinitialize() override;               ///< Closes and reopens the clock device.
    void applyQxmMetadata(const std::string& metadata) override;
    bool hasBeenEpochAligned() override;
    void setHasBeenEpochAligned(bool value) override;

    /// The name of the network interface, as phc2sys expects it.
    const std::string& getInterfaceName() const noexcept { return interfaceName_; }

private:
    void openClock();
    void closeClock() noexcept;
    void requireCapabilities();
    void setPinFunction(std::uint32_t function);
    void zeroFrequencyOffset();
    void drainStaleEvents();
    QxmTimestamp readEvent();

    std::string interfaceName_;
    std::string name_;
    std::string devicePath_;
    std::int32_t fd_ = -1;  ///< -1: none. A failed ioctl closes the descriptor but keeps its number here.
    bool epochAligned_ = true;
};

}  // namespace halvexTimekeeper
