// State shared by the entry points: the published timekeeper, the monitoring thread and its error.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <atomic>
#include <future>
#include <memory>
#include <mutex>

#include "source/zuHalvexTimekeeper/timekeeperInterface.h"
#include "zuerr/zuerr_Status.h"
#include "zuplat/quarks/synchronization/tEvent.h"

// Made at load. Written only by zuqxmtk_initialize and zuqxmtk_finalize, which no other call may overlap, and therefore
// read without a lock; only the status has a mutex.
namespace halvexTimekeeper {

#pragma GCC visibility push(hidden)                        // of declarations too: accesses bypass the GOT
extern std::shared_ptr<TimekeeperInterface> g_timekeeper;  ///< Empty unless initialised.
extern std::shared_ptr<nHALVEXTIMEKEEPER_18_1::nZUPLAT000::tEvent> g_wakeEvent;  ///< Wakes the monitoring thread.
extern std::atomic<bool> g_running;        ///< The monitoring thread runs while this is set.
extern std::future<void> g_monitorFuture;  ///< Of the monitoring thread.
extern zuerr_Status g_monitorStatus;       ///< The monitoring thread's first uncollected error.
extern std::mutex g_monitorStatusMutex;    ///< Guards g_monitorStatus.
#pragma GCC visibility pop

/// Moves the error out of g_monitorStatus and throws it. The caller holds the mutex.
[[noreturn, gnu::cold]] void throwMonitorError();

/// Throws zuplaterr_resourceNotInitialized.
[[noreturn, gnu::cold]] void throwNotInitialized();

// Inline: every call of the host uses them.

/// Throws the pending error of the monitoring thread, if any, and clears it. Throws std::system_error if the mutex
/// cannot be locked.
inline void throwIfMonitorFailed() {
    const std::lock_guard lock(g_monitorStatusMutex);
    // Kept on purpose: a warning stays in place and fails no call.
    if (g_monitorStatus.code < 0) throwMonitorError();
}

/// The published timekeeper; throws zuplaterr_resourceNotInitialized if there is none.
inline TimekeeperInterface& checkInitialized() {
    if (!g_timekeeper) throwNotInitialized();
    return *g_timekeeper;
}

}  // namespace halvexTimekeeper
