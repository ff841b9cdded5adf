// The body of the monitoring thread.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <atomic>

#include "locks/annotatedLocks.h"
#include "source/zuHalvexTimekeeper/timekeeperInterface.h"
#include "zuerr/zuerr_Status.h"
#include "zuplat/quarks/synchronization/tEvent.h"

namespace halvexTimekeeper {

/// The thread's first error, until the host's next call collects it.
struct MonitorErrors {
    zuerr_Status& status GUARDED_BY(statusMutex);
    locks::Mutex& statusMutex;
};

/// Services the epoch devices every 2 s, and immediately when `wakeEvent` is set, while `isRunning` is true; a pass in
/// progress is completed. Owns nothing: all arguments outlive it. Threads: one. Failure: never throws; an error of a
/// pass goes to syslog and into `errors`, and the loop continues.
void runMonitoringThread(TimekeeperInterface& timekeeper, nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tEvent& wakeEvent,
                         const std::atomic<bool>& isRunning, MonitorErrors errors) noexcept;

}  // namespace halvexTimekeeper
