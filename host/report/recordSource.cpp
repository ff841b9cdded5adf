// Reads a record of halvexctl record.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fmt/format.h>

#include <limits>
#include <map>
#include <utility>

#include "host/output/units.h"
#include "host/report/alignmentFinder.h"
#include "host/report/sources.h"

namespace halvexctl {
namespace {

using nlohmann::json;

constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

Level levelOfPriority(const std::string& priority) {
    return priority == "info" || priority == "notice" || priority == "debug" ? Level::info
           : priority == "warning"                                           ? Level::warning
                                                                             : Level::error;
}

Level levelOfOutcome(const std::string& outcome) {
    return outcome == "ok" ? Level::info : outcome == "warning" ? Level::warning : Level::error;
}

/// The lines of one session. Borrows the chronicle.
class RecordReader {
public:
    explicit RecordReader(Chronicle& chronicle) : chronicle_(chronicle) {}

    void take(const json& line) {
        static const std::map<std::string, void (RecordReader::*)(const json&)> kKinds{
            {"start", &RecordReader::start}, {"sample", &RecordReader::sample}, {"call", &RecordReader::call},
            {"verb", &RecordReader::verb},   {"log", &RecordReader::log},       {"event", &RecordReader::event}};
        const auto kind = kKinds.find(line.value("kind", "sample"));  // lines without a kind are samples
        if (kind != kKinds.end()) {
            (this->*kind->second)(line);
        }
    }

    std::uint64_t sessions() const { return sessions_; }
    std::vector<AlignmentRun> alignments() { return alignments_.take(); }

private:
    /// Starts a new session; the previous one's raw clock may be from another boot.
    void start(const json& line) {
        ++sessions_;
        const std::vector<Source> sources = chronicle_.sources;
        const std::string title = chronicle_.title;
        chronicle_ = Chronicle{};
        chronicle_.sources = sources;
        chronicle_.title = title;
        alignments_ = AlignmentFinder{};
        sample_ = json::object();
        reference_.reset();
        steppedNs_ = alignedNs_ = lastSampleNs_ = sampleBeforeNs_ = std::nullopt;
        rememberSystemTime(line);
    }

    void rememberSystemTime(const json& line) {
        if (!chronicle_.systemLessRawNs) {
            chronicle_.systemLessRawNs = static_cast<std::int64_t>(line.at("systemNs").get<std::uint64_t>() -
                                                                   line.at("rawNs").get<std::uint64_t>());
        }
    }

    /// Adds what is left out because it is as in the sample before; one with a timeIso is whole.
    const json& completed(const json& line) {
        json sample = line.contains("timeIso") ? json::object() : std::exchange(sample_, json::object());
        json clocks = line.contains("clocks") ? line["clocks"] : sample.at("clocks");
        for (std::size_t i = 0; i < clocks.size(); ++i) {
            if (!clocks[i].contains("name")) {
                json clock = sample.at("clocks").at(i);
                clock.update(clocks[i]);
                clocks[i] = std::move(clock);
            }
        }
        sample.update(line);
        sample["clocks"] = std::move(clocks);
        return sample_ = std::move(sample);
    }

    void sample(const json& changes) {
        const json& line = completed(changes);
        const std::int64_t rawNs = line.at("rawNs");
        sampleBeforeNs_ = std::exchange(lastSampleNs_, rawNs);
        rememberSystemTime(line);
        const std::string reference = line.at("reference");
        if (reference_ != reference) {
            reference_ = reference;
            chronicle_.references[rawNs] = reference;
        }
        chronicle_.measured.addRow(rawNs);
        for (const json& clock : line.at("clocks")) {
            const json& difference = clock.at("differenceNs");
            if (!difference.is_null()) {
                chronicle_.measured.set(clock.at("name").get<std::string>(), difference.get<double>(),
                                        clock.at("boundNs").get<double>());
            }
        }
        chronicle_.state.addRow(rawNs);
        const json& steering = line.at("steeringPpb");
        chronicle_.state.set("steeringPpb", steering.is_null() ? kNothing : steering.get<double>(), kNothing);
        chronicle_.state.set("kernelMaxErrorNs", line.at("kernelMaxErrorNs").get<double>(), kNothing);
        chronicle_.state.set("kernelFrequencyPpb", line.at("kernelFrequencyPpb").get<double>(), kNothing);
    }

    void call(const json& line) {
        Mark mark = markOf(line, Lane::calls);
        const std::int64_t code = line.at("code");
        mark.level = code < 0 ? Level::error : code > 0 ? Level::warning : Level::info;
        mark.text =
            fmt::format("{}({})", line.at("function").get<std::string>(), line.at("arguments").get<std::string>());
        mark.detail = line.at("result");
        if (code == 0 && line.at("function") == "zuqxmtk_snapTime") {
            steppedNs_ = mark.rawNs;
        }
        chronicle_.marks.push_back(std::move(mark));
    }

    void verb(const json& line) {
        Mark mark = markOf(line, Lane::verbs);
        const std::string argument = line.at("argument");
        mark.level = levelOfOutcome(line.at("outcome"));
        mark.text = line.at("verb").get<std::string>() + (argument.empty() ? "" : " " + argument);
        mark.detail = line.at("message");
        chronicle_.marks.push_back(std::move(mark));
    }

    void log(const json& line) {
        Mark mark = markOf(line, Lane::log);
        mark.text = line.at("text");
        mark.level = levelOfLogLine(levelOfPriority(line.at("priority")), mark.text);
        alignments_.logLine(mark.rawNs, mark.text);
        if (mark.text.starts_with("Successfully aligned all timekeeping elements")) {
            alignedNs_ = mark.rawNs;
        }
        chronicle_.marks.push_back(std::move(mark));
    }

    void event(const json& line) {
        Mark mark = markOf(line, Lane::events);
        mark.level = line.at("good").get<bool>()               ? Level::good
                     : isOfAStep(mark.rawNs, line.at("event")) ? Level::info
                                                               : Level::warning;
        mark.text = line.at("text");
        chronicle_.marks.push_back(std::move(mark));
    }

    /// Whether a step of the host explains the event: from the step to the first sample after its alignment.
    bool isOfAStep(std::int64_t rawNs, const std::string& event) const {
        constexpr std::int64_t kLongestNs = 10 * kNsPerSecond;  // an alignment that takes longer is worth a warning
        return (event == "clock-away" || event == "clock-jumped") && steppedNs_ && rawNs - *steppedNs_ <= kLongestNs &&
               (alignedNs_ < steppedNs_ || alignedNs_ > sampleBeforeNs_);
    }

    static Mark markOf(const json& line, Lane lane) {
        Mark mark;
        mark.lane = lane;
        mark.rawNs = line.at("rawNs");
        mark.durationNs = line.value("endedRawNs", mark.rawNs) - mark.rawNs;
        return mark;
    }

    Chronicle& chronicle_;
    AlignmentFinder alignments_;
    json sample_ = json::object();
    std::optional<std::string> reference_;
    std::optional<std::int64_t> steppedNs_, alignedNs_, lastSampleNs_, sampleBeforeNs_;
    std::uint64_t sessions_ = 0;
};

}  // namespace

void readRecord(const std::string& path, Chronicle& chronicle) {
    RecordReader reader(chronicle);
    Source source = readJsonLines(readInput(path), LinesOf::record, [&reader](const json& line) { reader.take(line); });
    if (reader.sessions() > 1) {
        source.remark = fmt::format("the last of {} sessions", reader.sessions());
    }
    chronicle.sources.push_back(std::move(source));
    chronicle.alignments = reader.alignments();
    chronicle.measured.sort();
    chronicle.state.sort();
}

}  // namespace halvexctl
