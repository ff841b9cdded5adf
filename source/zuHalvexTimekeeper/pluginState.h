// State shared by the entry points: the published timekeeper, the monitoring thread and its error.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <atomic>
#include <future>
#include <memory>

#include "locks/annotatedLocks.h"
#include "source/zuHalvexTimekeeper/timekeeperInterface.h"
#include "zuerr/status.h"
#include "zuplat/quarks/synchronization/tEvent.h"

// Written only by zuqxmtk_initialize and zuqxmtk_finalize, which no other call may overlap, and therefore read without
// a lock; only the status has a mutex.
namespace halvexTimekeeper {

using WakeEvent = nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tEvent;

// Inline: unlike a declaration, a definition is hidden, so accesses bypass the GOT.
inline constinit std::shared_ptr<TimekeeperInterface> g_timekeeper;  ///< Empty unless initialised.
inline constinit std::shared_ptr<WakeEvent> g_wakeEvent;             ///< Wakes the monitoring thread.
inline constinit std::atomic<bool> g_running{false};                 ///< The monitoring thread runs while this is set.
inline constinit std::future<void> g_monitorFuture;                  ///< Of the monitoring thread.
inline constinit locks::Mutex g_monitorStatusMutex;
/// The monitoring thread's first uncollected error.
inline constinit zuerr_Status g_monitorStatus GUARDED_BY(g_monitorStatusMutex) = zuerr::makeStatus();

/// Moves the error out of g_monitorStatus and throws it.
[[noreturn, gnu::cold]] void throwMonitorError() REQUIRES(g_monitorStatusMutex);

/// Throws zuplaterr_resourceNotInitialized.
[[noreturn, gnu::cold]] void throwNotInitialized();

// Inline: every call of the host uses them.

/// Throws the pending error of the monitoring thread, if any, and clears it. Throws std::system_error if the mutex
/// cannot be locked.
inline void throwIfMonitorFailed() {
    const locks::LockGuard lock(g_monitorStatusMutex);
    // Kept on purpose: a warning stays in place and fails no call.
    if (g_monitorStatus.code < 0) throwMonitorError();
}

/// The published timekeeper; throws zuplaterr_resourceNotInitialized if there is none.
inline TimekeeperInterface& checkInitialized() {
    if (!g_timekeeper) throwNotInitialized();
    return *g_timekeeper;
}

}  // namespace halvexTimekeeper
