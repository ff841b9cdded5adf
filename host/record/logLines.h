// The lines that this process hands to syslog, kept for a record: the library's are among them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace halvexctl {

struct LogLine {
    std::int64_t rawNs = 0;
    std::uint64_t systemNs = 0;
    int priority = 0;  ///< As syslog(3) has it, facility included.
    std::string text;
};

/// While one lives, lines are kept until they are taken; more than can wait are counted and lost. One at a time.
class LogLines {
public:
    LogLines();
    ~LogLines();
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

    std::vector<LogLine> take();  ///< In the order in which they came.
    std::uint64_t lost() const;
};

/// Whether anybody keeps lines. Thread-safe.
bool areLogLinesKept() noexcept;

/// Keeps a line with the time of now. Touches no file, for the caller may hold the library's locks. Thread-safe.
void keepLogLine(int priority, const char* text) noexcept;

}  // namespace halvexctl
