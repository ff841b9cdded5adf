// Finds alignment runs in a trace or a log, iteration by iteration if visible.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/report/chronicle.h"

namespace halvexctl {

/// Receives events in order. Threads: thread-bound. Failure: none.
class AlignmentFinder {
public:
    void epoch(std::int64_t rawNs);  ///< The master emitted an epoch, for an alignment or not.
    /// The master's epoch time was read: starts an iteration, to which the following readings and steps belong.
    void master(std::uint64_t masterNs);
    void truth(const std::string& clock, std::int64_t differenceNs);  ///< At the previous epoch, for every clock.
    void stamp(const std::string& clock,
               std::uint64_t clockNs);  ///< As read from the clock; only the first one counts.
    void step(const std::string& clock, std::int64_t askedNs, std::int64_t movedNs);
    void logLine(std::int64_t rawNs, std::string_view text);

    std::vector<AlignmentRun> take();  ///< An unfinished run counts as not aligned.

private:
    bool isUnderWay() const { return !run_.iterations.empty() || !run_.errors.empty(); }
    void end(std::int64_t rawNs);

    std::vector<AlignmentRun> runs_;
    AlignmentRun run_;
    std::int64_t epochRawNs_ = 0;
    bool isReadingEpoch_ = false;  ///< From reading the master to the next epoch.
    std::uint64_t masterNs_ = 0;
    std::map<std::string, std::int64_t> truths_;
};

}  // namespace halvexctl
