// The clock that nobody steers, against which the timekeeper is measured, and waiting.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/rawClock.h"

#include <fmt/format.h>
#include <time.h>

#include <cerrno>
#include <system_error>

#include "host/output/units.h"
#include "host/session/stopRequest.h"

namespace halvexctl {
namespace {

std::int64_t readNs(clockid_t clock) {
    timespec now{};
    if (::clock_gettime(clock, &now) != 0) {
        const int error = errno;
        throw std::system_error(error, std::generic_category(), "clock_gettime");
    }
    return now.tv_sec * kNsPerSecond + now.tv_nsec;
}

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

std::int64_t rawTimeNs() { return readNs(CLOCK_MONOTONIC_RAW); }

std::int64_t systemTimeNs() { return readNs(CLOCK_REALTIME); }

bool sleepNs(std::int64_t durationNs) {
    timespec left{durationNs / kNsPerSecond, durationNs % kNsPerSecond};
    while (!StopRequest::isMade()) {
        if (::nanosleep(&left, &left) == 0) {
            return true;
        }
        const int error = errno;
        if (error != EINTR) {
            throw std::system_error(error, std::generic_category(), "nanosleep");
        }
    }
    return false;
}

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
