// What halvexboard prints about itself: lists for people, completion for shells.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

namespace halvexboard {

/// What scenarios can say about `topic`, or about every topic. Throws UsageError naming the topics.
std::string listText(const std::string& topic);

/// A script of completions for "bash", "zsh" or "fish". Throws UsageError for another shell.
std::string completionFor(const std::string& shell);

}  // namespace halvexboard
