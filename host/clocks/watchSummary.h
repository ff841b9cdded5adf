// Summarises all samples of a watch: range of each clock's differences, and alarms.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "host/clocks/clockSample.h"
#include "host/output/result.h"

namespace halvexctl {

/// Its size depends only on the number of clocks. Reentrant.
class WatchSummary {
public:
    void add(const Sample& sample);
    std::uint64_t samples() const { return samples_; }
    std::uint64_t samplesWithAlarm() const { return samplesWithAlarm_; }
    std::uint64_t begun(const Alarm& alarm) const;  ///< How often it was raised; every jump counts.

    std::uint64_t entered(std::string_view state) const;  ///< How often the health became this.

    std::string asText(const Screen& screen) const;  ///< A table of clocks, and one of alarms if there were any.
    void addTo(Result& result) const;                ///< As JSON.

private:
    /// Differences of one clock to the reference, without the time as the reference itself.
    struct Differences {
        std::string name;
        std::uint64_t count = 0;
        std::int64_t leastNs = std::numeric_limits<std::int64_t>::max();
        std::int64_t greatestNs = std::numeric_limits<std::int64_t>::min();
        double sumNs = 0, sumOfSquares = 0;

        void add(std::int64_t differenceNs);
        std::int64_t meanNs() const;
        std::int64_t rmsNs() const;
    };
    struct AlarmAccount {
        std::uint64_t begun = 0, samples = 0;
        std::uint64_t firstNs = 0, lastNs = 0;  ///< System time.
    };
    Differences& differencesOf(const std::string& name);

    std::uint64_t samples_ = 0, samplesWithAlarm_ = 0;
    std::vector<Differences> clocks_;  ///< In the order of their first sample.
    std::map<Alarm, AlarmAccount> alarms_;
    std::vector<Alarm> latest_;  ///< Of the previous sample.
    std::map<std::string_view, std::uint64_t> entered_;
    std::optional<HealthState> health_;
};

}  // namespace halvexctl
