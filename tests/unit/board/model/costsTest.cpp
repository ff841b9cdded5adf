// Costs: durations of calls.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/modelBoard.h"

namespace halvexboard::costsTest {

class Costs : public ModelBoardTest {
protected:
    Costs() { addInterface("enp1s0", 0); }
    std::uint64_t costOf(const board_call& call) { return board_call_cost(on(), &call); }
};

TEST_F(Costs, EveryKindOfCallTakesTime) {
    for (int kind = 0; kind < BOARD_CALL_KINDS; ++kind)
        EXPECT_GT(costOf(callOf(static_cast<board_call_kind>(kind))), 0U) << kind;
}

TEST_F(Costs, OfHardwareAreHigherThanTheKernels) {
    EXPECT_EQ(costOf(callOf(BOARD_CALL_CLOCK_GETTIME, BOARD_TARGET_SYSTEM)), 22U);
    EXPECT_GT(costOf(callOf(BOARD_CALL_CLOCK_GETTIME, BOARD_TARGET_INTERFACE(0))), 1000U);
}

TEST_F(Costs, CanBeSetAndTheLastEntryWins) {
    config.costs[0] = {BOARD_CALL_READ, BOARD_TARGET_ANY, 0, 0, 10};
    config.costs[1] = {BOARD_CALL_READ, BOARD_TARGET_SI514, 0, 0, 0};
    config.cost_count = 2;
    EXPECT_EQ(costOf(callOf(BOARD_CALL_READ)), 10U);
    EXPECT_EQ(costOf(callOf(BOARD_CALL_READ, BOARD_TARGET_SI514)), 1U) << "no call is free";
}

TEST_F(Costs, RiseWhenTheClockIsReadSlowly) {
    config.interfaces[0].slow_reads_per_million = 250'000;
    const board_call reading = callOf(BOARD_CALL_CLOCK_GETTIME, BOARD_TARGET_INTERFACE(0));
    const board_call asking = callOf(BOARD_CALL_IOCTL, BOARD_TARGET_INTERFACE(0), BOARD_WIRE_PTP_GETCAPS);
    std::map<std::uint64_t, int> seen;
    board_fault_outcome outcome{};
    for (int count = 0; count < 4000; ++count) {
        board_fault_due(on(), 0, &reading, &outcome);
        ++seen[costOf(reading)];
        EXPECT_EQ(costOf(asking), 148U);
        EXPECT_EQ(costOf(reading), costOf(reading)) << "one call, one cost";
        board_fault_due(on(), 0, &asking, &outcome);
        EXPECT_EQ(costOf(reading), 3022U) << "the slow call is over";
    }
    EXPECT_EQ(seen[3022] + seen[3022 + 18'500], 4000);
    EXPECT_NEAR(seen[3022 + 18'500], 1000, 110);
}

}  // namespace halvexboard::costsTest
