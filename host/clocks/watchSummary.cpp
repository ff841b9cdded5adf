// Summarises all samples of a watch: range of each clock's differences, and alarms.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/watchSummary.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "host/output/units.h"

namespace halvexctl {

using nlohmann::ordered_json;

void WatchSummary::Differences::add(std::int64_t differenceNs) {
    const auto value = static_cast<double>(differenceNs);
    ++count;
    leastNs = std::min(leastNs, differenceNs);
    greatestNs = std::max(greatestNs, differenceNs);
    sumNs += value;
    sumOfSquares += value * value;
}

std::int64_t WatchSummary::Differences::meanNs() const { return std::llround(sumNs / static_cast<double>(count)); }

std::int64_t WatchSummary::Differences::rmsNs() const {
    return std::llround(std::sqrt(sumOfSquares / static_cast<double>(count)));
}

WatchSummary::Differences& WatchSummary::differencesOf(const std::string& name) {
    const auto found = std::find_if(clocks_.begin(), clocks_.end(),
                                    [&name](const Differences& differences) { return differences.name == name; });
    if (found != clocks_.end()) {
        return *found;
    }
    clocks_.emplace_back().name = name;
    return clocks_.back();
}

void WatchSummary::add(const Sample& sample) {
    for (const ClockSample& clock : sample.clocks) {
        Differences& differences = differencesOf(clock.name);
        if (clock.differenceNs && clock.name != sample.reference) {
            differences.add(*clock.differenceNs);
        }
    }
    const std::vector<Alarm> alarms = sample.alarms();
    for (const Alarm& alarm : alarms) {
        AlarmAccount& account = alarms_[alarm];
        const bool goesOn = std::find(latest_.begin(), latest_.end(), alarm) != latest_.end();
        account.begun += goesOn && alarm.name != "jumped" ? 0U : 1U;
        account.firstNs = account.samples == 0 ? sample.systemNs : account.firstNs;
        account.lastNs = sample.systemNs;
        ++account.samples;
    }
    if (health_ != sample.health) {
        ++entered_[nameOf(sample.health)];
        health_ = sample.health;
    }
    ++samples_;
    samplesWithAlarm_ += alarms.empty() ? 0U : 1U;
    latest_ = alarms;
}

std::uint64_t WatchSummary::begun(const Alarm& alarm) const {
    const auto found = alarms_.find(alarm);
    return found == alarms_.end() ? 0 : found->second.begun;
}

std::uint64_t WatchSummary::entered(std::string_view state) const {
    const auto found = entered_.find(state);
    return found == entered_.end() ? 0 : found->second;
}

std::string WatchSummary::asText(const Screen& screen) const {
    static constexpr auto kOfClocks = std::to_array<Column>({{"clock"},
                                                             {"count", Align::right},
                                                             {"least", Align::right},
                                                             {"greatest", Align::right},
                                                             {"mean", Align::right},
                                                             {"rms"}});
    static constexpr auto kOfAlarms = std::to_array<Column>(
        {{"alarm"}, {"clock"}, {"begun", Align::right}, {"samples", Align::right}, {"first"}, {"last"}});
    std::vector<Row> clocks, alarms;
    for (const Differences& of : clocks_) {
        if (of.count == 0) {
            clocks.push_back({{of.name, "0", "-", "-", "-", "-"}});
        } else {
            clocks.push_back({{of.name, std::to_string(of.count), offsetText(of.leastNs), offsetText(of.greatestNs),
                               offsetText(of.meanNs()), durationText(of.rmsNs())}});
        }
    }
    for (const auto& [alarm, account] : alarms_) {
        alarms.push_back(
            {{std::string(alarm.name), alarm.clock.empty() ? "-" : alarm.clock, std::to_string(account.begun),
              std::to_string(account.samples), isoTimeText(account.firstNs), isoTimeText(account.lastNs)},
             true});
    }
    return tableText(kOfClocks, clocks, screen) + (alarms.empty() ? "" : tableText(kOfAlarms, alarms, screen));
}

void WatchSummary::addTo(Result& result) const {
    ordered_json clocks = ordered_json::array(), alarms = ordered_json::array();
    for (const Differences& of : clocks_) {
        ordered_json clock{{"name", of.name}, {"count", of.count}};
        if (of.count > 0) {
            clock.update({{"leastNs", of.leastNs},
                          {"greatestNs", of.greatestNs},
                          {"meanNs", of.meanNs()},
                          {"rmsNs", of.rmsNs()}});
        }
        clocks.push_back(std::move(clock));
    }
    for (const auto& [alarm, account] : alarms_) {
        alarms.push_back({{"alarm", alarm.name},
                          {"clock", alarm.clock},
                          {"begun", account.begun},
                          {"samples", account.samples},
                          {"firstIso", isoTimeText(account.firstNs)},
                          {"lastIso", isoTimeText(account.lastNs)}});
    }
    result.add("samples", samples_, samples_ == 1 ? "" : "samples", std::to_string(samples_));
    result.add("alarms", samplesWithAlarm_, samples_ == 1 ? "" : "with alarms", std::to_string(samplesWithAlarm_));
    result.add("differences", clocks, "", "");
    result.add("alarmsBegun", alarms, "", "");
}

}  // namespace halvexctl
