// Shell completion, generated from the table of verbs and options.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>
#include <string_view>

namespace halvexctl {

std::string completionFor(std::string_view shell);  ///< bash, zsh or fish; empty for any other. Reentrant.

}  // namespace halvexctl
