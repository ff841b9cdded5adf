// Finds the alignment runs in what a trace or a log shows, iteration by iteration where that can be seen.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/report/chronicle.h"

namespace halvexctl {

/// Receives events in their order. Threads: thread-bound. Failure: none.
class AlignmentFinder {
public:
    void epoch(std::int64_t rawNs);  ///< The master gave an epoch, for an alignment or for somebody else.
    /// The master's time of that epoch was read from it: an iteration, to which belongs whatever is read and stepped
    /// next.
    void master(std::uint64_t masterNs);
    void truth(const std::string& clock, std::int64_t differenceNs);  ///< Of the epoch before, for every clock.
    void stamp(const std::string& clock, std::uint64_t clockNs);      ///< As read from the clock; the first one counts.
    void step(const std::string& clock, std::int64_t askedNs, std::int64_t movedNs);
    void logLine(std::int64_t rawNs, std::string_view text);

    std::vector<AlignmentRun> take();  ///< A run that was under way counts as not aligned.

private:
    bool isUnderWay() const { return !run_.iterations.empty() || !run_.errors.empty(); }
    void end(std::int64_t rawNs);

    std::vector<AlignmentRun> runs_;
    AlignmentRun run_;
    std::int64_t epochRawNs_ = 0;
    bool isReadingEpoch_ = false;  ///< Between the master being asked and the next epoch.
    std::uint64_t masterNs_ = 0;
    std::map<std::string, std::int64_t> truths_;
};

}  // namespace halvexctl
