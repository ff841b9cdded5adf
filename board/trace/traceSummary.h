// What a trace, or a stretch of it, says about the clocks: a list of what happened, a table and a verdict.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#ifndef HALVEX_BOARD_TRACE_TRACESUMMARY_H
#define HALVEX_BOARD_TRACE_TRACESUMMARY_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <vector>

namespace halvexboard {

/// Largest true difference to the master that counts as aligned.
inline constexpr std::int64_t kAlignedWithinNs = 100;

/// The text is no trace; the message names the line.
class TraceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A part of a trace: from one log line up to another. An empty text stands for the trace's own beginning or end.
struct Stretch {
    std::string from;
    std::string until;  ///< The first such line after `from`.
};

/// One clock's true difference to the master (clock minus master, ns) over the records in which it was enabled.
/// Differences beyond 2^53 ns are rounded.
struct ClockSummary {
    std::string name;
    std::size_t records = 0;  ///< In which it was enabled; the differences below mean nothing while this is 0.
    std::int64_t firstNs = 0;
    std::int64_t lastNs = 0;
    std::int64_t worstNs = 0;  ///< Furthest from 0, sign kept.
    bool isEnabledAtEnd = false;
};

struct TraceSummary {
    std::vector<ClockSummary> clocks;  ///< In the order of the trace: the master first.
    std::uint64_t seed = 0;
    std::uint64_t durationNs = 0;
    double firstTimeNs = 0, lastTimeNs = 0;  ///< The master's true time, rounded to 256 ns.
    bool hasEpoch = false;                   ///< In the stretch or before it.
    std::size_t epochs = 0;
    std::size_t steps = 0;
    std::size_t faults = 0;
    std::vector<std::string> happenings;  ///< Everything but calls, time stamps and truths: "0.000075 s  step ...".

    /// True when an epoch was generated, a clock besides the master was enabled at some time, and every clock that ever
    /// was enabled ended within kAlignedWithinNs at its last enabled record.
    bool isAligned() const;
};

/// Reads a stretch of a trace; its first record is the last one before it. Throws TraceError.
TraceSummary summariseTrace(std::istream& trace, const Stretch& stretch = {});

/// The table, in aligned columns with units, and the verdict as the last line; what happened above it when `isListed`.
std::string formatSummary(const TraceSummary& summary, bool isListed = false);

}  // namespace halvexboard

#endif
