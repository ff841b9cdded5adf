// Splits a line of input into words, with shell-like quotes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace halvexctl {

/// Blanks separate words; '...' and "..." group them; a backslash outside '...' escapes the next character; an unquoted
/// # at the start of a word begins a comment. Throws UsageError for an unclosed quote.
std::vector<std::string> cutWords(std::string_view line);

}  // namespace halvexctl
