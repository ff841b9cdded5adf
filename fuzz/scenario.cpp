// Scenario files, through to the board that they describe and its commands for the kernel.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/scenario.h"

#include "board/scenario/kernelCommands.h"
#include "fuzz/expectation.h"

namespace {

using namespace halvexboard;

/// One command switches the board on, and none could be taken for two.
void checkKernelCommands(const board_config& config) {
    try {
        const std::vector<KernelCommand> commands = kernelCommands(config);
        EXPECT(std::ranges::count(commands, "on", &KernelCommand::text) == 1);
        for (const KernelCommand& command : commands) EXPECT(command.text.find('\n') == std::string::npos);
    } catch (const ScenarioError& error) {
        EXPECT(std::string_view(error.what()).find("the kernel's board") != std::string_view::npos);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static std::vector<std::uint64_t> memory(board_size() / sizeof(std::uint64_t) + 1);
    try {
        const Scenario scenario = parseScenario({reinterpret_cast<const char*>(data), size}, "input");
        EXPECT(board_init(memory.data(), &scenario.config, nullptr, nullptr) != nullptr);
        checkKernelCommands(scenario.config);
    } catch (const ScenarioError& error) {
        EXPECT(std::string_view(error.what()).starts_with("input:"));
    }
    return 0;
}
