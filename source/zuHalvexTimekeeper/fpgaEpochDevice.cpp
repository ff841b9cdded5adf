// The FPGA's time-sync logic: an epoch slave.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/fpgaEpochDevice.h"

#include <ctime>
#include <exception>

#include "interfaces/interfaceIdentifiers.h"
#include "source/tools/platStatusException.h"
#include "zuerr/codes.h"
#include "zuplat/protons/enumeration/linuxU/tDeviceInterfaceIterator.h"

namespace halvexTimekeeper {
namespace {

using namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000;
using nHALVEXTIMEKEEPER_18_1::FpgaRunState;
using nHALVEXTIMEKEEPER_18_1::FpgaStatusInfo;
using nHALVEXTIMEKEEPER_18_1::interfaceIdentifier;
using nHALVEXTIMEKEEPER_18_1::InterfaceKind;

constexpr const char* kFile = "fpgaEpochDevice";
constexpr DriverCallSite kLoad{"Unable to load ", kFile, 66};
constexpr DriverCallSite kReadPath{"Unable to load ", kFile, 78};
constexpr DriverCallSite kOpen{"Unable to load ", kFile, 81};
constexpr DriverCallSite kResetStatus{"Unable to reset status info on ", kFile, 97};
constexpr DriverCallSite kResetAlignment{"Unable to reset status info on ", kFile, 100};
constexpr DriverCallSite kGetTime{"Unable to get time from ", kFile, 118};
constexpr DriverCallSite kAdjustTime{"Unable to adjust time on ", kFile, 127};
constexpr DriverCallSite kArm{"Unable to get epoch timestamp from ", kFile, 159};
constexpr DriverCallSite kGetEpochTimestamp{"Unable to get epoch timestamp from ", kFile, 171};
constexpr DriverCallSite kSetStatus{"Unable to set status on ", kFile, 219};
constexpr DriverCallSite kCheckRunning{"Unable to check running bit on ", kFile, 238};
constexpr DriverCallSite kRequestAlignment{"Unable to request epoch alignment on ", kFile, 246};

constexpr zuerr::ErrorSite kNoInterface{zuerr::zuplaterr_resourceNotFound, kFile, 71};
constexpr zuerr::ErrorSite kNoMaster{zuerr::zuplaterr_featureUnsupported, kFile, 150};
constexpr zuerr::ErrorSite kNoEpochSeen{zuerr::zuplaterr_operationTimedOut, kFile, 181};

constexpr int kEpochReads = 101;
constexpr timespec kPauseBetweenReads{.tv_sec = 0, .tv_nsec = 10'000'000};

constexpr std::uint32_t kReferenceWithoutType = 1;
constexpr std::uint32_t kReferenceWithType = 2;

const std::string kName = "fpgaEpochDevice";

}  // namespace

FpgaEpochDevice::FpgaEpochDevice(std::uint64_t alignmentValue) : alignmentValue_(alignmentValue) { load(); }

FpgaEpochDevice::~FpgaEpochDevice() { resetOrTerminate(); }

const std::string& FpgaEpochDevice::getName() const { return kName; }

QxmTimestamp FpgaEpochDevice::getTime() {
    PlatStatus status;
    QxmTimestamp time = 0;
    proxy_.getTime(&time, &status);
    throwIfDriverFailed<kGetTime>(status, kName);
    return time;
}

void FpgaEpochDevice::adjustTime(std::int64_t offsetNs) {
    PlatStatus status;
    proxy_.adjustTime(offsetNs, &status);
    throwIfDriverFailed<kAdjustTime>(status, kName);
}

bool FpgaEpochDevice::isEnabled() {
    try {
        return getTime() != 0;
    } catch (const zuerr::ExceptionBase& error) {
        if (error.getCode() != zuerr::zuplaterr_resourceNotFound) throw;
        return false;  // a closed proxy reports this too
    }
}

QxmTimestamp FpgaEpochDevice::generateEpoch() {
    raise(kNoMaster, {kName, ": can't be used as a epoch master for this hardware."});
}

void FpgaEpochDevice::armEpochCapture() {
    PlatStatus status;
    proxy_.getEpochTimestamp(&lastEpochTimestamp_, &status);
    throwIfDriverFailed<kArm>(status, kName);
}

QxmTimestamp FpgaEpochDevice::getEpochTimestamp() {
    for (int read = 0; read < kEpochReads; ++read) {
        PlatStatus status;
        QxmTimestamp time = 0;
        proxy_.getEpochTimestamp(&time, &status);
        throwIfDriverFailed<kGetEpochTimestamp>(status, kName);
        if (time != lastEpochTimestamp_) return time;
        nanosleep(&kPauseBetweenReads, nullptr);
    }
    raise(kNoEpochSeen, {"Did not see the epoch signal on ", kName});
}

void FpgaEpochDevice::reinitialize() {
    proxy_.close();
    load();
}

void FpgaEpochDevice::applyQxmMetadata(const std::string& metadata) {
    if (!isEnabled()) return;

    TimeReferenceSelection selection;
    readTimeReferenceSelection(selectedTimeReference_, metadata, selection);

    FpgaStatusInfo info;
    info.isNotAligned = epochAligned_ ? 0 : 1;
    info.referenceKind = selection.type.empty() ? kReferenceWithoutType : kReferenceWithType;
    info.selectedOffset = selection.selectedOffset;
    info.isSelectedOffsetPresent = selection.selectedOffsetPresent ? 1 : 0;
    info.utcOffset = selection.utcOffset;
    info.isUtcOffsetPresent = selection.utcOffsetPresent ? 1 : 0;

    PlatStatus status;
    proxy_.setStatusInfo(&info, &status);
    throwIfDriverFailed<kSetStatus>(status, kName);
}

bool FpgaEpochDevice::hasBeenEpochAligned() {
    if (!isEnabled()) {
        // Kept on purpose: sets the flag and returns false, so that the slave is aligned once it is enabled again.
        epochAligned_ = true;
        return false;
    }
    if (!isRunning()) {
        PlatStatus status;
        proxy_.requestEpochAlignment(alignmentValue_, &status);
        throwIfDriverFailed<kRequestAlignment>(status, kName);
        epochAligned_ = true;
    }
    return epochAligned_;
}

void FpgaEpochDevice::setHasBeenEpochAligned(bool value) { epochAligned_ = value; }

/// Opens the first instance of the driver interface and resets an enabled FPGA. The proxy must be closed.
void FpgaEpochDevice::load() {
    PlatStatus status;
    InterfaceIterator iterator;
    const EnumerationGuard guard(iterator);
    startEnumeration(&iterator, interfaceIdentifier(InterfaceKind::horlixFpga), &status);
    throwIfDriverFailed<kLoad>(status, kName);

    if (isAtEnd(iterator)) raise(kNoInterface, {kName, ": no matching time sync FPGA interface was found."});

    PathBuffer path;
    readInterfacePath(iterator, &path, &status);
    throwIfDriverFailed<kReadPath>(status, kName);
    proxy_.open(path, &status);
    throwIfDriverFailed<kOpen>(status, kName);

    if (isEnabled()) reset();
}

/// Clears the FPGA's status record and requests a new epoch alignment.
void FpgaEpochDevice::reset() {
    const FpgaStatusInfo cleared;
    PlatStatus resetStatus;
    proxy_.setStatusInfo(&cleared, &resetStatus);
    throwIfDriverFailed<kResetStatus>(resetStatus, kName);
    PlatStatus requestStatus;
    proxy_.requestEpochAlignment(alignmentValue_, &requestStatus);
    throwIfDriverFailed<kResetAlignment>(requestStatus, kName);
}

/// Terminates the process if the reset fails. A separate function: before it terminates, the destructor itself might
/// destroy the members, and the interface must stay as the failure left it.
void FpgaEpochDevice::resetOrTerminate() noexcept {
    // Kept on purpose: a failed reset terminates the process. An FPGA must not keep running with a stale status.
    try {
        if (isEnabled()) reset();
    } catch (...) {
        std::terminate();  // inside the handler, so that the terminate message includes the exception
    }
}

bool FpgaEpochDevice::isRunning() {
    PlatStatus status;
    FpgaRunState runState;
    proxy_.getStatusInfo(&runState, &status);
    throwIfDriverFailed<kCheckRunning>(status, kName);
    return runState.isRunning != 0;
}

}  // namespace halvexTimekeeper
