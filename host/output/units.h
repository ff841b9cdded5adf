// Times, offsets, durations and frequencies with their units, in and out; exact, without floating point.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace halvexctl {

/// Reentrant. Reading throws UsageError with a sentence that repeats the text and says what was expected.

std::int64_t readOffsetNs(std::string_view text);    ///< "+1.5ms", "-399ns"; the unit (ns, us, ms, s) is required.
std::int64_t readDurationNs(std::string_view text);  ///< "2s", "250ms"; a bare number counts seconds; never negative.
std::int32_t readCorrectionPpb(std::string_view text);  ///< "-1250", "-1250ppb", "12.5ppm"; whole ppb only.
std::int32_t readErrorCode(std::string_view text);      ///< "-52024"; below 0.

std::string offsetText(std::int64_t offsetNs);      ///< In the largest unit that fits, signed: "+1.5 ms"; exact.
std::string durationText(std::int64_t durationNs);  ///< As offsetText, without a plus sign.
std::string isoTimeText(std::uint64_t timeNs);      ///< "2025-11-20T13:29:15.000000001Z".

}  // namespace halvexctl
