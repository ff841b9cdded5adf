// Calls the driver of the Ferrox chip.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "interfaces/tInterfaceProxy_HorlixFerrox.h"

#include "interfaces/driverMethod.h"

namespace nHALVEXTIMEKEEPER_18_1 {
namespace {

using nZUPLAT000::PlatStatus;

// This driver encodes read-only methods as reads; the FPGA driver does not.
constexpr const char* kFile = "tInterfaceProxy_HorlixFerrox";
constexpr DriverMethod kGenerateEpochSignal{makeRequest(Direction::readWrite, 1), kFile, 64};
constexpr DriverMethod kGetEpochTimestamp{makeRequest(Direction::read, 2), kFile, 90};
constexpr DriverMethod kAdjustTime{makeRequest(Direction::readWrite, 3), kFile, 117};
constexpr DriverMethod kGetTimeOffset{makeRequest(Direction::read, 4), kFile, 143};

static_assert(kGenerateEpochSignal.request == 0xC0207501);
static_assert(kGetEpochTimestamp.request == 0x80207502);
static_assert(kAdjustTime.request == 0xC0207503);
static_assert(kGetTimeOffset.request == 0x80207504);

inline std::uint64_t returnResult(tInterfaceProxy_HorlixFerrox& proxy, const DriverMethod& method,
                                  PlatStatus* status) noexcept {
    std::uint64_t result = 0;
    callForResult(proxy, method, &result, status);
    return result;
}

}  // namespace

std::int64_t tInterfaceProxy_HorlixFerrox::generateEpochSignal(PlatStatus* status) noexcept {
    return callPlain(*this, kGenerateEpochSignal, status);
}

std::uint64_t tInterfaceProxy_HorlixFerrox::getEpochTimestamp(PlatStatus* status) noexcept {
    return returnResult(*this, kGetEpochTimestamp, status);
}

std::int64_t tInterfaceProxy_HorlixFerrox::adjustTime(std::int64_t adjustmentNs, PlatStatus* status) noexcept {
    return callWithArgument(*this, kAdjustTime, static_cast<std::uint64_t>(adjustmentNs), status);
}

std::uint64_t tInterfaceProxy_HorlixFerrox::getTimeOffset(PlatStatus* status) noexcept {
    return returnResult(*this, kGetTimeOffset, status);
}

}  // namespace nHALVEXTIMEKEEPER_18_1
