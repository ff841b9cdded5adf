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

}  // namespace halvexboard::costsTest
