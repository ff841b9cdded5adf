// Reads the events, faults and costs of a scenario: the keys of each.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/happeningReader.h"

#include "board/scenario/callNames.h"

namespace halvexboard {

namespace {

constexpr std::int64_t kMostInt32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kLeastInt32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kMostTimes = static_cast<std::int64_t>(BOARD_FOREVER) - 1;

int readTarget(TableReader& reader, const board_config& config) {
    reader.describe("target", "a target", "the board, or any target");
    const std::string name = reader.text("target", "");
    if (!reader.has("target")) return BOARD_TARGET_ANY;
    const auto target = targetNamed(config, name);
    if (!target) reader.refuse("target", "'" + name + "' is not part of the board: " + joined(targetNames(config)));
    return *target;
}

board_call_kind readCallKind(TableReader& reader) {
    reader.describe("call", "a call", "any");
    const std::string name = reader.text("call", "any");
    const auto kind = callKindNamed(name);
    if (!kind) reader.refuse("call", "'" + name + "' is not a call of the board: " + joined(callKindNames()));
    return *kind;
}

// A name, or a number for a request without a name.
bool readRequest(TableReader& reader, int target, std::uint32_t& detail) {
    reader.describe("request", "a request, or its number", "any");
    const toml::node* const found = reader.node("request");
    if (found == nullptr) return false;
    if (found->is_integer()) {
        detail = static_cast<std::uint32_t>(reader.integer("request", 0, 0, 0xFFFFFFFFLL));
        return true;
    }
    const std::string name = reader.text("request", "");
    const auto request = requestNamed(target, name);
    if (!request)
        reader.refuse("request", "'" + name + "' is not a request of that target: " + joined(requestNames(target)));
    detail = *request;
    return true;
}

std::int32_t readError(TableReader& reader) {
    reader.describe("error", "errno's name or number", "none");
    const toml::node* const found = reader.node("error");
    if (found == nullptr) return 0;
    if (found->is_integer()) return static_cast<std::int32_t>(reader.integer("error", 0, 1, 4095));
    const std::string name = reader.text("error", "");
    const auto error = errnoNamed(name);
    if (!error) reader.refuse("error", "'" + name + "' is not an errno");
    return *error;
}

std::uint32_t readTimes(TableReader& reader) {
    reader.describe("times", "1 to " + std::to_string(kMostTimes) + ", or \"forever\"", "1");
    const toml::node* const found = reader.node("times");
    if (found != nullptr && found->is_string()) {
        if (reader.text("times", "") != "forever") reader.refuse("times", "must be a number or \"forever\"");
        return BOARD_FOREVER;
    }
    return static_cast<std::uint32_t>(reader.integer("times", 1, 1, kMostTimes));
}

std::int64_t readKey(TableReader& reader, const board_event_key& key) {
    if (key.otherwise == BOARD_REQUIRED) reader.require(key.name);
    std::int64_t value = key.otherwise;
    if (key.unit == BOARD_UNIT_DURATION)
        reader.duration(key.name, value, key.least);
    else if (key.unit == BOARD_UNIT_PPB)
        reader.ppb(key.name, value);
    else
        value = reader.integer(key.name, key.otherwise, key.least, key.most);
    return value;
}

void readEventValue(TableReader& reader, board_event_config& event) {
    int shift = 0;
    for (const board_event_key* key = board_event_keys(event.kind); key->unit != BOARD_UNIT_NONE; ++key, shift += 8)
        event.value |= readKey(reader, *key) << shift;
}

// At least one of error, short_count, driver_status, delay, kills; at most one of the first three.
void checkOutcome(const TableReader& reader) {
    const int outcomes = static_cast<int>(reader.has("error")) + static_cast<int>(reader.has("short_count")) +
                         static_cast<int>(reader.has("driver_status"));
    if (outcomes > 1) reader.refuse("only one of error, short_count and driver_status can be given");
    if (outcomes == 0 && !reader.has("delay") && !reader.has("kills"))
        reader.refuse("one of error, short_count, driver_status, delay and kills is missing");
}

}  // namespace

void readEvent(TableReader& reader, const board_config& config, board_event_config& event) {
    reader.require("at");
    reader.require("kind");
    reader.delay("at", event.at_ns);
    reader.describe("kind", "a kind of event", "");
    const std::string name = reader.text("kind", "");
    const auto kind = eventKindNamed(name);
    if (!kind) reader.refuse("kind", "'" + name + "' is not a kind of event: " + joined(eventKindNames()));
    event.kind = *kind;
    event.target = readTarget(reader, config);
    readEventValue(reader, event);
}

void readFault(TableReader& reader, const board_config& config, board_fault_config& fault) {
    reader.require("call");
    fault.kind = readCallKind(reader);
    fault.target = readTarget(reader, config);
    reader.describe("file", "a file", "any");
    const std::string file = reader.text("file", "any");
    const auto known = fileNamed(file);
    if (!known) reader.refuse("file", "'" + file + "' is not a file of the board: " + joined(fileNames()));
    fault.file = *known;
    fault.has_detail = readRequest(reader, fault.target, fault.detail) ? 1 : 0;
    reader.delay("from", fault.from_ns);
    fault.nth = static_cast<std::uint32_t>(reader.integer("nth", 1, 1, kMostTimes));
    fault.times = readTimes(reader);
    checkOutcome(reader);
    fault.error = readError(reader);
    reader.describe("short_count", "0 to " + std::to_string(kMostInt32), "none");
    reader.describe("driver_status", std::to_string(kLeastInt32) + " to " + std::to_string(kMostInt32), "none");
    fault.has_short_count = reader.has("short_count") ? 1 : 0;
    fault.short_count = static_cast<std::int32_t>(reader.integer("short_count", 0, 0, kMostInt32));
    fault.driver_status = static_cast<std::int32_t>(reader.integer("driver_status", 0, kLeastInt32, kMostInt32));
    reader.delay("delay", fault.delay_ns);
    reader.flag("kills", fault.kills);
}

void readCost(TableReader& reader, const board_config& config, board_cost_config& cost) {
    reader.require("call");
    reader.require("takes");
    cost.kind = readCallKind(reader);
    cost.target = readTarget(reader, config);
    cost.has_detail = readRequest(reader, cost.target, cost.detail) ? 1 : 0;
    reader.delay("takes", cost.cost_ns);
}

}  // namespace halvexboard
