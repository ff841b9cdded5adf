// One look at every clock: the values, what is alarming about them, and how they are shown.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <compare>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/inspect/controllerFacts.h"
#include "host/output/table.h"

namespace halvexctl {

inline constexpr std::int64_t kAlarmNs = 100;  ///< A clock further from its reference than this is away.

/// One clock's: "away", "jumped", "unreadable", "gone"; of the board: "none" (no clock is left to measure) and "dead"
/// (phc2sys).
struct Alarm {
    std::string_view name;
    std::string clock;  ///< Empty: of the board.

    auto operator<=>(const Alarm&) const = default;
};

/// Of one clock. Everything is measured against the system clock; the rest is computed from that.
struct ClockSample {
    std::string name;  ///< "master", "enp1s0", "CLOCK_REALTIME".
    std::optional<CrossTime> cross;
    std::optional<std::int64_t> differenceNs;  ///< From the reference, within boundNs; positive: ahead.
    std::int64_t boundNs = 0;
    std::optional<bool> isUp;  ///< Of the interface; nothing: no interface, or unknown.
    bool isAway = false;       ///< More than 100 ns off for certain, whatever the bound hides.
    bool isGone = false;       ///< It was there before.
    std::optional<std::int64_t> jumpNs;
    std::string error;
};

struct Sample {
    std::uint64_t systemNs = 0;
    std::int64_t rawNs = 0;          ///< CLOCK_MONOTONIC_RAW at about the same instant.
    std::int64_t systemBoundNs = 0;  ///< Of the system time against the raw clock.
    std::string reference;           ///< Name of the clock that the others are compared with; empty: none.
    std::vector<ClockSample> clocks;
    std::optional<double> steeringPpb;
    std::optional<bool> childIsAlive;  ///< phc2sys; nothing: unknown.
    bool childIsDead = false;          ///< It was alive before, or is a zombie.
    bool hasNoPtpClock = false;        ///< The library would find none.
    KernelClockFacts kernelClock;
    std::uint64_t errorCount = 0;  ///< Of the library, since the start.
    std::string lastError;

    std::vector<Alarm> alarms() const;
    bool hasAlarm() const { return !alarms().empty(); }
};

/// Computes the differences from the first clock that could be measured, master first.
void compare(Sample& sample);

/// Finds clocks that moved against the raw clock by more than any steering explains since the sample before.
void findJumps(const Sample& before, Sample& sample);

nlohmann::ordered_json sampleAsJson(const Sample& sample);
std::string sampleAsText(const Sample& sample, const Screen& screen);  ///< A table, one row per clock.

}  // namespace halvexctl
