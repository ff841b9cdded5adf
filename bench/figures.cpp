// Absolute figures: latencies, memory, wake-ups.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "bench/measurements.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <thread>
#include <vector>

#include "bench/slaves.h"
#include "tests/support/processCensus.h"
#include "zuerr/status.h"

namespace halvexbench {
namespace {

using namespace halvexTimekeeper;

void print(const char* name, double value) { std::printf("%s %.6g\n", name, value); }

double nth(std::vector<double>& values, double fraction) {
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1))];
}

template <typename Work>
double microsecondsOf(Work&& work) {
    const std::int64_t begin = monotonicNs();
    work();
    return static_cast<double>(monotonicNs() - begin) / 1000;
}

/// A snapTime that times out behind a service pass.
void printGivenUp(const Plugin& plugin) {
    zuerr_Status status = zuerr::makeStatus();
    counters().isFpgaBlocked = true;
    plugin.applyMetaData("{}", &status);
    while (!counters().isFpgaWaiting) usleep(100);
    std::vector<double> durations;
    for (int attempt = 0; attempt < 21; ++attempt)
        durations.push_back(microsecondsOf([&] { plugin.snapTime(0, &status); }));
    counters().isFpgaBlocked = false;
    print("givenUpMs", nth(durations, 0.5) / 1000);
    print("givenUpShortestMs", durations.front() / 1000);
    print("givenUpLongestMs", durations.back() / 1000);
}

/// The sum of these lines about this process's memory, in kB.
double memoryKb(std::initializer_list<std::string_view> lines) {
    std::ifstream rollup("/proc/self/smaps_rollup");
    std::string word;
    double sum = 0;
    while (rollup >> word) {
        double value = 0;
        if (std::find(lines.begin(), lines.end(), word) != lines.end() && rollup >> value) sum += value;
    }
    return sum;
}

/// Memory not shared with other processes. Unwritten file pages come and go with other processes.
double privateKb() { return memoryKb({"Private_Clean:", "Private_Dirty:", "Swap:"}); }

/// Memory written by this process.
double writtenKb() { return memoryKb({"Private_Dirty:", "Swap:"}); }

long voluntarySwitches() {
    long sum = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        if (task.path().filename() == std::to_string(getpid())) continue;  // the host's own thread
        std::ifstream status(task.path() / "status");
        std::string word;
        long value = 0;
        while (status >> word) {
            if (word == "voluntary_ctxt_switches:" && status >> value) sum += value;
        }
    }
    return sum;
}

void callManyTimes(const Plugin& plugin, int count) {
    zuerr_Status status = zuerr::makeStatus();
    std::uint64_t time = 0;
    std::int32_t ppb = 0;
    for (int call = 0; call < count / 4; ++call) {
        plugin.getTime(&time, &status);
        plugin.setCorrectionPerSecond(call % 60'000, &status);
        plugin.getCorrectionPerSecond(&ppb, &status);
        plugin.getMaxCorrectionPerSecond(&status);
    }
}

}  // namespace

void printLatencies(const char* libraryPath) {
    const Session session(libraryPath);
    usleep(10'000);
    printGivenUp(session.plugin);
}

void printMemory(const char* libraryPath) {
    const double before = privateKb();
    const double writtenBefore = writtenKb();
    const Session session(libraryPath);
    usleep(10'000);
    print("memoryKb", privateKb() - before);
    print("writtenKb", writtenKb() - writtenBefore);
}

void printGrowth(const char* libraryPath) {
    {
        const Session session(libraryPath);
        callManyTimes(session.plugin, 1000);
        zuerr_Status status = zuerr::makeStatus();
        session.plugin.applyMetaData("{}", &status);
        usleep(100'000);  // until the thread has made a pass and touched its memory
        const double warm = writtenKb();
        callManyTimes(session.plugin, 1'000'000);
        print("growthByCallsKb", writtenKb() - warm);
    }
    HalvexTimekeeper timekeeper = makeTimekeeper(3);
    for (int pass = 0; pass < 1000; ++pass) timekeeper.serviceEpochDevices();
    const double serviced = writtenKb();
    for (int pass = 0; pass < 100'000; ++pass) timekeeper.serviceEpochDevices();
    print("growthByPassesKb", writtenKb() - serviced);
}

void printWakeUps(const char* libraryPath) {
    constexpr unsigned kSeconds = 20;
    const Session session(libraryPath);
    usleep(100'000);  // 1.9 s before a pass: one pass per period in the measured time
    const long before = voluntarySwitches();
    sleep(kSeconds);
    print("wakeUpsAnHour", static_cast<double>(voluntarySwitches() - before) * 3600 / kSeconds);
    print("threadsAtRest", testsupport::countThreads() - 1);
}

}  // namespace halvexbench
