// Paired runs: a block of bare calls, then a block of the library's, repeatedly in one process.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "bench/measurements.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <memory>
#include <vector>

#include "bench/bareCalls.h"
#include "bench/slaves.h"
#include "zuerr/status.h"

namespace halvexbench {
namespace {

using namespace halvexTimekeeper;

constexpr int kSlaveCounts[] = {1, 2, 4, 8, 16, 32, 64};

/// Makes one block of calls and returns the seconds to count.
using Block = std::function<double()>;

struct Pair {
    std::string name;
    int callsPerBlock = 1;
    int blocks = 301;
    Block bare;
    Block library;
    std::function<void()> between = [] {};  ///< Runs after every block.
};

/// Times `count` calls by this clock: elapsed time, or processor time of a thread or the process.
template <typename Call>
Block timed(clockid_t clock, int count, Call call) {
    return [clock, count, call] {
        timespec begin;
        timespec end;
        clock_gettime(clock, &begin);
        for (int done = 0; done < count; ++done) call();
        clock_gettime(clock, &end);
        return static_cast<double>(end.tv_sec - begin.tv_sec) + static_cast<double>(end.tv_nsec - begin.tv_nsec) * 1e-9;
    };
}

double quantile(std::vector<double> values, double fraction) {
    const auto position = static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(position), values.end());
    return values[position];
}

/// One repetition is one pair of blocks; medians and quartiles are over the repetitions.
void registerPair(Pair pair) {
    const auto shared = std::make_shared<Pair>(std::move(pair));
    const auto run = [shared](benchmark::State& state) {
        double bare = 0;
        double library = 0;
        for (auto _ : state) {
            bare = shared->bare();
            shared->between();
            library = shared->library();
            shared->between();
            state.SetIterationTime(library);
        }
        state.counters["bareNs"] = bare * 1e9 / shared->callsPerBlock;
        state.counters["libraryNs"] = library * 1e9 / shared->callsPerBlock;
        state.counters["ratio"] = library / bare;
    };
    benchmark::RegisterBenchmark(shared->name.c_str(), run)
        ->Iterations(1)
        ->Repetitions(shared->blocks)
        ->ReportAggregatesOnly()
        ->UseManualTime()
        ->ComputeStatistics("lowerQuartile", [](const std::vector<double>& values) { return quantile(values, 0.25); })
        ->ComputeStatistics("upperQuartile", [](const std::vector<double>& values) { return quantile(values, 0.75); })
        ->ComputeStatistics("p99", [](const std::vector<double>& values) { return quantile(values, 0.99); });
}

constexpr int kCalls = 1000;
constexpr clockid_t kOwnTime = CLOCK_THREAD_CPUTIME_ID;  // for calls that never sleep, unaffected by other load

/// One call of the library against its system calls, with and without the lock that every call takes.
template <typename Bare, typename Library>
void registerCall(const std::string& name, Bare bare, Library library) {
    registerPair({.name = name,
                  .callsPerBlock = kCalls,
                  .bare = timed(kOwnTime, kCalls,
                                [bare] {
                                    bareLock();
                                    bare();
                                }),
                  .library = timed(kOwnTime, kCalls, library)});
    registerPair({.name = name + "Alone",
                  .callsPerBlock = kCalls,
                  .bare = timed(kOwnTime, kCalls, bare),
                  .library = timed(kOwnTime, kCalls, library)});
}

void registerCalls(const Plugin& plugin, const BareController& bare) {
    static zuerr_Status status = zuerr::makeStatus();
    static std::uint64_t time = 0;
    static std::int32_t ppb = 0;
    const auto set = [&bare] { benchmark::DoNotOptimize(bareSetCorrection(bare.ppbOffset)); };
    registerCall(
        "getTime", [&bare] { time = bareGetTime(bare.ferrox); }, [&plugin] { plugin.getTime(&time, &status); });
    registerCall(
        "getCorrection", [&bare] { benchmark::DoNotOptimize(bareGetCorrection(bare.ppbOffset)); },
        [&plugin] { plugin.getCorrectionPerSecond(&ppb, &status); });
    registerCall("setCorrection", set, [&plugin] { plugin.setCorrectionPerSecond(-61999, &status); });
    registerPair({.name = "frames",
                  .callsPerBlock = kCalls,
                  .bare = timed(kOwnTime, kCalls, set),
                  .library = timed(kOwnTime, kCalls,
                                   [&bare] { benchmark::DoNotOptimize(bareSetCorrectionInFrames(bare.ppbOffset)); })});
    registerPair({.name = "locked",
                  .callsPerBlock = kCalls,
                  .bare = timed(kOwnTime, kCalls, set),
                  .library = timed(kOwnTime, kCalls, [&bare] {
                      benchmark::DoNotOptimize(bareSetCorrectionWithLocked(bare.ppbOffset));
                  })});
}

void registerError(const Plugin& plugin) {
    static constexpr char kMessage[] =
        "si514: requested ppb value 62001 is beyond the supported range: [62000, -62000]";
    constexpr int kErrors = 200;
    const auto fail = [&plugin] {
        zuerr_Status status = zuerr::makeStatus();
        plugin.setCorrectionPerSecond(62'001, &status);
        zuerr::freeJson(status);
    };
    registerPair({.name = "error",
                  .callsPerBlock = kErrors,
                  .bare = timed(kOwnTime, kErrors, [] { bareError(kMessage); }),
                  .library = [fail, block = timed(kOwnTime, kErrors, fail)] {
                      counters().isSyslogSilent = true;
                      const double seconds = block();
                      counters().isSyslogSilent = false;
                      return seconds;
                  }});
}

void registerSnapTime(const Plugin& plugin, BareController& bare) {
    static zuerr_Status status = zuerr::makeStatus();
    // Waits until the alignment and its thread are gone.
    const auto settle = [] {
        static long seen = counters().alignments;
        for (int wait = 0; counters().alignments == seen && wait < 10'000; ++wait) usleep(20);
        seen = counters().alignments;
        usleep(300);
    };
    registerPair({.name = "snapTime",
                  .blocks = 401,
                  .bare = timed(CLOCK_MONOTONIC, 1, [&bare] { bareSnapTime(bare); }),
                  .library = timed(CLOCK_MONOTONIC, 1, [&plugin] { plugin.snapTime(0, &status); }),
                  .between = settle});
}

/// A step of every slave, then agreement: two iterations.
void registerAlignment(int slaveCount) {
    const auto master = std::make_shared<FerroxEpochDevice>();
    const auto slaves = std::make_shared<EpochDevices>(makeSlaves(slaveCount));
    const auto bare = std::make_shared<BareController>();
    bare->open(phcCountOf(slaveCount), hasFpga(slaveCount));
    const int runs = std::max(1, 32 / slaveCount);
    registerPair({.name = "alignment/" + std::to_string(slaveCount),
                  .callsPerBlock = 2 * runs,
                  .blocks = 201,
                  .bare = timed(kOwnTime, runs,
                                [=] {
                                    disturb(slaveCount, 1000);
                                    bareAlignment(*bare);
                                }),
                  .library = timed(kOwnTime, runs, [=] {
                      disturb(slaveCount, 1000);
                      EpochAlignment(*master, *slaves).run();
                  })});
}

void registerServicePass(int slaveCount) {
    const auto bare = std::make_shared<BareController>();
    bare->open(phcCountOf(slaveCount), hasFpga(slaveCount));
    disturb(slaveCount, 0);
    const std::shared_ptr<HalvexTimekeeper> timekeeper(new HalvexTimekeeper(makeTimekeeper(slaveCount)));
    timekeeper->serviceEpochDevices();
    const int runs = std::max(4, 64 / slaveCount);
    registerPair({.name = "servicePass/" + std::to_string(slaveCount),
                  .callsPerBlock = runs,
                  .blocks = 201,
                  .bare = timed(kOwnTime, runs, [=] { bareServicePass(*bare); }),
                  .library = timed(kOwnTime, runs, [=] { timekeeper->serviceEpochDevices(); })});
}

/// From the call of `apply` to the FPGA's next status record.
template <typename Apply>
Block untilRecord(Apply apply) {
    return [apply] {
        usleep(200);  // lets the thread return to its wait
        const std::uint64_t before = counters().statusRecords;
        const std::int64_t begin = monotonicNs();
        apply();
        while (counters().statusRecords == before) usleep(50);
        return static_cast<double>(counters().lastRecordNs - begin) * 1e-9;
    };
}

void registerMetadata(const Plugin& plugin, BareLife& bare) {
    static zuerr_Status status = zuerr::makeStatus();
    static constexpr char kMetadata[] =
        R"({"selectedTRInstID":"a","selectedTROffset":"7","TRs":{"a":{"type":"IEEE 1588-2008","protocolData":{"utcOffset":37}}}})";
    registerPair({.name = "metadata",
                  .blocks = 2001,
                  .bare = untilRecord([&bare] { bareApplyMetaData(bare); }),
                  .library = untilRecord([&plugin] { plugin.applyMetaData(kMetadata, &status); })});
}

/// Complete lives by processor time, and their ends by elapsed time.
void registerLives(const Plugin& plugin) {
    registerPair({.name = "life",
                  .blocks = 151,
                  .bare = timed(CLOCK_PROCESS_CPUTIME_ID, 1,
                                [] {
                                    BareLife life;
                                    bareInitialize(life);
                                    bareFinalize(life);
                                }),
                  .library = timed(CLOCK_PROCESS_CPUTIME_ID, 1,
                                   [&plugin] {
                                       initializeOrThrow(plugin);
                                       plugin.finalize();
                                   }),
                  .between = reapChildren});
    registerPair({.name = "finalize",
                  .blocks = 151,
                  .bare =
                      [] {
                          BareLife life;
                          bareInitialize(life);
                          usleep(1000);  // lets its thread reach its wait
                          return timed(CLOCK_MONOTONIC, 1, [&life] { bareFinalize(life); })();
                      },
                  .library =
                      [&plugin] {
                          initializeOrThrow(plugin);
                          usleep(1000);
                          return timed(CLOCK_MONOTONIC, 1, [&plugin] { plugin.finalize(); })();
                      },
                  .between = reapChildren});
}

/// Runs the benchmarks that `registerAll` registers.
template <typename Register>
void runRegistered(const std::string& outputPath, Register&& registerAll) {
    std::string words[] = {"halvexbench", "--benchmark_out=" + outputPath, "--benchmark_out_format=json"};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    int count = 3;
    benchmark::Initialize(&count, arguments);
    registerAll();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

}  // namespace

void runCallPairs(const Plugin& plugin, const std::string& outputPath) {
    BareLife life;
    bareInitialize(life);
    BareController bare;
    bare.open(kListedInterfaces, true);
    initializeOrThrow(plugin);
    // Kernel objects of two descriptors differ in cache placement: use the same one on both sides.
    bare.ppbOffset = oscillatorDescriptor();
    runRegistered(outputPath, [&] {
        registerCalls(plugin, bare);
        registerSnapTime(plugin, bare);
        registerError(plugin);
        registerMetadata(plugin, life);
    });
    plugin.finalize();
    bareFinalize(life);
    reapChildren();
}

void runSlavePairs(const Plugin& plugin, const std::string& outputPath) {
    runRegistered(outputPath, [&] {
        for (const int slaveCount : kSlaveCounts) {
            registerAlignment(slaveCount);
            registerServicePass(slaveCount);
        }
        registerLives(plugin);
    });
}

}  // namespace halvexbench
