// Builds the timekeeper from the hardware that is found, runs its monitoring thread, and takes both down again.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "source/zuHalvexTimekeeper/timekeeperInterface.h"

namespace halvexTimekeeper {

/// Makes every component, publishes the timekeeper and starts the monitoring thread. Throws what a component threw;
/// then no timekeeper is published.
void initializeTimekeeper();

/// Ends the monitoring thread and releases everything. In a process forked from the one that initialised it lets go of
/// everything and touches nothing: thread, child and hardware are the parent's.
void finalizeTimekeeper() noexcept;

/// Stores the text and wakes the monitoring thread, also when the text was dropped because the devices were busy.
void applyMetaDataAndWake(TimekeeperInterface& timekeeper, const char* metadata);

}  // namespace halvexTimekeeper
