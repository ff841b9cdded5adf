// State shared by the entry points: the published timekeeper, the monitoring thread and its error.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/pluginState.h"

#include "zuerr/codes.h"
#include "zuerr/exception.h"
#include "zuerr/status.h"

namespace halvexTimekeeper {
namespace {

constexpr zuerr::ErrorSite kNotInitialized{zuerr::zuplaterr_resourceNotInitialized, "halvexTimekeeperPlugin", 160};

/// Frees an uncollected error when the library is unloaded. In a forked child a thread of the parent may hold the
/// mutex; the text then leaks.
struct MonitorStatusText {
    MonitorStatusText() = default;
    ~MonitorStatusText() {
        if (!g_monitorStatusMutex.try_lock()) return;
        zuerr::freeJson(g_monitorStatus);
        g_monitorStatusMutex.unlock();
    }
    MonitorStatusText(const MonitorStatusText&) = delete;
    MonitorStatusText& operator=(const MonitorStatusText&) = delete;
} const monitorStatusText;

}  // namespace

void throwMonitorError() {
    zuerr_Status status = zuerr::makeStatus();
    zuerr_merge(&status, &g_monitorStatus);
    g_monitorStatus.code = 0;
    zuerr::freeJson(g_monitorStatus);
    throw zuerr::Exception(status);
}

void throwNotInitialized() {
    raise(kNotInitialized, {"zuqxmtk_initialize was not called or did not successfully initialize the timekeeper."});
}

}  // namespace halvexTimekeeper
