// What the keys, events, targets and files of scenarios mean, in a phrase each.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>
#include <string_view>

namespace halvexboard {

/// `group` is a table as the reader names it ("[ferrox]"), "event", "target", "file", or a kind of event for its keys.
/// Throws std::out_of_range for what has no meaning yet.
std::string meaningOf(std::string_view group, std::string_view name);

}  // namespace halvexboard
