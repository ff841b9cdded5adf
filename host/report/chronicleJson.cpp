// Converts a chronicle to the JSON document for the report's page.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/report/report.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "host/clocks/clockSample.h"
#include "host/output/units.h"

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

template <typename Items, typename Make>
ordered_json listOf(const Items& items, Make make) {
    ordered_json list = ordered_json::array();
    for (const auto& item : items) {
        list.push_back(make(item));
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
        document["beginIso"] = chronicle_.systemLessRawNs && isAnything_
                                   ? ordered_json(isoTimeText(static_cast<std::uint64_t>(beginNs_) +
                                                              static_cast<std::uint64_t>(*chronicle_.systemLessRawNs)))
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
        return listOf(chronicle_.sources, [](const Source& source) {
            return ordered_json{{"kind", source.kind},
                                {"name", source.name},
                                {"lines", source.lines},
                                {"unreadLines", source.unreadLines},
                                {"remark", source.remark + (source.doubt.empty() ? "" : "; " + source.doubt)}};
        });
    }

    ordered_json references() const {
        return listOf(chronicle_.references, [this](const auto& reference) {
            return ordered_json{{"t", reference.first - beginNs_}, {"name", reference.second}};
        });
    }

    ordered_json table(const Table& whole) const {
        const Table some = thinned(whole, kMostRows);
        const auto column = [](const Table::Column& from) {
            ordered_json object{{"name", from.name}, {"values", listOf(from.values, number)}};
            if (hasBounds(from)) {
                object["bounds"] = listOf(from.bounds, number);
            }
            return object;
        };
        return {{"rows", whole.instantsNs().size()},
                {"t", listOf(some.instantsNs(), [this](std::int64_t rawNs) { return rawNs - beginNs_; })},
                {"columns", listOf(some.columns(), column)}};
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
        return listOf(chosen, [this](const Mark* mark) {
            return ordered_json{{"t", mark->rawNs - beginNs_},
                                {"duration", mark->durationNs},
                                {"lane", kLanes[static_cast<std::size_t>(mark->lane)]},
                                {"level", kLevels[static_cast<std::size_t>(mark->level)]},
                                {"text", mark->text},
                                {"detail", mark->detail}};
        });
    }

    static ordered_json orNull(const std::optional<std::int64_t>& value) {
        return value ? ordered_json(*value) : ordered_json(nullptr);
    }

    ordered_json iteration(const AlignmentIteration& iteration) const {
        const auto slaveOf = [](const auto& named) {
            const auto& [name, slave] = named;
            return ordered_json{{"name", name},
                                {"measuredNs", orNull(slave.measuredNs)},
                                {"trueNs", orNull(slave.trueNs)},
                                {"askedNs", orNull(slave.askedNs)},
                                {"movedNs", orNull(slave.movedNs)}};
        };
        return {{"t", iteration.rawNs - beginNs_}, {"slaves", listOf(iteration.slaves, slaveOf)}};
    }

    ordered_json alignments() const {
        return listOf(chronicle_.alignments, [this](const AlignmentRun& run) {
            return ordered_json{
                {"begin", run.beganRawNs - beginNs_},
                {"end", run.endedRawNs - beginNs_},
                {"aligned", run.isAligned},
                {"saidIterations", orNull(run.saidIterations)},
                {"errors", run.errors},
                {"iterations", listOf(run.iterations, [this](const auto& one) { return iteration(one); })}};
        });
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
        if (c == '<' || c == '>' || c == '&') {
            text += fmt::format("\\u{:04x}", c);
        } else {
            text += c;
        }
    }
    return text;
}

}  // namespace halvexctl
