// Each operation a fixed number of times between marks, for tools that count instructions and system calls.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "bench/measurements.h"

#include <unistd.h>
#include <valgrind/callgrind.h>

#include <string>

#include "bench/slaves.h"
#include "source/zuHalvexTimekeeper/timeReferenceMetadata.h"
#include "zuerr/status.h"

namespace halvexbench {
namespace {

using namespace halvexTimekeeper;

constexpr int kRepetitions = 10;

void mark(const std::string& text) {
    if (access(text.c_str(), F_OK) == 0) _exit(3);  // no such file may exist
}

/// The first run does all one-time work.
template <typename Work>
[[gnu::noinline]] void count(const char* name, Work&& work) {
    work();
    mark(std::string("begin ") + name);
    CALLGRIND_START_INSTRUMENTATION;
    CALLGRIND_ZERO_STATS;
    for (int repetition = 0; repetition < kRepetitions; ++repetition) work();
    CALLGRIND_STOP_INSTRUMENTATION;
    CALLGRIND_DUMP_STATS_AT(name);
    mark(std::string("end ") + name);
}

void countCalls(const Plugin& plugin) {
    zuerr_Status status = zuerr::makeStatus();
    std::uint64_t time = 0;
    std::int32_t ppb = 0;
    count("getTime", [&] { plugin.getTime(&time, &status); });
    count("getMinCorrection", [&] { plugin.getMinCorrectionPerSecond(&status); });
    count("getMaxCorrection", [&] { plugin.getMaxCorrectionPerSecond(&status); });
    count("isSeeded", [&] { plugin.isSeeded(); });
    count("getAPIVersion", [&] { plugin.getAPIVersion(); });
    count("setCorrection", [&] { plugin.setCorrectionPerSecond(-61999, &status); });
    count("getCorrection", [&] { plugin.getCorrectionPerSecond(&ppb, &status); });
}

void countErrors(const Plugin& plugin) {
    counters().isSyslogSilent = true;
    count("error", [&] {
        zuerr_Status status = zuerr::makeStatus();
        plugin.setCorrectionPerSecond(62'001, &status);
        zuerr::freeJson(status);
    });
    counters().isSyslogSilent = false;
}

void countAlignment(int slaveCount) {
    FerroxEpochDevice master;
    const EpochDevices slaves = makeSlaves(slaveCount);
    const std::string name = "alignment" + std::to_string(slaveCount);
    count(name.c_str(), [&] {
        disturb(slaveCount, 1000);
        EpochAlignment(master, slaves).run();
    });
}

void countServicePass() {
    constexpr int kSlaves = 3;
    disturb(kSlaves, 0);
    HalvexTimekeeper timekeeper = makeTimekeeper(kSlaves);
    timekeeper.serviceEpochDevices();
    count("servicePass", [&] { timekeeper.serviceEpochDevices(); });
    SelectedTimeReference kept;
    TimeReferenceSelection selection;
    count("parse", [&] { readTimeReferenceSelection(kept, "{}", selection); });
}

}  // namespace

void runCountedWork(const Plugin& plugin) {
    for (const int slaves : {1, 2, 8, 32, 64}) countAlignment(slaves);
    countServicePass();
    initializeOrThrow(plugin);
    countCalls(plugin);
    countErrors(plugin);
    plugin.finalize();
}

}  // namespace halvexbench
