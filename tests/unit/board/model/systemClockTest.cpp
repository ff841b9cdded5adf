// The system clock: setting, adjusting, and the kernel's error estimate.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/modelBoard.h"

namespace halvexboard::systemClockTest {

class SystemClock : public ModelBoardTest {
protected:
    board_wire_timex query(std::uint64_t rawNs) {
        board_wire_timex timex{};
        state = board_system_adjtime(on(), rawNs, &timex);
        return timex;
    }
    int state = -1;
};

TEST_F(SystemClock, RunsOnItsOwnCrystal) {
    config.crystal_error_ppt = 12'000'000;
    config.system_crystal_error_ppt = -8'300'000;
    EXPECT_EQ(board_system_get_time(on(), 1000 * kS), config.start_time_ns + 1000 * kS - 8'300'000);
    EXPECT_EQ(board_tick(on(), 1000 * kS), 1000 * kS + 12'000'000);
}

TEST_F(SystemClock, IsSetToTheNanosecond) {
    ASSERT_EQ(board_system_set_time(on(), kS, 2'000'000'000, 999'999'999), 0);
    EXPECT_EQ(board_system_get_time(on(), kS), 2'000'000'000'999'999'999U);
    EXPECT_EQ(of(BOARD_HAPPENING_STEP).at(0).step.clock, BOARD_CLOCK_SYSTEM);
}

TEST_F(SystemClock, RefusesTimesThatAreNone) {
    EXPECT_EQ(board_system_set_time(on(), kS, 5, 1'000'000'000), -EINVAL);
    EXPECT_EQ(board_system_set_time(on(), kS, 5, -1), -EINVAL);
    EXPECT_EQ(board_system_set_time(on(), kS, -1, 0), -EINVAL);
    EXPECT_EQ(board_system_set_time(on(), kS, 9'000'000'000, 0), -EINVAL);
    EXPECT_EQ(board_system_set_time(on(), 10 * kS, 9, 0), -EINVAL) << "before the machine's start";
    EXPECT_TRUE(of(BOARD_HAPPENING_STEP).empty());
}

TEST_F(SystemClock, ItsMaxerrorGrowsByHalfAMillisecondASecondUpToSixteenSeconds) {
    board_wire_timex timex{};
    timex.modes = BOARD_WIRE_ADJ_MAXERROR | BOARD_WIRE_ADJ_STATUS;
    EXPECT_EQ(board_system_adjtime(on(), kS, &timex), BOARD_WIRE_TIME_OK);
    EXPECT_EQ(query(11 * kS).maxerror, 5000);
    EXPECT_EQ(state, BOARD_WIRE_TIME_OK);
    EXPECT_EQ(query(50'000 * kS).maxerror, 16'000'000);
    EXPECT_EQ(state, BOARD_WIRE_TIME_ERROR);
}

TEST_F(SystemClock, AStepLeavesItUnsynchronised) {
    board_wire_timex timex{};
    timex.modes = BOARD_WIRE_ADJ_MAXERROR | BOARD_WIRE_ADJ_STATUS;
    ASSERT_EQ(board_system_adjtime(on(), kS, &timex), BOARD_WIRE_TIME_OK);
    timex = {};
    timex.modes = BOARD_WIRE_ADJ_SETOFFSET | BOARD_WIRE_ADJ_NANO;
    timex.time_sec = -1;
    timex.time_usec = 999'999'000;
    EXPECT_EQ(board_system_adjtime(on(), kS, &timex), BOARD_WIRE_TIME_ERROR);
    EXPECT_EQ(board_system_get_time(on(), kS), config.start_time_ns + kS - 1000);
    EXPECT_NE(query(kS).status & BOARD_WIRE_STA_UNSYNC, 0);
}

TEST_F(SystemClock, RefusesOffsetsAndTicksOutOfRange) {
    board_wire_timex timex{};
    timex.modes = BOARD_WIRE_ADJ_SETOFFSET | BOARD_WIRE_ADJ_NANO;
    timex.time_usec = 1'000'000'000;
    EXPECT_EQ(board_system_adjtime(on(), kS, &timex), -EINVAL);
    timex.modes = BOARD_WIRE_ADJ_SETOFFSET;
    timex.time_usec = 1'000'000;
    EXPECT_EQ(board_system_adjtime(on(), kS, &timex), -EINVAL);
    timex.modes = BOARD_WIRE_ADJ_TICK;
    timex.tick = 8999;
    EXPECT_EQ(board_system_adjtime(on(), kS, &timex), -EINVAL);
}

TEST_F(SystemClock, RunsAtTheFrequencyAndTickItIsGivenCutToTheKernelsLimits) {
    board_wire_timex timex{};
    timex.modes = BOARD_WIRE_ADJ_FREQUENCY | BOARD_WIRE_ADJ_TICK;
    timex.freq = std::int64_t{900} << 16;  // clamped to 500 ppm
    timex.tick = 10'001;                   // and 100 ppm more
    ASSERT_GE(board_system_adjtime(on(), 0, &timex), 0);
    EXPECT_EQ(timex.freq, 32'768'000);
    EXPECT_EQ(board_system_get_time(on(), 10 * kS), config.start_time_ns + 10 * kS + 6'000'000);
}

}  // namespace halvexboard::systemClockTest
