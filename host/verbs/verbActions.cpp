// What each verb does in a session; the table of verbs names them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/verbs/verbActions.h"

#include <fmt/format.h>
#include <syslog.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "host/cli/options.h"
#include "host/clocks/rawClock.h"
#include "host/output/units.h"
#include "host/session/inputLines.h"
#include "host/session/session.h"
#include "host/verbs/stepRule.h"

namespace halvexctl::actions {
namespace {

// The fastest a steered board may run against the raw clock; bounds what a measurement can say about a step.
constexpr std::int64_t kLargestRatePpm = 200;
constexpr int kReadingsAroundStep = 3;
constexpr int kReadingsForDrift = 9;

std::string ppbText(std::int32_t correctionPpb) {
    return correctionPpb == 0 ? "0 ppb" : fmt::format("{:+} ppb", correctionPpb);
}

void addLimits(HostCalls& calls, Result& result) {
    const std::int32_t minPpb = calls.getMinCorrectionPpb();
    const std::int32_t maxPpb = calls.getMaxCorrectionPpb();
    result.add("minCorrectionPpb", minPpb, "lowest correction", ppbText(minPpb));
    result.add("maxCorrectionPpb", maxPpb, "highest correction", ppbText(maxPpb));
}

void addCorrection(HostCalls& calls, Result& result) {
    const std::int32_t correctionPpb = calls.getCorrectionPpb();
    result.add("correctionPpb", correctionPpb, "correction", ppbText(correctionPpb));
}

void addInterfaceVersion(HostCalls& calls, Result& result) {
    const std::uint32_t apiVersion = calls.getApiVersion();
    result.add("apiVersion", apiVersion, "interface version", fmt::format("{}", apiVersion));
}

void addName(HostCalls& calls, Result& result) {
    const std::string timekeeperName = calls.getName();
    result.add("name", timekeeperName, "name", timekeeperName);
}

void addSeeded(HostCalls& calls, Result& result) {
    const bool isSeeded = calls.isSeeded();
    result.add("seeded", isSeeded, "seeded", isSeeded ? "yes" : "no");
}

std::string whatTheCutDoes(std::int64_t offsetNs, std::int64_t cutNs) {
    if (cutNs == offsetNs) {
        return fmt::format("{} is a multiple of {} ns and is not cut", offsetText(offsetNs), kStepGranularityNs);
    }
    if (cutNs == 0) {
        return fmt::format("{} is cut toward zero to 0: no clock moves, but the alignment runs", offsetText(offsetNs));
    }
    return fmt::format("{} is cut toward zero to {}, a multiple of {} ns", offsetText(offsetNs), offsetText(cutNs),
                       kStepGranularityNs);
}

/// Sleeps; a terminal shows every second how much is over. False when a request to stop cut it short.
bool sleepTelling(Session& session, std::int64_t durationNs) {
    constexpr std::int64_t kStepNs = 1'000'000'000;
    Printer& printer = session.printer();
    if (durationNs <= kStepNs || !printer.showsProgress()) {
        return session.rest(durationNs);
    }
    bool isUndisturbed = true;
    for (std::int64_t passedNs = 0; isUndisturbed && passedNs < durationNs; passedNs += kStepNs) {
        printer.progress(fmt::format("  {} of {}", durationText(passedNs), durationText(durationNs)));
        isUndisturbed = session.rest(std::min(kStepNs, durationNs - passedNs));
    }
    printer.progress("");
    return isUndisturbed;
}

/// Whether the readings say that nothing moved, although the step should have been seen.
bool seemsDropped(std::int64_t movedNs, std::int64_t boundNs, std::int64_t cutNs) {
    return std::llabs(movedNs) <= boundNs && std::llabs(movedNs - cutNs) > boundNs;
}

}  // namespace

void help(Session& session, const Command& command, Result& result) {
    const auto* topic = std::get_if<std::string>(&command.argument);
    std::string text = topic == nullptr ? helpText() : verbHelpText(*topic);
    text.erase(text.find_last_not_of('\n') + 1);
    session.printer().note(text);
    result.add("text", text, "", "");
}

void version(Session& session, const Command&, Result& result) { addInterfaceVersion(session.calls(), result); }

void name(Session& session, const Command&, Result& result) { addName(session.calls(), result); }

void seeded(Session& session, const Command&, Result& result) { addSeeded(session.calls(), result); }

void info(Session& session, const Command&, Result& result) {
    HostCalls& calls = session.calls();
    result.add("library", session.settings().libraryPath, "library", session.settings().libraryPath);
    addInterfaceVersion(calls, result);
    addName(calls, result);
    addSeeded(calls, result);
    addLimits(calls, result);
    addCorrection(calls, result);
}

void init(Session& session, const Command&, Result&) { session.initialize(); }

void finalize(Session& session, const Command&, Result&) { session.finalize(); }

void get(Session& session, const Command&, Result& result) {
    const std::uint64_t timeNs = session.calls().getTimeNs();
    result.add("timeIso", isoTimeText(timeNs), "time", isoTimeText(timeNs));
    result.add("timeNs", timeNs, "since 1970", fmt::format("{} ns", timeNs));
}

void step(Session& session, const Command& command, Result& result) {
    HostCalls& calls = session.calls();
    const auto offsetNs = std::get<std::int64_t>(command.argument);
    const std::int64_t cutNs = cutStepNs(offsetNs);
    session.printer().note(whatTheCutDoes(offsetNs, cutNs));

    const CrossReading before = readAgainstRaw(calls, kReadingsAroundStep);
    calls.snapTime(offsetNs);
    const CrossReading after = readAgainstRaw(calls, kReadingsAroundStep);

    const std::int64_t movedNs = movedAgainstRawNs(before, after);
    const std::int64_t rateBoundNs = (after.rawNs - before.rawNs) / 1'000'000 * kLargestRatePpm + 1;
    const std::int64_t boundNs = before.halfWidthNs + after.halfWidthNs + rateBoundNs;
    result.add("offsetNs", offsetNs, "asked", offsetText(offsetNs));
    result.add("cutOffsetNs", cutNs, "cut to", offsetText(cutNs));
    result.add("movedNs", movedNs, "seen", fmt::format("{} +- {}", offsetText(movedNs), durationText(boundNs)));
    result.add("movedBoundNs", boundNs, "", "");
    if (seemsDropped(movedNs, boundNs, cutNs)) {
        result.warn(
            "the time did not move; the library gives up silently when its devices are busy for more than 15 ms");
    }
}

void freq(Session& session, const Command& command, Result& result) {
    HostCalls& calls = session.calls();
    const auto* wantedPpb = std::get_if<std::int32_t>(&command.argument);
    if (wantedPpb == nullptr) {
        addCorrection(calls, result);
        return;
    }
    const std::int32_t minPpb = calls.getMinCorrectionPpb();
    const std::int32_t maxPpb = calls.getMaxCorrectionPpb();
    if ((*wantedPpb < minPpb || *wantedPpb > maxPpb) && !session.settings().rules.yes) {
        throw std::out_of_range(fmt::format("{} is beyond the limits {} to {}; nothing was set", ppbText(*wantedPpb),
                                            ppbText(minPpb), ppbText(maxPpb)));
    }
    calls.setCorrectionPpb(*wantedPpb);
    const std::int32_t readBackPpb = calls.getCorrectionPpb();
    result.add("requestedPpb", *wantedPpb, "set", ppbText(*wantedPpb));
    result.add("correctionPpb", readBackPpb, "read back", ppbText(readBackPpb));
    if (readBackPpb != *wantedPpb) {
        result.warn(fmt::format("{} was set and {} reads back", ppbText(*wantedPpb), ppbText(readBackPpb)));
    }
}

void limits(Session& session, const Command&, Result& result) { addLimits(session.calls(), result); }

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

void wait(Session& session, const Command& command, Result&) {
    if (!sleepTelling(session, std::get<std::int64_t>(command.argument))) {
        throw std::runtime_error("interrupted");
    }
}

void applyMetadata(Session& session, const Command& command, Result& result) {
    const auto& document = std::get<Document>(command.argument);
    session.calls().applyMetaData(document.text);
    result.add("source", document.source, "document",
               fmt::format("{} bytes from {}", document.text.size(), document.source));
    result.add("bytes", document.text.size(), "", "");
    if (!nlohmann::json::accept(document.text)) {
        result.warn("the document is not JSON; the devices' complaint reaches a later call");
    }
}

void expectError(Session& session, const Command& command, Result&) {
    const auto* code = std::get_if<std::int32_t>(&command.argument);
    session.expectError(code == nullptr ? std::nullopt : std::optional(*code));
}

void clear(Session& session, const Command&, Result& result) {
    HostCalls& calls = session.calls();
    result.add("heldCode", calls.status().code(), "held", fmt::format("{}", calls.status().code()));
    calls.clearStatus();
}

void remark(Session&, const Command& command, Result&) {
    ::syslog(LOG_INFO, "%s", std::get<std::string>(command.argument).c_str());
}

void run(Session& session, const Command&, Result&) { runLines(session); }

}  // namespace halvexctl::actions
