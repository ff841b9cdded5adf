// Scenario files: a board and its events, as TOML.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "board/model/board.h"

namespace halvexboard {

/// Invalid scenario; the message is "file:line: table: what is wrong".
class ScenarioError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct KnownKey;

struct Scenario {
    std::string title;
    board_config config;  ///< Accepted by board_init.
};

/// Reads a scenario from text; messages name it `source`. An empty text is a board without interfaces. Throws
/// ScenarioError for invalid TOML, unknown keys, values of the wrong kind or out of range.
Scenario parseScenario(std::string_view text, const std::string& source);
Scenario loadScenario(const std::string& path);

/// Every key that parseScenario knows, table by table; the keys of kinds of events are the model's (board_event_keys).
std::vector<KnownKey> scenarioKeys();

}  // namespace halvexboard
