// Functions of the C library, answered by a simulated controller; and threads that move one at a time.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/faults/simulatedController.h"

namespace faults {

/// From here on calls of this process go to `controller`; null gives them back to the system.
void answerFrom(SimulatedController* controller);

/// Marks the host's thread while it is inside the library: its allocations count.
class InsideLibrary {
public:
    InsideLibrary();
    ~InsideLibrary();
    InsideLibrary(const InsideLibrary&) = delete;
    InsideLibrary& operator=(const InsideLibrary&) = delete;
};

/// The threads of the library run as they like: the monitoring thread makes a pass every 200 us, the monotonic clock is
/// the system's. Until it is taken back.
void letThreadsRun(bool freely);
/// Called in the calling thread before each select; null for nothing.
void beforeEachSelect(void (*hook)());

void awaitMonitorIdle();   ///< Until the monitoring thread waits for its event.
void endMonitorPeriod();   ///< Lets its wait end as after 2 s.
void holdMonitor();        ///< A set event does not end the wait before the release.
bool releaseMonitor();     ///< Whether an event was set meanwhile.
void holdNewThreads();     ///< A thread that is started waits at its first step.
void releaseNewThreads();  ///< Lets them go on, and waits for them to end.

}  // namespace faults
