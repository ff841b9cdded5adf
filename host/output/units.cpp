// Parses and formats times, offsets, durations and frequencies with units; exact, without floating point.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/output/units.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>
#include <optional>
#include <span>

#include "host/cli/usageError.h"

namespace halvexctl {
namespace {

struct Unit {
    std::string_view name;
    std::uint64_t factor;  // in the smallest unit
};

constexpr std::array<Unit, 10> kDurationUnits{{{"ns", 1},
                                               {"us", 1'000},
                                               {"\u00b5s", 1'000},  // the micro sign
                                               {"\u03bcs", 1'000},  // the Greek letter
                                               {"ms", 1'000'000},
                                               {"s", 1'000'000'000},
                                               {"sec", 1'000'000'000},
                                               {"min", 60'000'000'000},
                                               {"h", 3'600'000'000'000},
                                               {"d", 86'400'000'000'000}}};
constexpr auto kOffsetUnits = std::span(kDurationUnits).first<7>();
constexpr std::array<Unit, 2> kFrequencyUnits{{{"ppb", 1}, {"ppm", 1'000}}};
constexpr std::array<Unit, 1> kNoUnit{{{"", 1}}};

constexpr std::uint64_t kMaxPositive = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// A decimal number split into its parts.
struct Decimal {
    bool negative = false;
    std::string_view whole;
    std::string_view fraction;
    std::string_view unit;
};

std::optional<Decimal> cutDecimal(std::string_view text) {
    Decimal parts;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        parts.negative = text.front() == '-';
        text.remove_prefix(1);
    }
    const auto takeDigits = [&text] {
        std::size_t length = 0;
        while (length < text.size() && isDigit(text[length])) {
            ++length;
        }
        const std::string_view digits = text.substr(0, length);
        text.remove_prefix(length);
        return digits;
    };
    parts.whole = takeDigits();
    if (!text.empty() && text.front() == '.') {
        text.remove_prefix(1);
        parts.fraction = takeDigits();
    }
    if (parts.whole.empty() && parts.fraction.empty()) {
        return std::nullopt;
    }
    if (text.starts_with(' ')) {
        text.remove_prefix(1);
    }
    parts.unit = text;
    return parts;
}

/// whole.fraction times factor; empty if too large. `inexact` reports a remainder below 1.
std::optional<std::uint64_t> multiply(const Decimal& number, std::uint64_t factor, bool& inexact) {
    std::uint64_t value = 0;
    for (const char digit : number.whole) {
        if (__builtin_mul_overflow(value, std::uint64_t{10}, &value) ||
            __builtin_add_overflow(value, static_cast<std::uint64_t>(digit - '0'), &value)) {
            return std::nullopt;
        }
    }
    if (__builtin_mul_overflow(value, factor, &value)) {
        return std::nullopt;
    }
    inexact = false;
    for (const char digit : number.fraction) {
        const bool tooFine = factor % 10 != 0;
        factor /= 10;
        if (tooFine || factor == 0) {
            inexact = inexact || digit != '0';
            factor = 0;
        } else if (__builtin_add_overflow(value, static_cast<std::uint64_t>(digit - '0') * factor, &value)) {
            return std::nullopt;
        }
    }
    return value;
}

/// Parses a signed number in the smallest unit. `bareFactor` 0: the unit is required.
std::int64_t readNumber(std::string_view text, std::span<const Unit> units, std::uint64_t bareFactor,
                        std::string_view what, std::string_view unitNames) {
    const std::optional<Decimal> number = cutDecimal(text);
    if (!number) {
        throw UsageError(fmt::format("\"{}\" is not {}: a number was expected, unit {}", text, what, unitNames));
    }
    std::uint64_t factor = number->unit.empty() ? bareFactor : 0;
    for (const Unit& unit : units) {
        if (unit.name == number->unit) {
            factor = unit.factor;
        }
    }
    if (factor == 0) {
        throw UsageError(number->unit.empty()
                             ? fmt::format("\"{}\" lacks its unit: {}", text, unitNames)
                             : fmt::format("\"{}\" has the unknown unit \"{}\": {}", text, number->unit, unitNames));
    }
    bool inexact = false;
    const std::optional<std::uint64_t> magnitude = multiply(*number, factor, inexact);
    if (inexact) {
        throw UsageError(fmt::format("\"{}\" is finer than 1 {}", text, units.front().name));
    }
    if (!magnitude || *magnitude > kMaxPositive + (number->negative ? 1 : 0)) {
        throw UsageError(fmt::format("\"{}\" is too large", text));
    }
    return static_cast<std::int64_t>(number->negative ? 0 - *magnitude : *magnitude);
}

std::int32_t narrow(std::int64_t value, std::string_view text) {
    if (value < std::numeric_limits<std::int32_t>::min() || value > std::numeric_limits<std::int32_t>::max()) {
        throw UsageError(fmt::format("\"{}\" is too large", text));
    }
    return static_cast<std::int32_t>(value);
}

std::string magnitudeText(std::uint64_t ns) {
    static constexpr std::array<Unit, 4> kLargestFirst{
        {{"s", 1'000'000'000}, {"ms", 1'000'000}, {"us", 1'000}, {"ns", 1}}};
    for (const Unit& unit : kLargestFirst) {
        if (ns >= unit.factor && unit.factor > 1) {
            const auto digits = unit.factor == 1'000 ? 3 : unit.factor == 1'000'000 ? 6 : 9;
            std::string fraction = fmt::format("{:0{}}", ns % unit.factor, digits);
            fraction.erase(fraction.find_last_not_of('0') + 1);
            return fmt::format("{}{}{} {}", ns / unit.factor, fraction.empty() ? "" : ".", fraction, unit.name);
        }
    }
    return fmt::format("{} ns", ns);
}

std::uint64_t magnitudeOf(std::int64_t value) {
    return value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
}

}  // namespace

std::int64_t readOffsetNs(std::string_view text) {
    return readNumber(text, kOffsetUnits, 0, "an offset", "ns, us, ms or s");
}

std::int64_t readDurationNs(std::string_view text) {
    const std::int64_t durationNs =
        readNumber(text, kDurationUnits, kNsPerSecond, "a duration", "ns, us, ms, s, min, h or d");
    if (durationNs < 0) {
        throw UsageError(fmt::format("\"{}\" is not a duration: it is negative", text));
    }
    return durationNs;
}

std::int32_t readCorrectionPpb(std::string_view text) {
    return narrow(readNumber(text, kFrequencyUnits, 1, "a correction", "ppb or ppm"), text);
}

std::int32_t readErrorCode(std::string_view text) {
    const std::int32_t code = narrow(readNumber(text, kNoUnit, 1, "a code", "none"), text);
    if (code >= 0) {
        throw UsageError(fmt::format("\"{}\" is not an error code: errors are below 0", text));
    }
    return code;
}

bool isUnit(std::string_view word) {
    const auto has = [word](std::span<const Unit> units) {
        return std::ranges::find(units, word, &Unit::name) != units.end();
    };
    return has(kDurationUnits) || has(kFrequencyUnits);
}

std::uint64_t readCount(std::string_view text) {
    std::uint64_t count = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), count);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size() || count == 0) {
        throw UsageError(fmt::format("\"{}\" is not a count: expected a whole number above 0", text));
    }
    return count;
}

std::string offsetText(std::int64_t offsetNs) {
    const char* sign = offsetNs < 0 ? "-" : offsetNs > 0 ? "+" : "";
    return sign + magnitudeText(magnitudeOf(offsetNs));
}

std::string durationText(std::int64_t durationNs) {
    return (durationNs < 0 ? "-" : "") + magnitudeText(magnitudeOf(durationNs));
}

std::string isoTimeText(std::uint64_t timeNs) {
    using namespace std::chrono;
    const auto wholeSeconds = static_cast<std::int64_t>(timeNs / kNsPerSecond);
    const sys_seconds instant{seconds{wholeSeconds}};
    const sys_days day = floor<days>(instant);
    const year_month_day date{day};
    const hh_mm_ss<seconds> clock{instant - day};
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:09}Z", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), clock.hours().count(),
                       clock.minutes().count(), clock.seconds().count(), timeNs % kNsPerSecond);
}

}  // namespace halvexctl
