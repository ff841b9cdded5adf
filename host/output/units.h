// Parses and formats times, offsets, durations and frequencies with units; exact, without floating point.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace halvexctl {

inline constexpr std::int64_t kNsPerSecond = 1'000'000'000;

/// Reentrant. A blank may stand before the unit, as in the printed texts. Parsing throws UsageError with a sentence
/// that quotes the text and says what was expected.

std::int64_t readOffsetNs(std::string_view text);       ///< "+1.5ms", "-399ns"; the unit (ns, us, ms, s) is required.
std::int64_t readDurationNs(std::string_view text);     ///< "2s", "10min"; a bare number is in seconds; never negative.
std::int32_t readCorrectionPpb(std::string_view text);  ///< "-1250", "-1250ppb", "12.5ppm"; whole ppb only.
std::int32_t readErrorCode(std::string_view text);      ///< "-52024"; below 0.

bool isUnit(std::string_view word);  ///< "ms", "ppb".

std::uint64_t readCount(std::string_view text);  ///< "7"; above 0.

/// The number at the start of `text`, even if other characters follow; empty if there is none.
template <typename Number, typename... Base>
std::optional<Number> leadingNumber(std::string_view text, Base... base) {
    Number value{};
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value, base...);
    return read.ec == std::errc() ? std::optional(value) : std::nullopt;
}

std::string offsetText(std::int64_t offsetNs);      ///< In the largest unit that fits, signed: "+1.5 ms"; exact.
std::string durationText(std::int64_t durationNs);  ///< As offsetText, without a plus sign.
std::string isoTimeText(std::uint64_t timeNs);      ///< "2025-11-20T13:29:15.000000001Z".

}  // namespace halvexctl
