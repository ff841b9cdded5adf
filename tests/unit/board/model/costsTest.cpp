// Costs: durations of calls.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "boardFixture.h"

namespace halvexboard::costsTest {

class Costs : public BoardFixture {
protected:
    Costs() { addInterface("enp1s0", 0); }
    static board_call call(board_call_kind kind, int target = BOARD_TARGET_ANY, std::uint32_t detail = 0) {
        board_call made{};
        made.kind = kind;
        made.target = target;
        made.detail = detail;
        return made;
    }
};

TEST_F(Costs, EveryKindOfCallTakesTime) {
    for (int kind = 0; kind < BOARD_CALL_KINDS; ++kind) {
        const board_call made = call(static_cast<board_call_kind>(kind));
        EXPECT_GT(board_call_cost(on(), &made), 0U) << kind;
    }
}

TEST_F(Costs, OfHardwareAreHigherThanTheKernels) {
    const board_call system = call(BOARD_CALL_CLOCK_GETTIME, BOARD_TARGET_SYSTEM);
    const board_call phc = call(BOARD_CALL_CLOCK_GETTIME, BOARD_TARGET_INTERFACE(0));
    EXPECT_EQ(board_call_cost(on(), &system), 22U);
    EXPECT_GT(board_call_cost(on(), &phc), 1000U);
}

TEST_F(Costs, CanBeSetAndTheLastEntryWins) {
    config.costs[0] = {BOARD_CALL_READ, BOARD_TARGET_ANY, 0, 0, 10};
    config.costs[1] = {BOARD_CALL_READ, BOARD_TARGET_SI514, 0, 0, 0};
    config.cost_count = 2;
    const board_call one = call(BOARD_CALL_READ), other = call(BOARD_CALL_READ, BOARD_TARGET_SI514);
    EXPECT_EQ(board_call_cost(on(), &one), 10U);
    EXPECT_EQ(board_call_cost(on(), &other), 1U) << "no call is free";
}

}  // namespace halvexboard::costsTest
