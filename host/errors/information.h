// What a failed call says about itself: the JSON error information read for people.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace halvexctl {

/// "-52024 zuplaterr_communicationsFault: <message> (<file>:<line>)", as much of it as is known. Reentrant; any text
/// will do.
std::string describeError(std::optional<std::int32_t> code, const std::string& information);

/// The code whose name the information carries under "error_constant".
std::optional<std::int32_t> codeInInformation(const std::string& information);

}  // namespace halvexctl
