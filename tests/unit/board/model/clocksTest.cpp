// Clocks: one oscillator, one instant, steps that fall short.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
extern "C" {
#include "board/model/decimal.h"
}
#include "tests/support/modelBoard.h"

namespace halvexboard::clocksTest {

constexpr std::uint64_t kYearNs = 365ULL * 86'400 * kS;

class Clocks : public ModelBoardTest {
protected:
    void steer(std::uint64_t rawNs, std::int64_t ppt) {
        char text[32];
        const std::uint32_t size = board_decimal_write(text, sizeof text, 3, ppt);
        ASSERT_EQ(board_si514_store(on(), rawNs, text, size), static_cast<int>(size));
    }
};

TEST_F(Clocks, StartAtTheirOffsets) {
    addInterface("enp1s0", 0);
    config.interfaces[0].clock.offset_ns = 350;
    config.ferrox.clock.offset_ns = -1;
    config.fpga.clock.offset_ns = 2;
    EXPECT_EQ(board_clock_time(on(), 0, BOARD_CLOCK_FERROX), config.start_time_ns - 1);
    EXPECT_EQ(board_clock_time(on(), 0, BOARD_CLOCK_FPGA), config.start_time_ns + 2);
    EXPECT_EQ(board_clock_time(on(), 0, BOARD_CLOCK_SYSTEM), config.start_time_ns);
    EXPECT_EQ(board_clock_time(on(), 0, BOARD_CLOCK_PHC(0)), config.start_time_ns + 350);
}

TEST_F(Clocks, FollowTheCrystalExactlyOverAYear) {
    config.crystal_error_ppt = 12'000'000;  // 12 000 ppb
    EXPECT_EQ(board_tick(on(), kYearNs), kYearNs + kYearNs / 1'000'000 * 12);
}

TEST_F(Clocks, FollowHourlySteeringExactlyOverAYear) {
    config.crystal_error_ppt = 12'000'000;
    constexpr std::uint64_t kHourNs = 3600 * kS;
    std::int64_t expectedNs = 0;
    for (std::uint64_t hour = 0; hour < 24 * 365; ++hour) {
        const std::int64_t steeringPpb = static_cast<std::int64_t>(hour * 37 % 124'001) - 62'000;
        steer(hour * kHourNs, steeringPpb * 1000);
        expectedNs += static_cast<std::int64_t>(kHourNs) + (12'000 + steeringPpb) * 3600;
    }
    EXPECT_EQ(board_tick(on(), kYearNs), static_cast<std::uint64_t>(expectedNs));
}

TEST_F(Clocks, KeepTheirDifferencesWhateverTheOscillatorDoes) {
    addInterface("enp1s0", 0);
    config.interfaces[0].clock.offset_ns = 777;
    config.fpga.clock.offset_ns = -5;
    config.crystal_error_ppt = -33'333'333;
    on();
    for (std::uint64_t step = 1; step < 500; ++step) {
        steer(step * 77'777'777, static_cast<std::int64_t>(step % 9) * 7'123'457 - 30'000'000);
        ASSERT_EQ(difference(step * 77'777'777 + 5, BOARD_CLOCK_PHC(0)), 777);
        ASSERT_EQ(difference(step * 77'777'777 + 6, BOARD_CLOCK_FPGA), -5);
    }
}

TEST_F(Clocks, LoseTheirLossAtEachStep) {
    addInterface("enp1s0", 0);
    config.interfaces[0].clock.step_loss_ns = 1500;
    ASSERT_EQ(step(kS, 0, 0, 400'000), 0);
    EXPECT_EQ(difference(kS, BOARD_CLOCK_PHC(0)), 400'000 - 1500);
    ASSERT_EQ(step(kS, 0, -1, 999'600'000), 0);
    EXPECT_EQ(difference(kS, BOARD_CLOCK_PHC(0)), -3000);
}

TEST_F(Clocks, TellWhatAStepAskedAndWhatItDid) {
    addInterface("enp1s0", 0);
    config.interfaces[0].clock.step_loss_ns = 1500;
    config.interfaces[0].clock.step_jitter_ns = 50;
    ASSERT_EQ(step(kS, 0, 0, 1000), 0);
    const auto steps = of(BOARD_HAPPENING_STEP);
    ASSERT_EQ(steps.size(), 1U);
    EXPECT_EQ(steps[0].step.clock, BOARD_CLOCK_PHC(0));
    EXPECT_EQ(steps[0].step.asked_ns, 1000);
    EXPECT_NE(steps[0].step.real_ns, -500);
    EXPECT_NEAR(static_cast<double>(steps[0].step.real_ns), -500, 300);
    EXPECT_EQ(static_cast<std::int64_t>(steps[0].step.after_ns - steps[0].step.before_ns), steps[0].step.real_ns);
    EXPECT_EQ(difference(kS, BOARD_CLOCK_PHC(0)), steps[0].step.real_ns);
}

TEST_F(Clocks, LoseAnotherAmountInSomeOfTheirSteps) {
    addInterface("enp1s0", 0);
    config.interfaces[0].clock = {0, 1500, 0, 0, 0, 5000, 250'000};
    std::map<std::int64_t, int> seen;
    for (int count = 0; count < 4000; ++count) ASSERT_EQ(step(kS, 0, 0, 0), 0);
    for (const Recorded& recorded : of(BOARD_HAPPENING_STEP)) ++seen[recorded.step.real_ns];
    EXPECT_EQ(seen[-1500] + seen[-5000], 4000);
    EXPECT_NEAR(seen[-5000], 1000, 110);  // four standard deviations
}

TEST_F(Clocks, LoseMoreThanTheirLossInAHeavyTail) {
    addInterface("enp1s0", 0);
    config.interfaces[0].clock = {0, 1500, 0, 0, 100, 0, 0};
    for (int count = 0; count < 4000; ++count) ASSERT_EQ(step(kS, 0, 0, 0), 0);
    const auto steps = of(BOARD_HAPPENING_STEP);
    const auto beyond = [&](std::int64_t lossNs) {
        return std::count_if(steps.begin(), steps.end(), [&](const auto& one) { return one.step.real_ns < -lossNs; });
    };
    EXPECT_EQ(beyond(1499), 4000);
    EXPECT_NEAR(static_cast<double>(beyond(1500 + 100)), 1000, 110);
    EXPECT_NEAR(static_cast<double>(beyond(1500 + 900)), 40, 25);
}

TEST_F(Clocks, LoseMoreInAStepWhoseReadingIsSlow) {
    addInterface("enp1s0", 0);
    addInterface("enp2s0", 1);
    config.interfaces[0].slow_reads_per_million = 1'000'000;
    config.interfaces[0].clock.step_loss_ns = config.interfaces[1].clock.step_loss_ns = 1500;
    board_fault_outcome outcome{};
    const board_call call = callOf(BOARD_CALL_CLOCK_ADJTIME, BOARD_TARGET_INTERFACE(0));
    EXPECT_EQ(board_fault_due(on(), kS, &call, &outcome), 0);
    for (const int interface : {0, 1}) ASSERT_EQ(step(kS, interface, 0, 0), 0);
    EXPECT_EQ(difference(kS, BOARD_CLOCK_PHC(0)), -1500 - 18'500);
    EXPECT_EQ(difference(kS, BOARD_CLOCK_PHC(1)), -1500) << "the other one is not read";
}

TEST_F(Clocks, FerroxCutsStepsTowardZeroTo200Ns) {
    on();
    for (const auto& [asked, real] :
         {std::pair<std::int64_t, std::int64_t>{399, 200}, {-399, -200}, {400, 400}, {199, 0}}) {
        const std::uint64_t before = board_clock_time(on(), kS, BOARD_CLOCK_FERROX);
        driverCall(kS, BOARD_TARGET_FERROX, BOARD_WIRE_FERROX_ADJUST_TIME, static_cast<std::uint64_t>(asked));
        EXPECT_EQ(static_cast<std::int64_t>(board_clock_time(on(), kS, BOARD_CLOCK_FERROX) - before), real) << asked;
    }
}

TEST_F(Clocks, OneClocksJitterDoesNotShiftAnothers) {
    addInterface("enp1s0", 0);
    config.interfaces[0].clock.step_jitter_ns = 1000;
    config.fpga.clock.step_jitter_ns = 1000;
    ModelBoard other(config);
    ASSERT_EQ(step(kS, 0, 0, 0), 0);
    other.driverCall(kS, BOARD_TARGET_FPGA, BOARD_WIRE_FPGA_ADJUST_TIME);
    ASSERT_EQ(other.step(kS, 0, 0, 0), 0);
    EXPECT_EQ(other.difference(kS, BOARD_CLOCK_PHC(0)), difference(kS, BOARD_CLOCK_PHC(0)));
    EXPECT_NE(of(BOARD_HAPPENING_STEP).at(0).step.real_ns, 0);
}

TEST_F(Clocks, AnEarlierInstantCountsAsTheLatest) {
    const std::uint64_t late = board_tick(on(), 10 * kS);
    EXPECT_EQ(board_tick(on(), 9 * kS), late);
    EXPECT_EQ(board_raw(on()), 10 * kS);
}

TEST_F(Clocks, TruthSaysWhichAreEnabled) {
    addInterface("enp1s0", 0);
    addInterface("enp2s0", 1);
    addInterface("enp3s0", -1);
    config.interfaces[1].is_up = 0;
    const board_truth truth = this->truth(0);
    ASSERT_EQ(truth.clock_count, 6U);
    EXPECT_TRUE(truth.enabled[BOARD_CLOCK_FERROX]);
    EXPECT_TRUE(truth.enabled[BOARD_CLOCK_FPGA]);
    EXPECT_FALSE(truth.enabled[BOARD_CLOCK_SYSTEM]) << "nothing disciplines it";
    EXPECT_TRUE(truth.enabled[BOARD_CLOCK_PHC(0)]);
    EXPECT_FALSE(truth.enabled[BOARD_CLOCK_PHC(1)]);
    EXPECT_FALSE(truth.enabled[BOARD_CLOCK_PHC(2)]);
}

TEST_F(Clocks, OfAnInterfaceThatCannotTakePartIsNeverEnabled) {
    for (int i = 0; i < 6; ++i) addInterface(("enp1s" + std::to_string(i)).c_str(), i);
    config.interfaces[1].n_ext_ts = 0;
    config.interfaces[2].n_per_out = 0;
    config.interfaces[3].n_pins = 3;
    std::strcpy(config.interfaces[4].vendor, "0x8087\n");
    std::strcpy(config.interfaces[5].device, "0x1521\n");
    const board_truth truth = this->truth(0);
    EXPECT_TRUE(truth.enabled[BOARD_CLOCK_PHC(0)]);
    for (int i = 1; i < 6; ++i) EXPECT_FALSE(truth.enabled[BOARD_CLOCK_PHC(i)]) << i;
}

TEST_F(Clocks, TruthComesByItselfAtItsInterval) {
    config.truth_interval_ns = 100 * kMs;
    board_advance(on(), kS);
    EXPECT_EQ(of(BOARD_HAPPENING_TRUTH).size(), 11U);  // at 0 and ten times since
    EXPECT_EQ(of(BOARD_HAPPENING_TRUTH).back().happening.raw_ns, kS);
}

}  // namespace halvexboard::clocksTest
