// The system clock, CLOCK_REALTIME.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <ctime>
#include <functional>
#include <memory>
#include <string>

#include "source/tools/spawnPhc2Sys.h"
#include "source/zuHalvexTimekeeper/clockInterface.h"

namespace halvexTimekeeper {

/// Reads and steps CLOCK_REALTIME by absolute times. Owns the phc2sys process that synchronises it between steps.
/// Threads: getTime may overlap any call, the timekeeper serialises the rest. Failure: throws zuplaterr_osFault; a step
/// that fails before the write leaves the clock unchanged.
class SystemTimeClock : public ClockInterface {
public:
    using ClockGettime = std::function<int(int clock, timespec* out)>;
    using ClockSettime = std::function<int(int clock, const timespec* in)>;

    /// Starts phc2sys with `phc2SysSource`, a network interface, if `wantsPhc2Sys`; throws if that fails.
    SystemTimeClock(bool wantsPhc2Sys, const std::string& phc2SysSource);

    /// A clock on the given functions, without phc2sys.
    SystemTimeClock(ClockGettime clock_gettime, ClockSettime clock_settime);

    const std::string& getName() const override;
    QxmTimestamp getTime() override;
    void adjustTime(std::int64_t offsetNs) override;
    bool isEnabled() override;

private:
    ClockGettime clock_gettime_;
    ClockSettime clock_settime_;
    std::unique_ptr<SpawnPhc2Sys> phc2Sys_;  ///< Last: destroyed before the functions above.
};

}  // namespace halvexTimekeeper
