// The Ferrox chip: the epoch master.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/ferroxEpochDevice.h"

#include "interfaces/interfaceIdentifiers.h"
#include "source/tools/platStatusException.h"
#include "zuerr/codes.h"
#include "zuplat/protons/enumeration/linuxU/tDeviceInterfaceIterator.h"

namespace halvexTimekeeper {
namespace {

using namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000;
using nHALVEXTIMEKEEPER_18_1::interfaceIdentifier;
using nHALVEXTIMEKEEPER_18_1::InterfaceKind;

constexpr const char* kFile = "ferroxEpochDevice";
constexpr DriverCallSite kLoad{"Unable to load ", kFile, 44};
constexpr DriverCallSite kReadPath{"Unable to load ", kFile, 56};
constexpr DriverCallSite kOpen{"Unable to load ", kFile, 59};
constexpr DriverCallSite kOpenAgain{"Unable to load ", kFile, 60};
constexpr DriverCallSite kGetTime{"Unable to get time from ", kFile, 83};
constexpr DriverCallSite kAdjustTime{"Unable to adjust time on ", kFile, 92};
constexpr DriverCallSite kGenerateEpoch{"Unable to generate epoch from ", kFile, 106};
constexpr DriverCallSite kReadEpoch{"Unable to generate epoch from ", kFile, 110};
// Kept on purpose: the text of a call that the chip supports but nothing uses.
[[maybe_unused]] constexpr const char* kTimeOffsetFailure = "Unable to get time offset from ";

constexpr zuerr::ErrorSite kNoInterface{zuerr::zuplaterr_resourceNotFound, kFile, 49};

constexpr zuerr::ErrorSite refusal(std::int32_t line) noexcept {
    return {zuerr::zuplaterr_featureUnsupported, kFile, line};
}

// Kept on purpose: the wording as it is, with its grammar, and a full stop in all but this one.
constexpr const char* kNoSlave = "Ferrox can't be used as a epoch slave for this hardware";
constexpr zuerr::ErrorSite kArmRefused = refusal(118);
constexpr zuerr::ErrorSite kCaptureRefused = refusal(124);
constexpr zuerr::ErrorSite kMetadataRefused = refusal(136);
constexpr zuerr::ErrorSite kFlagRefused = refusal(142);
constexpr zuerr::ErrorSite kSetFlagRefused = refusal(149);

const std::string kName = "FerroxEpochDevice";

}  // namespace

FerroxEpochDevice::FerroxEpochDevice() { load(); }

const std::string& FerroxEpochDevice::getName() const { return kName; }

QxmTimestamp FerroxEpochDevice::getTime() {
    PlatStatus status;
    const QxmTimestamp time = proxy_.getTime(&status);
    throwIfDriverFailed<kGetTime>(status, kName);
    return time;
}

void FerroxEpochDevice::adjustTime(std::int64_t offsetNs) {
    PlatStatus status;
    proxy_.adjustTime(offsetNs, &status);
    throwIfDriverFailed<kAdjustTime>(status, kName);
}

bool FerroxEpochDevice::isEnabled() { return true; }

QxmTimestamp FerroxEpochDevice::generateEpoch() {
    PlatStatus status;
    proxy_.generateEpochSignal(&status);
    throwIfDriverFailed<kGenerateEpoch>(status, kName);
    const QxmTimestamp time = proxy_.getEpochTimestamp(&status);
    throwIfDriverFailed<kReadEpoch>(status, kName);
    return time;
}

void FerroxEpochDevice::armEpochCapture() { raise(kArmRefused, {kNoSlave}); }

QxmTimestamp FerroxEpochDevice::getEpochTimestamp() { raise(kCaptureRefused, {kNoSlave}); }

void FerroxEpochDevice::reinitialize() {
    proxy_.close();
    load();
}

void FerroxEpochDevice::applyQxmMetadata(const std::string&) {
    raise(kMetadataRefused, {"applyQxmMetadata not implemented for Ferrox."});
}

bool FerroxEpochDevice::hasBeenEpochAligned() {
    raise(kFlagRefused, {"hasBeenEpochAligned not implemented for Ferrox. It is the epoch master."});
}

void FerroxEpochDevice::setHasBeenEpochAligned(bool) {
    raise(kSetFlagRefused, {"setHasBeenEpochAligned not implemented for Ferrox. It is the epoch master."});
}

/// Opens the first instance of the driver interface. The proxy must be closed.
void FerroxEpochDevice::load() {
    PlatStatus status;
    InterfaceIterator iterator;
    const EnumerationGuard guard(iterator);
    startEnumeration(&iterator, interfaceIdentifier(InterfaceKind::horlixFerrox), &status);
    throwIfDriverFailed<kLoad>(status, kName);

    if (isAtEnd(iterator)) raise(kNoInterface, {"No matching Ferrox time sync interface was found."});

    PathBuffer path;
    readInterfacePath(iterator, &path, &status);
    throwIfDriverFailed<kReadPath>(status, kName);
    proxy_.open(path, &status);
    throwIfDriverFailed<kOpen>(status, kName);
    // Kept on purpose: a second check of the same status, which never fails.
    throwIfDriverFailed<kOpenAgain>(status, kName);
}

}  // namespace halvexTimekeeper
