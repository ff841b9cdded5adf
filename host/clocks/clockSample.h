// One sample of all clocks: values, alarms and output formats.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "host/inspect/controllerFacts.h"
#include "host/output/table.h"

namespace halvexctl {

inline constexpr const char* kSystemClockName = "CLOCK_REALTIME";
inline constexpr std::int64_t kAlarmNs = 100;          ///< A clock further from its reference is away.
inline constexpr std::int64_t kSystemAlarmNs = 3'000;  ///< The same for the system clock, which follows the others.

/// Alarms of a clock: "away", "jumped", "unreadable", "gone"; of the board: "none" (no clock left to measure) and
/// "dead" (phc2sys).
struct Alarm {
    std::string_view name;
    std::string clock;  ///< Empty: an alarm of the board.

    bool operator==(const Alarm&) const = default;
    friend bool operator<(const Alarm& one, const Alarm& other) {
        return std::tie(one.name, one.clock) < std::tie(other.name, other.clock);
    }
};

/// Unseeded: nothing keeps the clocks, for no phc2sys runs. Aligning: one was started, or all clocks were stepped,
/// within kSettlingNs, and clocks are still away. Degraded: another alarm. Lost: no clock but the system's can be
/// measured.
enum class HealthState { unseeded, aligning, aligned, degraded, lost };
inline constexpr std::array<std::string_view, 5> kHealthNames{"unseeded", "aligning", "aligned", "degraded", "lost"};
inline constexpr std::int64_t kSettlingNs = 60'000'000'000;

constexpr std::string_view nameOf(HealthState state) { return kHealthNames[static_cast<std::size_t>(state)]; }

/// One clock. Measured against the system clock; the rest is computed from that.
struct ClockSample {
    std::string name;  ///< "master", "enp1s0", "CLOCK_REALTIME".
    std::optional<CrossTime> cross;
    std::optional<std::int64_t> differenceNs;  ///< From the reference, within boundNs; positive: ahead.
    std::int64_t boundNs = 0;
    std::int64_t limitNs = kAlarmNs;  ///< A larger difference is away.
    std::optional<bool> isUp;         ///< State of the interface; empty: no interface, or unknown.
    bool isAway = false;              ///< Beyond its limit even at the near end of the bound.
    bool isGone = false;              ///< Present in an earlier sample.
    std::optional<std::int64_t> jumpNs;
    std::string error;
};

struct Sample {
    std::uint64_t systemNs = 0;
    std::int64_t rawNs = 0;          ///< CLOCK_MONOTONIC_RAW at about the same time.
    std::int64_t systemBoundNs = 0;  ///< Bound of the system time against the raw clock.
    std::string reference;           ///< Name of the reference clock; empty: none.
    std::vector<ClockSample> clocks;
    std::optional<double> steeringPpb;
    std::optional<bool> childIsAlive;  ///< phc2sys; empty: unknown.
    bool childIsDead = false;          ///< Alive in an earlier sample, or a zombie.
    std::int64_t childAgeNs = 0;       ///< Of the youngest phc2sys; 0: unknown.
    bool hasNoPtpClock = false;        ///< The library would not find any.
    KernelClockFacts kernelClock;
    std::uint64_t errorCount = 0;  ///< Errors of the library since the start.
    std::string lastError;
    HealthState health = HealthState::unseeded;
    std::optional<std::int64_t> settlingSinceRawNs;  ///< When clocks last had a reason to be away.

    std::vector<Alarm> alarms() const;
    bool hasAlarm() const { return !alarms().empty(); }
};

/// Computes the differences to the first measured clock; the master comes first.
void compare(Sample& sample);

/// Finds clocks that moved since the previous sample (null: none) by more than steering can explain, and the health.
void judge(const Sample* before, Sample& sample);

nlohmann::ordered_json sampleAsJson(const Sample& sample);
std::string healthAsText(const Sample& sample);                        ///< "degraded: enp2s0 away, phc2sys dead".
std::string sampleAsText(const Sample& sample, const Screen& screen);  ///< A table, one row per clock.

}  // namespace halvexctl
