// Keeps a session in a file: samples of every clock, calls and their results, verbs, log lines, and what changed.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/clocks/clockWatch.h"
#include "host/output/files.h"
#include "host/output/result.h"
#include "host/output/units.h"
#include "host/record/logLines.h"
#include "host/session/hostCalls.h"

namespace halvexctl {

/// What a session records.
struct RecordOptions {
    std::string path;
    std::int64_t intervalNs = kNsPerSecond;
    std::optional<std::int64_t> durationNs;  ///< Nothing: to the end of the session.
};

/// Writes lines as things happen; log lines when the session has time for them. Threads: thread-bound; log lines may
/// come from any. Failure: std::system_error when the file cannot be written.
class SessionRecorder {
public:
    SessionRecorder(const std::string& libraryPath, const RecordOptions& options);

    void call(const CallReport& report);
    void verb(const Result& result, std::int64_t beganRawNs);
    void keep(const Sample& sample);  ///< One that somebody else took.
    void sample(HostCalls* library);  ///< Takes one now, as ClockWatch does.
    std::int64_t untilDueNs() const;  ///< Until the next sample; 0 when it is due.
    void finish(ExitCode exitCode);   ///< The last line; all is on the disk then.

private:
    void add(const char* kind, std::int64_t rawNs, const nlohmann::ordered_json& members);
    void write(const nlohmann::ordered_json& line);
    void takeLogLines();

    AppendedFile file_;
    LogLines logLines_;
    ClockWatch watch_;
    std::int64_t intervalNs_;
    std::int64_t dueRawNs_ = 0;
    std::optional<Sample> before_;
};

}  // namespace halvexctl
