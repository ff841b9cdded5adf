// Each operation a known number of times between marks, for the tools that count instructions and system calls.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "bench/loadedPlugin.h"

namespace halvexbench {

/// Under callgrind, writes one profile per operation, named after it; under strace, encloses each operation's system
/// calls in calls of access on "begin NAME" and "end NAME".
void runCountedWork(const Plugin& plugin);

}  // namespace halvexbench
