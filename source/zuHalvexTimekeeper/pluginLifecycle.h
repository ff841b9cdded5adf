// Builds the timekeeper from the detected hardware, runs its monitoring thread, and shuts both down.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "source/zuHalvexTimekeeper/timekeeperInterface.h"

namespace halvexTimekeeper {

/// Makes every component, publishes the timekeeper and starts the monitoring thread. Throws what a component threw; no
/// timekeeper is then published.
void initializeTimekeeper();

/// Stops the monitoring thread and releases everything. In a forked child it drops its references and touches nothing:
/// thread, child process and hardware belong to the parent.
void finalizeTimekeeper() noexcept;

/// Stores the text and wakes the monitoring thread, even if busy devices made it drop the text.
void applyMetaDataAndWake(TimekeeperInterface& timekeeper, const char* metadata);

}  // namespace halvexTimekeeper
