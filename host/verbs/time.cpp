// The verbs get, drift and wait: current time, its rate, and waiting.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "host/cli/command.h"
#include "host/cli/usageError.h"
#include "host/clocks/crossReading.h"
#include "host/clocks/rawClock.h"
#include "host/inspect/ptpClock.h"
#include "host/inspect/systemFiles.h"
#include "host/output/units.h"
#include "host/session/session.h"
#include "host/verbs/verbs.h"

namespace halvexctl::actions {
namespace {

constexpr int kReadingsForDrift = 9;
constexpr const char* kSystemClock = "CLOCK_REALTIME";
constexpr const char* kPtpNodes = "/dev/ptp";

/// Reads a clock without the library.
std::uint64_t timeOf(const std::string& clock) {
    if (clock == kSystemClock) {
        return static_cast<std::uint64_t>(systemTimeNs());
    }
    const bool isNode = clock.starts_with(kPtpNodes);
    const std::int32_t index = isNode ? -1 : ptpIndexOf(clock).value_or(-1);
    if (!isNode && index < 0) {
        throw std::runtime_error(fmt::format("{} has no PTP clock", clock));
    }
    PtpClock opened(isNode ? clock : fmt::format("{}{}", kPtpNodes, index));
    const std::optional<CrossTime> cross = opened.crossTime();
    if (!cross) {
        throw std::runtime_error(opened.errorText());
    }
    return cross->systemNs + static_cast<std::uint64_t>(cross->differenceNs);
}

/// Sleeps; shows progress every second on a terminal. False if a stop was requested.
bool sleepTelling(Session& session, std::int64_t durationNs) {
    Printer& printer = session.printer();
    if (durationNs <= kNsPerSecond || !printer.showsProgress()) {
        return session.rest(durationNs);
    }
    bool isUndisturbed = true;
    for (std::int64_t passedNs = 0; isUndisturbed && passedNs < durationNs; passedNs += kNsPerSecond) {
        printer.progress(fmt::format("  {} of {}", durationText(passedNs), durationText(durationNs)));
        isUndisturbed = session.rest(std::min(kNsPerSecond, durationNs - passedNs));
    }
    printer.progress("");
    return isUndisturbed;
}

}  // namespace

Argument readClock(WordReader& words, const ReadingRules& rules) {
    const std::string* word = words.peek();
    const bool isClock = word != nullptr && !word->empty() && findVerb(rules.verbs, *word) == nullptr &&
                         (*word == kSystemClock || word->starts_with(kPtpNodes) ||
                          (word->find('/') == std::string::npos && isThere("/sys/class/net/" + *word)));
    return isClock ? Argument(ClockName{words.take()}) : Argument();
}

void get(Session& session, const Command& command, Result& result) {
    const auto* clock = std::get_if<ClockName>(&command.argument);
    const std::uint64_t timeNs = clock == nullptr ? session.calls().getTimeNs() : timeOf(clock->name);
    if (clock != nullptr) {
        result.add("clock", clock->name, "", "");
    }
    result.add("timeIso", isoTimeText(timeNs), "time", isoTimeText(timeNs));
    result.add("timeNs", timeNs, "since 1970", fmt::format("{} ns", timeNs));
}

Argument readDriftDuration(WordReader& words, const ReadingRules&) {
    const std::string text = words.takeQuantity("drift", "DURATION");
    const std::int64_t durationNs = readDurationNs(text);
    if (durationNs == 0) {
        throw UsageError("drift needs a duration above 0");
    }
    return durationNs;
}

void drift(Session& session, const Command& command, Result& result) {
    HostCalls& calls = session.calls();
    const auto durationNs = std::get<std::int64_t>(command.argument);
    session.printer().note(fmt::format("measuring for {}", durationText(durationNs)));
    const CrossReading start = readAgainstRaw(calls, kReadingsForDrift);
    if (!sleepTelling(session, durationNs)) {
        throw std::runtime_error("interrupted before the measurement was over");
    }
    const CrossReading end = readAgainstRaw(calls, kReadingsForDrift);
    const Drift rate = driftBetween(start, end);
    result.add("driftPpb", rate.ratePpb, "drift",
               fmt::format("{:+.1f} ppb +- {:.1f} ppb", rate.ratePpb, rate.boundPpb));
    result.add("driftBoundPpb", rate.boundPpb, "", "");
    result.add("measuredNs", end.rawNs - start.rawNs, "measured over", durationText(end.rawNs - start.rawNs));
}

Argument readWaitDuration(WordReader& words, const ReadingRules&) {
    return readDurationNs(words.takeQuantity("wait", "DURATION"));
}

void wait(Session& session, const Command& command, Result&) {
    if (!sleepTelling(session, std::get<std::int64_t>(command.argument))) {
        throw std::runtime_error("interrupted");
    }
}

}  // namespace halvexctl::actions
