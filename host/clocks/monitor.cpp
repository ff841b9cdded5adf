// The verbs monitor and record: sample all clocks repeatedly.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/monitor.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "host/clocks/clockSample.h"
#include "host/clocks/clockWatch.h"
#include "host/clocks/metrics.h"
#include "host/clocks/rawClock.h"
#include "host/clocks/serviceManager.h"
#include "host/clocks/watchSummary.h"
#include "host/output/files.h"
#include "host/output/standardStreams.h"
#include "host/session/session.h"
#include "host/session/stopRequest.h"

namespace halvexctl {
namespace {

void show(Printer& printer, const Sample& sample, const MonitorOptions& options, std::uint64_t taken) {
    if (!options.isQuiet) {
        printer.sample(sampleAsText(sample, printer.screen()), sampleAsJson(sample), options.count == 1);
    } else if (printer.showsProgress()) {
        printer.progress(fmt::format("  {} of {} samples", taken, options.count));
    }
}

void conclude(Printer& printer, const WatchSummary& summary, const MonitorOptions& options, Result& result) {
    if (options.isQuiet && printer.showsProgress()) {
        printer.progress("");
    }
    if (summary.samples() > 1) {
        printer.text(summary.asText(printer.screen()));
    }
    summary.addTo(result);
    if (summary.samplesWithAlarm() > 0) {
        result.warn(fmt::format("{} of {} samples had an alarm", summary.samplesWithAlarm(), summary.samples()));
    }
}

}  // namespace

void watchClocks(Session& session, const MonitorOptions& options, Result& result) {
    ClockWatch watch(LibraryErrors::countAndReset);
    WatchSummary summary;
    std::optional<Sample> before;
    bool goesOn = true;
    while (goesOn && !StopRequest::isMade()) {
        Sample sample = watch.take(session.initializedCalls());
        judge(before ? &*before : nullptr, sample);
        summary.add(sample);
        show(session.printer(), sample, options, summary.samples());
        if (session.recorder() != nullptr) {
            session.recorder()->keep(sample);
        }
        if (!options.metricsPath.empty()) {
            replaceFile(options.metricsPath, metricsOf(sample, summary), {"# HELP halvex_", "a file of metrics"});
        }
        notifyServiceManager("READY=1\nWATCHDOG=1\nSTATUS=" + healthAsText(sample));
        before = std::move(sample);
        const bool isUnseen = !options.isQuiet && outputError() != 0;  // the program reports that at exit
        const std::int64_t passedNs = static_cast<std::int64_t>(summary.samples() - 1) * options.intervalNs;
        const std::int64_t pauseNs =
            options.durationNs == 0 ? options.intervalNs : std::min(options.intervalNs, options.durationNs - passedNs);
        goesOn = summary.samples() != options.count && !isUnseen && sleepNs(pauseNs);
    }
    conclude(session.printer(), summary, options, result);
    if (before) {
        result.add("last", sampleAsJson(*before), "", "");
    }
}

}  // namespace halvexctl
