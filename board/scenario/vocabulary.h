// What scenario files can say, as tables for people.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>
#include <vector>

namespace halvexboard {

/// "keys", "events", "requests", "costs", "files", "targets".
std::vector<std::string> vocabularyTopics();

/// One topic as a table in Markdown, made from what the reader and the model accept; docs/board.md holds the same
/// bytes. Empty for an unknown topic.
std::string vocabularyTable(const std::string& topic);

}  // namespace halvexboard
