// Help texts, generated from the table of verbs and options.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace halvexctl {

struct Verb;

std::string helpText(std::span<const Verb> verbs);  ///< All options and verbs.
std::string verbHelpText(const Verb& verb);

/// The help of the last verb among the words, or the complete help.
std::string helpAskedFor(std::span<const std::string> words, std::span<const Verb> verbs);

std::string usageOf(const Verb& verb);  ///< "step OFFSET".

/// Wraps sentences into lines of at most `width` columns, each indented by `indent`; ends with a newline. Reentrant.
std::string wrapped(std::string_view text, std::string_view indent, std::size_t width);

}  // namespace halvexctl
