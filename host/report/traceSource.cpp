// Reads the trace of a simulated board: true times, and the actions of the programs on it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fmt/format.h>
#include <syslog.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <map>

#include "host/output/units.h"
#include "host/report/alignmentFinder.h"
#include "host/report/sources.h"

namespace halvexctl {
namespace {

using nlohmann::json;

constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();
constexpr double kPptPerPpb = 1'000;

/// The board names clocks by component, halvexctl by their role for a host.
std::string hostName(const std::string& clock) {
    return clock == "ferrox" ? "master" : clock == "system" ? "CLOCK_REALTIME" : clock;
}

/// Finds the shift from the board's raw time, which starts at 0, to the record's, by matching log lines.
class ShiftFinder {
public:
    explicit ShiftFinder(const Chronicle& chronicle) {
        for (const Mark& mark : chronicle.marks) {
            if (mark.lane == Lane::log && recorded_.size() < kMostLines) {
                recorded_.push_back({mark.rawNs, mark.text});
            }
        }
    }

    void take(const json& line) {
        if (line.at("kind") == "syslog") {
            traced_.push_back({line.at("raw_ns"), line.at("text")});
        }
    }

    /// Finds the shift; returns why the trace may be of another run, or nothing.
    std::string find() {
        Match best;
        for (const Line& line : traced_) {
            if (!recorded_.empty() && line.text == recorded_.front().text) {
                const Match match = matchesAt(recorded_.front().rawNs - line.rawNs);
                if (match.count > best.count) {
                    best = match;
                }
            }
        }
        shiftNs_ = best.shiftNs;
        return best.count == 0 ? "no log line is in both, so its time may not be the record's"
               : best.count == recorded_.size()
                   ? ""
                   : fmt::format("{} of {} log lines of the record are not in it: of another run, or cut off",
                                 recorded_.size() - best.count, recorded_.size());
    }

    std::int64_t shiftNs() const { return shiftNs_; }

private:
    struct Line {
        std::int64_t rawNs;
        std::string text;
    };
    struct Match {
        std::size_t count = 0;
        std::int64_t shiftNs = 0;
    };
    static constexpr std::size_t kMostLines = 50;
    static constexpr std::int64_t kApartNs = 1'000'000;

    /// A line is recorded just before the board sees it, so the largest shift is the most accurate.
    Match matchesAt(std::int64_t aboutNs) const {
        Match match{0, aboutNs};
        for (const Line& recorded : recorded_) {
            bool isTraced = false;
            for (const Line& traced : traced_) {
                const std::int64_t shiftNs = recorded.rawNs - traced.rawNs;
                if (std::llabs(shiftNs - aboutNs) < kApartNs && traced.text == recorded.text) {
                    isTraced = true;
                    match.shiftNs = std::max(match.shiftNs, shiftNs);
                }
            }
            match.count += isTraced ? 1 : 0;
        }
        return match;
    }

    std::vector<Line> recorded_, traced_;
    std::int64_t shiftNs_ = 0;
};

/// Borrows the chronicle, whose references must be complete.
class TraceReader {
public:
    TraceReader(Chronicle& chronicle, std::int64_t shiftNs) : chronicle_(chronicle), shiftNs_(shiftNs) {
        std::erase_if(chronicle_.marks, [](const Mark& mark) { return mark.lane == Lane::log; });
    }

    void take(const json& line) {
        rawNs_ = line.at("raw_ns").get<std::int64_t>() + shiftNs_;
        static const std::map<std::string, void (TraceReader::*)(const json&)> kKinds{
            {"start", &TraceReader::start},   {"truth", &TraceReader::truth}, {"epoch", &TraceReader::epoch},
            {"call", &TraceReader::call},     {"step", &TraceReader::step},   {"syslog", &TraceReader::log},
            {"event", &TraceReader::event},   {"fault", &TraceReader::fault}, {"phc2sys", &TraceReader::child},
            {"steering", &TraceReader::steer}};
        const auto kind = kKinds.find(line.at("kind"));
        if (kind != kKinds.end()) {
            (this->*kind->second)(line);
        }
    }

    void finish() {
        if (!chronicle_.trueState.instantsNs().empty()) {
            chronicle_.trueState.addRow(rawNs_);
            chronicle_.trueState.set("steeringPpb", steeringPpb_, kNothing);
        }
        chronicle_.alignments = alignments_.take();
    }

    const std::string& seed() const { return seed_; }

private:
    void mark(Lane lane, Level level, std::string text, std::string detail) {
        chronicle_.marks.push_back({rawNs_, 0, lane, level, std::move(text), std::move(detail)});
    }

    void start(const json& line) {
        seed_ = line.at("seed").dump();
        if (!chronicle_.systemLessRawNs) {
            chronicle_.systemLessRawNs = static_cast<std::int64_t>(line.at("start_time_ns").get<std::uint64_t>() -
                                                                   static_cast<std::uint64_t>(rawNs_));
        }
    }

    /// The reference clock of the measurements at that time; the master if there are none.
    std::string reference() const {
        const auto after = chronicle_.references.upper_bound(rawNs_);
        return after == chronicle_.references.begin() ? "master" : std::prev(after)->second;
    }

    void truth(const json& line) {
        const json& clocks = line.at("clocks");
        std::int64_t referenceNs = 0;
        for (const auto& [name, clock] : clocks.items()) {
            if (hostName(name) == reference()) {
                referenceNs = clock.at("difference_ns");
            }
        }
        chronicle_.truth.addRow(rawNs_);
        for (const auto& [name, clock] : clocks.items()) {
            const bool isShown = clock.at("enabled").get<bool>() || name == "ferrox";
            const auto shownNs = clock.at("difference_ns").get<double>() - static_cast<double>(referenceNs);
            chronicle_.truth.set(hostName(name), isShown ? shownNs : kNothing, kNothing);
        }
    }

    void epoch(const json& line) {
        alignments_.epoch(rawNs_);
        for (const auto& [name, clock] : line.at("clocks").items()) {
            alignments_.truth(hostName(name), clock.at("difference_ns"));
        }
        truth(line);
    }

    /// Calls with which the library reads the clocks' time stamps.
    void call(const json& line) {
        const std::string call = line.at("call"), target = line.at("target");
        if (call == "ioctl" && line.value("request", json()) == "getEpochTimestamp" && line.at("result") == 0) {
            const std::uint64_t timeNs = line.at("arguments").at(0);
            if (target == "ferrox") {
                alignments_.master(timeNs);
            } else {
                alignments_.stamp(target, timeNs);
            }
        } else if (call == "read" && line.value("file", "") == "ptp" && line.at("result") > 0) {
            alignments_.stamp(target, line.at("arguments").at(1));
        }
    }

    void step(const json& line) {
        const std::string clock = hostName(line.at("clock"));
        const std::int64_t askedNs = line.at("asked_ns"), movedNs = line.at("real_ns");
        const std::string by = line.at("by");
        if (by == "program") {
            alignments_.step(clock, askedNs, movedNs);
        }
        mark(Lane::steps, Level::info,
             fmt::format("{} stepped by {}{}", clock, offsetText(askedNs), by == "program" ? "" : ", by " + by),
             askedNs == movedNs ? std::string() : fmt::format("it moved by {}", offsetText(movedNs)));
    }

    void log(const json& line) {
        const int priority = line.at("priority");
        const std::string text = line.at("text");
        const Level level = priority <= LOG_ERR ? Level::error : priority == LOG_WARNING ? Level::warning : Level::info;
        mark(Lane::log, levelOfLogLine(level, text), text, "");
        alignments_.logLine(rawNs_, text);
    }

    void event(const json& line) {
        std::string what = line.at("event");
        std::replace(what.begin(), what.end(), '_', ' ');
        const std::int64_t value = line.at("value");
        mark(Lane::events, Level::warning, fmt::format("board: {} of {}", what, line.at("target").get<std::string>()),
             value == 0 ? std::string() : fmt::format("value {}", value));
    }

    void fault(const json& line) {
        const std::string error = line.contains("error") ? line.at("error").dump() : "another result";
        const std::string request = line.contains("request") ? " " + line.at("request").dump() : "";
        mark(Lane::events, Level::warning,
             fmt::format("board: fault injected, {}{} of {}", line.at("call").get<std::string>(), request,
                         line.at("target").get<std::string>()),
             error);
    }

    void child(const json& line) {
        const std::string state = line.at("state");
        const bool isRunning = state == "running";
        const std::string source = line.at("source").is_string() ? line.at("source").get<std::string>() : "no clock";
        mark(Lane::events, isRunning ? Level::good : Level::info,
             isRunning ? fmt::format("board: phc2sys started, follows {}", source)
                       : fmt::format("board: phc2sys {}{}", state,
                                     line.contains("signal") ? " by signal " + line.at("signal").dump() : ""),
             "");
    }

    /// Steps, not slopes: repeats the previous value.
    void steer(const json& line) {
        const double ppb = line.at("steering_ppt").get<double>() / kPptPerPpb;
        chronicle_.trueState.addRow(rawNs_);
        chronicle_.trueState.set("steeringPpb", steeringPpb_, kNothing);
        chronicle_.trueState.addRow(rawNs_);
        chronicle_.trueState.set("steeringPpb", ppb, kNothing);
        steeringPpb_ = ppb;
    }

    Chronicle& chronicle_;
    std::int64_t shiftNs_;
    AlignmentFinder alignments_;
    std::int64_t rawNs_ = 0;
    double steeringPpb_ = kNothing;
    std::string seed_;
};

}  // namespace

void readTrace(const std::string& path, Chronicle& chronicle) {
    const InputText input = readInput(path);
    ShiftFinder finder(chronicle);
    std::string doubt;
    if (!chronicle.sources.empty()) {
        readJsonLines(input, LinesOf::trace, [&finder](const json& line) { finder.take(line); });
        doubt = finder.find();
    }
    TraceReader reader(chronicle, finder.shiftNs());
    Source source = readJsonLines(input, LinesOf::trace, [&reader](const json& line) { reader.take(line); });
    reader.finish();
    source.remark = reader.seed().empty() ? "" : "seed " + reader.seed();
    source.doubt = doubt;
    chronicle.sources.push_back(std::move(source));
    chronicle.truth.sort();
    chronicle.trueState.sort();
}

}  // namespace halvexctl
