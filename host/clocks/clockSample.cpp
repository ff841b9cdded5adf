// One sample of all clocks: values, alarms and output formats.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/clockSample.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "host/output/units.h"

namespace halvexctl {
namespace {

using nlohmann::ordered_json;

// The largest rate of a steered clock against the raw clock.
constexpr std::int64_t kLargestRatePpm = 200;

const ClockSample* findClock(const Sample& sample, const std::string& name) {
    for (const ClockSample& clock : sample.clocks) {
        if (clock.name == name) {
            return &clock;
        }
    }
    return nullptr;
}

/// The clock relative to the raw one, minus the system clock's offset.
std::int64_t againstRawNs(const Sample& sample, const CrossTime& cross) {
    return static_cast<std::int64_t>(sample.systemNs - static_cast<std::uint64_t>(sample.rawNs)) + cross.differenceNs;
}

template <typename Value>
ordered_json orNull(const std::optional<Value>& value) {
    return value ? ordered_json(*value) : ordered_json(nullptr);
}

std::string stateOf(const ClockSample& clock) {
    if (!clock.cross) {
        return fmt::format("{}: {}", clock.isGone ? "GONE" : "UNREADABLE", clock.error);
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

std::vector<Alarm> alarmsOf(const ClockSample& clock) {
    std::vector<Alarm> alarms;
    if (!clock.cross) {
        alarms.push_back({clock.isGone ? "gone" : "unreadable", clock.name});
    }
    if (clock.isAway) {
        alarms.push_back({"away", clock.name});
    }
    if (clock.jumpNs) {
        alarms.push_back({"jumped", clock.name});
    }
    return alarms;
}

Row rowOf(const Sample& sample, const ClockSample& clock) {
    const bool isReference = clock.name == sample.reference;
    const std::string difference = isReference          ? "reference"
                                   : clock.differenceNs ? offsetText(*clock.differenceNs)
                                                        : "-";
    const std::string bound = isReference || !clock.differenceNs ? "" : "+- " + durationText(clock.boundNs);
    return {{clock.name, difference, bound, stateOf(clock)}, !alarmsOf(clock).empty()};
}

std::vector<Row> rowsOf(const Sample& sample) {
    std::vector<Row> rows;
    for (const ClockSample& clock : sample.clocks) {
        rows.push_back(rowOf(sample, clock));
    }
    if (sample.hasNoPtpClock) {
        rows.push_back(
            {{"PTP clocks", "-", "", "NONE: the library would take no interface; halvexctl map says why"}, true});
    }
    if (!sample.lastError.empty()) {
        rows.push_back(
            {{"library", "-", "", fmt::format("errors {}, last: {}", sample.errorCount, sample.lastError)}, false});
    }
    if (sample.childIsDead) {
        rows.push_back({{"phc2sys", "-", "", "DEAD: the system clock runs free"}, true});
    }
    return rows;
}

std::string childText(const Sample& sample) {
    return !sample.childIsAlive ? "unknown" : *sample.childIsAlive ? "alive" : "not running";
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

/// Clocks may be away for a while after phc2sys was started, after all were stepped, and after none was found.
std::optional<std::int64_t> settlingSince(const Sample* before, const Sample& sample) {
    const bool isKept = sample.childIsAlive.value_or(true);
    if (before == nullptr || (isKept && !before->childIsAlive.value_or(true))) {
        return isKept ? std::optional(sample.rawNs - sample.childAgeNs) : std::nullopt;
    }
    // True also while no clock can be measured: those found again may be away for a while.
    const bool haveAllJumped = std::ranges::all_of(sample.clocks, [](const ClockSample& clock) {
        return clock.name == kSystemClockName || !clock.cross || clock.jumpNs;
    });
    return haveAllJumped ? sample.rawNs : before->settlingSinceRawNs;
}

HealthState healthOf(const Sample& sample) {
    if (sample.reference.empty() || sample.reference == kSystemClockName) {
        return HealthState::lost;
    }
    if (sample.childIsAlive == false && !sample.childIsDead) {
        return HealthState::unseeded;
    }
    const std::vector<Alarm> alarms = sample.alarms();
    const bool areOnlyAway =
        std::ranges::all_of(alarms, [](const Alarm& alarm) { return alarm.name == "away" || alarm.name == "jumped"; });
    const bool isSettling = sample.settlingSinceRawNs && sample.rawNs - *sample.settlingSinceRawNs < kSettlingNs;
    return alarms.empty()              ? HealthState::aligned
           : areOnlyAway && isSettling ? HealthState::aligning
                                       : HealthState::degraded;
}

}  // namespace

std::vector<Alarm> Sample::alarms() const {
    std::vector<Alarm> found;
    for (const ClockSample& clock : clocks) {
        const std::vector<Alarm> some = alarmsOf(clock);
        found.insert(found.end(), some.begin(), some.end());
    }
    if (hasNoPtpClock) {
        found.push_back({"none", ""});
    }
    if (childIsDead) {
        found.push_back({"dead", ""});
    }
    return found;
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
        // The system clock advances between the two readings, and others may be steered against it.
        const auto apartNs =
            std::llabs(static_cast<std::int64_t>(clock.cross->systemNs) - static_cast<std::int64_t>(origin.systemNs));
        const bool isReference = clock.name == sample.reference;
        clock.differenceNs = clock.cross->differenceNs - origin.differenceNs;
        clock.boundNs = isReference ? 0 : clock.cross->boundNs + origin.boundNs + apartNs * kLargestRatePpm / 1'000'000;
        clock.isAway = std::llabs(*clock.differenceNs) > clock.limitNs + clock.boundNs;
    }
}

void judge(const Sample* before, Sample& sample) {
    if (before != nullptr) {
        findJumps(*before, sample);
    }
    sample.settlingSinceRawNs = settlingSince(before, sample);
    sample.health = healthOf(sample);
}

std::string healthAsText(const Sample& sample) {
    std::vector<std::string> causes;
    for (const Alarm& alarm : sample.alarms()) {
        causes.push_back(!alarm.clock.empty()   ? fmt::format("{} {}", alarm.clock, alarm.name)
                         : alarm.name == "dead" ? "phc2sys dead"
                                                : "no PTP clock");
    }
    if (sample.health == HealthState::unseeded) {
        causes.insert(causes.begin(), "no phc2sys runs");
    }
    return fmt::format("{}{}{}", nameOf(sample.health), causes.empty() ? "" : ": ", fmt::join(causes, ", "));
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
    ordered_json alarms = ordered_json::array();
    for (const Alarm& alarm : sample.alarms()) {
        alarms.push_back({{"alarm", alarm.name}, {"clock", alarm.clock}});
    }
    return {{"timeIso", isoTimeText(sample.systemNs)},
            {"systemNs", sample.systemNs},
            {"rawNs", sample.rawNs},
            {"health", nameOf(sample.health)},
            {"reference", sample.reference},
            {"clocks", clocks},
            {"steeringPpb", orNull(sample.steeringPpb)},
            {"phc2sysAlive", orNull(sample.childIsAlive)},
            {"kernelSynchronised", sample.kernelClock.isSynchronised},
            {"kernelMaxErrorNs", sample.kernelClock.maxErrorNs},
            {"kernelFrequencyPpb", sample.kernelClock.frequencyPpb},
            {"errorCount", sample.errorCount},
            {"lastError", sample.lastError},
            {"alarm", !alarms.empty()},
            {"alarms", alarms}};
}

std::string sampleAsText(const Sample& sample, const Screen& screen) {
    static constexpr auto kColumns =
        std::to_array<Column>({{"clock"}, {"difference", Align::right}, {"bound"}, {"state"}});
    const std::string overview = fmt::format(
        "{}  {}  steering {}  phc2sys {}  kernel {}, maxerror {}", isoTimeText(sample.systemNs), nameOf(sample.health),
        sample.steeringPpb ? fmt::format("{:+.0f} ppb", *sample.steeringPpb) : "unknown", childText(sample),
        sample.kernelClock.isSynchronised ? "synchronised" : "unsynchronised",
        durationText(sample.kernelClock.maxErrorNs));
    return fmt::format("{}\n{}", fmt::join(wordWrapped(overview, screen.width), "\n"),
                       tableText(kColumns, rowsOf(sample), screen));
}

}  // namespace halvexctl
