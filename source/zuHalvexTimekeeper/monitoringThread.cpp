// The body of the monitoring thread.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/monitoringThread.h"

#include <syslog.h>
#include <time.h>

#include <cstdint>
#include <memory>

#include "source/tools/platStatusException.h"
#include "zuerr/codes.h"
#include "zuerr/status.h"
#include "zuerr/tools/exception_errStatus.h"

namespace halvexTimekeeper {
namespace {

using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus;
using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tEvent;

constexpr std::uint64_t kServicePeriodNs = 2'000'000'000;
constexpr std::uint64_t kNsPerSecond = 1'000'000'000;

std::uint64_t monotonicNowNs() noexcept {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * kNsPerSecond + static_cast<std::uint64_t>(now.tv_nsec);
}

/// Waits until the event is set or the period expires; expiry is not an error.
void waitForNextPass(tEvent& wakeEvent) {
    PlatStatus status;
    wakeEvent.waitUntil(monotonicNowNs() + kServicePeriodNs, &status);
    if (status.code != zuerr::zuplaterr_operationTimedOut) throwIfPlatformFailed(status);
}

void logError(const zuerr::ExceptionBase& error) noexcept {
    syslog(LOG_ERR, "Monitoring thread encountered an error: %s(%i,%s)", zuerr::severityWord(error.getCode()),
           error.getCode(), zuerr::jsonOrNull(error.getStatus()));
}

void reportCurrentException(MonitorErrors errors) noexcept {
    zuerr::ExceptionBase error = zuerr::copyCurrentException();
    logError(error);
    try {
        const locks::LockGuard lock(errors.statusMutex);
        // Not by &, which the lock analysis does not follow.
        zuerr_merge(std::addressof(errors.status), &error.getStatus());
    } catch (...) {
        logError(zuerr::copyCurrentException());  // locking failed: log both errors and go on with the next pass
    }
}

}  // namespace

void runMonitoringThread(TimekeeperInterface& timekeeper, tEvent& wakeEvent, const std::atomic<bool>& isRunning,
                         MonitorErrors errors) noexcept {
    while (isRunning.load()) {
        try {
            waitForNextPass(wakeEvent);
            timekeeper.serviceEpochDevices();
        } catch (...) {
            reportCurrentException(errors);
        }
    }
}

}  // namespace halvexTimekeeper
