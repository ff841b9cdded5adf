// Summarises a trace or a part of it: list of happenings, table of clocks, verdict.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <vector>

namespace halvexboard {

/// Largest true difference to the master that counts as aligned.
inline constexpr std::int64_t kAlignedWithinNs = 100;

/// The text is not a trace; the message names the line.
class TraceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A part of a trace: from one log line to another. An empty text stands for the start or end of the trace.
struct Stretch {
    std::string from;
    std::string until;  ///< The first such line after `from`.
};

/// One clock's true difference to the master (clock minus master, ns) over the records in which it was enabled.
/// Differences beyond 2^53 ns are rounded.
struct ClockSummary {
    std::string name;
    std::size_t records = 0;  ///< Records in which it was enabled; if 0 the differences are meaningless.
    std::int64_t firstNs = 0;
    std::int64_t lastNs = 0;
    std::int64_t worstNs = 0;  ///< Largest in magnitude, signed.
    bool isEnabledAtEnd = false;
};

struct TraceSummary {
    std::vector<ClockSummary> clocks;  ///< In the order of the trace: the master first.
    std::uint64_t seed = 0;
    std::uint64_t durationNs = 0;
    double firstTimeNs = 0, lastTimeNs = 0;  ///< The master's true time, rounded to 256 ns.
    bool hasEpoch = false;                   ///< In the part or before it.
    std::size_t epochs = 0;
    std::size_t steps = 0;
    std::size_t faults = 0;
    std::vector<std::string> happenings;  ///< All but calls, time stamps and truths: "0.000075 s  step ...".

    /// Whether an epoch was generated, a clock besides the master was ever enabled, and every clock that was ever
    /// enabled was within kAlignedWithinNs at its last enabled record.
    bool isAligned() const;
};

/// Reads a part of a trace; its first record is the last one before it. Throws TraceError.
TraceSummary summariseTrace(std::istream& trace, const Stretch& stretch = {});

/// The table, in aligned columns with units, and the verdict as the last line; above it the list if `isListed`.
std::string formatSummary(const TraceSummary& summary, bool isListed = false);

}  // namespace halvexboard
