// What one chapter of the demo left behind: its stretch of the trace and what the host printed meanwhile.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/demo/traceFollower.h"

namespace halvexdemo {

/// Every clock's true difference to the master at one instant, in the order of the trace.
struct Truth {
    struct Clock {
        std::string name;
        std::int64_t differenceNs = 0;
        std::uint64_t timeNs = 0;
        bool enabled = false;
    };
    std::uint64_t rawNs = 0;
    std::vector<Clock> clocks;

    const Clock* find(const std::string& name) const;
};

/// Borrows the happenings. Threads: thread-bound. Failure: nlohmann's exceptions on a trace of another shape.
class Evidence {
public:
    /// The chapter's own happenings are those from `begin` on; the ones before tell how it began.
    Evidence(std::span<const Happening> all, std::size_t begin, std::vector<std::string> hostLines);

    std::uint64_t beganRawNs() const { return beganRawNs_; }

    std::vector<Happening> happenings(const std::string& kind) const;
    std::vector<Happening> stepsByProgram(const std::string& clock) const;
    std::vector<std::string> logLines() const;
    bool logged(const std::string& text) const;  ///< Whether a log line is this text.
    std::vector<std::string> logLinesStarting(const std::string& beginning) const;

    Truth truthBefore() const;          ///< The last one before the chapter, or the first of all.
    Truth truthAtEnd() const;           ///< The last one of the chapter.
    std::vector<Truth> truths() const;  ///< All of the chapter.
    std::optional<Truth> firstTruthAfter(std::uint64_t rawNs) const;

    /// Values that the host printed beside a label, in order: hostValues("drift").
    std::vector<std::string> hostValues(const std::string& label) const;
    std::size_t hostLinesStarting(const std::string& beginning) const;  ///< How many lines, leading blanks aside.

private:
    std::span<const Happening> all_;
    std::size_t begin_;
    std::uint64_t beganRawNs_;
    std::vector<std::string> hostLines_;
};

}  // namespace halvexdemo
