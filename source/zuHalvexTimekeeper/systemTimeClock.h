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

/// Reads and steps CLOCK_REALTIME by absolute times. Owns the phc2sys process that keeps it in step between steps.
/// Threads: getTime may overlap any call, the rest is serialised by the timekeeper. Failure: throws zuplaterr_osFault;
/// a step that fails before the write leaves the clock as it was.
class SystemTimeClock : public ClockInterface {
public:
    using ClockGettime = std::function<int(int clock, timespec* out)>;
    using ClockSettime = std::function<int(int clock, const timespec* in)>;

    /// Starts phc2sys with `phc2SysSource`, a network interface, when `wantsPhc2Sys`; its failure is the constructor's.
    SystemTimeClock(bool wantsPhc2Sys, const std::string& phc2SysSource);

    /// A clock on other functions than those of Linux, without phc2sys.
    SystemTimeClock(ClockGettime clock_gettime, ClockSettime clock_settime);

    const std::string& getName() const override;
    QxmTimestamp getTime() override;
    void adjustTime(std::int64_t offsetNs) override;
    bool isEnabled() override;

private:
    ClockGettime clock_gettime_;
    ClockSettime clock_settime_;
    std::unique_ptr<SpawnPhc2Sys> phc2Sys_;  ///< Last, so that the process is gone before the entries are.
};

}  // namespace halvexTimekeeper
