// One look at every clock: the values, what is alarming about them, and how they are shown.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/clockSample.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>

#include "host/output/units.h"

namespace halvexctl {
namespace {

using nlohmann::ordered_json;

// The fastest a steered clock may run against the raw clock.
constexpr std::int64_t kLargestRatePpm = 200;

const ClockSample* findClock(const Sample& sample, const std::string& name) {
    for (const ClockSample& clock : sample.clocks) {
        if (clock.name == name) {
            return &clock;
        }
    }
    return nullptr;
}

/// The clock against the raw one, less what the system clock is.
std::int64_t againstRawNs(const Sample& sample, const CrossTime& cross) {
    return static_cast<std::int64_t>(sample.systemNs - static_cast<std::uint64_t>(sample.rawNs)) + cross.differenceNs;
}

template <typename Value>
ordered_json orNull(const std::optional<Value>& value) {
    return value ? ordered_json(*value) : ordered_json(nullptr);
}

std::string stateOf(const ClockSample& clock) {
    if (!clock.cross) {
        return clock.error;
    }
    std::string state = clock.isAway ? "AWAY" : "";
    if (clock.jumpNs) {
        state += (state.empty() ? "" : " ") + fmt::format("JUMPED {}", offsetText(*clock.jumpNs));
    }
    if (!clock.isUp.value_or(true)) {
        state += state.empty() ? "link down" : ", link down";
    }
    return state.empty() ? "ok" : state;
}

std::string rowOf(const Sample& sample, const ClockSample& clock) {
    const bool isReference = clock.name == sample.reference;
    const std::string difference = isReference          ? "reference"
                                   : clock.differenceNs ? offsetText(*clock.differenceNs)
                                                        : "-";
    const std::string bound = isReference || !clock.differenceNs ? "" : "+- " + durationText(clock.boundNs);
    return fmt::format("{:<14}  {:>18}  {:<15}  {}", clock.name, difference, bound, stateOf(clock));
}

std::string childText(const Sample& sample) {
    return !sample.childIsAlive ? "unknown" : *sample.childIsAlive ? "alive" : "not running";
}

/// One metric: its description and its value for each clock for which there is one.
template <typename Value>
std::string metricOfClocks(const Sample& sample, const char* name, const char* help, Value value) {
    std::string text = fmt::format("# HELP {0} {1}\n# TYPE {0} gauge\n", name, help);
    for (const ClockSample& clock : sample.clocks) {
        if (const std::optional<double> number = value(clock)) {
            text += fmt::format("{}{{clock=\"{}\"}} {:.9f}\n", name, clock.name, *number);
        }
    }
    return text;
}

std::string metric(const char* name, const char* help, std::optional<double> value, const char* type = "gauge") {
    return value ? fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n{0} {3:.9f}\n", name, help, type, *value) : "";
}

std::optional<double> inSeconds(std::optional<std::int64_t> ns) {
    return ns ? std::optional(static_cast<double>(*ns) / kNsPerSecond) : std::nullopt;
}

}  // namespace

bool Sample::hasAlarm() const {
    return std::any_of(clocks.begin(), clocks.end(),
                       [](const ClockSample& clock) { return clock.isAway || clock.jumpNs || !clock.cross; });
}

void compare(Sample& sample) {
    const auto reference = std::find_if(sample.clocks.begin(), sample.clocks.end(),
                                        [](const ClockSample& clock) { return clock.cross.has_value(); });
    if (reference == sample.clocks.end()) {
        return;
    }
    sample.reference = reference->name;
    const CrossTime origin = *reference->cross;
    for (ClockSample& clock : sample.clocks) {
        if (!clock.cross) {
            continue;
        }
        // The system clock runs on between the two readings, and others may be steered against it.
        const auto apartNs =
            std::llabs(static_cast<std::int64_t>(clock.cross->systemNs) - static_cast<std::int64_t>(origin.systemNs));
        const bool isReference = clock.name == sample.reference;
        clock.differenceNs = clock.cross->differenceNs - origin.differenceNs;
        clock.boundNs = isReference ? 0 : clock.cross->boundNs + origin.boundNs + apartNs * kLargestRatePpm / 1'000'000;
        clock.isAway = std::llabs(*clock.differenceNs) > kAlarmNs + clock.boundNs;
    }
}

void findJumps(const Sample& before, Sample& sample) {
    const std::int64_t elapsedNs = sample.rawNs - before.rawNs;
    for (ClockSample& clock : sample.clocks) {
        const ClockSample* earlier = findClock(before, clock.name);
        if (!clock.cross || earlier == nullptr || !earlier->cross) {
            continue;
        }
        const std::int64_t movedNs = againstRawNs(sample, *clock.cross) - againstRawNs(before, *earlier->cross);
        const std::int64_t explainedNs = elapsedNs / 1'000'000 * kLargestRatePpm + clock.cross->boundNs +
                                         earlier->cross->boundNs + sample.systemBoundNs + before.systemBoundNs;
        if (std::llabs(movedNs) > explainedNs) {
            clock.jumpNs = movedNs;
        }
    }
}

ordered_json sampleAsJson(const Sample& sample) {
    ordered_json clocks = ordered_json::array();
    for (const ClockSample& clock : sample.clocks) {
        clocks.push_back({{"name", clock.name},
                          {"differenceNs", orNull(clock.differenceNs)},
                          {"boundNs", clock.boundNs},
                          {"up", orNull(clock.isUp)},
                          {"away", clock.isAway},
                          {"jumpNs", orNull(clock.jumpNs)},
                          {"error", clock.error}});
    }
    return {{"timeIso", isoTimeText(sample.systemNs)},
            {"systemNs", sample.systemNs},
            {"rawNs", sample.rawNs},
            {"reference", sample.reference},
            {"clocks", clocks},
            {"steeringPpb", orNull(sample.steeringPpb)},
            {"phc2sysAlive", orNull(sample.childIsAlive)},
            {"kernelSynchronised", sample.kernelClock.isSynchronised},
            {"kernelMaxErrorNs", sample.kernelClock.maxErrorNs},
            {"kernelFrequencyPpb", sample.kernelClock.frequencyPpb},
            {"errorCount", sample.errorCount},
            {"lastError", sample.lastError},
            {"alarm", sample.hasAlarm()}};
}

std::string sampleAsText(const Sample& sample, bool inColour) {
    std::string text =
        fmt::format("{}  steering {}  phc2sys {}  kernel {}, maxerror {}\n", isoTimeText(sample.systemNs),
                    sample.steeringPpb ? fmt::format("{:+.0f} ppb", *sample.steeringPpb) : "unknown", childText(sample),
                    sample.kernelClock.isSynchronised ? "synchronised" : "unsynchronised",
                    durationText(sample.kernelClock.maxErrorNs));
    for (const ClockSample& clock : sample.clocks) {
        const bool isAlarm = clock.isAway || clock.jumpNs || !clock.cross;
        const std::string row = rowOf(sample, clock);
        text += inColour && isAlarm ? fmt::format("  \x1b[31m{}\x1b[0m\n", row) : fmt::format("  {}\n", row);
    }
    if (!sample.lastError.empty()) {
        text += fmt::format("  errors {}, last: {}\n", sample.errorCount, sample.lastError);
    }
    return text;
}

std::string sampleAsMetrics(const Sample& sample) {
    const auto flag = [](bool isSet) { return std::optional(isSet ? 1.0 : 0.0); };
    return metricOfClocks(sample, "halvex_clock_difference_seconds", "How far the clock is ahead of the reference.",
                          [](const ClockSample& clock) { return inSeconds(clock.differenceNs); }) +
           metricOfClocks(
               sample, "halvex_clock_bound_seconds", "The difference is right to within this.",
               [](const ClockSample& clock) { return clock.differenceNs ? inSeconds(clock.boundNs) : std::nullopt; }) +
           metricOfClocks(
               sample, "halvex_clock_alarm", "1 while the clock is away, jumped or cannot be read.",
               [&](const ClockSample& clock) { return flag(clock.isAway || clock.jumpNs || !clock.cross); }) +
           metric("halvex_steering_ppb", "The oscillator's correction.", sample.steeringPpb) +
           metric("halvex_phc2sys_alive", "1 while phc2sys runs.",
                  sample.childIsAlive ? flag(*sample.childIsAlive) : std::nullopt) +
           metric("halvex_kernel_max_error_seconds", "The kernel's bound on the system clock's error.",
                  sample.kernelClock.isKnown ? inSeconds(sample.kernelClock.maxErrorNs) : std::nullopt) +
           metric("halvex_library_errors_total", "Errors of the library since the start.",
                  static_cast<double>(sample.errorCount), "counter") +
           metric("halvex_sample_time_seconds", "When this was measured, by the system clock.",
                  static_cast<double>(sample.systemNs) / kNsPerSecond);
}

}  // namespace halvexctl
