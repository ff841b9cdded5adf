// Reads the keys of one TOML table.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/tableReader.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

#include "board/scenario/callNames.h"
#include "board/scenario/quantity.h"
#include "board/scenario/scenario.h"

namespace halvexboard {

namespace {

std::string inQuotes(std::string_view text) {
    std::string quoted = "\"";
    for (const char character : text) quoted += character == '\n' ? "\\n" : std::string(1, character);
    return quoted + "\"";
}

std::string decimal(double number) {
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, number, std::chars_format::fixed).ptr;
    return {digits, end};
}

}  // namespace

TableReader::TableReader(const toml::table& table, std::string name, std::string source,
                         std::vector<KnownKey>* described)
    : table_(table), name_(std::move(name)), source_(std::move(source)), described_(described) {}

std::uint32_t TableReader::line() const { return table_.source().begin.line; }

void TableReader::refuse(const char* key, const std::string& why) const {
    const toml::node* const found = table_.get(key);
    const std::uint32_t at = found != nullptr ? found->source().begin.line : line();
    throw ScenarioError(source_ + ":" + std::to_string(at) + ": " + name_ + ": " + key + " " + why);
}

void TableReader::refuse(const std::string& why) const {
    throw ScenarioError(source_ + ":" + std::to_string(line()) + ": " + name_ + ": " + why);
}

const toml::node* TableReader::node(const char* key) {
    known_.emplace_back(key);
    return table_.get(key);
}

bool TableReader::has(const char* key) const { return table_.contains(key); }

void TableReader::describe(const char* key, const std::string& kind, const std::string& otherwise) {
    if (described_ == nullptr) return;
    const auto isThis = [&](const KnownKey& known) { return known.table == name_ && known.key == key; };
    if (std::any_of(described_->begin(), described_->end(), isThis)) return;
    const bool isRequired = std::find(required_.begin(), required_.end(), key) != required_.end();
    described_->push_back({name_, key, kind, isRequired ? "required" : otherwise});
}

void TableReader::require(const char* key) {
    required_.emplace_back(key);
    if (!has(key)) refuse(std::string(key) + " is missing");
}

void TableReader::duration(const char* key, std::int64_t& target, std::int64_t least) {
    describe(key, least < 0 ? "duration" : "duration, not negative", durationText(target));
    const toml::node* const found = node(key);
    if (found == nullptr) return;
    const auto text = found->value_exact<std::string>();
    const auto parsed = text ? parseDuration(*text) : std::nullopt;
    if (!parsed) refuse(key, "must be a duration with a unit, such as \"1.5 ms\"");
    if (*parsed < least) refuse(key, "cannot be negative");
    target = *parsed;
}

void TableReader::delay(const char* key, std::uint64_t& target) {
    auto value = static_cast<std::int64_t>(target);
    duration(key, value, 0);
    target = static_cast<std::uint64_t>(value);
}

void TableReader::ppb(const char* key, std::int64_t& targetPpt) {
    describe(key, "ppb", decimal(static_cast<double>(targetPpt) / 1000));
    const toml::node* const found = node(key);
    if (found == nullptr) return;
    const auto number = found->is_number() ? found->value<double>() : std::nullopt;
    const auto ppt = number ? ppbToPpt(*number) : std::nullopt;
    if (!ppt) refuse(key, "must be a number of ppb");
    targetPpt = *ppt;
}

void TableReader::flag(const char* key, std::uint8_t& target) {
    describe(key, "true or false", target != 0 ? "true" : "false");
    const toml::node* const found = node(key);
    if (found == nullptr) return;
    const auto value = found->value_exact<bool>();
    if (!value) refuse(key, "must be true or false");
    target = *value ? 1 : 0;
}

std::int64_t TableReader::integer(const char* key, std::int64_t otherwise, std::int64_t least, std::int64_t most) {
    describe(key, std::to_string(least) + " to " + std::to_string(most), std::to_string(otherwise));
    const toml::node* const found = node(key);
    if (found == nullptr) return otherwise;
    const auto value = found->value_exact<std::int64_t>();
    if (!value || *value < least || *value > most)
        refuse(key, "must be an integer from " + std::to_string(least) + " to " + std::to_string(most));
    return *value;
}

std::string TableReader::text(const char* key, const std::string& otherwise) {
    describe(key, "text", inQuotes(otherwise));
    const toml::node* const found = node(key);
    if (found == nullptr) return otherwise;
    const auto value = found->value_exact<std::string>();
    if (!value) refuse(key, "must be a text");
    return *value;
}

void TableReader::copyCharacters(const char* key, char* target, std::size_t size, const std::string& suffix) {
    describe(key, "text, up to " + std::to_string(size - 1 - suffix.size()) + " characters", inQuotes(target));
    if (!has(key)) {
        known_.emplace_back(key);
        return;
    }
    std::string value = text(key, "");
    if (!value.ends_with(suffix)) value += suffix;
    if (value.size() >= size) refuse(key, "is longer than " + std::to_string(size - 1) + " characters");
    if (value.find('\0') != std::string::npos) refuse(key, "cannot hold a zero character");
    std::memset(target, 0, size);
    std::memcpy(target, value.data(), value.size());
}

void TableReader::finish() const {
    for (const auto& [key, value] : table_)
        if (std::find(known_.begin(), known_.end(), key.str()) == known_.end())
            throw ScenarioError(source_ + ":" + std::to_string(key.source().begin.line) + ": " + name_ +
                                ": unknown key '" + std::string(key.str()) + "'; known are " +
                                joined({known_.begin(), known_.end()}));
}

}  // namespace halvexboard
