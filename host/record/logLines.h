// Collects this process's syslog lines, including the library's, for a record.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace halvexctl {

struct LogLine {
    std::int64_t rawNs = 0;
    std::uint64_t systemNs = 0;
    int priority = 0;  ///< As for syslog(3), including the facility.
    std::string text;
};

/// While one exists, lines are queued until they are taken; lines beyond the capacity are counted and dropped. One at a
/// time.
class LogLines {
public:
    LogLines();
    ~LogLines();
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

    std::vector<LogLine> take();  ///< In order of arrival.
    std::uint64_t lost() const;
};

/// Whether lines are being collected. Thread-safe.
bool areLogLinesKept() noexcept;

/// Queues a line with the current time. Uses no file: the caller may hold the library's locks. Thread-safe.
void keepLogLine(int priority, const char* text) noexcept;

}  // namespace halvexctl
