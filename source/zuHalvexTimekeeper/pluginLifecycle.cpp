// Builds the timekeeper from the detected hardware, runs its monitoring thread, and shuts both down.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/pluginLifecycle.h"

#include <syslog.h>
#include <unistd.h>

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "source/tools/backgroundTask.h"
#include "source/tools/cancellationDisabled.h"
#include "source/tools/platStatusException.h"
#include "source/zuHalvexTimekeeper/ferroxEpochDevice.h"
#include "source/zuHalvexTimekeeper/fpgaEpochDevice.h"
#include "source/zuHalvexTimekeeper/halvexTimekeeper.h"
#include "source/zuHalvexTimekeeper/i210EpochDeviceFactory.h"
#include "source/zuHalvexTimekeeper/monitoringThread.h"
#include "source/zuHalvexTimekeeper/pluginState.h"
#include "source/zuHalvexTimekeeper/si514FreqSteeringDevice.h"
#include "source/zuHalvexTimekeeper/systemTimeClock.h"
#include "zuerr/codes.h"
#include "zuerr/exception.h"

namespace halvexTimekeeper {
namespace {

using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::PlatStatus;
using nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tEvent;

constexpr zuerr::ErrorSite kNoPhcInterface{zuerr::zuplaterr_resourceNotInitialized, "halvexTimekeeperPlugin", 75};

constexpr std::uint64_t kFpgaAlignmentValue = 4'000'000'000;
constexpr std::int32_t kMaxCorrectionPpb = 62'000;
constexpr std::int32_t kMinCorrectionPpb = -62'000;

/// The process that initialised. A forked child inherits the memory but neither the thread nor the hardware.
pid_t g_ownerProcess = 0;

/// Shuts the timekeeper down when the process exits or the library is unloaded. Made by the first initialisation, so it
/// is destroyed before all objects made at load.
class ExitGuard {
public:
    ExitGuard() = default;
    ~ExitGuard() { finalizeTimekeeper(); }
    ExitGuard(const ExitGuard&) = delete;
    ExitGuard& operator=(const ExitGuard&) = delete;
};

void publishWakeEvent() {
    PlatStatus status;
    g_wakeEvent = std::make_shared<tEvent>(&status);
    throwIfPlatformFailed(status);
}

std::shared_ptr<HalvexTimekeeper> makeTimekeeper() {
    const auto i210Devices = findUsableI210Interfaces();
    if (i210Devices.empty()) {
        raise(kNoPhcInterface, {"Can not synchronize system time without at least one usable PHC interface."});
    }
    const std::string& systemTimeSource = i210Devices.front()->getInterfaceName();
    syslog(LOG_INFO, "System time will be synchronized to %s.", systemTimeSource.c_str());

    EpochDevices slaves(i210Devices.begin(), i210Devices.end());
    slaves.push_back(std::make_shared<FpgaEpochDevice>(kFpgaAlignmentValue));
    auto master = std::make_shared<FerroxEpochDevice>();
    auto systemClock = std::make_shared<SystemTimeClock>(true, systemTimeSource);
    auto oscillator = std::make_shared<Si514FreqSteeringDevice>(kMaxCorrectionPpb, kMinCorrectionPpb);
    return std::make_shared<HalvexTimekeeper>(std::move(master), std::move(systemClock), std::move(oscillator), slaves);
}

/// The thread shares ownership of its arguments: they outlive it.
std::future<void> startMonitoringThread() {
    return startBackgroundTask([timekeeper = g_timekeeper, wakeEvent = g_wakeEvent] {
        runMonitoringThread(*timekeeper, *wakeEvent, g_running, {g_monitorStatus, g_monitorStatusMutex});
    });
}

/// In a forked child: moves the future of the parent's thread to storage that is never destroyed; allocates nothing.
/// The thread's task shares timekeeper and event, which therefore outlive the globals.
void leaveThreadToParent() noexcept {
    alignas(std::future<void>) static std::byte place[sizeof(std::future<void>)];
    new (place) std::future<void>(std::move(g_monitorFuture));
}

void stopMonitoringThread() {
    g_running.store(false);
    if (g_wakeEvent) g_wakeEvent->set();
    if (g_monitorFuture.valid()) std::exchange(g_monitorFuture, {}).get();
}

/// Publishes the timekeeper once its thread runs.
void buildAndStart() {
    publishWakeEvent();
    g_timekeeper = makeTimekeeper();
    g_ownerProcess = getpid();
    g_running.store(true);
    try {
        // Kept on purpose: if the caller initialises twice without finalising, this assignment waits for the previous
        // thread, which ends only once g_running is cleared.
        g_monitorFuture = startMonitoringThread();
    } catch (...) {
        g_running.store(false);
        g_timekeeper.reset();
        throw;
    }
}

}  // namespace

void initializeTimekeeper() {
    const CancellationDisabled cancellationDisabled;
    static const ExitGuard exitGuard;
    const auto formerEvent = g_monitorFuture.valid() ? g_wakeEvent : nullptr;
    try {
        buildAndStart();
    } catch (...) {
        if (formerEvent) g_wakeEvent = formerEvent;  // the running thread still waits for this one
        throw;
    }
}

void finalizeTimekeeper() noexcept {
    const CancellationDisabled cancellationDisabled;
    if (g_monitorFuture.valid() && g_ownerProcess != getpid()) {
        leaveThreadToParent();
    } else {
        stopMonitoringThread();
    }
    g_timekeeper.reset();
    g_wakeEvent.reset();
}

void applyMetaDataAndWake(TimekeeperInterface& timekeeper, const char* metadata) {
    timekeeper.applyMetaData(metadata);
    if (g_wakeEvent) g_wakeEvent->set();
}

}  // namespace halvexTimekeeper
