// The verbs get, drift and wait: current time, its rate, and waiting.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "host/cli/command.h"
#include "host/cli/usageError.h"
#include "host/clocks/crossReading.h"
#include "host/output/units.h"
#include "host/session/session.h"
#include "host/verbs/verbs.h"

namespace halvexctl::actions {
namespace {

constexpr int kReadingsForDrift = 9;

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

void get(Session& session, const Command&, Result& result) {
    const std::uint64_t timeNs = session.calls().getTimeNs();
    result.add("timeIso", isoTimeText(timeNs), "time", isoTimeText(timeNs));
    result.add("timeNs", timeNs, "since 1970", fmt::format("{} ns", timeNs));
}

Argument readDriftDuration(WordReader& words, const ReadingRules&) {
    const std::string& text = words.takeArgument("drift", "DURATION");
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
    return readDurationNs(words.takeArgument("wait", "DURATION"));
}

void wait(Session& session, const Command& command, Result&) {
    if (!sleepTelling(session, std::get<std::int64_t>(command.argument))) {
        throw std::runtime_error("interrupted");
    }
}

}  // namespace halvexctl::actions
