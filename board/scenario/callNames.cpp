// Converts names in scenario files to the model's numbers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/callNames.h"

#include <cstring>

namespace halvexboard {

namespace {

constexpr int kLargestErrno = 133;

template <typename Kind>
std::vector<std::string> allNames(int first, int end, const char* (*nameOf)(Kind)) {
    std::vector<std::string> names;
    for (int kind = first; kind < end; ++kind) names.emplace_back(nameOf(static_cast<Kind>(kind)));
    return names;
}

bool isNamed(const char* name, const std::string& wanted) { return name != nullptr && wanted == name; }

template <typename Kind>
std::optional<Kind> kindNamed(const std::string& name, int first, int end, const char* (*nameOf)(Kind)) {
    for (int kind = first; kind < end; ++kind)
        if (isNamed(nameOf(static_cast<Kind>(kind)), name)) return static_cast<Kind>(kind);
    return std::nullopt;
}

}  // namespace

std::optional<board_call_kind> callKindNamed(const std::string& name) {
    return kindNamed(name, 0, BOARD_CALL_KINDS, board_call_kind_name);
}

std::optional<board_file> fileNamed(const std::string& name) {
    return kindNamed(name, 0, BOARD_FILE_KINDS, board_file_name);
}

std::optional<board_event_kind> eventKindNamed(const std::string& name) {
    return kindNamed(name, BOARD_EVENT_NONE + 1, BOARD_EVENT_KINDS, board_event_kind_name);
}

std::optional<int> targetNamed(const board_config& config, const std::string& name) {
    const int target = board_target_find(&config, name.c_str());
    return target > BOARD_TARGET_ANY ? std::optional(target) : std::nullopt;
}

std::optional<std::uint32_t> requestNamed(int target, const std::string& name) {
    const std::uint32_t request = board_request_named(target, name.c_str());
    return request != 0 ? std::optional(request) : std::nullopt;
}

std::optional<std::int32_t> errnoNamed(const std::string& name) {
    for (int error = 1; error <= kLargestErrno; ++error)
        if (isNamed(strerrorname_np(error), name)) return error;
    return std::nullopt;
}

std::vector<std::string> callKindNames() { return allNames(0, BOARD_CALL_KINDS, board_call_kind_name); }
std::vector<std::string> fileNames() { return allNames(0, BOARD_FILE_KINDS, board_file_name); }
std::vector<std::string> eventKindNames() {
    return allNames(BOARD_EVENT_NONE + 1, BOARD_EVENT_KINDS, board_event_kind_name);
}

std::vector<std::string> targetNames(const board_config& config) {
    std::vector<std::string> names;
    for (int target = BOARD_TARGET_FERROX; target <= BOARD_TARGET_NETWORK; ++target)
        names.emplace_back(board_target_name(&config, target));
    for (std::uint32_t at = 0; at < config.interface_count; ++at) names.emplace_back(config.interfaces[at].name);
    return names;
}

std::vector<std::string> requestNames(int target) {
    const bool isDriver = target == BOARD_TARGET_FERROX || target == BOARD_TARGET_FPGA;
    std::vector<std::string> names;
    for (std::uint32_t at = 0, request = 0; (request = board_request_at(target, at)) != 0; ++at)
        names.emplace_back(board_request_name(isDriver ? target : BOARD_TARGET_FIRST_INTERFACE, request));
    return names;
}

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

}  // namespace halvexboard
