// Converts names in scenario files to the model's numbers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/callNames.h"

#include <cstring>

#include "board/wire/driver.h"
#include "board/wire/netInterface.h"
#include "board/wire/ptp.h"

namespace halvexboard {

namespace {

constexpr int kLargestErrno = 133;

constexpr std::uint32_t kRequests[] = {BOARD_WIRE_PTP_GETCAPS,
                                       BOARD_WIRE_PTP_EXTTS_REQUEST,
                                       BOARD_WIRE_PTP_SYS_OFFSET,
                                       BOARD_WIRE_PTP_PIN_GETFUNC,
                                       BOARD_WIRE_PTP_PIN_SETFUNC,
                                       BOARD_WIRE_PTP_SYS_OFFSET_EXTENDED,
                                       BOARD_WIRE_PTP_GETCAPS2,
                                       BOARD_WIRE_PTP_EXTTS_REQUEST2,
                                       BOARD_WIRE_PTP_PIN_GETFUNC2,
                                       BOARD_WIRE_PTP_PIN_SETFUNC2,
                                       BOARD_WIRE_SIOCETHTOOL,
                                       BOARD_WIRE_SIOCGIFFLAGS,
                                       BOARD_WIRE_FERROX_GET_TIME,
                                       BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL,
                                       BOARD_WIRE_FERROX_GET_EPOCH_TIMESTAMP,
                                       BOARD_WIRE_FERROX_ADJUST_TIME,
                                       BOARD_WIRE_FERROX_GET_TIME_OFFSET,
                                       BOARD_WIRE_FPGA_ADJUST_TIME,
                                       BOARD_WIRE_FPGA_SET_STATUS_INFO,
                                       BOARD_WIRE_FPGA_GET_TIME,
                                       BOARD_WIRE_FPGA_GET_EPOCH_TIMESTAMP};

constexpr struct {
    const char* name;
    int target;
} kFixed[] = {{"ferrox", BOARD_TARGET_FERROX}, {"fpga", BOARD_TARGET_FPGA},       {"system", BOARD_TARGET_SYSTEM},
              {"si514", BOARD_TARGET_SI514},   {"phc2sys", BOARD_TARGET_PHC2SYS}, {"network", BOARD_TARGET_NETWORK}};

bool isNamed(const char* name, const std::string& wanted) { return name != nullptr && wanted == name; }

}  // namespace

std::optional<board_call_kind> callKindNamed(const std::string& name) {
    for (int kind = 0; kind < BOARD_CALL_KINDS; ++kind)
        if (isNamed(board_call_kind_name(static_cast<board_call_kind>(kind)), name))
            return static_cast<board_call_kind>(kind);
    return std::nullopt;
}

std::optional<board_file> fileNamed(const std::string& name) {
    for (int file = 0; file < BOARD_FILE_KINDS; ++file)
        if (isNamed(board_file_name(static_cast<board_file>(file)), name)) return static_cast<board_file>(file);
    return std::nullopt;
}

std::optional<board_event_kind> eventKindNamed(const std::string& name) {
    for (int kind = BOARD_EVENT_NONE + 1; kind < BOARD_EVENT_KINDS; ++kind)
        if (isNamed(board_event_kind_name(static_cast<board_event_kind>(kind)), name))
            return static_cast<board_event_kind>(kind);
    return std::nullopt;
}

std::optional<int> targetNamed(const board_config& config, const std::string& name) {
    for (const auto& fixed : kFixed)
        if (name == fixed.name) return fixed.target;
    for (int interface = 0; interface < static_cast<int>(config.interface_count); ++interface)
        if (name == config.interfaces[interface].name) return BOARD_TARGET_INTERFACE(interface);
    return std::nullopt;
}

std::string targetName(const board_config& config, int target) {
    for (const auto& fixed : kFixed)
        if (target == fixed.target) return fixed.name;
    return target == BOARD_TARGET_ANY ? "board" : config.interfaces[target - BOARD_TARGET_FIRST_INTERFACE].name;
}

// Interface requests are the same for all interfaces: any interface will do.
std::optional<std::uint32_t> requestNamed(int target, const std::string& name) {
    const bool isDriver = target == BOARD_TARGET_FERROX || target == BOARD_TARGET_FPGA;
    for (const std::uint32_t request : kRequests)
        if (isNamed(board_request_name(isDriver ? target : BOARD_TARGET_FIRST_INTERFACE, request), name))
            return request;
    return std::nullopt;
}

std::optional<std::int32_t> errnoNamed(const std::string& name) {
    for (int error = 1; error <= kLargestErrno; ++error)
        if (isNamed(strerrorname_np(error), name)) return error;
    return std::nullopt;
}

}  // namespace halvexboard
