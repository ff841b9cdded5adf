// What scenario files can say, as tables for people: see vocabulary.h.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/vocabulary.h"

#include <algorithm>
#include <memory>
#include <string_view>

#include "board/scenario/callNames.h"
#include "board/scenario/meanings.h"
#include "board/scenario/quantity.h"
#include "board/scenario/scenario.h"
#include "board/scenario/tableReader.h"

namespace halvexboard {

namespace {

using Row = std::vector<std::string>;

std::string code(const std::string& text) { return "`" + text + "`"; }

std::string codes(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + code(name);
    return text;
}

/// The first row is the heading.
std::string markdown(const std::vector<Row>& rows) {
    std::string table;
    for (std::size_t at = 0; at < rows.size(); ++at) {
        for (const std::string& cell : rows[at]) table += cell.empty() ? "| " : "| " + cell + " ";
        table += "|\n";
        if (at > 0) continue;
        for (std::size_t column = 0; column < rows[at].size(); ++column) table += "|---";
        table += "|\n";
    }
    return table;
}

/// A board with one interface, for asking the model.
class ExampleBoard {
public:
    ExampleBoard() {
        board_config_defaults(&config_);
        config_.interface_count = 1;
        board_interface_defaults(&config_.interfaces[0], "INTERFACE", 0);
        board_ = board_init(storage_.get(), &config_, nullptr, nullptr);
    }

    const board_config& config() const { return config_; }

    bool isAccepted(const board_event_config& event) {
        board_config trial = config_;
        trial.event_count = 1;
        trial.events[0] = event;
        return board_init(trialStorage_.get(), &trial, nullptr, nullptr) != nullptr;
    }

    std::string costOf(board_call_kind kind, int target, std::uint32_t detail = 0) const {
        board_call call{};
        call.kind = kind;
        call.target = target;
        call.detail = detail;
        return std::to_string(board_call_cost(board_, &call));
    }

private:
    static std::unique_ptr<std::uint64_t[]> storage() {
        return std::make_unique<std::uint64_t[]>(board_size() / sizeof(std::uint64_t) + 1);
    }

    board_config config_{};
    std::unique_ptr<std::uint64_t[]> storage_ = storage(), trialStorage_ = storage();
    board* board_ = nullptr;
};

constexpr int kInterface = BOARD_TARGET_FIRST_INTERFACE;

std::string keysTable() {
    std::vector<Row> rows{{"table", "key", "takes", "default", "meaning"}};
    for (const KnownKey& known : scenarioKeys())
        rows.push_back({known.table == "scenario" ? "(top)" : code(known.table), code(known.key), known.kind,
                        known.otherwise, meaningOf(known.table, known.key)});
    return markdown(rows);
}

std::string kindOf(const board_event_key& key) {
    if (key.unit == BOARD_UNIT_DURATION) return "duration";
    if (key.unit == BOARD_UNIT_PPB) return "ppb";
    return std::to_string(key.least) + " to " + std::to_string(key.most);
}

/// What an event can be aimed at, as the model accepts it.
std::string aimsOf(ExampleBoard& board, board_event_kind kind) {
    board_event_config event{};
    event.kind = kind;
    int shift = 0;
    for (const board_event_key* key = board_event_keys(kind); key->unit != BOARD_UNIT_NONE; ++key, shift += 8)
        event.value |= std::max<std::int64_t>(key->least, 0) << shift;
    std::vector<std::string> names = targetNames(board.config()), accepted;
    const auto isRefused = [&](const std::string& name) {
        event.target = *targetNamed(board.config(), name);
        return !board.isAccepted(event);
    };
    if (std::none_of(names.begin(), names.end(), isRefused)) return "the board";
    std::copy_if(names.begin(), names.end(), std::back_inserter(accepted),
                 [&](const std::string& name) { return !isRefused(name); });
    event.target = BOARD_TARGET_ANY;
    return (board.isAccepted(event) ? "the board, " : "") + codes(accepted);
}

std::string eventsTable() {
    ExampleBoard board;
    std::vector<Row> rows{{"kind", "target", "key", "takes", "default", "meaning"}};
    for (const std::string& name : eventKindNames()) {
        const board_event_kind kind = *eventKindNamed(name);
        rows.push_back({code(name), aimsOf(board, kind), "", "", "", meaningOf("event", name)});
        for (const board_event_key* key = board_event_keys(kind); key->unit != BOARD_UNIT_NONE; ++key)
            rows.push_back({"", "", code(key->name), kindOf(*key),
                            key->otherwise == BOARD_REQUIRED ? "required" : std::to_string(key->otherwise),
                            meaningOf(name, key->name)});
    }
    return markdown(rows);
}

std::string requestsTable() {
    const ExampleBoard board;
    std::vector<Row> rows{{"target", "request", "takes ns"}};
    for (const int target : std::initializer_list<int>{BOARD_TARGET_FERROX, BOARD_TARGET_FPGA, kInterface})
        for (const std::string& name : requestNames(target))
            rows.push_back({code(board_target_name(&board.config(), target)), code(name),
                            board.costOf(BOARD_CALL_IOCTL, target, *requestNamed(target, name))});
    return markdown(rows);
}

std::string costsTable() {
    const ExampleBoard board;
    std::vector<Row> rows{{"call", "takes ns", "on `ferrox`, `fpga`", "on `si514`", "on an interface"}};
    for (const std::string& name : callKindNames()) {
        Row row{code(name)};
        const board_call_kind kind = *callKindNamed(name);
        for (const int target :
             std::initializer_list<int>{BOARD_TARGET_SYSTEM, BOARD_TARGET_FERROX, BOARD_TARGET_SI514, kInterface})
            row.push_back(board.costOf(kind, target));
        rows.push_back(row);
    }
    return markdown(rows);
}

std::string namesTable(const char* heading, const std::vector<std::string>& names) {
    std::vector<Row> rows{{heading, "meaning"}};
    for (const std::string& name : names) rows.push_back({code(name), meaningOf(heading, name)});
    return markdown(rows);
}

const struct {
    const char* topic;
    std::string (*table)();
} kTopics[] = {{"keys", keysTable},
               {"events", eventsTable},
               {"targets", [] { return namesTable("target", targetNames(ExampleBoard().config())); }},
               {"files", [] { return namesTable("file", fileNames()); }},
               {"requests", requestsTable},
               {"costs", costsTable}};

}  // namespace

std::vector<std::string> vocabularyTopics() {
    std::vector<std::string> topics;
    for (const auto& known : kTopics) topics.emplace_back(known.topic);
    return topics;
}

std::string vocabularyTable(const std::string& topic) {
    for (const auto& known : kTopics)
        if (topic == known.topic) return known.table();
    return {};
}

}  // namespace halvexboard
