// Calls the driver of the FPGA's time-sync logic.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "interfaces/tInterfaceProxy_HorlixFpga.h"

#include "interfaces/driverMethod.h"

namespace nHALVEXTIMEKEEPER_18_1 {
namespace {

using nZUPLAT000::PlatStatus;

// This driver encodes every method as read-write, getters included; the Ferrox driver does not.
constexpr const char* kFile = "tInterfaceProxy_HorlixFpga";
constexpr DriverMethod kAdjustTime{makeRequest(Direction::readWrite, 0), kFile, 38};
constexpr DriverMethod kRequestEpochAlignment{makeRequest(Direction::readWrite, 1), kFile, 65};
constexpr DriverMethod kSetStatusInfo{makeRequest(Direction::readWrite, 2), kFile, 92};
constexpr DriverMethod kGetStatusInfo{makeRequest(Direction::readWrite, 3), kFile, 119};
constexpr DriverMethod kGetTime{makeRequest(Direction::readWrite, 4), kFile, 146};
constexpr DriverMethod kGetEpochTimestamp{makeRequest(Direction::readWrite, 5), kFile, 173};

static_assert(kAdjustTime.request == 0xC0207500);
static_assert(kRequestEpochAlignment.request == 0xC0207501);
static_assert(kSetStatusInfo.request == 0xC0207502);
static_assert(kGetStatusInfo.request == 0xC0207503);
static_assert(kGetTime.request == 0xC0207504);
static_assert(kGetEpochTimestamp.request == 0xC0207505);

std::uint64_t addressOf(const void* record) noexcept { return reinterpret_cast<std::uintptr_t>(record); }

}  // namespace

std::int64_t tInterfaceProxy_HorlixFpga::adjustTime(std::int64_t adjustmentNs, PlatStatus* status) noexcept {
    return callWithArgument(*this, kAdjustTime, static_cast<std::uint64_t>(adjustmentNs), status);
}

std::int64_t tInterfaceProxy_HorlixFpga::requestEpochAlignment(std::uint64_t alignmentValue,
                                                               PlatStatus* status) noexcept {
    return callWithArgument(*this, kRequestEpochAlignment, alignmentValue, status);
}

std::int64_t tInterfaceProxy_HorlixFpga::setStatusInfo(const FpgaStatusInfo* info, PlatStatus* status) noexcept {
    return callWithArgument(*this, kSetStatusInfo, addressOf(info), status);
}

std::int64_t tInterfaceProxy_HorlixFpga::getStatusInfo(FpgaRunState* runState, PlatStatus* status) noexcept {
    return callWithArgument(*this, kGetStatusInfo, addressOf(runState), status);
}

std::int64_t tInterfaceProxy_HorlixFpga::getTime(std::uint64_t* timeNs, PlatStatus* status) noexcept {
    return callForResult(*this, kGetTime, timeNs, status);
}

std::int64_t tInterfaceProxy_HorlixFpga::getEpochTimestamp(std::uint64_t* timeNs, PlatStatus* status) noexcept {
    return callForResult(*this, kGetEpochTimestamp, timeNs, status);
}

}  // namespace nHALVEXTIMEKEEPER_18_1
