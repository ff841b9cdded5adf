// Each operation a fixed number of times between marks, for tools that count instructions and system calls.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "bench/loadedPlugin.h"

namespace halvexbench {

/// Under callgrind, writes one profile per operation, named after it; under strace, brackets each operation's system
/// calls with calls of access on "begin NAME" and "end NAME".
void runCountedWork(const Plugin& plugin);

}  // namespace halvexbench
