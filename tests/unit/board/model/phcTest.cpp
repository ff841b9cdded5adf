// PTP hardware clocks: what the kernel accepts and rejects.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/modelBoard.h"

namespace halvexboard::phcTest {

class Phc : public ModelBoardTest {
protected:
    Phc() { addInterface("enp1s0", 0); }

    int adjust(std::uint32_t modes, std::int64_t seconds, std::int64_t nanoseconds) {
        return step(kS, 0, seconds, nanoseconds, modes);
    }
    int setFrequency(std::int64_t frequency, std::uint64_t rawNs = kS) {
        board_wire_timex timex{};
        timex.modes = BOARD_WIRE_ADJ_FREQUENCY;
        timex.freq = frequency;
        return board_phc_adjtime(on(), rawNs, 0, &timex);
    }
    int setPin(std::uint32_t pin, std::uint32_t function, std::uint32_t channel = 0) {
        return board_phc_set_pin(on(), 0, 0, pin, function, channel);
    }
    static constexpr std::uint32_t kStep = BOARD_WIRE_ADJ_SETOFFSET | BOARD_WIRE_ADJ_NANO;
};

TEST_F(Phc, AnswersWithTheCapabilitiesOfAnI210) {
    board_wire_ptp_caps caps;
    ASSERT_EQ(board_phc_get_caps(on(), 0, 0, &caps), 0);
    EXPECT_EQ(caps.max_adj, 62'499'999);
    EXPECT_EQ(caps.n_ext_ts, 2);
    EXPECT_EQ(caps.n_per_out, 2);
    EXPECT_EQ(caps.n_pins, 4);
    EXPECT_EQ(caps.cross_timestamping, 0);
}

TEST_F(Phc, StampingNeedsThePinFirst) {
    EXPECT_EQ(board_phc_extts(on(), 0, 0, 0, 3, 0), -EBUSY);
    ASSERT_EQ(setPin(0, BOARD_WIRE_PIN_EXTTS, 1), 0);
    EXPECT_EQ(board_phc_extts(on(), 0, 0, 0, 3, 0), -EBUSY) << "the pin serves another channel";
    EXPECT_EQ(board_phc_extts(on(), 0, 0, 1, 3, 0), 0);
}

TEST_F(Phc, DisablingNeedsNoPin) { EXPECT_EQ(board_phc_extts(on(), 0, 0, 0, 0, 0), 0); }

TEST_F(Phc, RefusesPinsFunctionsAndChannelsItDoesNotHave) {
    EXPECT_EQ(setPin(4, BOARD_WIRE_PIN_EXTTS), -EINVAL);
    EXPECT_EQ(setPin(0, BOARD_WIRE_PIN_EXTTS, 2), -EINVAL);
    EXPECT_EQ(setPin(0, BOARD_WIRE_PIN_PEROUT, 2), -EINVAL);
    EXPECT_EQ(setPin(0, BOARD_WIRE_PIN_PHYSYNC), -EOPNOTSUPP);
    EXPECT_EQ(setPin(0, 9), -EINVAL);
    EXPECT_EQ(board_phc_extts(on(), 0, 0, 2, 3, 0), -EINVAL);
}

TEST_F(Phc, RefusesStrictRequestsForOneEdge) {
    ASSERT_EQ(setPin(0, BOARD_WIRE_PIN_EXTTS), 0);
    const std::uint32_t on1 = BOARD_WIRE_EXTTS_ENABLE;
    EXPECT_EQ(board_phc_extts(on(), 0, 0, 0, on1 | BOARD_WIRE_EXTTS_RISING, 1), -EOPNOTSUPP);
    EXPECT_EQ(board_phc_extts(on(), 0, 0, 0, on1, 1), -EINVAL);
    EXPECT_EQ(board_phc_extts(on(), 0, 0, 0, on1 | 0x10, 1), -EINVAL);
    EXPECT_EQ(board_phc_extts(on(), 0, 0, 0, on1 | BOARD_WIRE_EXTTS_RISING | BOARD_WIRE_EXTTS_FALLING, 1), 0);
}

TEST_F(Phc, StampingHasToBeAskedForAgainOnceAPinIsSet) {
    for (const auto& functions : {std::vector{BOARD_WIRE_PIN_EXTTS}, {BOARD_WIRE_PIN_NONE, BOARD_WIRE_PIN_EXTTS}}) {
        ASSERT_EQ(arm(0, 0), 0);
        for (const std::uint32_t function : functions) ASSERT_EQ(setPin(0, function), 0);
        generateEpoch(kS);
        EXPECT_EQ(board_phc_waiting(on(), 2 * kS, 0), 0) << functions.size();
    }
}

TEST_F(Phc, AFunctionMovesFromOnePinToAnother) {
    ASSERT_EQ(setPin(0, BOARD_WIRE_PIN_EXTTS), 0);
    ASSERT_EQ(setPin(2, BOARD_WIRE_PIN_EXTTS), 0);
    std::uint32_t function = 9, channel = 9;
    ASSERT_EQ(board_phc_get_pin(on(), 0, 0, 0, &function, &channel), 0);
    EXPECT_EQ(function, BOARD_WIRE_PIN_NONE);
    ASSERT_EQ(board_phc_get_pin(on(), 0, 0, 2, &function, &channel), 0);
    EXPECT_EQ(function, BOARD_WIRE_PIN_EXTTS);
    EXPECT_EQ(board_phc_get_pin(on(), 0, 0, 4, &function, &channel), -EINVAL);
}

TEST_F(Phc, QueuedEventsOutliveThePin) {
    ASSERT_EQ(arm(0, 0), 0);
    generateEpoch(kS);
    board_advance(on(), kS + kMs);
    ASSERT_EQ(board_phc_set_pin(on(), kS + kMs, 0, 0, BOARD_WIRE_PIN_NONE, 0), 0);
    EXPECT_EQ(board_phc_waiting(on(), 2 * kS, 0), 2);
}

TEST_F(Phc, TakesNoMoreThanAskedFor) {
    ASSERT_EQ(arm(0, 0), 0);
    generateEpoch(kS);
    board_phc_event events[2];
    EXPECT_EQ(board_phc_take(on(), 2 * kS, 0, events, 1), 1);
    EXPECT_EQ(board_phc_waiting(on(), 2 * kS, 0), 1) << "one queue per clock: the rest stays for the next reader";
}

TEST_F(Phc, StepsByNormalisedOffsetsOnly) {
    EXPECT_EQ(adjust(kStep, 0, -1), -EINVAL);
    EXPECT_EQ(adjust(kStep, 0, 1'000'000'000), -EINVAL);
    EXPECT_EQ(adjust(BOARD_WIRE_ADJ_SETOFFSET, 0, 1'000'000), -EINVAL) << "microseconds here";
    EXPECT_EQ(difference(kS, BOARD_CLOCK_PHC(0)), 0);
    EXPECT_EQ(adjust(kStep, -1, 999'999'999), 0);
    EXPECT_EQ(difference(kS, BOARD_CLOCK_PHC(0)), -1);
    EXPECT_EQ(adjust(BOARD_WIRE_ADJ_SETOFFSET, 0, 7), 0);
    EXPECT_EQ(difference(kS, BOARD_CLOCK_PHC(0)), 6999);
}

TEST_F(Phc, RefusesFrequenciesOutOfRange) {
    EXPECT_EQ(setFrequency(std::int64_t{62'500} << 16), -ERANGE);
    EXPECT_EQ(setFrequency(-(std::int64_t{63'000} << 16)), -ERANGE);
    EXPECT_EQ(setFrequency(std::int64_t{1} << 60), -ERANGE);
    EXPECT_EQ(setFrequency(std::int64_t{62'000} << 16), 0);
}

TEST_F(Phc, DriftsAtItsFrequencyUntilThatIsZeroedAgain) {
    ASSERT_EQ(setFrequency(100 << 16), 0);  // 100 ppm from 1 s on
    EXPECT_EQ(difference(11 * kS, BOARD_CLOCK_PHC(0)), 1'000'000);
    board_wire_timex timex{};
    ASSERT_EQ(board_phc_adjtime(on(), 11 * kS, 0, &timex), 0);
    EXPECT_EQ(timex.freq, 100 << 16);
    ASSERT_EQ(setFrequency(0, 11 * kS), 0);
    EXPECT_EQ(difference(1000 * kS, BOARD_CLOCK_PHC(0)), 1'000'000);
}

TEST_F(Phc, OtherModesAreNotSupported) { EXPECT_EQ(adjust(BOARD_WIRE_ADJ_TICK, 0, 0), -EOPNOTSUPP); }

TEST_F(Phc, CannotBeAdjustedWhileVirtualClocksUseIt) {
    config.interfaces[0].virtual_clocks = 1;
    EXPECT_EQ(adjust(kStep, 0, 5), -EBUSY);
    EXPECT_EQ(board_phc_set_time(on(), kS, 0, 5), -EBUSY);
    std::uint64_t time = 0;
    EXPECT_EQ(board_phc_get_time(on(), kS, 0, &time), 0);
}

TEST_F(Phc, CanBeSet) {
    ASSERT_EQ(board_phc_set_time(on(), kS, 0, 42), 0);
    std::uint64_t time = 0;
    ASSERT_EQ(board_phc_get_time(on(), kS + 5, 0, &time), 0);
    EXPECT_EQ(time, 47U);
}

TEST_F(Phc, IsNotThereOnAnInterfaceWithoutOne) {
    addInterface("enp3s0", -1);
    std::uint64_t time = 0;
    EXPECT_EQ(board_phc_get_time(on(), 0, 1, &time), -ENODEV);
    EXPECT_EQ(board_interface_phc_index(on(), 0, 1), -1);
    EXPECT_EQ(board_interface_phc_index(on(), 0, 0), 0);
    EXPECT_EQ(board_phc_get_time(on(), 0, 7, &time), -ENODEV);
    EXPECT_EQ(board_phc_find(on(), -1), -1);
    EXPECT_EQ(board_phc_find(on(), 0), 0);
}

TEST_F(Phc, AResetTakesTheSystemTimeAndStopsStampingWithTheInterfaceUp) {
    config.interfaces[0].clock.offset_ns = 5'000'000;
    ASSERT_EQ(arm(0, 0), 0);
    ASSERT_EQ(event(kS, BOARD_EVENT_PHC_RESET, BOARD_TARGET_INTERFACE(0)), 0);
    EXPECT_EQ(board_clock_time(on(), kS, BOARD_CLOCK_PHC(0)), board_clock_time(on(), kS, BOARD_CLOCK_SYSTEM));
    EXPECT_EQ(board_interface_is_up(on(), kS, 0), 1);
    generateEpoch(2 * kS);
    EXPECT_EQ(board_phc_waiting(on(), 3 * kS, 0), 0);
    std::uint32_t function = 0, channel = 0;
    ASSERT_EQ(board_phc_get_pin(on(), 3 * kS, 0, 0, &function, &channel), 0);
    EXPECT_EQ(function, BOARD_WIRE_PIN_EXTTS) << "the kernel's core is not notified";
}

}  // namespace halvexboard::phcTest
