// Scenario files: what a board is like and what happens to it, as TOML.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#ifndef HALVEX_BOARD_SCENARIO_SCENARIO_H
#define HALVEX_BOARD_SCENARIO_SCENARIO_H

#include <stdexcept>
#include <string>
#include <string_view>

#include "board/model/board.h"

namespace halvexboard {

/// A scenario cannot be used; the message is "file:line: table: what is wrong".
class ScenarioError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Scenario {
    std::string title;
    board_config config;  ///< Accepted by board_init.
};

/// Reads a scenario from text; `source` is what messages call it. An empty text is a board without interfaces. Throws
/// ScenarioError for broken TOML, unknown keys, values of the wrong kind or out of range.
Scenario parseScenario(std::string_view text, const std::string& source);
Scenario loadScenario(const std::string& path);

}  // namespace halvexboard

#endif
