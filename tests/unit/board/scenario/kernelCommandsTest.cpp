// A scenario as commands of the kernel's board: the differences to the defaults, and nothing else.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/kernelCommands.h"

#include "board/scenario/scenario.h"
#include "tests/support/test.h"

namespace halvexboard::kernelCommandsTest {

std::vector<std::string> commandsOf(const std::string& scenario) {
    std::vector<std::string> lines;
    for (const KernelCommand& command : kernelCommands(parseScenario(scenario, "scenario").config))
        lines.push_back(std::to_string(command.atNs) + " " + command.text);
    return lines;
}

TEST(KernelCommands, SetWhatDiffersFromTheDefaultsAndSwitchOn) {
    EXPECT_THAT(commandsOf("seed = 7\ncrystal_error_ppb = 3\n[fpga]\npresent = false\noffset = \"-730 ms\"\n"
                           "[[interface]]\nname = \"eth0\"\ndevice = \"0x1521\"\nstep_loss = \"1500 ns\"\nup = false\n"
                           "[[interface]]\nname = \"eth1\"\nphc_index = -1\n"),
                testing::ElementsAre("0 defaults", "0 set seed 7", "0 set crystal_error_ppt 3000",
                                     "0 set fpga_present 0", "0 set fpga_offset_ns -730000000", "0 interface eth0",
                                     "0 text eth0 device 0x1521", "0 set eth0 is_up 0", "0 set eth0 step_loss_ns 1500",
                                     "0 interface eth1", "0 set eth1 phc_index -1", "0 on"));
}

TEST(KernelCommands, SetTheCrystalAndItsMeasuredFrequencies) {
    board_config config = parseScenario("[crystal]\nwhite_ppb = 0.1\n", "scenario").config;
    config.crystal.frequency_count = 2;
    config.crystal.frequencies_ppt[1] = -7;
    std::vector<std::string> lines;
    for (const KernelCommand& command : kernelCommands(config)) lines.push_back(command.text);
    EXPECT_THAT(lines,
                testing::ElementsAre("defaults", "set crystal_white_ppt 100", "frequency 0", "frequency -7", "on"));
}

TEST(KernelCommands, AddFaultsByTheNamesOfTheirNumbers) {
    EXPECT_THAT(commandsOf("[[fault]]\ncall = \"ioctl\"\ntarget = \"ferrox\"\nrequest = \"getTime\"\nnth = 2\n"
                           "from = \"20 s\"\nerror = \"EIO\"\n"),
                testing::ElementsAre("0 defaults", "0 on",
                                     "0 fault call=6 target=1 detail=2149610752 has_detail=1 from_ns=20000000000 nth=2 "
                                     "times=1 error=5"));
}

TEST(KernelCommands, AddEventsInTheOrderOfTime) {
    EXPECT_THAT(commandsOf("[[interface]]\nname = \"eth0\"\n"
                           "[[event]]\nat = \"5 s\"\nkind = \"jump\"\ntarget = \"eth0\"\nby = \"90 us\"\n"
                           "[[event]]\nat = \"0 s\"\nkind = \"crystal\"\ncrystal_error_ppb = 2\n"),
                testing::ElementsAre("0 defaults", "0 interface eth0", "0 on", "0 event crystal board 2000",
                                     "5000000000 event jump eth0 90000"));
}

TEST(KernelCommands, RefuseWhatTheKernelsBoardCannotBe) {
    EXPECT_THROW(commandsOf("[[interface]]\nname = \"eth0\"\nvirtual_clocks = true\n"), ScenarioError);
    EXPECT_THROW(commandsOf("[[interface]]\nname = \"eth0\"\npresent = false\n"), ScenarioError);
    EXPECT_THROW(commandsOf("[si514]\nppb_offset_text = \"x\"\n"), ScenarioError);
}

}  // namespace halvexboard::kernelCommandsTest
