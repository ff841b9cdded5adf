// Absolute figures: latencies, iterations, memory, wake-ups.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

namespace halvexbench {

/// Each loads the library itself and prints lines "name value".
void printIterations();
void printLatencies(const char* libraryPath);
void printMemory(const char* libraryPath);
void printGrowth(const char* libraryPath);
void printWakeUps(const char* libraryPath);

}  // namespace halvexbench
