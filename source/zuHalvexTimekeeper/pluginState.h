// What the entry points share: the published timekeeper, the monitoring thread and the error it left.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <atomic>
#include <future>
#include <memory>
#include <mutex>

#include "source/zuHalvexTimekeeper/timekeeperInterface.h"
#include "zuerr/zuerr_Status.h"
#include "zuplat/quarks/synchronization/tEvent.h"

// Made at load. Written by zuqxmtk_initialize and zuqxmtk_finalize, which no other call may overlap, and therefore read
// without a lock; only the status has a mutex of its own.
namespace halvexTimekeeper {

#pragma GCC visibility push(hidden)  // of declarations too, so that they are reached without a detour
extern std::shared_ptr<TimekeeperInterface> g_timekeeper;                        ///< Empty unless initialised.
extern std::shared_ptr<nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tEvent> g_wakeEvent;  ///< Wakes the monitoring thread.
extern std::atomic<bool> g_running;        ///< The monitoring thread runs while it is set.
extern std::future<void> g_monitorFuture;  ///< Of the monitoring thread.
extern zuerr_Status g_monitorStatus;       ///< The first error of the monitoring thread that no call has collected.
extern std::mutex g_monitorStatusMutex;    ///< Guards g_monitorStatus.
#pragma GCC visibility pop

/// Throws the error in g_monitorStatus, which is then gone from there. The caller holds the mutex.
[[noreturn, gnu::cold]] void throwMonitorError();

/// Throws zuplaterr_resourceNotInitialized.
[[noreturn, gnu::cold]] void throwNotInitialized();

// Inline, because every call of the host passes through them.

/// Throws the error that the monitoring thread recorded, if any; it is then gone from the record. Throws
/// std::system_error when the mutex cannot be locked.
inline void throwIfMonitorFailed() {
    const std::lock_guard lock(g_monitorStatusMutex);
    // Kept on purpose: a warning stays where it is and fails no call.
    if (g_monitorStatus.code < 0) throwMonitorError();
}

/// The published timekeeper; throws zuplaterr_resourceNotInitialized when there is none.
inline TimekeeperInterface& checkInitialized() {
    if (!g_timekeeper) throwNotInitialized();
    return *g_timekeeper;
}

}  // namespace halvexTimekeeper
