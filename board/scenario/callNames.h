// Converts names in scenario files to the model's numbers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "board/model/board.h"

namespace halvexboard {

std::optional<board_call_kind> callKindNamed(const std::string& name);
std::optional<board_file> fileNamed(const std::string& name);
std::optional<board_event_kind> eventKindNamed(const std::string& name);
/// "ferrox", "fpga", "system", "si514", "phc2sys", "network", or the name of a configured interface.
std::optional<int> targetNamed(const board_config& config, const std::string& name);
/// A driver method or an interface request; methods of Ferrox and FPGA require that target.
std::optional<std::uint32_t> requestNamed(int target, const std::string& name);
std::optional<std::int32_t> errnoNamed(const std::string& name);  ///< "EIO"

// What each of the functions above knows, in the model's order.
std::vector<std::string> callKindNames();
std::vector<std::string> fileNames();
std::vector<std::string> eventKindNames();
std::vector<std::string> targetNames(const board_config& config);
std::vector<std::string> requestNames(int target);
std::string joined(const std::vector<std::string>& names);  ///< "a, b, c"

}  // namespace halvexboard
