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
extern std::atomic<bool> g_running;          ///< The monitoring thread runs while it is set.
extern std::future<void> g_monitorFuture;    ///< Of the monitoring thread.
extern zuerr_Status g_monitorStatus;         ///< The first error of the monitoring thread that no call has collected.
extern std::mutex g_monitorStatusMutex;      ///< Guards g_monitorStatus.
extern std::atomic<bool> g_hasMonitorError;  ///< Whether g_monitorStatus may hold an error; changed under its mutex.
#pragma GCC visibility pop

/// Throws the error in g_monitorStatus, if there is one; it is then gone from there.
[[gnu::cold]] void collectMonitorError();

/// Throws zuplaterr_resourceNotInitialized.
[[noreturn, gnu::cold]] void throwNotInitialized();

// Inline, because every call of the host passes through them.

/// Hands the error that the monitoring thread recorded, if any, over as an exception; it is then gone from the record.
/// The mutex is taken only when there is something to collect.
inline void throwIfMonitorFailed() {
    if (g_hasMonitorError.load(std::memory_order_acquire)) [[unlikely]]
        collectMonitorError();
}

/// The published timekeeper; throws zuplaterr_resourceNotInitialized when there is none.
inline TimekeeperInterface& checkInitialized() {
    if (!g_timekeeper) throwNotInitialized();
    return *g_timekeeper;
}

}  // namespace halvexTimekeeper
