// Records a session in a file: samples of every clock, calls and results, verbs, log lines, and changes.
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
    std::optional<std::int64_t> durationNs;  ///< Empty: to the end of the session.
};

/// Writes lines as things happen, and log lines when the session has time. Threads: thread-bound; log lines may come
/// from any thread. Failure: std::system_error if the file cannot be written.
class SessionRecorder {
public:
    SessionRecorder(const std::string& libraryPath, const RecordOptions& options);

    void call(const CallReport& report);
    void verb(const Result& result, std::int64_t beganRawNs);
    void keep(const Sample& sample);  ///< Records a sample taken elsewhere.
    void sample(HostCalls* library);  ///< Takes a sample now, with ClockWatch.
    std::int64_t untilDueNs() const;  ///< Time to the next sample; 0 if it is due.
    void finish(ExitCode exitCode);   ///< Writes the last line and syncs the file.

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
    nlohmann::ordered_json written_;  ///< The same, as JSON.
};

}  // namespace halvexctl
