// The verbs: names, arguments, help and what reads and carries them out.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fmt/format.h>

#include <array>
#include <charconv>
#include <fstream>
#include <string>

#include "host/cli/command.h"
#include "host/cli/suggestion.h"
#include "host/cli/usageError.h"
#include "host/errors/explanation.h"
#include "host/output/units.h"
#include "host/verbs/stepRule.h"
#include "host/verbs/verbActions.h"

namespace halvexctl {
namespace {

Argument readHelpTopic(WordReader& words, const ReadingRules&) {
    const std::string* topic = words.peek();
    if (topic == nullptr) {
        return {};
    }
    if (findVerb(*topic) == nullptr) {
        throw UsageError(fmt::format("there is no help on \"{}\"; halvexctl --help lists the verbs", *topic));
    }
    return words.take();
}

Argument readStep(WordReader& words, const ReadingRules& rules) {
    const std::string& text = words.takeArgument("step", "OFFSET");
    const std::int64_t offsetNs = readOffsetNs(text);
    if (stepNeedsConfirmation(offsetNs) && !rules.yes) {
        throw UsageError(fmt::format("step {} would move the time {}; add --yes if that is meant", text,
                                     offsetNs < 0 ? "backward" : "by more than 1 s"));
    }
    return offsetNs;
}

Argument readCorrection(WordReader& words, const ReadingRules&) {
    return words.nextIsNumber() ? Argument(readCorrectionPpb(words.take())) : Argument();
}

Argument readCode(WordReader& words, const ReadingRules&) {
    return words.nextIsNumber() ? Argument(readErrorCode(words.take())) : Argument();
}

Argument readDriftDuration(WordReader& words, const ReadingRules&) {
    const std::string& text = words.takeArgument("drift", "DURATION");
    const std::int64_t durationNs = readDurationNs(text);
    if (durationNs == 0) {
        throw UsageError("drift needs a duration above 0");
    }
    return durationNs;
}

Argument readWaitDuration(WordReader& words, const ReadingRules&) {
    return readDurationNs(words.takeArgument("wait", "DURATION"));
}

Argument readRemark(WordReader& words, const ReadingRules&) { return words.takeArgument("remark", "TEXT"); }

Argument readExplanationTopic(WordReader& words, const ReadingRules&) {
    const std::string& topic = words.takeArgument("explain", "CODE");
    checkExplanationTopic(topic);
    return topic;
}

constexpr std::array<std::string_view, 4> kMonitorOptions{"--once", "--interval", "--count", "--metrics"};

std::uint64_t readCount(const std::string& text) {
    std::uint64_t count = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), count);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size() || count == 0) {
        throw UsageError(fmt::format("\"{}\" is no count: a whole number above 0 is wanted", text));
    }
    return count;
}

std::int64_t readInterval(const std::string& text) {
    const std::int64_t intervalNs = readDurationNs(text);
    if (intervalNs == 0) {
        throw UsageError("the interval must be above 0");
    }
    return intervalNs;
}

Argument readMonitor(WordReader& words, const ReadingRules&) {
    MonitorOptions options;
    while (!words.atEnd() && words.peek()->starts_with("--")) {
        const std::string& option = words.take();
        if (option == "--once") {
            options.count = 1;
        } else if (option == "--interval") {
            options.intervalNs = readInterval(words.takeArgument("monitor", "DURATION after --interval"));
        } else if (option == "--count") {
            options.count = readCount(words.takeArgument("monitor", "number after --count"));
        } else if (option == "--metrics") {
            options.metricsPath = words.takeArgument("monitor", "FILE after --metrics");
        } else {
            throw UsageError(
                fmt::format("monitor has no option \"{}\"{}", option, suggestion(option, kMonitorOptions)));
        }
    }
    return options;
}

constexpr std::array<std::string_view, 1> kRecordOptions{"--interval"};

Argument readRecord(WordReader& words, const ReadingRules&) {
    RecordOptions options;
    options.path = words.takeArgument("record", "FILE");
    if (words.nextIsNumber()) {
        options.durationNs = readInterval(words.take());
    }
    while (!words.atEnd() && words.peek()->starts_with("--")) {
        const std::string& option = words.take();
        if (option != "--interval") {
            throw UsageError(fmt::format("record has no option \"{}\"{}", option, suggestion(option, kRecordOptions)));
        }
        options.intervalNs = readInterval(words.takeArgument("record", "DURATION after --interval"));
    }
    return options;
}

constexpr std::array<std::string_view, 3> kReportOptions{"--from", "--trace", "--title"};

Argument readReport(WordReader& words, const ReadingRules&) {
    ReportOptions options;
    options.pagePath = words.takeArgument("report", "FILE");
    while (!words.atEnd() && words.peek()->starts_with("--")) {
        const std::string& option = words.take();
        if (option == "--from") {
            options.recordPath = words.takeArgument("report", "RECORD after --from");
        } else if (option == "--trace") {
            options.tracePath = words.takeArgument("report", "TRACE after --trace");
        } else if (option == "--title") {
            options.title = words.takeArgument("report", "TEXT after --title");
        } else {
            throw UsageError(fmt::format("report has no option \"{}\"{}", option, suggestion(option, kReportOptions)));
        }
    }
    return options;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text;
    std::array<char, 4096> chunk;
    while (file.read(chunk.data(), chunk.size()) || file.gcount() > 0) {
        text.append(chunk.data(), static_cast<std::size_t>(file.gcount()));
    }
    if (!file.is_open() || file.bad()) {
        throw UsageError(fmt::format("cannot read {}", path));
    }
    return text;
}

Argument readDocument(WordReader& words, const ReadingRules&) {
    const std::string& source = words.takeArgument("apply-metadata", "FILE");
    if (source == "-") {
        return Document{"the command line", words.takeArgument("apply-metadata -", "JSON text")};
    }
    std::string text = readFile(source);
    if (text.find('\0') != std::string::npos) {
        throw UsageError(fmt::format("{} holds a NUL; the library would see only what stands before it", source));
    }
    return Document{source, std::move(text)};
}

constexpr auto kVerbs = std::to_array<Verb>({
    {"info", "", "Show the library, its name, limits and correction",
     "  One look at everything that can be asked without changing anything.", true, nullptr, &actions::info},
    {"version", "", "Show the version of the library's interface", "", false, nullptr, &actions::version},
    {"name", "", "Show the timekeeper's name",
     "  Before initialisation the library throws; after finalize that can be seen.", true, nullptr, &actions::name},
    {"seeded", "", "Show whether the time has been seeded",
     "  Before initialisation the library throws; after finalize that can be seen.", true, nullptr, &actions::seeded},
    {"init", "", "Initialise the library",
     "  Done by itself before the first verb that needs it, unless the library was finalised by the verb finalize.",
     false, nullptr, &actions::init},
    {"get", "", "Read the time", "  Shown as ISO 8601 and as nanoseconds since 1970-01-01 00:00:00.", true, nullptr,
     &actions::get},
    {"step", "OFFSET", "Step the time, for example +1.5ms",
     "  The unit is required: ns, us, ms or s. The library cuts the offset toward zero to a multiple of 200 ns; what "
     "that\n"
     "  makes of it is said beforehand. Afterwards the time is measured against CLOCK_MONOTONIC_RAW, because the\n"
     "  library gives up without an error when its devices are busy for more than 15 ms.\n"
     "  A step backward, or over 1 s, needs --yes.",
     true, &readStep, &actions::step},
    {"freq", "[PPB]", "Steer the oscillator, or show the correction",
     "  Units: ppb (also without one) or ppm. The limits are asked first; what the driver reads back is shown.\n"
     "  A correction beyond the limits is handed to the library only with --yes.",
     true, &readCorrection, &actions::freq},
    {"limits", "", "Show the lowest and highest correction", "", true, nullptr, &actions::limits},
    {"drift", "DURATION", "Measure the time against CLOCK_MONOTONIC_RAW",
     "  The rate in ppb over the duration, with a bound from the time that the readings themselves took.\n"
     "  Units: ns, us, ms, s; a bare number counts seconds. A step meanwhile spoils the measurement.",
     true, &readDriftDuration, &actions::drift},
    {"wait", "DURATION", "Wait", "  Units: ns, us, ms, s; a bare number counts seconds.", false, &readWaitDuration,
     &actions::wait},
    {"apply-metadata", "FILE", "Hand over a metadata document",
     "  FILE is read before anything is carried out. With - in its place the next word is the JSON text itself:\n"
     "  apply-metadata - '{\"selectedTRInstID\":\"gm\"}'",
     true, &readDocument, &actions::applyMetadata},
    {"expect-error", "[CODE]", "The next call must fail, with this code",
     "  An error met by the library's own thread reaches the next call, once: expect-error -52024 get clear get.\n"
     "  The failure then counts as success, and anything else as a failure. Verbs without a call in between do not "
     "count.",
     false, &readCode, &actions::expectError},
    {"clear", "", "Reset the host's status",
     "  One status serves the whole session. While it holds an error the library carries nothing out.", false, nullptr,
     &actions::clear},
    {"explain", "CODE", "Explain an error",
     "  CODE is a code (-52024), its name, or the place that raised it (fileWrapper:20, as the error information has\n"
     "  it). explain all lists every code.",
     false, &readExplanationTopic, &actions::explain},
    {"map", "", "Show interfaces, clocks and drivers, and what the library takes",
     "  Each interface with its PCI id, PTP clock and pins: chosen, or left out and why. Changes nothing and needs no\n"
     "  library.",
     false, nullptr, &actions::map},
    {"doctor", "", "Check the controller",
     "  Named checks, each OK, WARN or FAIL with a remedy. Changes nothing and needs no library. The exit status is 3\n"
     "  when a check fails and 1 when one warns.",
     false, nullptr, &actions::doctor},
    {"monitor", "[OPTIONS]", "Watch every clock",
     "  A row for each PTP clock and CLOCK_REALTIME, measured by cross time stamps with a bound; nothing is changed, "
     "and\n"
     "  no time stamp is taken from its owner. Nothing is initialised either: init monitor also measures the master, "
     "by\n"
     "  the library. AWAY: more than 100 ns off for certain; JUMPED: moved faster than any steering. An alarm ends in\n"
     "  exit status 1. With --json each sample is a line, and the results follow as one line; with --once there is "
     "only\n"
     "  the document.\n"
     "    --once               one sample\n"
     "    --count NUMBER       so many samples (otherwise until SIGINT or SIGTERM)\n"
     "    --interval DURATION  between samples, 1s unless given\n"
     "    --metrics FILE       keep FILE up to date for Prometheus; written aside and renamed",
     false, &readMonitor, &actions::monitor},
    {"record", "FILE [DURATION]", "Keep the session in a file",
     "  Lines of JSON, appended to FILE: a sample of every clock each second, calls and their results, verbs, what "
     "this\n"
     "  process writes to syslog (the library does it in this process), and changes such as a link that goes down.\n"
     "  With a duration it watches for so long, as monitor does: init record clocks.jsonl 600s. Without one the verbs\n"
     "  that follow are kept, to the end of the session: record session.jsonl init step +1.5ms wait 5s. Clocks are\n"
     "  sampled while verbs wait, not while the library works. report makes a page of it.\n"
     "    --interval DURATION  between samples, 1s unless given",
     false, &readRecord, &actions::record},
    {"report", "FILE [OPTIONS]", "Make a page of a recording",
     "  One HTML file that needs no network: alignment runs, each clock's difference over time, steering, events and\n"
     "  log lines on one time axis. Without an option it shows what this session has recorded last.\n"
     "    --from RECORD   what record has kept\n"
     "    --trace TRACE   a simulated board's trace; adds the truth beside what was measured\n"
     "    --title TEXT    the page's heading",
     false, &readReport, &actions::report},
    {"remark", "TEXT", "Write a line to syslog", "  At LOG_INFO, to find the place in the log again.", false,
     &readRemark, &actions::remark},
    {"finalize", "", "Finalise the library",
     "  Done by itself at the end. After this verb nothing is initialised unasked: get then shows the library's "
     "refusal.",
     false, nullptr, &actions::finalize},
    {"run", "", "Stay up and read verbs from standard input",
     "  Line by line until the input ends or SIGINT or SIGTERM arrives. Quotes work as in a shell, # starts a "
     "comment.\n"
     "  A line that fails does not end the session; clear resets the status.",
     true, nullptr, &actions::run},
    {"help", "[VERB]", "Show the help, or that of one verb", "", false, &readHelpTopic, &actions::help},
});

}  // namespace

std::span<const Verb> verbs() { return kVerbs; }

}  // namespace halvexctl
