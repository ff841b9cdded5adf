// Summarises a trace: parsing, list, table, verdict.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/trace/traceSummary.h"

#include <cjson/cJSON.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <istream>
#include <limits>
#include <memory>
#include <sstream>
#include <string_view>
#include <utility>

namespace halvexboard {

namespace {

struct JsonDeleter {
    void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using Json = std::unique_ptr<cJSON, JsonDeleter>;

[[noreturn]] void refuse(std::size_t lineNumber, const std::string& why) {
    throw TraceError("trace line " + std::to_string(lineNumber) + ": " + why);
}

double numberOf(const cJSON* object, const char* key, std::size_t lineNumber) {
    const cJSON* const member = cJSON_GetObjectItemCaseSensitive(object, key);
    if (cJSON_IsNumber(member) == 0) refuse(lineNumber, std::string("no number ") + key);
    return member->valuedouble;
}

/// Rounded toward zero, or the type's end where the value is beyond it.
template <typename Integer>
Integer wholeOf(double value) {
    const double most = std::nextafter(std::ldexp(1.0, std::numeric_limits<Integer>::digits), 0.0);
    return static_cast<Integer>(std::clamp(value, static_cast<double>(std::numeric_limits<Integer>::min()), most));
}

ClockSummary& clockNamed(TraceSummary& summary, const std::string& name) {
    const auto found = std::find_if(summary.clocks.begin(), summary.clocks.end(),
                                    [&name](const ClockSummary& clock) { return clock.name == name; });
    if (found != summary.clocks.end()) return *found;
    summary.clocks.push_back({});
    summary.clocks.back().name = name;
    return summary.clocks.back();
}

std::uint64_t magnitude(std::int64_t value) {
    return value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
}

void addRecord(ClockSummary& clock, std::int64_t differenceNs) {
    if (clock.records++ == 0) clock.firstNs = differenceNs;
    clock.lastNs = differenceNs;
    if (magnitude(differenceNs) > magnitude(clock.worstNs)) clock.worstNs = differenceNs;
}

void addClocks(TraceSummary& summary, const cJSON* line, std::size_t lineNumber) {
    const cJSON* const clocks = cJSON_GetObjectItemCaseSensitive(line, "clocks");
    const cJSON* clock = nullptr;
    if (cJSON_IsObject(clocks) == 0) refuse(lineNumber, "no clocks");
    if (clocks->child != nullptr) summary.lastTimeNs = numberOf(clocks->child, "time_ns", lineNumber);
    cJSON_ArrayForEach(clock, clocks) {
        ClockSummary& known = clockNamed(summary, clock->string);
        const auto differenceNs = wholeOf<std::int64_t>(numberOf(clock, "difference_ns", lineNumber));
        known.isEnabledAtEnd = cJSON_IsTrue(cJSON_GetObjectItemCaseSensitive(clock, "enabled")) != 0;
        if (known.isEnabledAtEnd) addRecord(known, differenceNs);
    }
}

struct ListedKind {
    std::string_view kind;
    std::vector<const char*> members;
};

const std::vector<ListedKind>& listedKinds() {
    static const std::vector<ListedKind> kinds{
        {"step", {"clock", "asked_ns", "by"}},
        {"steering", {"steering_ppt"}},
        {"status_record", {"record", "not_aligned", "reference_kind", "reference_offset", "utc_offset"}},
        {"alignment_request", {"value"}},
        {"phc2sys", {"state", "exit_code", "signal", "source"}},
        {"fault", {"call", "target", "request", "error"}},
        {"event", {"event", "target", "value"}},
        {"syslog", {"text"}},
        {"note", {"text"}},
    };
    return kinds;
}

std::string textOf(const cJSON* member) {
    if (cJSON_IsString(member) != 0) return member->valuestring;
    if (cJSON_IsNumber(member) != 0) return std::to_string(wholeOf<std::int64_t>(member->valuedouble));
    if (cJSON_IsNull(member) != 0) return "none";
    return cJSON_IsTrue(member) != 0 ? "true" : "false";
}

std::string inSeconds(double ns) {
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%.6f s", ns / 1e9);
    return text.data();
}

// "0.000075 s  step clock=ferrox asked_ns=-200 by=program"
void listHappening(TraceSummary& summary, const cJSON* line, std::string_view kind) {
    const auto& kinds = listedKinds();
    const auto listed = std::find_if(kinds.begin(), kinds.end(), [kind](const auto& one) { return one.kind == kind; });
    if (listed == kinds.end()) return;
    std::string text = inSeconds(static_cast<double>(summary.durationNs)) + "  " + std::string(kind);
    for (const char* const key : listed->members)
        if (const cJSON* const member = cJSON_GetObjectItemCaseSensitive(line, key))
            text += std::string(" ") + key + "=" + textOf(member);
    summary.happenings.push_back(std::move(text));
}

class Summariser {
public:
    explicit Summariser(const Stretch& stretch) : stretch_(stretch), isInside_(stretch.from.empty()) {}

    void add(const std::string& text) {
        ++lineNumber_;
        if (text.empty()) return;  // of a file that a crash of the machine left
        if (tornLine_ != 0) refuse(tornLine_, "not a JSON object");
        const Json line(cJSON_ParseWithLength(text.c_str(), text.size()));
        if (cJSON_IsObject(line.get()) == 0) {
            if (!hasLines_) refuse(lineNumber_, "not a JSON object");
            tornLine_ = lineNumber_;
            return;
        }
        hasLines_ = true;
        const cJSON* const kindMember = cJSON_GetObjectItemCaseSensitive(line.get(), "kind");
        if (cJSON_IsString(kindMember) == 0) refuse(lineNumber_, "no kind");
        const std::string_view kind = kindMember->valuestring;
        if (cJSON_HasObjectItem(line.get(), "rawNs") != 0)
            throw TraceError("it is a record, not a trace: halvexctl report --from shows it");
        const auto rawNs = wholeOf<std::uint64_t>(numberOf(line.get(), "raw_ns", lineNumber_));
        if (kind == "syslog") crossBorder(line.get(), rawNs);
        if (hasEnded_) return;
        summary_.durationNs = rawNs - beganRawNs_;
        if (kind == "start") summary_.seed = wholeOf<std::uint64_t>(numberOf(line.get(), "seed", lineNumber_));
        summary_.hasEpoch = summary_.hasEpoch || kind == "epoch";
        if (kind == "epoch" || kind == "truth") addTruth(line.get());
        if (isInside_) count(line.get(), kind);
    }

    TraceSummary finish() {
        if (!hasLines_) throw TraceError("the trace is empty");
        if (!isInside_) throw TraceError("the trace has no log line \"" + stretch_.from + "\"");
        if (!hasEnded_ && !stretch_.until.empty())
            throw TraceError("the trace has no log line \"" + stretch_.until + "\" after \"" + stretch_.from + "\"");
        return std::move(summary_);
    }

private:
    void crossBorder(const cJSON* line, std::uint64_t rawNs) {
        const std::string text = textOf(cJSON_GetObjectItemCaseSensitive(line, "text"));
        if (!isInside_ && text == stretch_.from) {
            isInside_ = true;
            beganRawNs_ = rawNs;
        } else if (isInside_ && !stretch_.until.empty() && text == stretch_.until) {
            hasEnded_ = true;
        }
    }

    void addTruth(const cJSON* line) {
        if (!isInside_) summary_.clocks.clear();
        const bool isFirst = summary_.clocks.empty();
        addClocks(summary_, line, lineNumber_);
        if (isFirst) summary_.firstTimeNs = summary_.lastTimeNs;
    }

    void count(const cJSON* line, std::string_view kind) {
        summary_.epochs += kind == "epoch" ? 1U : 0U;
        summary_.steps += kind == "step" ? 1U : 0U;
        summary_.faults += kind == "fault" ? 1U : 0U;
        listHappening(summary_, line, kind);
    }

    const Stretch& stretch_;
    TraceSummary summary_;
    std::size_t lineNumber_ = 0;
    std::size_t tornLine_ = 0;  ///< A kill may tear the last line.
    std::uint64_t beganRawNs_ = 0;
    bool isInside_;
    bool hasEnded_ = false;
    bool hasLines_ = false;
};

// 1250000 as "+1 250 000 ns".
std::string inNanoseconds(std::int64_t value) {
    std::string digits = std::to_string(magnitude(value));
    for (std::size_t at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, 1, ' ');
    if (value != 0) digits.insert(digits.begin(), value < 0 ? '-' : '+');
    return digits.append(" ns");
}

using Row = std::vector<std::string>;

Row rowOf(const ClockSummary& clock) {
    if (clock.records == 0) return {clock.name, "-", "-", "-", "0", "never enabled"};
    return {clock.name,
            inNanoseconds(clock.firstNs),
            inNanoseconds(clock.lastNs),
            inNanoseconds(clock.worstNs),
            std::to_string(clock.records),
            clock.isEnabledAtEnd ? "enabled" : "not enabled"};
}

// First and last column left-aligned, numbers right-aligned.
std::string alignColumns(const std::vector<Row>& rows) {
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const Row& row : rows)
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], row[column].size());
    std::string table;
    for (const Row& row : rows) {
        table += row.front() + std::string(widths.front() - row.front().size(), ' ');
        for (std::size_t column = 1; column + 1 < row.size(); ++column)
            table += "  " + std::string(widths[column] - row[column].size(), ' ') + row[column];
        table += "  " + row.back() + "\n";
    }
    return table;
}

bool isAway(const ClockSummary& clock) {
    return clock.records != 0 && magnitude(clock.lastNs) > static_cast<std::uint64_t>(kAlignedWithinNs);
}

bool hasSlave(const TraceSummary& summary) {
    return std::any_of(summary.clocks.begin(), summary.clocks.end(), [&summary](const ClockSummary& clock) {
        return clock.records != 0 && &clock != summary.clocks.data();
    });
}

std::string verdictOf(const TraceSummary& summary) {
    if (summary.isAligned()) return "verdict: every enabled clock within 100 ns of the master\n";
    if (!summary.hasEpoch) return "verdict: FAILED, no epoch was ever generated\n";
    if (!hasSlave(summary)) return "verdict: FAILED, no clock besides the master was ever enabled\n";
    std::string verdict = "verdict: FAILED, further than 100 ns from the master:";
    for (const ClockSummary& clock : summary.clocks)
        if (isAway(clock)) verdict += " " + clock.name + " (" + inNanoseconds(clock.lastNs) + ")";
    return verdict + "\n";
}

}  // namespace

bool TraceSummary::isAligned() const {
    return hasEpoch && hasSlave(*this) && std::none_of(clocks.begin(), clocks.end(), isAway);
}

TraceSummary summariseTrace(std::istream& trace, const Stretch& stretch) {
    Summariser summariser(stretch);
    std::string line;
    while (std::getline(trace, line)) summariser.add(line);
    return summariser.finish();
}

std::string formatSummary(const TraceSummary& summary, bool isListed) {
    std::vector<Row> rows{
        {"clock", "first difference", "last difference", "worst difference", "records", "at the end"}};
    for (const ClockSummary& clock : summary.clocks) rows.push_back(rowOf(clock));
    const std::uint64_t durationMs = summary.durationNs / 1000000;
    const std::string milliseconds = std::to_string(1000 + durationMs % 1000).substr(1);
    std::ostringstream text;
    if (isListed)
        for (const std::string& happening : summary.happenings) text << happening << '\n';
    text << "seed " << summary.seed << ", " << durationMs / 1000 << '.' << milliseconds << " s, " << summary.epochs
         << " epochs, " << summary.steps << " steps, " << summary.faults << " faults injected\n"
         << "master from " << inSeconds(summary.firstTimeNs) << " to " << inSeconds(summary.lastTimeNs) << '\n'
         << alignColumns(rows) << verdictOf(summary);
    return text.str();
}

}  // namespace halvexboard
