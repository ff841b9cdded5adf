// Events: their effect on the board, at their times and in order.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/modelBoard.h"

namespace halvexboard::eventsTest {

class Events : public ModelBoardTest {
protected:
    Events() {
        addInterface("enp2s0", 1);
        addInterface("enp1s0", 0);
    }
    static constexpr int kFirst = BOARD_TARGET_INTERFACE(0);
};

TEST_F(Events, TakeAnInterfaceDownAndUpAtTheirTimes) {
    addEvent(5 * kS, BOARD_EVENT_INTERFACE_UP, kFirst);
    addEvent(2 * kS, BOARD_EVENT_INTERFACE_DOWN, kFirst);
    EXPECT_EQ(board_next_change(on()), 2 * kS);
    EXPECT_EQ(board_interface_is_up(on(), 2 * kS - 1, 0), 1);
    EXPECT_EQ(board_interface_is_up(on(), 2 * kS, 0), 0);
    EXPECT_EQ(board_interface_is_up(on(), 2 * kS, 1), 1);
    EXPECT_EQ(board_interface_is_up(on(), 5 * kS, 0), 1);
    EXPECT_EQ(board_next_change(on()), BOARD_NEVER);
    EXPECT_EQ(of(BOARD_HAPPENING_EVENT).size(), 2U);
}

TEST_F(Events, ComingUpResetsThePhcUnlessToldOtherwise) {
    config.interfaces[0].clock.offset_ns = 900;
    config.interfaces[1].clock.offset_ns = 900;
    config.interfaces[1].reset_on_up = 0;
    for (const int target : {kFirst, BOARD_TARGET_INTERFACE(1)}) {
        event(kS, BOARD_EVENT_INTERFACE_DOWN, target);
        event(kS, BOARD_EVENT_INTERFACE_UP, target);
    }
    EXPECT_EQ(difference(kS, BOARD_CLOCK_PHC(0)), 0);
    EXPECT_EQ(difference(kS, BOARD_CLOCK_PHC(1)), 900);
}

TEST_F(Events, ComingUpTwiceResetsNothing) {
    config.interfaces[0].clock.offset_ns = 900;
    event(kS, BOARD_EVENT_INTERFACE_UP, kFirst);
    EXPECT_EQ(difference(kS, BOARD_CLOCK_PHC(0)), 900);
}

TEST_F(Events, OfOneInstantHappenInTheOrderGiven) {
    addEvent(kS, BOARD_EVENT_INTERFACE_DOWN, kFirst);
    addEvent(kS, BOARD_EVENT_JUMP, kFirst, 5);
    addEvent(kS, BOARD_EVENT_PULSE, BOARD_TARGET_ANY);
    addEvent(kS, BOARD_EVENT_INTERFACE_UP, BOARD_TARGET_INTERFACE(1));
    board_advance(on(), kS);
    std::vector<int> kinds;
    for (const Recorded& recorded : of(BOARD_HAPPENING_EVENT)) kinds.push_back(recorded.event.kind);
    EXPECT_EQ(kinds, (std::vector<int>{BOARD_EVENT_INTERFACE_DOWN, BOARD_EVENT_JUMP, BOARD_EVENT_PULSE,
                                       BOARD_EVENT_INTERFACE_UP}));
    EXPECT_EQ(of(BOARD_HAPPENING_EPOCH).at(0).truth.difference_ns[BOARD_CLOCK_PHC(0)], 5) << "the jump came first";
}

TEST_F(Events, MakeThePulsesOfEverySecondOfTheMasterWhateverItsRateAndSteps) {
    config.crystal_error_ppt = 50'000'000;
    config.ferrox.clock.offset_ns = -300'000'123;
    config.ferrox.clock.step_granularity_ns = 1;
    addEvent(0, BOARD_EVENT_PULSE_EVERY_SECOND, BOARD_TARGET_FERROX, 1);
    addEvent(1 * kS, BOARD_EVENT_PULSE_EVERY_SECOND, BOARD_TARGET_FERROX, 1);  // twice is once
    addEvent(4500 * kMs, BOARD_EVENT_CRYSTAL, BOARD_TARGET_ANY, -80'000'000);
    addEvent(8500 * kMs, BOARD_EVENT_JUMP, BOARD_TARGET_FERROX, -700'000'456);
    addEvent(12500 * kMs, BOARD_EVENT_JUMP, BOARD_TARGET_FERROX, 2'100'000'000);
    addEvent(20 * kS, BOARD_EVENT_PULSE_EVERY_SECOND, BOARD_TARGET_FERROX, 0);
    board_advance(on(), 25 * kS);
    const std::vector<Recorded> pulses = of(BOARD_HAPPENING_EPOCH);
    std::vector<std::uint64_t> seconds;
    for (const Recorded& pulse : pulses) {
        const std::uint64_t masterNs = pulse.truth.time_ns[BOARD_CLOCK_FERROX];
        EXPECT_LE(masterNs % kS, 1U) << "at " << pulse.happening.raw_ns;
        seconds.push_back(masterNs / kS - config.start_time_ns / kS);
    }
    // No step repeats a second, and the second step skips those from 12 to 14.
    EXPECT_EQ(seconds, (std::vector<std::uint64_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 15, 16, 17, 18, 19, 20, 21}));
}

TEST_F(Events, StaleEventsFillTheQueueUpTo127) {
    ASSERT_EQ(event(kS, BOARD_EVENT_STALE_EVENTS, kFirst, 200), 0);
    EXPECT_EQ(board_phc_waiting(on(), kS, 0), 127);
    EXPECT_EQ(board_phc_waiting(on(), kS, 1), 0);
    EXPECT_TRUE(of(BOARD_HAPPENING_STAMP).at(0).stamp.stale);
}

TEST_F(Events, ChangeCapabilities) {
    ASSERT_EQ(event(kS, BOARD_EVENT_CAPABILITIES, kFirst, 2 | 0 << 8 | 3 << 16), 0);
    board_wire_ptp_caps caps;
    ASSERT_EQ(board_phc_get_caps(on(), kS, 0, &caps), 0);
    EXPECT_EQ(caps.n_ext_ts, 2);
    EXPECT_EQ(caps.n_per_out, 0);
    EXPECT_EQ(caps.n_pins, 3);
}

TEST_F(Events, ChangeTheCrystals) {
    ASSERT_EQ(event(kS, BOARD_EVENT_CRYSTAL, BOARD_TARGET_ANY, 1'000'000), 0);
    ASSERT_EQ(event(kS, BOARD_EVENT_CRYSTAL, BOARD_TARGET_SYSTEM, -2'000'000), 0);
    EXPECT_EQ(board_tick(on(), 2 * kS), 2 * kS + 1000);
    EXPECT_EQ(board_system_get_time(on(), 2 * kS), config.start_time_ns + 2 * kS - 2000);
}

TEST_F(Events, MakeAnInterfaceDisappear) {
    ASSERT_EQ(event(kS, BOARD_EVENT_DRIVER_GONE, kFirst), 0);
    EXPECT_EQ(board_interface_is_up(on(), kS, 0), -ENODEV);
    std::uint64_t time = 0;
    EXPECT_EQ(board_phc_get_time(on(), kS, 0, &time), -ENODEV);
    ASSERT_EQ(event(kS, BOARD_EVENT_DRIVER_BACK, kFirst), 0);
    EXPECT_EQ(board_phc_get_time(on(), kS, 0, &time), 0);
}

TEST_F(Events, KillEveryLivingChild) {
    const std::int32_t pid = startPhc2sys(0, "enp1s0");
    ASSERT_EQ(event(kS, BOARD_EVENT_KILL_CHILD, BOARD_TARGET_ANY, 9), 0);
    board_child child;
    ASSERT_EQ(board_child_reap(on(), kS, pid, &child), pid);
    EXPECT_EQ(child.status, 9);
}

TEST_F(Events, ThatFitNothingAreRefused) {
    EXPECT_EQ(event(0, BOARD_EVENT_INTERFACE_DOWN, BOARD_TARGET_FPGA), -EINVAL);
    EXPECT_EQ(event(0, BOARD_EVENT_INTERFACE_DOWN, BOARD_TARGET_INTERFACE(9)), -EINVAL);
    EXPECT_EQ(event(0, BOARD_EVENT_LOSE_EDGES, BOARD_TARGET_FERROX, 1), -EINVAL);
    EXPECT_EQ(event(0, BOARD_EVENT_LOSE_EDGES, kFirst, 0), -EINVAL);
    EXPECT_EQ(event(0, BOARD_EVENT_PULSE_EVERY_SECOND, kFirst, 1), -EINVAL);
    EXPECT_EQ(event(0, BOARD_EVENT_PULSE_EVERY_SECOND, BOARD_TARGET_FERROX, 2), -EINVAL);
    EXPECT_EQ(event(0, BOARD_EVENT_STALE_EVENTS, kFirst, -1), -EINVAL);
    EXPECT_EQ(event(0, BOARD_EVENT_DRIVER_GONE, BOARD_TARGET_SYSTEM), -EINVAL);
    EXPECT_EQ(event(0, BOARD_EVENT_JUMP, BOARD_TARGET_SI514, 1), -EINVAL);
    EXPECT_EQ(event(0, BOARD_EVENT_CRYSTAL, BOARD_TARGET_FPGA, 1), -EINVAL);
    EXPECT_EQ(event(0, BOARD_EVENT_CAPABILITIES, kFirst, 5 << 16), -EINVAL);
    EXPECT_EQ(event(0, BOARD_EVENT_KILL_CHILD, BOARD_TARGET_ANY, 0), -EINVAL);
    EXPECT_EQ(event(0, BOARD_EVENT_NONE, BOARD_TARGET_ANY), -EINVAL);
    EXPECT_TRUE(of(BOARD_HAPPENING_EVENT).empty());
}

}  // namespace halvexboard::eventsTest
