// The events of a session, gathered from a record, a board's trace or both, on one time axis.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halvexctl {

/// Values at common instants, one column each; NaN: none. Instants may be unordered before sort().
class Table {
public:
    struct Column {
        std::string name;
        std::vector<double> values;
        std::vector<double> bounds;  ///< Error bound of each value; NaN: unknown.
    };

    void addRow(std::int64_t rawNs);  ///< Adds the row that set() fills.
    void set(std::string_view column, double value, double bound);
    void sort();
    Table keeping(const std::vector<std::size_t>& rows) const;

    const std::vector<std::int64_t>& instantsNs() const { return instantsNs_; }
    const std::vector<Column>& columns() const { return columns_; }
    const Column* find(std::string_view name) const;

private:
    std::vector<std::int64_t> instantsNs_;
    std::vector<Column> columns_;
};

/// About `mostRows` of the table's rows: in each interval those with a column's lowest or highest value and those where
/// a column begins or ends, plus the first and the last. Changes no values. A short table is returned unchanged.
Table thinned(const Table& table, std::size_t mostRows);

enum class Lane { verbs, calls, steps, events, log };
enum class Level { info, good, warning, error };

/// The level of a line of the log: the path of the oscillator comes as an error at each start, and is none.
Level levelOfLogLine(Level ofItsPriority, std::string_view text);

/// An event at an instant, or over an interval.
struct Mark {
    std::int64_t rawNs = 0;
    std::int64_t durationNs = 0;
    Lane lane = Lane::events;
    Level level = Level::info;
    std::string text;
    std::string detail;
};

/// One slave in one iteration of an alignment, in ns.
struct SlaveIteration {
    std::optional<std::int64_t> measuredNs;  ///< Its time stamp minus the master's epoch.
    std::optional<std::int64_t> trueNs;
    std::optional<std::int64_t> askedNs, movedNs;  ///< The step that followed; empty: none.
};

struct AlignmentIteration {
    std::int64_t rawNs = 0;
    std::map<std::string, SlaveIteration> slaves;
};

struct AlignmentRun {
    std::int64_t beganRawNs = 0, endedRawNs = 0;
    bool isAligned = false;
    std::optional<std::int64_t> saidIterations;  ///< From the log line.
    std::vector<std::string> errors;             ///< Log lines about errors during the run.
    std::vector<AlignmentIteration> iterations;  ///< Only a board's trace shows them.
};

/// A source of the chronicle.
struct Source {
    std::string kind;  ///< "record" or "trace".
    std::string name;
    std::uint64_t lines = 0;
    std::uint64_t unreadLines = 0;  ///< Lines that are not JSON or have an unknown form.
    std::string remark;
    std::string doubt;  ///< Why it may not belong to the others.
};

struct Chronicle {
    std::string title;
    std::vector<Source> sources;
    std::optional<std::int64_t> systemLessRawNs;     ///< System time minus raw clock at some instant.
    std::map<std::int64_t, std::string> references;  ///< Reference clock from each instant on.
    Table measured;                                  ///< ns from the reference.
    Table truth;                                     ///< ns from the same reference.
    Table state;                                     ///< "steeringPpb", "kernelMaxErrorNs", "kernelFrequencyPpb".
    Table trueState;                                 ///< "steeringPpb" in the oscillator.
    std::vector<Mark> marks;
    std::vector<AlignmentRun> alignments;
};

}  // namespace halvexctl
