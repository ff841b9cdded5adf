// Reads the events, faults and costs of a scenario.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/model/board.h"
#include "board/scenario/tableReader.h"

namespace halvexboard {

// Each fills one entry from one table and throws ScenarioError; the configuration's interfaces must have been read.
void readEvent(TableReader& reader, const board_config& config, board_event_config& event);
void readFault(TableReader& reader, const board_config& config, board_fault_config& fault);
void readCost(TableReader& reader, const board_config& config, board_cost_config& cost);

}  // namespace halvexboard
