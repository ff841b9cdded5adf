// The report's page as it is built into the program.
#pragma once

#include <string_view>

namespace halvexctl {

/// Complete except for the data, whose place is marked.
std::string_view embeddedPage() noexcept;

}  // namespace halvexctl
