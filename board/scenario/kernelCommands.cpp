// A scenario as commands for the kernel's board: the differences to the defaults, by the names in configKeys.h.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/kernelCommands.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "board/model/configKeys.h"
#include "board/scenario/callNames.h"
#include "board/scenario/scenario.h"

namespace halvexboard {

namespace {

/// One configuration value by name.
template <typename Structure>
struct Key {
    const char* name;
    std::int64_t (*value)(const Structure&);
};

template <typename Structure>
std::vector<Key<Structure>> keys();

#define HALVEX_KEY(name, member) {name, [](const auto& from) { return static_cast<std::int64_t>(from.member); }},

template <>
std::vector<Key<board_config>> keys() {
    return {BOARD_KEYS(HALVEX_KEY)};
}

template <>
std::vector<Key<board_interface_config>> keys() {
    return {BOARD_INTERFACE_KEYS(HALVEX_KEY)};
}

template <>
std::vector<Key<board_fault_config>> keys() {
    return {BOARD_FAULT_KEYS(HALVEX_KEY)};
}

#undef HALVEX_KEY

class Commands {
public:
    void add(const std::string& text, std::uint64_t atNs = 0) { all_.push_back({atNs, text}); }

    template <typename Structure>
    void addDifferences(const std::string& prefix, const Structure& wanted, const Structure& defaults) {
        for (const auto& key : keys<Structure>())
            if (key.value(wanted) != key.value(defaults))
                add(prefix + key.name + " " + std::to_string(key.value(wanted)));
    }

    void addInterface(const board_interface_config& wanted, std::int32_t position) {
        const std::string name = wanted.name;
        if (wanted.present == 0 || wanted.virtual_clocks != 0)
            throw ScenarioError(name + ": the kernel's board has no absent interface and no virtual clocks");
        board_interface_config defaults{};
        board_interface_defaults(&defaults, wanted.name, position);
        add("interface " + name);
        addText(name + " vendor ", wanted.vendor, defaults.vendor);
        addText(name + " device ", wanted.device, defaults.device);
        addDifferences("set " + name + " ", wanted, defaults);
    }

    std::vector<KernelCommand> take() { return std::move(all_); }

private:
    // The kernel adds the newline.
    void addText(const std::string& prefix, std::string_view wanted, std::string_view defaults) {
        if (wanted != defaults) add("text " + prefix + std::string(wanted.substr(0, wanted.find('\n'))));
    }

    std::vector<KernelCommand> all_;
};

}  // namespace

std::string kernelFaultCommand(const board_fault_config& fault) {
    std::string command = "fault";
    for (const auto& key : keys<board_fault_config>())
        if (key.value(fault) != 0) command += std::string(" ") + key.name + "=" + std::to_string(key.value(fault));
    return command;
}

std::vector<KernelCommand> kernelCommands(const board_config& config) {
    board_config defaults{};
    board_config_defaults(&defaults);
    if (config.si514_has_text != 0 || std::strcmp(config.si514_client, defaults.si514_client) != 0)
        throw ScenarioError("[si514]: the kernel's board has one client, and its attribute no text of its own");
    Commands commands;
    commands.add("defaults");
    commands.addDifferences("set ", config, defaults);
    for (std::uint32_t at = 0; at < config.crystal.frequency_count; ++at)
        commands.add("frequency " + std::to_string(config.crystal.frequencies_ppt[at]));
    for (std::uint32_t at = 0; at < config.interface_count; ++at)
        commands.addInterface(config.interfaces[at], static_cast<std::int32_t>(at));
    commands.add("on");
    for (std::uint32_t at = 0; at < config.fault_count; ++at) commands.add(kernelFaultCommand(config.faults[at]));
    std::vector<board_event_config> events(config.events, config.events + config.event_count);
    std::stable_sort(events.begin(), events.end(),
                     [](const auto& left, const auto& right) { return left.at_ns < right.at_ns; });
    for (const board_event_config& event : events)
        commands.add(std::string("event ") + board_event_kind_name(event.kind) + " " +
                         board_target_name(&config, event.target) + " " + std::to_string(event.value),
                     event.at_ns);
    return commands.take();
}

}  // namespace halvexboard
