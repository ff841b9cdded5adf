// Quantities in human notation.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/quantity.h"

#include <cmath>

namespace halvexboard {

namespace {

struct Unit {
    std::string_view name;
    std::int64_t ns;
};

constexpr Unit kUnits[] = {{"ns", 1},
                           {"us", 1'000},
                           {"ms", 1'000'000},
                           {"s", 1'000'000'000},
                           {"min", 60'000'000'000},
                           {"h", 3'600'000'000'000},
                           {"d", 86'400'000'000'000}};
constexpr std::int64_t kLargestNs = std::int64_t{1} << 62;
constexpr double kLargestPpb = 1e9;

std::optional<std::int64_t> unitOf(std::string_view name) {
    for (const Unit& unit : kUnits)
        if (unit.name == name) return unit.ns;
    return std::nullopt;
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
    return text;
}

bool isDigit(char character) { return character >= '0' && character <= '9'; }

// Splits the leading digits off the text.
std::string_view takeDigits(std::string_view& text) {
    std::size_t count = 0;
    while (count < text.size() && isDigit(text[count])) ++count;
    const std::string_view digits = text.substr(0, count);
    text.remove_prefix(count);
    return digits;
}

std::optional<std::int64_t> wholePart(std::string_view digits, std::int64_t unitNs) {
    std::int64_t value = 0;
    for (const char digit : digits) {
        if (value > (kLargestNs / unitNs - (digit - '0')) / 10) return std::nullopt;
        value = value * 10 + (digit - '0');
    }
    return value * unitNs;
}

// Decimals of a unit; empty if they are finer than 1 ns.
std::optional<std::int64_t> fraction(std::string_view digits, std::int64_t unitNs) {
    std::int64_t value = 0;
    for (const char digit : digits) {
        const bool isDivisible = unitNs % 10 == 0;
        if (!isDivisible && digit != '0') return std::nullopt;
        unitNs = isDivisible ? unitNs / 10 : unitNs;
        value += (digit - '0') * unitNs;
    }
    return value;
}

}  // namespace

std::optional<std::int64_t> parseDuration(std::string_view text) {
    text = trimmed(text);
    const bool isNegative = !text.empty() && text.front() == '-';
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
    const std::string_view whole = takeDigits(text);
    std::string_view decimals;
    if (!text.empty() && text.front() == '.') {
        text.remove_prefix(1);
        decimals = takeDigits(text);
    }
    const auto unitNs = unitOf(trimmed(text));
    if (whole.empty() || !unitNs) return std::nullopt;
    const auto wholeNs = wholePart(whole, *unitNs);
    const auto fractionNs = fraction(decimals, *unitNs);
    if (!wholeNs || !fractionNs) return std::nullopt;
    const std::int64_t valueNs = *wholeNs + *fractionNs;
    return isNegative ? -valueNs : valueNs;
}

std::string durationText(std::int64_t ns) {
    constexpr std::size_t kSeconds = 3;
    std::size_t unit = ns == 0 ? 0 : kSeconds;
    while (ns % kUnits[unit].ns != 0) --unit;
    return std::to_string(ns / kUnits[unit].ns) + " " + std::string(kUnits[unit].name);
}

std::optional<std::int64_t> ppbToPpt(double ppb) {
    if (!(ppb >= -kLargestPpb && ppb <= kLargestPpb)) return std::nullopt;
    return std::llround(ppb * 1000);
}

}  // namespace halvexboard
