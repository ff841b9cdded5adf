// The system clock, CLOCK_REALTIME.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/systemTimeClock.h"

#include <cerrno>
#include <limits>
#include <utility>

#include "source/tools/decimalText.h"
#include "source/tools/linuxFunctionHelpers.h"
#include "zuerr/codes.h"
#include "zuerr/exception.h"

namespace halvexTimekeeper {
namespace {

constexpr zuerr::ErrorSite kReadFailed{zuerr::zuplaterr_osFault, "systemTimeClock", 47};
constexpr zuerr::ErrorSite kStepOverflows{zuerr::zuplaterr_osFault, "systemTimeClock", 66};
constexpr zuerr::ErrorSite kWriteFailed{zuerr::zuplaterr_osFault, "systemTimeClock", 78};

const std::string kName = "SystemTimeClock";

/// The offset as an addend modulo 2^64.
constexpr QxmTimestamp asAddend(std::int64_t offsetNs) noexcept { return static_cast<QxmTimestamp>(offsetNs); }

bool leavesTheRange(QxmTimestamp now, std::int64_t offsetNs) noexcept {
    if (offsetNs > 0) return now > std::numeric_limits<QxmTimestamp>::max() - asAddend(offsetNs);
    return now < 0 - asAddend(offsetNs);  // the magnitude, also of the minimum
}

}  // namespace

SystemTimeClock::SystemTimeClock(bool wantsPhc2Sys, const std::string& phc2SysSource)
    : SystemTimeClock(::clock_gettime, ::clock_settime) {
    if (wantsPhc2Sys) phc2Sys_ = SpawnPhc2Sys::launch(phc2SysSource);
}

SystemTimeClock::SystemTimeClock(ClockGettime clock_gettime, ClockSettime clock_settime)
    : clock_gettime_(std::move(clock_gettime)), clock_settime_(std::move(clock_settime)) {}

const std::string& SystemTimeClock::getName() const { return kName; }

QxmTimestamp SystemTimeClock::getTime() {
    timespec time{};
    const int result = clock_gettime_(CLOCK_REALTIME, &time);
    const int error = errno;
    if (result < 0) zuerr::raise(kReadFailed, {"Error ", DecimalText(error), " while getting system time"});
    return timespecToQxmTimestamp(time);
}

void SystemTimeClock::adjustTime(std::int64_t offsetNs) {
    const QxmTimestamp now = getTime();
    if (leavesTheRange(now, offsetNs)) {
        // Kept on purpose: a step below zero is also called "Overflow".
        zuerr::raise(kStepOverflows, {"Overflow error when calculating time adjustment. Current time - ",
                                      DecimalText(now), " Offset - ", DecimalText(offsetNs)});
    }
    // Kept on purpose: the time between read and write is lost; a step by 0 writes back the time read.
    const timespec target = qxmTimestampToTimespec(now + asAddend(offsetNs));
    const int result = clock_settime_(CLOCK_REALTIME, &target);
    const int error = errno;
    if (result < 0) zuerr::raise(kWriteFailed, {"Error ", DecimalText(error), " while setting system time"});
}

bool SystemTimeClock::isEnabled() { return true; }

}  // namespace halvexTimekeeper
