// The verb step: steps the time and verifies the step by measurement.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fmt/format.h>

#include <cstdlib>

#include "host/cli/command.h"
#include "host/cli/usageError.h"
#include "host/clocks/crossReading.h"
#include "host/output/units.h"
#include "host/session/session.h"
#include "host/verbs/verbs.h"

namespace halvexctl::actions {
namespace {

constexpr std::int64_t kStepGranularityNs = 200;  // the library truncates steps to a multiple of this
constexpr std::int64_t kUnconfirmedStepLimitNs = kNsPerSecond;
// The largest rate of a steered board against the raw clock; bounds the measurement of a step.
constexpr std::int64_t kLargestRatePpm = 200;
constexpr int kReadingsAroundStep = 3;

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

/// Whether the readings show no movement although the step would be visible.
bool seemsDropped(std::int64_t movedNs, std::int64_t boundNs, std::int64_t cutNs) {
    return std::llabs(movedNs) <= boundNs && std::llabs(movedNs - cutNs) > boundNs;
}

}  // namespace

Argument readStep(WordReader& words, const ReadingRules& rules) {
    const std::string text = words.takeQuantity("step", "OFFSET");
    const std::int64_t offsetNs = readOffsetNs(text);
    if ((offsetNs < 0 || offsetNs > kUnconfirmedStepLimitNs) && !rules.yes) {
        throw UsageError(fmt::format("step {} would move the time {}; add --yes if that is meant", text,
                                     offsetNs < 0 ? "backward" : "by more than 1 s"));
    }
    return offsetNs;
}

void step(Session& session, const Command& command, Result& result) {
    HostCalls& calls = session.calls();
    const auto offsetNs = std::get<std::int64_t>(command.argument);
    const std::int64_t cutNs = offsetNs / kStepGranularityNs * kStepGranularityNs;
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

}  // namespace halvexctl::actions
