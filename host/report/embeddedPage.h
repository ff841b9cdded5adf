// The report's page, embedded in the program.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string_view>

namespace halvexctl {

/// Complete except for the data, whose place is marked.
std::string_view embeddedPage() noexcept;

}  // namespace halvexctl
