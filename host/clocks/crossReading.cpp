// Measures the timekeeper against CLOCK_MONOTONIC_RAW.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/crossReading.h"

#include <fmt/format.h>

#include "host/clocks/rawClock.h"

namespace halvexctl {
namespace {

CrossReading readQuietly(HostCalls& calls, int readings) {
    const HostCalls::Quiet quiet(calls);
    CrossReading best;
    for (int i = 0; i < readings; ++i) {
        const std::int64_t beforeNs = rawTimeNs();
        const std::uint64_t timeNs = calls.getTimeNs();
        const std::int64_t afterNs = rawTimeNs();
        const std::int64_t halfWidthNs = (afterNs - beforeNs + 1) / 2;
        if (i == 0 || halfWidthNs < best.halfWidthNs) {
            best = CrossReading{timeNs, beforeNs + (afterNs - beforeNs) / 2, halfWidthNs};
        }
    }
    return best;
}

}  // namespace

CrossReading readAgainstRaw(HostCalls& calls, int readings) {
    calls.tell(fmt::format("-> zuqxmtk_getTime() {} times between readings of the raw clock", readings));
    CrossReading best;
    try {
        best = readQuietly(calls, readings);
    } catch (const CallFailure& failure) {
        calls.tell(std::string("<- ") + failure.what());
        throw;
    }
    calls.tell(fmt::format("<- {} ns at {} ns raw, within {} ns", best.timeNs, best.rawNs, best.halfWidthNs));
    return best;
}

std::int64_t movedAgainstRawNs(const CrossReading& from, const CrossReading& to) {
    const std::uint64_t rawElapsed = static_cast<std::uint64_t>(to.rawNs) - static_cast<std::uint64_t>(from.rawNs);
    return static_cast<std::int64_t>(to.timeNs - from.timeNs - rawElapsed);
}

Drift driftBetween(const CrossReading& from, const CrossReading& to) {
    const auto elapsedNs = static_cast<double>(to.rawNs - from.rawNs);
    if (elapsedNs <= 0) {
        return {};
    }
    constexpr double kPpb = 1e9;
    return {static_cast<double>(movedAgainstRawNs(from, to)) / elapsedNs * kPpb,
            static_cast<double>(from.halfWidthNs + to.halfWidthNs) / elapsedNs * kPpb};
}

}  // namespace halvexctl
