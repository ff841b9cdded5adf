// The body of the monitoring thread.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <atomic>
#include <mutex>

#include "source/zuHalvexTimekeeper/timekeeperInterface.h"
#include "zuerr/zuerr_Status.h"
#include "zuplat/quarks/synchronization/tEvent.h"

namespace halvexTimekeeper {

/// Where the thread leaves the first error it met, for the next call of the host to collect.
struct MonitorErrors {
    zuerr_Status& status;
    std::mutex& statusMutex;
};

/// Services the epoch devices every 2 s, and at once when `wakeEvent` is set, while `isRunning` holds; a pass that has
/// begun is finished. Owns nothing: all arguments outlive it. Threads: one. Failure: never throws; an error of a pass
/// goes to syslog and into `errors`, and the next pass follows.
void runMonitoringThread(TimekeeperInterface& timekeeper, nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tEvent& wakeEvent,
                         const std::atomic<bool>& isRunning, MonitorErrors errors) noexcept;

}  // namespace halvexTimekeeper
