// From a cold start to aligned clocks in the virtual machine: the library and the linuxptp programs on the same boards.
// Usage: peers SECONDS SEEDS >RESULTS; one JSON object per line: one per run, and last the cost of a reading.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <random>

#include "tests/system/machine.h"
#include "tests/system/peers/contenders.h"

namespace {

using peers::Contender;
using systemtest::control;

constexpr double kLookEveryS = 0.1;
constexpr double kSteadyFromS = 60;
constexpr std::int64_t kGoalNs = 100;
constexpr int kSecondsDrawn = 60;  ///< The start goes into the picture.

struct Kind {
    const char* name;
    std::vector<std::string> clocks;  ///< Clocks that the contender disciplines, CLOCK_REALTIME last.
    bool needsPulses;                 ///< One at every second of the master; otherwise the library requests its own.
    std::unique_ptr<Contender> (*make)();
};

const std::vector<Kind> kKinds = {
    {"library",
     {"enp1s0", "enp2s0", "fpga", "realtime"},
     false,
     [] { return std::unique_ptr<Contender>(new peers::Library); }},
    {"linuxptp",
     {"enp1s0", "enp2s0", "realtime"},
     true,
     [] { return std::unique_ptr<Contender>(new peers::Linuxptp(false)); }},
    {"linuxptpTogether",
     {"enp1s0", "enp2s0", "realtime"},
     true,
     [] { return std::unique_ptr<Contender>(new peers::Linuxptp(true)); }},
};

void require(bool isTrue, const std::string& what) {
    if (isTrue) return;
    std::printf("peers: %s\n", what.c_str());
    std::exit(1);
}

/// Clocks seconds apart, CLOCK_REALTIME within 100 ms of the master: ts2phc counts seconds by it.
void switchOn(int seed, bool needsPulses) {
    control("off");
    std::mt19937_64 random(static_cast<std::uint64_t>(seed));
    const auto within = [&](std::int64_t rangeNs) {
        return std::to_string(std::uniform_int_distribution<std::int64_t>(-rangeNs, rangeNs)(random));
    };
    const std::string offsets[] = {within(5'000'000'000), within(5'000'000'000), within(5'000'000'000)};
    const std::string commands[] = {"defaults",
                                    "set seed " + std::to_string(seed),
                                    "interface enp2s0",
                                    "interface enp1s0",
                                    "set crystal_error_ppt 3000000",
                                    "set fpga_offset_ns " + offsets[0],
                                    "set enp1s0 offset_ns " + offsets[1],
                                    "set enp2s0 offset_ns " + offsets[2],
                                    "set fpga_step_loss_ns 300",
                                    "set fpga_step_jitter_ns 20",
                                    "set enp1s0 step_loss_ns 1500",
                                    "set enp1s0 step_jitter_ns 50",
                                    "set enp2s0 step_loss_ns 1500",
                                    "set enp2s0 step_jitter_ns 50",
                                    needsPulses ? "set pulse_width_ns 500000000" : "set pulse_width_ns 1000",
                                    "on"};
    for (const std::string& command : commands) require(control(command), command);
    const std::int64_t aside = std::uniform_int_distribution<std::int64_t>(-100'000'000, 100'000'000)(random);
    const std::int64_t startNs = systemtest::readTruth()["ferrox"].timeNs + aside;
    const timespec start{startNs / 1'000'000'000, startNs % 1'000'000'000};
    require(clock_settime(CLOCK_REALTIME, &start) == 0, "clock_settime");
    if (needsPulses) require(control("event pulse_every_second ferrox 1"), "pulses");
    systemtest::takeJournal();
}

/// Differences of one clock, sample by sample.
struct Series {
    std::vector<std::int64_t> distancesNs;

    bool isInside(std::size_t look) const { return distancesNs[look] <= kGoalNs; }
};

struct Run {
    std::map<std::string, Series> clocks;
    std::vector<long> pulses;  ///< Emitted so far, sample by sample.
    peers::Usage atSteady, atEnd;
};

Run observe(const Kind& kind, Contender& contender, int seconds) {
    Run run;
    long pulses = 0;
    const auto looks = static_cast<int>(seconds / kLookEveryS);
    for (int look = 0; look < looks; ++look) {
        systemtest::waitS(kLookEveryS);
        const systemtest::Truth truth = systemtest::readTruth();
        for (const std::string& clock : kind.clocks)
            run.clocks[clock].distancesNs.push_back(std::abs(truth[clock].differenceNs));
        for (const systemtest::Happening& happening : systemtest::takeJournal()) pulses += happening.kind == "epoch";
        run.pulses.push_back(pulses);
        contender.look(truth);
        if (look == static_cast<int>(kSteadyFromS / kLookEveryS)) run.atSteady = contender.usage();
    }
    run.atEnd = contender.usage();
    return run;
}

double secondsOf(std::size_t look) { return static_cast<double>(look + 1) * kLookEveryS; }

/// When all clocks were in range for the first time, how often from then on, and when for good.
std::string arrival(const Run& run, const std::vector<std::string>& clocks) {
    const std::size_t looks = run.pulses.size();
    std::size_t first = looks, inside = 0, settled = 0;
    for (std::size_t look = 0; look < looks; ++look) {
        const bool isInside = std::all_of(clocks.begin(), clocks.end(), [&](const std::string& clock) {
            return run.clocks.at(clock).isInside(look);
        });
        if (isInside && first == looks) first = look;
        inside += isInside;
        if (!isInside) settled = look + 1;
    }
    if (first == looks) return "null";
    char text[256];
    std::snprintf(text, sizeof text, "{\"firstS\":%.1f,\"firstPulses\":%ld,\"staysShare\":%.4f", secondsOf(first),
                  run.pulses[first], static_cast<double>(inside) / static_cast<double>(looks - first));
    std::string json = text;
    if (settled < looks) {
        std::snprintf(text, sizeof text, ",\"settledS\":%.1f,\"settledPulses\":%ld", secondsOf(settled),
                      run.pulses[settled]);
        json += text;
    }
    return json + "}";
}

/// The steady part: median, 99th percentile, worst.
std::string steady(const Series& series) {
    std::vector<std::int64_t> sorted(
        series.distancesNs.begin() + static_cast<std::ptrdiff_t>(kSteadyFromS / kLookEveryS), series.distancesNs.end());
    std::sort(sorted.begin(), sorted.end());
    char text[96];
    std::snprintf(text, sizeof text, "{\"p50\":%ld,\"p99\":%ld,\"max\":%ld}", sorted[sorted.size() / 2],
                  sorted[sorted.size() * 99 / 100], sorted.back());
    return text;
}

/// The worst board clock and CLOCK_REALTIME for every sample of the start.
std::string beginning(const Kind& kind, const Run& run) {
    std::string json = "[";
    for (std::size_t look = 0; look < run.pulses.size() && secondsOf(look) <= kSecondsDrawn; ++look) {
        std::int64_t worst = 0;
        for (const std::string& clock : kind.clocks)
            if (clock != "realtime") worst = std::max(worst, run.clocks.at(clock).distancesNs[look]);
        if (json.size() > 1) json += ",";
        json += "[" + std::to_string(worst) + "," + std::to_string(run.clocks.at("realtime").distancesNs[look]) + "]";
    }
    return json + "]";
}

std::string describe(const Kind& kind, const Run& run, int seed, int seconds) {
    std::string json = "{\"contender\":\"" + std::string(kind.name) + "\",\"seed\":" + std::to_string(seed) +
                       ",\"seconds\":" + std::to_string(seconds);
    const std::vector<std::string> board(kind.clocks.begin(), kind.clocks.end() - 1);
    json += ",\"board\":" + arrival(run, board) + ",\"all\":" + arrival(run, kind.clocks) + ",\"steadyNs\":{";
    for (const std::string& clock : kind.clocks)
        json += (clock == kind.clocks.front() ? "\"" : ",\"") + clock + "\":" + steady(run.clocks.at(clock));
    const double hours = (seconds - kSteadyFromS) / 3600;
    char text[128];
    std::snprintf(text, sizeof text, "},\"cpuMsAnHour\":%.1f,\"wakeUpsAnHour\":%.0f,\"beginning\":",
                  (run.atEnd.cpuMs - run.atSteady.cpuMs) / hours,
                  static_cast<double>(run.atEnd.wakeUps - run.atSteady.wakeUps) / hours);
    return json + text + beginning(kind, run) + "}";
}

void make(const Kind& kind, int seed, int seconds, std::FILE* results) {
    switchOn(seed, kind.needsPulses);
    const auto contender = kind.make();
    contender->start();
    const Run run = observe(kind, *contender, seconds);
    const std::string json = describe(kind, run, seed, seconds);
    std::fprintf(results, "%s\n", json.c_str());
    std::printf("%s\n", json.substr(0, json.find(",\"beginning\"")).c_str());
}

}  // namespace

int main(int count, char** arguments) {
    require(count == 4, "usage: peers SECONDS SEEDS RESULTS");
    std::FILE* const results = std::fopen(arguments[3], "w");
    require(results != nullptr, arguments[3]);
    setvbuf(stdout, nullptr, _IOLBF, 0);
    const int seconds = std::atoi(arguments[1]), seeds = std::atoi(arguments[2]);
    require(seconds > kSteadyFromS && seeds > 0, "too short");
    for (int seed = 1; seed <= seeds; ++seed)
        for (const Kind& kind : kKinds) make(kind, seed, seconds, results);
    switchOn(1, false);
    std::fprintf(results, "{\"readings\":%s}\n", peers::measureReadings().c_str());
    std::fclose(results);
    control("off");
}
