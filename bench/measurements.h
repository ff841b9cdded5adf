// The measurements of the program, one function each, and the library under test as a host loads it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

#include "bench/standIn.h"
#include "host/session/pluginLibrary.h"

namespace halvexbench {

using Plugin = halvexctl::PluginFunctions;

/// Throws std::runtime_error if the library cannot be loaded or lacks a function. Never unloads it.
Plugin loadPlugin(const char* path);

/// Initialises the library; throws std::runtime_error with its error on failure.
void initializeOrThrow(const Plugin& plugin);

/// The library loaded and initialised for a scope.
struct Session {
    explicit Session(const char* path) : plugin(loadPlugin(path)) { initializeOrThrow(plugin); }
    ~Session() {
        plugin.finalize();
        reapChildren();
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    const Plugin plugin;
};

// Paired runs: a block of bare calls, then a block of the library's, repeatedly in one process, written as Google
// Benchmark's JSON to `outputPath`.
/// The host's calls.
void runCallPairs(const Plugin& plugin, const std::string& outputPath);
/// Operations that scale with the number of slaves, and a complete life.
void runSlavePairs(const Plugin& plugin, const std::string& outputPath);

/// Each operation a fixed number of times between marks. Under callgrind, writes one profile per operation, named after
/// it; under strace, brackets each operation's system calls with calls of access on "begin NAME" and "end NAME".
void runCountedWork(const Plugin& plugin);

// Absolute figures: latencies, memory, wake-ups. Each loads the library itself and prints lines "name
// value".
void printLatencies(const char* libraryPath);
void printMemory(const char* libraryPath);
void printGrowth(const char* libraryPath);
void printWakeUps(const char* libraryPath);

}  // namespace halvexbench
