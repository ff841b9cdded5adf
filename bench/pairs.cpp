// The paired runs: a block of bare calls, then a block of the library's, again and again in one process.
#include "bench/pairs.h"

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
#include "bench/standIn.h"
#include "source/zuHalvexTimekeeper/ferroxEpochDevice.h"
#include "source/zuHalvexTimekeeper/halvexTimekeeper.h"
#include "source/zuHalvexTimekeeper/si514FreqSteeringDevice.h"
#include "source/zuHalvexTimekeeper/systemTimeClock.h"
#include "zuerr/status.h"

namespace halvexbench {
namespace {

using namespace halvexTimekeeper;

constexpr int kSlaveCounts[] = {1, 2, 4, 8, 16, 32, 64};

/// One block of work on each side; what stands between two blocks is not timed.
struct Pair {
    std::string name;
    clockid_t clock = CLOCK_MONOTONIC;  ///< Elapsed time, or the processor time of a thread or of the process.
    int callsPerBlock = 1;
    int blocks = 301;
    std::function<void()> bare;
    std::function<void()> library;
    std::function<void()> between = [] {};
};

double secondsOf(const Pair& pair, const std::function<void()>& block) {
    timespec begin;
    timespec end;
    clock_gettime(pair.clock, &begin);
    block();
    clock_gettime(pair.clock, &end);
    pair.between();
    return static_cast<double>(end.tv_sec - begin.tv_sec) + static_cast<double>(end.tv_nsec - begin.tv_nsec) * 1e-9;
}

double quantile(std::vector<double> values, double fraction) {
    const auto position = static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(position), values.end());
    return values[position];
}

/// One repetition is one pair of blocks; medians and quartiles are taken over the repetitions.
void registerPair(Pair pair) {
    const auto shared = std::make_shared<Pair>(std::move(pair));
    const auto run = [shared](benchmark::State& state) {
        double bare = 0;
        double library = 0;
        for (auto _ : state) {
            bare = secondsOf(*shared, shared->bare);
            library = secondsOf(*shared, shared->library);
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
        ->ComputeStatistics("upperQuartile", [](const std::vector<double>& values) { return quantile(values, 0.75); });
}

template <typename Call>
std::function<void()> repeated(int count, Call call) {
    return [count, call] {
        for (int done = 0; done < count; ++done) call();
    };
}

void registerCalls(const Plugin& plugin, const BareController& bare) {
    static zuerr_Status status = zuerr::makeStatus();
    static std::uint64_t time = 0;
    static std::int32_t ppb = 0;
    constexpr int kCalls = 1000;
    constexpr clockid_t kOwnTime = CLOCK_THREAD_CPUTIME_ID;  // they never sleep, and others use the machine too
    registerPair({.name = "getTime",
                  .clock = kOwnTime,
                  .callsPerBlock = kCalls,
                  .bare = repeated(kCalls, [&bare] { time = bareGetTime(bare.ferrox); }),
                  .library = repeated(kCalls, [&plugin] { plugin.getTime(&time, &status); })});
    registerPair({.name = "getCorrection",
                  .clock = kOwnTime,
                  .callsPerBlock = kCalls,
                  .bare = repeated(kCalls, [&bare] { benchmark::DoNotOptimize(bareGetCorrection(bare.ppbOffset)); }),
                  .library = repeated(kCalls, [&plugin] { plugin.getCorrectionPerSecond(&ppb, &status); })});
    registerPair({.name = "setCorrection",
                  .clock = kOwnTime,
                  .callsPerBlock = kCalls,
                  .bare = repeated(kCalls, [&bare] { benchmark::DoNotOptimize(bareSetCorrection(bare.ppbOffset)); }),
                  .library = repeated(kCalls, [&plugin] { plugin.setCorrectionPerSecond(-61999, &status); })});
    registerPair({.name = "frames",
                  .clock = kOwnTime,
                  .callsPerBlock = kCalls,
                  .bare = repeated(kCalls, [&bare] { benchmark::DoNotOptimize(bareSetCorrection(bare.ppbOffset)); }),
                  .library = repeated(
                      kCalls, [&bare] { benchmark::DoNotOptimize(bareSetCorrectionInFrames(bare.ppbOffset)); })});
    registerPair({.name = "locked",
                  .clock = kOwnTime,
                  .callsPerBlock = kCalls,
                  .bare = repeated(kCalls, [&bare] { benchmark::DoNotOptimize(bareSetCorrection(bare.ppbOffset)); }),
                  .library = repeated(
                      kCalls, [&bare] { benchmark::DoNotOptimize(bareSetCorrectionWithLocked(bare.ppbOffset)); })});
}

void registerSnapTime(const Plugin& plugin, BareController& bare) {
    static zuerr_Status status = zuerr::makeStatus();
    // Until the alignment and the thread that made it are gone.
    const auto settle = [] {
        static long seen = counters().alignments;
        for (int wait = 0; counters().alignments == seen && wait < 10'000; ++wait) usleep(20);
        seen = counters().alignments;
        usleep(300);
    };
    registerPair({.name = "snapTime",
                  .blocks = 401,
                  .bare = [&bare] { bareSnapTime(bare); },
                  .library = [&plugin] { plugin.snapTime(0, &status); },
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
                  .clock = CLOCK_THREAD_CPUTIME_ID,
                  .callsPerBlock = 2 * runs,
                  .blocks = 201,
                  .bare = repeated(runs,
                                   [=] {
                                       disturb(slaveCount, 1000);
                                       bareAlignment(*bare);
                                   }),
                  .library = repeated(runs, [=] {
                      disturb(slaveCount, 1000);
                      EpochAlignment(*master, *slaves).run();
                  })});
}

void registerServicePass(int slaveCount) {
    const auto bare = std::make_shared<BareController>();
    bare->open(phcCountOf(slaveCount), hasFpga(slaveCount));
    disturb(slaveCount, 0);
    const auto timekeeper = std::make_shared<HalvexTimekeeper>(
        std::make_shared<FerroxEpochDevice>(), std::make_shared<SystemTimeClock>(false, ""),
        std::make_shared<Si514FreqSteeringDevice>(62'000, -62'000), makeSlaves(slaveCount));
    timekeeper->serviceEpochDevices();
    const int runs = std::max(4, 64 / slaveCount);
    registerPair({.name = "servicePass/" + std::to_string(slaveCount),
                  .clock = CLOCK_THREAD_CPUTIME_ID,
                  .callsPerBlock = runs,
                  .blocks = 201,
                  .bare = repeated(runs, [=] { bareServicePass(*bare); }),
                  .library = repeated(runs, [=] { timekeeper->serviceEpochDevices(); })});
}

void registerLife(const Plugin& plugin) {
    const auto live = [&plugin] {
        initializeOrThrow(plugin);
        plugin.finalize();
    };
    registerPair({.name = "life",
                  .clock = CLOCK_PROCESS_CPUTIME_ID,
                  .blocks = 151,
                  .bare = bareLife,
                  .library = live,
                  .between = reapChildren});
}

/// Runs what `registerAll` has registered.
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
    BareController bare;
    bare.open(kListedInterfaces, true);
    initializeOrThrow(plugin);
    // The kernel's objects behind two descriptors lie differently in its caches: both sides use one.
    bare.ppbOffset = oscillatorDescriptor();
    runRegistered(outputPath, [&] {
        registerCalls(plugin, bare);
        registerSnapTime(plugin, bare);
    });
    plugin.finalize();
    reapChildren();
}

void runSlavePairs(const Plugin& plugin, const std::string& outputPath) {
    runRegistered(outputPath, [&] {
        for (const int slaveCount : kSlaveCounts) {
            registerAlignment(slaveCount);
            registerServicePass(slaveCount);
        }
        registerLife(plugin);
    });
}

}  // namespace halvexbench
