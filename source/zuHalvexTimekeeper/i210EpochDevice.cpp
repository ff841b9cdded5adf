// The PTP hardware clock of an I210 network controller as an epoch slave.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/i210EpochDevice.h"

#include <linux/ptp_clock.h>
#include <linux/sockios.h>

#include <cstddef>

#include "source/tools/decimalText.h"
#include "source/tools/linuxFunctionHelpers.h"
#include "source/zuHalvexTimekeeper/i210EpochHelpers.h"
#include "zuerr/codes.h"
#include "zuerr/exception.h"

namespace halvexTimekeeper {

using namespace i210EpochHelpers;

namespace {

constexpr zuerr::ErrorSite kCannotGenerate{zuerr::zuplaterr_featureUnsupported, "i210EpochDevice", 96};
constexpr zuerr::ErrorSite kLacksCapabilities{zuerr::zuplaterr_featureUnsupported, "i210EpochDevice", 167};

static_assert(PTP_CLOCK_GETCAPS == 0x80503D01 && PTP_EXTTS_REQUEST == 0x40103D02 && PTP_PIN_SETFUNC == 0x40603D07);
static_assert(SIOCGIFFLAGS == 0x8913 && IFF_UP == 1 && offsetof(ifreq, ifr_flags) == 16);
static_assert(sizeof(ptp_clock_caps) == 80 && offsetof(ptp_clock_caps, n_ext_ts) == 8);
static_assert(offsetof(ptp_clock_caps, n_per_out) == 12 && offsetof(ptp_clock_caps, n_pins) == 20);
static_assert(sizeof(ptp_pin_desc) == 96 && offsetof(ptp_pin_desc, index) == 64);
static_assert(offsetof(ptp_pin_desc, func) == 68 && offsetof(ptp_pin_desc, chan) == 72);
static_assert(PTP_PF_NONE == 0 && PTP_PF_EXTTS == 1);
static_assert(sizeof(ptp_extts_request) == 16 && offsetof(ptp_extts_request, flags) == 4);
static_assert(sizeof(timex) == 208 && offsetof(timex, freq) == 16);
static_assert(offsetof(timex, time.tv_sec) == 72 && offsetof(timex, time.tv_usec) == 80);

constexpr std::uint32_t kEpochPin = 0;
constexpr std::uint32_t kEpochChannel = 0;
constexpr std::int32_t kPinsNeeded = 4;
constexpr std::uint32_t kStampRisingEdge = PTP_ENABLE_FEATURE | PTP_RISING_EDGE;
static_assert(kStampRisingEdge == 3);
constexpr std::uint32_t kStepInNs = ADJ_SETOFFSET | ADJ_NANO;
static_assert(kStepInNs == 0x2100 && ADJ_FREQUENCY == 0x0002);

constexpr timeval kOnlyWhatIsThere{.tv_sec = 0, .tv_usec = 0};
constexpr timeval kEpochTimeout{.tv_sec = 1, .tv_usec = 0};

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

}  // namespace

I210EpochDevice::I210EpochDevice(const std::string& interfaceName)
    : interfaceName_(interfaceName), name_("i210EpochDevice_" + interfaceName) {
    devicePath_ = "/dev/ptp";
    devicePath_ += DecimalText(getPhcIndex(interfaceName_));
    // Kept on purpose: a descriptor opened here leaks if construction fails later: the destructor never runs.
    openClock();
}

I210EpochDevice::~I210EpochDevice() { closeClock(); }

const std::string& I210EpochDevice::getName() const { return name_; }

QxmTimestamp I210EpochDevice::getTime() { return getPhcTime(fd_, {"Could not get time from ", interfaceName_, "."}); }

void I210EpochDevice::adjustTime(std::int64_t offsetNs) {
    std::int64_t seconds = offsetNs / kNsPerSecond;
    std::int64_t nanoseconds = offsetNs % kNsPerSecond;
    if (nanoseconds < 0) {  // the kernel rejects a negative fraction
        seconds -= 1;
        nanoseconds += kNsPerSecond;
    }
    timex step{};
    step.modes = kStepInNs;
    step.time.tv_sec = seconds;
    step.time.tv_usec = nanoseconds;
    adjustPhc(fd_, step, {"Could not adjust time on ", interfaceName_, "."});
}

bool I210EpochDevice::isEnabled() {
    const std::int32_t fd = openSocket({"Failed to open socket while checking if ", interfaceName_, " is enabled. "});
    ifreq request = makeInterfaceRequest(interfaceName_);
    ptpIoctl(fd, SIOCGIFFLAGS, &request, {"Failed to execute SIOCGIFFLAGS ioctl for interface ", interfaceName_, "."});
    osCalls().close(fd);
    return (request.ifr_flags & IFF_UP) != 0;
}

QxmTimestamp I210EpochDevice::generateEpoch() {
    zuerr::raise(kCannotGenerate, {"i210 can't generate epoch signal for this hardware"});
}

void I210EpochDevice::armEpochCapture() {
    // 1. Discard stale time stamps of earlier edges.
    drainStaleEvents();

    // 2. Route the pin to the time-stamp unit.
    setPinFunction(PTP_PF_EXTTS);

    // 3. Start time-stamping.
    ptp_extts_request request{};
    request.index = kEpochChannel;
    request.flags = kStampRisingEdge;
    ptpIoctl(fd_, PTP_EXTTS_REQUEST, &request, {"Unable to submit PTP_EXTTS_REQUEST on ", interfaceName_, "."});
}

QxmTimestamp I210EpochDevice::getEpochTimestamp() {
    waitForEvent(fd_, interfaceName_, kEpochTimeout);
    const QxmTimestamp timestamp = readEvent();
    setPinFunction(PTP_PF_NONE);
    return timestamp;
}

void I210EpochDevice::reinitialize() {
    closeClock();
    openClock();
}

void I210EpochDevice::applyQxmMetadata(const std::string&) {}

bool I210EpochDevice::hasBeenEpochAligned() {
    if (!isEnabled()) {
        // Kept on purpose: an interface that is down requests an alignment for when it is up again.
        epochAligned_ = true;
        return false;
    }
    return epochAligned_;
}

void I210EpochDevice::setHasBeenEpochAligned(bool value) { epochAligned_ = value; }

void I210EpochDevice::openClock() {
    fd_ = openPtpDevice(devicePath_);
    requireCapabilities();
    setPinFunction(PTP_PF_NONE);
    zeroFrequencyOffset();
}

/// Kept on purpose: noexcept in reinitialize too: a close that throws always terminates the process.
void I210EpochDevice::closeClock() noexcept {
    try {
        setPinFunction(PTP_PF_NONE);
    } catch (...) {
        // The device may be gone; then there is nothing to switch off.
    }
    // Kept on purpose: descriptor 0 is never closed, and one closed by a failed ioctl is closed again.
    if (fd_ > 0) {
        osCalls().close(fd_);
        fd_ = -1;
    }
}

void I210EpochDevice::requireCapabilities() {
    ptp_clock_caps capabilities{};
    ptpIoctl(fd_, PTP_CLOCK_GETCAPS, &capabilities, {"Couldn't call PTP_CLOCK_GETCAPS ", interfaceName_, "."});
    const bool qualifies =
        capabilities.n_ext_ts > 0 && capabilities.n_per_out > 0 && capabilities.n_pins >= kPinsNeeded;
    if (!qualifies) {
        zuerr::raise(kLacksCapabilities,
                     {interfaceName_, " doesn't support PTP properly (external event time stamping capability)."});
    }
}

void I210EpochDevice::setPinFunction(std::uint32_t function) {
    ptp_pin_desc pin{};
    pin.index = kEpochPin;
    pin.func = function;
    pin.chan = kEpochChannel;
    ptpIoctl(fd_, PTP_PIN_SETFUNC, &pin, {"Couldn't call PTP_PIN_SETFUNC on ", interfaceName_, "."});
}

void I210EpochDevice::zeroFrequencyOffset() {
    timex adjustment{};
    adjustment.modes = ADJ_FREQUENCY;
    adjustment.freq = 0;
    adjustPhc(fd_, adjustment, {"Failed to adjust the frequency on ", interfaceName_, "."});
}

void I210EpochDevice::drainStaleEvents() {
    // An empty queue is the normal exit, so it must not throw here.
    while (isEventReady(fd_, interfaceName_, kOnlyWhatIsThere)) readEvent();
    setPinFunction(PTP_PF_NONE);
}

QxmTimestamp I210EpochDevice::readEvent() {
    return static_cast<QxmTimestamp>(readExtTsEvent(fd_, {"Failed to get time stamp on ", interfaceName_, "."}));
}

}  // namespace halvexTimekeeper
