// The ready-made scenarios: all of them load, and the ones others rely on say what they are relied on for.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <gtest/gtest.h>
#include <algorithm>
#include <filesystem>
#include <vector>

#include "board/scenario/scenario.h"

namespace halvexboard {
namespace {

Scenario readyMade(const std::string& name) { return loadScenario(BOARD_SCENARIOS "/" + name); }

TEST(ReadyMade, EveryOneLoadsAndHasATitleThatBeginsWithItsName) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(BOARD_SCENARIOS)) {
        ASSERT_EQ(entry.path().extension(), ".toml");
        const Scenario scenario = loadScenario(entry.path().string());
        EXPECT_EQ(scenario.title.substr(0, scenario.title.find(':')), entry.path().stem().string());
        ++count;
    }
    EXPECT_GE(count, 8);
}

TEST(ReadyMade, PlainHasTwoI210sListedUnsortedAndNothingFails) {
    const board_config config = readyMade("plain.toml").config;
    ASSERT_EQ(config.interface_count, 2U);
    EXPECT_STREQ(config.interfaces[0].name, "enp2s0");
    EXPECT_STREQ(config.interfaces[1].name, "enp1s0");
    EXPECT_EQ(config.interfaces[1].phc_index, 0);
    EXPECT_EQ(config.fault_count + config.event_count, 0U);
    EXPECT_EQ(config.crystal_error_ppt, 0);
    for (const board_clock_config& clock :
         {config.interfaces[0].clock, config.interfaces[1].clock, config.fpga.clock}) {
        EXPECT_EQ(clock.step_loss_ns, 0);
        EXPECT_EQ(clock.step_jitter_ns, 0);
    }
}

TEST(ReadyMade, DemoHasWhatItIsToShow) {
    const board_config config = readyMade("demo.toml").config;
    EXPECT_EQ(config.crystal_error_ppt, 12'000'000);
    EXPECT_EQ(config.truth_interval_ns, 100'000'000U);
    std::vector<std::int64_t> distances;
    for (const board_clock_config& clock :
         {config.interfaces[0].clock, config.interfaces[1].clock, config.fpga.clock}) {
        EXPECT_EQ(clock.step_loss_ns, 1500);
        EXPECT_EQ(clock.step_jitter_ns, 50);
        distances.push_back(std::abs(clock.offset_ns - config.ferrox.clock.offset_ns));
    }
    EXPECT_LT(*std::min_element(distances.begin(), distances.end()), 1'000) << "nanoseconds";
    EXPECT_GT(*std::max_element(distances.begin(), distances.end()), 1'000'000'000) << "seconds";
    ASSERT_EQ(config.event_count, 3U);
    EXPECT_EQ(config.events[0].kind, BOARD_EVENT_INTERFACE_DOWN);
    EXPECT_EQ(config.events[1].kind, BOARD_EVENT_INTERFACE_UP);
    EXPECT_EQ(config.events[2].kind, BOARD_EVENT_JUMP)
        << "coming up, its clock is disturbed: there is something to align";
    EXPECT_EQ(config.events[2].at_ns, config.events[1].at_ns);
    ASSERT_EQ(config.fault_count, 1U);
    EXPECT_EQ(config.faults[0].times, 1U);
}

}  // namespace
}  // namespace halvexboard
