// Records a session in a file: samples of every clock, calls and results, verbs, log lines, and changes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/record/sessionRecorder.h"

#include <syslog.h>

#include <algorithm>
#include <array>

#include "host/clocks/clockSample.h"
#include "host/clocks/rawClock.h"
#include "host/output/jsonPrinter.h"
#include "host/record/sampleEvents.h"

namespace halvexctl {
namespace {

using nlohmann::ordered_json;

constexpr int kFormat = 1;
constexpr std::array<const char*, 8> kPriorities{"emergency", "alert",  "critical", "error",
                                                 "warning",   "notice", "info",     "debug"};

}  // namespace

SessionRecorder::SessionRecorder(const std::string& libraryPath, const RecordOptions& options)
    : file_(options.path, {R"({"kind":"start")", "a record"}),
      watch_(LibraryErrors::handOn),
      intervalNs_(options.intervalNs) {
    dueRawNs_ = rawTimeNs();
    add("start", dueRawNs_,
        {{"systemNs", systemTimeNs()}, {"format", kFormat}, {"library", libraryPath}, {"intervalNs", intervalNs_}});
}

void SessionRecorder::add(const char* kind, std::int64_t rawNs, const ordered_json& members) {
    ordered_json line{{"kind", kind}, {"rawNs", rawNs}};
    line.update(members);
    write(line);
}

void SessionRecorder::write(const ordered_json& line) { file_.add(jsonText(line) + "\n"); }

void SessionRecorder::call(const CallReport& report) {
    takeLogLines();
    add("call", report.beganRawNs,
        {{"endedRawNs", report.endedRawNs},
         {"function", report.function},
         {"arguments", report.arguments},
         {"result", report.result},
         {"code", report.code},
         {"information", report.information}});
}

void SessionRecorder::verb(const Result& result, std::int64_t beganRawNs) {
    takeLogLines();
    add("verb", beganRawNs,
        {{"endedRawNs", rawTimeNs()},
         {"verb", result.verb},
         {"argument", result.argument},
         {"outcome", outcomeName(result.outcome)},
         {"message", result.message}});
}

void SessionRecorder::sample(HostCalls* library) {
    takeLogLines();
    Sample sample = watch_.take(library);
    judge(before_ ? &*before_ : nullptr, sample);
    keep(sample);
}

void SessionRecorder::keep(const Sample& sample) {
    takeLogLines();
    ordered_json line{{"kind", "sample"}};
    line.update(sampleAsJson(sample));
    write(line);
    for (const SampleEvent& event : eventsBetween(before_ ? &*before_ : nullptr, sample)) {
        add("event", sample.rawNs,
            {{"systemNs", sample.systemNs},
             {"event", event.event},
             {"subject", event.subject},
             {"good", event.isGood},
             {"text", event.text}});
    }
    before_ = sample;
    // Missed samples are skipped.
    dueRawNs_ += intervalNs_;
    if (dueRawNs_ <= sample.rawNs) {
        dueRawNs_ = sample.rawNs + intervalNs_;
    }
}

std::int64_t SessionRecorder::untilDueNs() const { return std::max<std::int64_t>(dueRawNs_ - rawTimeNs(), 0); }

void SessionRecorder::finish(ExitCode exitCode) {
    takeLogLines();
    add("end", rawTimeNs(),
        {{"systemNs", systemTimeNs()}, {"exitCode", static_cast<int>(exitCode)}, {"logLinesLost", logLines_.lost()}});
    file_.finish();
}

void SessionRecorder::takeLogLines() {
    for (const LogLine& line : logLines_.take()) {
        add("log", line.rawNs,
            {{"systemNs", line.systemNs},
             {"priority", kPriorities[static_cast<std::size_t>(LOG_PRI(line.priority))]},
             {"text", line.text}});
    }
}

}  // namespace halvexctl
