// Reads a PTP hardware clock: capabilities, pins, and its time against the system's. Changes nothing.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace halvexctl {

struct PtpPin {
    std::string name;
    std::uint32_t function = 0;  ///< 0 none, 1 external time stamps, 2 periodic output, 3 physical sync.
    std::uint32_t channel = 0;
};

std::string_view pinFunctionName(std::uint32_t function);

struct PtpCapabilities {
    std::int32_t stampChannels = 0, periodicOutputs = 0, pins = 0, maxAdjustmentPpb = 0;
};

/// A clock's difference to the system clock: within differenceNs +- boundNs (positive: the clock is ahead).
struct CrossTime {
    std::uint64_t systemNs = 0;  ///< The system time of the reading.
    std::int64_t differenceNs = 0;
    std::int64_t boundNs = 0;
};

/// One open clock. Opened read-only, and never read(): that would steal time stamps from their owner. Owns the
/// descriptor. Threads: thread-bound. Failure: never throws; errorText() describes the last error.
class PtpClock {
public:
    explicit PtpClock(const std::string& path);
    ~PtpClock();
    PtpClock(const PtpClock&) = delete;
    PtpClock& operator=(const PtpClock&) = delete;

    bool isOpen() const { return fd_ >= 0; }
    const std::string& errorText() const { return errorText_; }
    std::optional<PtpCapabilities> capabilities();
    std::optional<PtpPin> pin(std::uint32_t index);
    std::optional<CrossTime> crossTime();  ///< The narrowest of several brackets.

private:
    bool request(unsigned long number, void* argument, const char* name);

    int fd_;
    std::string errorText_;
};

/// The PTP clock index of an interface, -1 if it has none, empty if it cannot be queried.
std::optional<std::int32_t> ptpIndexOf(const std::string& interfaceName);

/// Whether the interface is up; empty if it cannot be queried.
std::optional<bool> isInterfaceUp(const std::string& interfaceName);

}  // namespace halvexctl
