// Formats the JSON error information of a failed call for people.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace halvexctl {

/// "-52024 zuplaterr_communicationsFault: <message> (<file>:<line>)", as far as known. Without a message it
/// shows what the place stands for, without a name what the code does. Reentrant; accepts any text.
std::string describeError(std::optional<std::int32_t> code, const std::string& information);

/// The code named by "error_constant" in the information.
std::optional<std::int32_t> codeInInformation(const std::string& information);

}  // namespace halvexctl
