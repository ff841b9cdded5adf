// Replaces C library functions by a simulated controller's, and runs threads one at a time.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/faults/simulatedController.h"

namespace faults {

/// Routes this process's calls to `controller`; null: to the system.
void answerFrom(SimulatedController* controller);

/// Marks the host's thread as inside the library: its allocations count.
class InsideLibrary {
public:
    InsideLibrary();
    ~InsideLibrary();
    InsideLibrary(const InsideLibrary&) = delete;
    InsideLibrary& operator=(const InsideLibrary&) = delete;
};

/// Lets the library's threads run freely or not: the monitoring thread then makes a pass every 200 us on the system's
/// monotonic clock.
void letThreadsRun(bool freely);
/// Called in the calling thread before each select; null: none.
void beforeEachSelect(void (*hook)());

void awaitMonitorIdle();   ///< Returns once the monitoring thread waits for its event.
void endMonitorPeriod();   ///< Ends its wait as after 2 s.
void holdMonitor();        ///< Until the release, a set event does not end the wait.
bool releaseMonitor();     ///< Whether an event was set meanwhile.
void holdNewThreads();     ///< New threads wait at their first step.
void releaseNewThreads();  ///< Lets them run, and waits for them to end.

}  // namespace faults
