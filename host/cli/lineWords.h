// One line of input cut into words, with quotes as a shell has them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace halvexctl {

/// Blanks part words; '...' and "..." keep them together; a backslash outside '...' takes the next character as it is;
/// an unquoted # at the start of a word ends the line. Throws UsageError when a quote stays open.
std::vector<std::string> cutWords(std::string_view line);

}  // namespace halvexctl
