// Records a session in a file: samples of every clock, calls and results, verbs, log lines, and changes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/record/sessionRecorder.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <utility>

#include "host/clocks/clockSample.h"
#include "host/clocks/rawClock.h"
#include "host/output/jsonPrinter.h"
#include "host/record/sampleEvents.h"

namespace halvexctl {
namespace {

using nlohmann::ordered_json;

constexpr int kFormat = 2;  ///< 1: every sample was whole.
constexpr std::array<const char*, 8> kPriorities{"emergency", "alert",  "critical", "error",
                                                 "warning",   "notice", "info",     "debug"};

/// The members that are not as before; timeIso only repeats systemNs.
ordered_json changes(const ordered_json& before, const ordered_json& now) {
    ordered_json changed = ordered_json::object();
    for (const auto& [key, value] : now.items()) {
        if (key != "timeIso" && (key == "rawNs" || key == "systemNs" || value != before.at(key))) {
            changed[key] = value;
        }
    }
    return changed;
}

/// Of each clock too, unless they are other clocks.
ordered_json sampleChanges(const ordered_json& before, const ordered_json& now) {
    ordered_json line = changes(before, now);
    const ordered_json &earlier = before.at("clocks"), &clocks = now.at("clocks");
    const auto isSame = [](const ordered_json& one, const ordered_json& other) { return one["name"] == other["name"]; };
    if (line.contains("clocks") && std::equal(earlier.begin(), earlier.end(), clocks.begin(), clocks.end(), isSame)) {
        for (std::size_t i = 0; i < clocks.size(); ++i) {
            line["clocks"][i] = changes(earlier[i], clocks[i]);
        }
    }
    return line;
}

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
    ordered_json whole = sampleAsJson(sample);
    line.update(written_.is_null() ? whole : sampleChanges(written_, whole));
    written_ = std::move(whole);
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
