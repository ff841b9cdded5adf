// The verbs monitor and record: every clock looked at again and again.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/monitor.h"

#include <fmt/format.h>

#include <optional>

#include "host/clocks/clockSample.h"
#include "host/clocks/clockWatch.h"
#include "host/clocks/rawClock.h"
#include "host/output/files.h"
#include "host/session/session.h"
#include "host/session/stopRequest.h"

namespace halvexctl {
void watchClocks(Session& session, const MonitorOptions& options, Result& result) {
    ClockWatch watch(LibraryErrors::countAndReset);
    std::optional<Sample> before;
    std::uint64_t taken = 0, alarms = 0;
    bool goesOn = true;
    while (goesOn && !StopRequest::isMade()) {
        Sample sample = watch.take(session.initializedCalls());
        if (before) {
            findJumps(*before, sample);
        }
        ++taken;
        alarms += sample.hasAlarm() ? 1U : 0U;
        if (!options.isQuiet) {
            session.printer().sample([&sample](bool inColour) { return sampleAsText(sample, inColour); },
                                     sampleAsJson(sample), options.count == 1);
        }
        if (options.isQuiet && session.printer().showsProgress()) {
            session.printer().progress(fmt::format("  {} of {} samples", taken, options.count));
        }
        if (session.recorder() != nullptr) {
            session.recorder()->keep(sample);
        }
        if (!options.metricsPath.empty()) {
            replaceFile(options.metricsPath, sampleAsMetrics(sample), {"# HELP halvex_", "a file of metrics"});
        }
        before = std::move(sample);
        goesOn = taken != options.count && sleepNs(options.intervalNs);
    }
    if (options.isQuiet && session.printer().showsProgress()) {
        session.printer().progress("");
    }
    result.add("samples", taken, taken == 1 ? "" : "samples", std::to_string(taken));
    result.add("alarms", alarms, taken == 1 ? "" : "with alarms", std::to_string(alarms));
    if (before) {
        result.add("last", sampleAsJson(*before), "", "");
    }
    if (alarms > 0) {
        result.warn(fmt::format("{} of {} samples had an alarm", alarms, taken));
    }
}

}  // namespace halvexctl
