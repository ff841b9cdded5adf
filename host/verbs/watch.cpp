// The verbs monitor, record and report: watch all clocks, record the session, generate a page.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <charconv>
#include <stdexcept>

#include <fmt/format.h>

#include "host/cli/command.h"
#include "host/cli/usageError.h"
#include "host/clocks/clockWatch.h"
#include "host/clocks/monitor.h"
#include "host/output/units.h"
#include "host/report/report.h"
#include "host/session/session.h"
#include "host/verbs/verbs.h"

namespace halvexctl::actions {
namespace {

std::int64_t readPositive(const char* what, const std::string& text) {
    const std::int64_t durationNs = readDurationNs(text);
    if (durationNs == 0) {
        throw UsageError(fmt::format("the {} must be above 0", what));
    }
    return durationNs;
}

/// A file to write: "-" would become one of that name.
std::string readOutputPath(const std::string& path) {
    if (path == "-") {
        throw UsageError("\"-\" cannot be written to");
    }
    return path;
}

}  // namespace

Argument readMonitor(WordReader& words, const ReadingRules& rules) {
    MonitorOptions options;
    readOwnOptions(words, rules, "monitor", [&options](std::string_view option, const std::string& value) {
        if (options.count != 0 && (option == "--once" || option == "--count")) {
            throw UsageError("--once and --count of monitor exclude each other");
        }
        if (option == "--once") {
            options.count = 1;
        } else if (option == "--interval") {
            options.intervalNs = readPositive("interval", value);
        } else if (option == "--count") {
            options.count = readCount(value);
        } else {
            options.metricsPath = readOutputPath(value);
        }
    });
    return options;
}

void monitor(Session& session, const Command& command, Result& result) {
    watchClocks(session, std::get<MonitorOptions>(command.argument), result);
}

void health(Session& session, const Command&, Result& result) {
    Sample sample = ClockWatch(LibraryErrors::countAndReset).take(session.initializedCalls());
    judge(nullptr, sample);
    result.add("health", nameOf(sample.health), "health", healthAsText(sample));
    result.add("alarms", sampleAsJson(sample)["alarms"], "", "");
    if (sample.health == HealthState::lost) {
        result.outcome = Outcome::failed;
        result.message = "no clock but the system's can be measured";
    } else if (sample.health != HealthState::aligned) {
        result.warn("the clocks are not aligned");
    }
}

Argument readRecord(WordReader& words, const ReadingRules& rules) {
    RecordOptions options;
    if (words.nextIsNumber()) {
        throw UsageError(fmt::format("record needs its FILE before a duration; ./{} is a file", *words.peek()));
    }
    options.path = readOutputPath(words.takeArgument("record", "FILE"));
    if (words.nextIsNumber()) {
        options.durationNs = readPositive("duration", words.takeQuantity("record", "DURATION"));
    }
    readOwnOptions(words, rules, "record", [&options](std::string_view, const std::string& value) {
        options.intervalNs = readPositive("interval", value);
    });
    return options;
}

void record(Session& session, const Command& command, Result& result) {
    const auto& options = std::get<RecordOptions>(command.argument);
    session.startRecording(options);
    result.add("file", options.path, "", "");
    if (!options.durationNs) {
        return;  // the session continues and is recorded to its end
    }
    MonitorOptions watching;
    watching.isQuiet = true;
    watching.intervalNs = options.intervalNs;
    watching.durationNs = *options.durationNs;
    watching.count =
        static_cast<std::uint64_t>((*options.durationNs + options.intervalNs - 1) / options.intervalNs) + 1;
    watchClocks(session, watching, result);
    session.stopRecording();
}

Argument readReport(WordReader& words, const ReadingRules& rules) {
    ReportOptions options;
    const std::string* page = words.peek();
    if (page != nullptr && !words.nextIsOption() && findVerb(rules.verbs, *page) == nullptr) {
        options.pagePath = readOutputPath(words.takeArgument("report", "FILE"));
    }
    readOwnOptions(words, rules, "report", [&options](std::string_view option, const std::string& value) {
        (option == "--from" ? options.recordPath : option == "--trace" ? options.tracePath : options.title) = value;
    });
    for (const std::string& source : {options.recordPath, options.tracePath}) {
        if (source == "-") {
            words.claimInput("report");
        }
    }
    if (options.pagePath.empty() &&
        (options.recordPath == "-" || (options.recordPath.empty() && options.tracePath == "-"))) {
        throw UsageError("report needs its FILE: standard input gives the page no name");
    }
    return options;
}

void report(Session& session, const Command& command, Result& result) {
    ReportOptions options = std::get<ReportOptions>(command.argument);
    if (options.recordPath.empty() && options.tracePath.empty()) {
        options.recordPath = session.recordPath();
    }
    if (options.recordPath.empty() && options.tracePath.empty()) {
        throw std::runtime_error(
            "there is nothing to report: nothing was recorded, and neither --from nor --trace is given");
    }
    if (session.printer().showsProgress()) {
        session.printer().progress("  reading what was kept");
    }
    makeReport(options, result);
    if (session.printer().showsProgress()) {
        session.printer().progress("");
    }
}

}  // namespace halvexctl::actions
