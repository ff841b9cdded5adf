// The verbs of the tool, one row each.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/verbTable.h"

#include <array>

#include "host/verbs/verbs.h"

namespace halvexctl {
namespace {

constexpr OptionRow kInterval{"--interval", 0, "DURATION", "Time between samples, 1s unless given"};

constexpr auto kMonitorOptions = std::to_array<OptionRow>({
    {"--once", 0, "", "Take one sample"},
    {"--count", 0, "NUMBER", "Take so many samples (otherwise until SIGINT or SIGTERM)"},
    kInterval,
    {"--metrics", 0, "FILE", "Keep FILE up to date for Prometheus; written aside and renamed"},
});

constexpr auto kRecordOptions = std::to_array<OptionRow>({kInterval});

constexpr auto kReportOptions = std::to_array<OptionRow>({
    {"--from", 0, "FILE", "What record has kept"},
    {"--trace", 0, "FILE", "A simulated board's trace; adds the truth beside what was measured"},
    {"--title", 0, "TEXT", "The page's heading"},
});

constexpr auto kMetadataOptions = std::to_array<OptionRow>({{"--text", 0, "JSON", "The document itself, for FILE"}});

constexpr std::span<const OptionRow> kNoOptions;

constexpr auto kVerbs = std::to_array<Verb>({
    {"info", "", "Show the library, its name, limits and correction",
     "Everything that the library answers without an argument, in one look.", true, "library", kNoOptions, nullptr,
     &actions::info},
    {"version", "", "Show the version of the library's interface", "", false, "interfaceVersion", kNoOptions, nullptr,
     &actions::version},
    {"name", "", "Show the timekeeper's name",
     "Before initialisation the library throws; after finalize that can be seen.", true, "name", kNoOptions, nullptr,
     &actions::name},
    {"seeded", "", "Show whether the time has been seeded",
     "Before initialisation the library throws; after finalize that can be seen.", true, "seeded", kNoOptions, nullptr,
     &actions::seeded},
    {"init", "", "Initialise the library",
     "Done by itself before the first verb that needs it, unless the library was finalised by the verb "
     "finalize.",
     false, "nothing", kNoOptions, nullptr, &actions::init},
    {"get", "[CLOCK]", "Read the time",
     "Shown as ISO 8601 and as nanoseconds since 1970-01-01 00:00:00. With CLOCK, which is an interface, a node such "
     "as "
     "/dev/ptp0 or CLOCK_REALTIME, that clock is read directly and nothing is initialised.",
     true, "time", kNoOptions, &actions::readClock, &actions::get},
    {"step", "OFFSET", "Step the time, for example +1.5ms",
     "The unit is required: ns, us, ms or s. The library cuts the offset toward zero to a multiple of 200 ns; "
     "what that makes of it is said beforehand. Afterwards the time is measured against CLOCK_MONOTONIC_RAW, "
     "because the library gives up without an error when its devices are busy for more than 15 ms. A step "
     "backward, or over 1 s, needs --yes.",
     true, "step", kNoOptions, &actions::readStep, &actions::step},
    {"freq", "[PPB]", "Steer the oscillator, or show the correction",
     "Units: ppb (also without one) or ppm. The limits are asked first; what the driver reads back is shown. A "
     "correction beyond the limits is handed to the library only with --yes.",
     true, "correction", kNoOptions, &actions::readCorrection, &actions::freq},
    {"limits", "", "Show the lowest and highest correction", "", true, "limits", kNoOptions, nullptr, &actions::limits},
    {"drift", "DURATION", "Measure the time against CLOCK_MONOTONIC_RAW",
     "The rate in ppb over the duration, with a bound from the time that the readings themselves took. Units: "
     "ns, us, ms, s, min, h, d; a bare number counts seconds. A step meanwhile spoils the measurement.",
     true, "drift", kNoOptions, &actions::readDriftDuration, &actions::drift},
    {"wait", "DURATION", "Wait", "Units: ns, us, ms, s, min, h, d; a bare number counts seconds.", false, "nothing",
     kNoOptions, &actions::readWaitDuration, &actions::wait},
    {"apply-metadata", "[FILE] [OPTIONS]", "Hand over a metadata document",
     "FILE is read before anything is carried out; - is standard input.", true, "document", kMetadataOptions,
     &actions::readDocument, &actions::applyMetadata},
    {"expect-error", "[CODE]", "The next call must fail, with this code",
     "The next call reports an error of the library's own thread, once: expect-error -52024 get clear get. "
     "The failure then counts as success, and anything else as a failure. Verbs without a call in between do "
     "not count.",
     false, "nothing", kNoOptions, &actions::readCode, &actions::expectError},
    {"clear", "", "Reset the host's status",
     "One status serves the whole session. While it holds an error the library carries nothing out.", false, "heldCode",
     kNoOptions, nullptr, &actions::clear},
    {"explain", "CODE", "Explain an error",
     "CODE is a code (-52024), its name, the place that raised it (fileWrapper:20, as the error information has it), "
     "or "
     "a line of the library in syslog, in quotes. explain all lists every code.",
     false, "explanation", kNoOptions, &actions::readExplanationTopic, &actions::explain},
    {"map", "", "Show interfaces, clocks and drivers, and what the library takes",
     "Each interface with its PCI id, PTP clock and pins: chosen, or left out and why. Changes nothing and "
     "needs no library.",
     false, "controller", kNoOptions, nullptr, &actions::map},
    {"doctor", "", "Check the controller",
     "Named checks, each OK, WARN, FAIL or UNKNOWN with a remedy. Changes nothing and needs no library. The exit "
     "status is 3 when a check fails and 1 when one warns or could not be made.",
     false, "checks", kNoOptions, nullptr, &actions::doctor},
    {"health", "", "Show the health of the clocks in one word",
     "One sample of every clock: unseeded, no phc2sys runs, so nothing keeps the clocks; aligning, clocks are away, "
     "but "
     "phc2sys was started within a minute; aligned; degraded, with each clock and its alarm; lost, no clock but the "
     "system's can be measured. Changes nothing and needs no library. The exit status is 0 when aligned, 3 when lost, "
     "else 1.",
     false, "health", kNoOptions, nullptr, &actions::health},
    {"monitor", "[OPTIONS]", "Watch every clock",
     "A row for each PTP clock and CLOCK_REALTIME, measured by cross time stamps with a bound; nothing is "
     "changed, and no time stamp is taken from its owner. Nothing is initialised either: init monitor also "
     "measures the master, by the library. Alarms: AWAY, more than 100 ns off for certain (the system clock 3 us); "
     "JUMPED, moved faster than any steering; UNREADABLE; GONE, was there before; NONE, no PTP clock at all; DEAD, of "
     "phc2sys. An alarm ends in exit status 1. With --json each sample is a line, and the results follow "
     "as one line; with --once there is only the document.",
     false, "watch", kMonitorOptions, &actions::readMonitor, &actions::monitor},
    {"record", "FILE [DURATION]", "Keep the session in a file",
     "Lines of JSON, appended to FILE: a sample of every clock each second, calls and their results, verbs, "
     "what this process writes to syslog (the library does it in this process), and changes such as a link "
     "that goes down. With a duration it watches for so long, as monitor does: init record clocks.jsonl 600s. "
     "Without one the verbs that follow are kept, to the end of the session: record session.jsonl init step "
     "+1.5ms wait 5s. Clocks are sampled while verbs wait, not while the library works. report makes a page of "
     "it.",
     false, "recording", kRecordOptions, &actions::readRecord, &actions::record},
    {"report", "[FILE] [OPTIONS]", "Make a page of a recording",
     "One HTML file that needs no network: alignment runs, each clock's difference over time, steering, events "
     "and log lines on one time axis. Without an option it shows what this session has recorded last. "
     "Without FILE the page gets the record's name with .html; a verb's name is not taken for FILE. Only a report is "
     "replaced, never a record or anything else.",
     false, "page", kReportOptions, &actions::readReport, &actions::report},
    {"remark", "TEXT", "Write a line to syslog", "At LOG_INFO, to find the place in the log again.", false, "nothing",
     kNoOptions, &actions::readRemark, &actions::remark},
    {"finalize", "", "Finalise the library",
     "Done automatically at the end. After this verb only init initialises the library: get then shows the "
     "library's refusal.",
     false, "nothing", kNoOptions, nullptr, &actions::finalize},
    {"run", "", "Stay up and read verbs from standard input",
     "Line by line until the input ends or SIGINT or SIGTERM arrives. Quotes work as in a shell, # starts a "
     "comment, and quit ends it like the end of the input. On a terminal there is a prompt, and lines can be edited "
     "and "
     "called back. A line that fails does not end the session; clear resets the status. A line that is refused is a "
     "failed "
     "result of run, with the line as its argument.",
     true, "nothing", kNoOptions, nullptr, &actions::run},
    {"help", "[VERB]", "Show the help, or that of one verb", "", false, "text", kNoOptions, &actions::readHelpTopic,
     &actions::help},
});

}  // namespace

std::span<const Verb> verbs() { return kVerbs; }

}  // namespace halvexctl
