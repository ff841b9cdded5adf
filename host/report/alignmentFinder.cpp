// Finds alignment runs in a trace or a log, iteration by iteration if visible.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/report/alignmentFinder.h"

#include <utility>

#include "host/output/units.h"

namespace halvexctl {
namespace {

constexpr std::string_view kAligned = "Successfully aligned all timekeeping elements after ";
constexpr std::string_view kMetAnError = "Encountered err while trying to sync ";
constexpr std::string_view kCallFailed = "Encountered error in ";
constexpr std::string_view kThreadFailed = "Monitoring thread encountered an error: ";

}  // namespace

void AlignmentFinder::epoch(std::int64_t rawNs) {
    epochRawNs_ = rawNs;
    isReadingEpoch_ = false;
    truths_.clear();
}

void AlignmentFinder::master(std::uint64_t masterNs) {
    if (!isUnderWay()) {
        run_.beganRawNs = epochRawNs_;
    }
    run_.iterations.push_back({epochRawNs_, {}});
    isReadingEpoch_ = true;
    masterNs_ = masterNs;
}

void AlignmentFinder::truth(const std::string& clock, std::int64_t differenceNs) { truths_[clock] = differenceNs; }

void AlignmentFinder::stamp(const std::string& clock, std::uint64_t clockNs) {
    // Readings before the master's, and further ones of a clock, are leftovers.
    if (run_.iterations.empty() || !isReadingEpoch_ || run_.iterations.back().slaves.contains(clock)) {
        return;
    }
    SlaveIteration& slave = run_.iterations.back().slaves[clock];
    slave.measuredNs = static_cast<std::int64_t>(clockNs - masterNs_);
    if (const auto truth = truths_.find(clock); truth != truths_.end()) {
        slave.trueNs = truth->second;
    }
}

void AlignmentFinder::step(const std::string& clock, std::int64_t askedNs, std::int64_t movedNs) {
    if (run_.iterations.empty() || !run_.iterations.back().slaves.contains(clock)) {
        return;  // not part of an alignment
    }
    SlaveIteration& slave = run_.iterations.back().slaves[clock];
    slave.askedNs = askedNs;
    slave.movedNs = movedNs;
}

void AlignmentFinder::logLine(std::int64_t rawNs, std::string_view text) {
    if (text.starts_with(kAligned)) {
        if (const auto count = leadingNumber<std::int64_t>(text.substr(kAligned.size()))) {
            run_.saidIterations = *count;
        }
        run_.isAligned = true;
        end(rawNs);
    } else if (text.starts_with(kMetAnError)) {
        if (!isUnderWay()) {
            run_.beganRawNs = rawNs;
        }
        run_.errors.emplace_back(text);
    } else if (isUnderWay() && (text.starts_with(kCallFailed) || text.starts_with(kThreadFailed))) {
        run_.errors.emplace_back(text);
        end(rawNs);
    }
}

void AlignmentFinder::end(std::int64_t rawNs) {
    isReadingEpoch_ = false;
    if (!isUnderWay()) {
        run_.beganRawNs = rawNs;
    }
    run_.endedRawNs = rawNs;
    runs_.push_back(std::exchange(run_, {}));
}

std::vector<AlignmentRun> AlignmentFinder::take() {
    if (isUnderWay()) {
        end(run_.iterations.empty() ? run_.beganRawNs : run_.iterations.back().rawNs);
    }
    return std::exchange(runs_, {});
}

}  // namespace halvexctl
