// The error codes of the timekeeper and the names its error information carries for them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace halvexctl {

std::string_view errorName(std::int32_t code);  ///< Empty when the code has no name.
std::optional<std::int32_t> errorCodeOf(std::string_view name);

}  // namespace halvexctl
