// Converts a chronicle to the JSON document for the report's page.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/report/chronicleJson.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "host/clocks/clockSample.h"
#include "host/output/units.h"
#include "host/report/thinning.h"

namespace halvexctl {
namespace {

using nlohmann::ordered_json;

// More would be invisible and slow the reader's browser down.
constexpr std::size_t kMostRows = 6'000;
constexpr std::size_t kMostMarks = 20'000;
constexpr double kLargestExact = 9e15;

/// Whole numbers without a fraction, null for NaN.
ordered_json number(double value) {
    if (std::isnan(value)) {
        return nullptr;
    }
    const bool isWhole = std::fabs(value) < kLargestExact && value == std::floor(value);
    return isWhole ? ordered_json(static_cast<std::int64_t>(value)) : ordered_json(value);
}

ordered_json numbers(const std::vector<double>& values) {
    ordered_json list = ordered_json::array();
    for (const double value : values) {
        list.push_back(number(value));
    }
    return list;
}

bool hasBounds(const Table::Column& column) {
    return std::any_of(column.bounds.begin(), column.bounds.end(), [](double bound) { return !std::isnan(bound); });
}

class Writer {
public:
    explicit Writer(const Chronicle& chronicle) : chronicle_(chronicle) { findSpan(); }

    ordered_json write() const {
        ordered_json document{{"title", chronicle_.title}, {"bandNs", kAlarmNs}};
        document["sources"] = sources();
        document["beginIso"] =
            chronicle_.systemLessRawNs && isAnything_
                ? ordered_json(isoTimeText(static_cast<std::uint64_t>(beginNs_ + *chronicle_.systemLessRawNs)))
                : ordered_json(nullptr);
        document["lengthNs"] = isAnything_ ? endNs_ - beginNs_ : 0;
        document["references"] = references();
        document["measured"] = table(chronicle_.measured);
        document["truth"] = table(chronicle_.truth);
        document["state"] = table(chronicle_.state);
        document["trueState"] = table(chronicle_.trueState);
        document["marks"] = marks();
        document["marksLeftOut"] = chronicle_.marks.size() - std::min(chronicle_.marks.size(), kMostMarks);
        document["alignments"] = alignments();
        return document;
    }

private:
    void see(std::int64_t rawNs) {
        beginNs_ = isAnything_ ? std::min(beginNs_, rawNs) : rawNs;
        endNs_ = isAnything_ ? std::max(endNs_, rawNs) : rawNs;
        isAnything_ = true;
    }

    void findSpan() {
        for (const Table* it : {&chronicle_.measured, &chronicle_.truth, &chronicle_.state}) {
            if (!it->instantsNs().empty()) {
                see(it->instantsNs().front());
                see(it->instantsNs().back());
            }
        }
        for (const Mark& mark : chronicle_.marks) {
            see(mark.rawNs);
            see(mark.rawNs + mark.durationNs);
        }
    }

    ordered_json sources() const {
        ordered_json list = ordered_json::array();
        for (const Source& source : chronicle_.sources) {
            list.push_back({{"kind", source.kind},
                            {"name", source.name},
                            {"lines", source.lines},
                            {"unreadLines", source.unreadLines},
                            {"remark", source.remark}});
        }
        return list;
    }

    ordered_json references() const {
        ordered_json list = ordered_json::array();
        for (const auto& [rawNs, name] : chronicle_.references) {
            list.push_back({{"t", rawNs - beginNs_}, {"name", name}});
        }
        return list;
    }

    ordered_json table(const Table& whole) const {
        const Table some = thinned(whole, kMostRows);
        ordered_json instants = ordered_json::array();
        for (const std::int64_t rawNs : some.instantsNs()) {
            instants.push_back(rawNs - beginNs_);
        }
        ordered_json columns = ordered_json::array();
        for (const Table::Column& column : some.columns()) {
            ordered_json object{{"name", column.name}, {"values", numbers(column.values)}};
            if (hasBounds(column)) {
                object["bounds"] = numbers(column.bounds);
            }
            columns.push_back(std::move(object));
        }
        return {{"rows", whole.instantsNs().size()}, {"t", instants}, {"columns", columns}};
    }

    /// In order; if there are too many, errors and warnings are kept first.
    ordered_json marks() const {
        static constexpr std::array kLanes{"verbs", "calls", "steps", "events", "log"};
        static constexpr std::array kLevels{"info", "good", "warning", "error"};
        std::vector<const Mark*> chosen;
        for (const Mark& mark : chronicle_.marks) {
            chosen.push_back(&mark);
        }
        if (chosen.size() > kMostMarks) {
            std::stable_sort(chosen.begin(), chosen.end(),
                             [](const Mark* one, const Mark* other) { return one->level > other->level; });
            chosen.resize(kMostMarks);
        }
        std::stable_sort(chosen.begin(), chosen.end(),
                         [](const Mark* one, const Mark* other) { return one->rawNs < other->rawNs; });
        ordered_json list = ordered_json::array();
        for (const Mark* mark : chosen) {
            list.push_back({{"t", mark->rawNs - beginNs_},
                            {"duration", mark->durationNs},
                            {"lane", kLanes[static_cast<std::size_t>(mark->lane)]},
                            {"level", kLevels[static_cast<std::size_t>(mark->level)]},
                            {"text", mark->text},
                            {"detail", mark->detail}});
        }
        return list;
    }

    static ordered_json orNull(const std::optional<std::int64_t>& value) {
        return value ? ordered_json(*value) : ordered_json(nullptr);
    }

    ordered_json iterations(const AlignmentRun& run) const {
        ordered_json list = ordered_json::array();
        for (const AlignmentIteration& iteration : run.iterations) {
            ordered_json slaves = ordered_json::array();
            for (const auto& [name, slave] : iteration.slaves) {
                slaves.push_back({{"name", name},
                                  {"measuredNs", orNull(slave.measuredNs)},
                                  {"trueNs", orNull(slave.trueNs)},
                                  {"askedNs", orNull(slave.askedNs)},
                                  {"movedNs", orNull(slave.movedNs)}});
            }
            list.push_back({{"t", iteration.rawNs - beginNs_}, {"slaves", slaves}});
        }
        return list;
    }

    ordered_json alignments() const {
        ordered_json list = ordered_json::array();
        for (const AlignmentRun& run : chronicle_.alignments) {
            list.push_back({{"begin", run.beganRawNs - beginNs_},
                            {"end", run.endedRawNs - beginNs_},
                            {"aligned", run.isAligned},
                            {"saidIterations", orNull(run.saidIterations)},
                            {"errors", run.errors},
                            {"iterations", iterations(run)}});
        }
        return list;
    }

    const Chronicle& chronicle_;
    std::int64_t beginNs_ = 0, endNs_ = 0;
    bool isAnything_ = false;
};

}  // namespace

ordered_json chronicleAsJson(const Chronicle& chronicle) { return Writer(chronicle).write(); }

std::string asPageText(const ordered_json& document) {
    constexpr bool kInAscii = true;
    const std::string plain = document.dump(-1, ' ', kInAscii, ordered_json::error_handler_t::replace);
    std::string text;
    text.reserve(plain.size());
    for (const char c : plain) {  // these three occur only in strings, where they can be escaped
        switch (c) {
            case '<':
                text += "\\u003c";
                break;
            case '>':
                text += "\\u003e";
                break;
            case '&':
                text += "\\u0026";
                break;
            default:
                text += c;
        }
    }
    return text;
}

}  // namespace halvexctl
