// Faults: which call fails.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/modelBoard.h"

namespace halvexboard::faultsTest {

class FaultyBoard : public ModelBoard {
public:
    FaultyBoard() {
        addInterface("enp2s0", 1);
        addInterface("enp1s0", 0);
    }
    board_fault_config& add(board_call_kind kind, std::uint32_t nth, std::uint32_t times, int error) {
        board_fault_config& fault = config.faults[config.fault_count++];
        fault.kind = kind;
        fault.nth = nth;
        fault.times = times;
        fault.error = error;
        return fault;
    }
    // The errors of the next calls, 0 for success.
    std::vector<int> errors(const board_call& call, int calls) {
        std::vector<int> result;
        for (int at = 0; at < calls; ++at) {
            board_fault_outcome outcome{};
            result.push_back(board_fault_due(on(), 0, &call, &outcome) == 1 ? outcome.error : 0);
        }
        return result;
    }
};

class Faults : public testing::Test, public FaultyBoard {};

TEST_F(Faults, FailTheNthCallAndSoManyAfterIt) {
    static const struct {
        std::uint32_t nth, times;
        std::vector<int> errors;
    } kCases[] = {{3, 1, {0, 0, EIO, 0, 0}}, {2, 2, {0, EIO, EIO, 0, 0}}, {2, BOARD_FOREVER, {0, EIO, EIO, EIO, EIO}}};
    for (const auto& [nth, times, expected] : kCases) {
        FaultyBoard board;
        board.add(BOARD_CALL_READ, nth, times, EIO);
        EXPECT_EQ(board.errors(callOf(BOARD_CALL_READ), 5), expected);
    }
}

TEST_F(Faults, CountOnlyCallsOfTheirKindTargetFileAndRequest) {
    board_fault_config& fault = add(BOARD_CALL_IOCTL, 1, 1, EIO);
    fault.target = BOARD_TARGET_INTERFACE(1);
    fault.has_detail = 1;
    fault.detail = BOARD_WIRE_PTP_PIN_SETFUNC;
    EXPECT_EQ(errors(callOf(BOARD_CALL_READ, BOARD_TARGET_INTERFACE(1)), 1), std::vector<int>{0});
    EXPECT_EQ(errors(callOf(BOARD_CALL_IOCTL, BOARD_TARGET_INTERFACE(0), BOARD_WIRE_PTP_PIN_SETFUNC), 1),
              std::vector<int>{0});
    EXPECT_EQ(errors(callOf(BOARD_CALL_IOCTL, BOARD_TARGET_INTERFACE(1), BOARD_WIRE_PTP_GETCAPS), 1),
              std::vector<int>{0});
    EXPECT_EQ(errors(callOf(BOARD_CALL_IOCTL, BOARD_TARGET_INTERFACE(1), BOARD_WIRE_PTP_PIN_SETFUNC), 1),
              std::vector<int>{EIO});
}

TEST_F(Faults, TellFilesApart) {
    add(BOARD_CALL_OPEN, 1, BOARD_FOREVER, ENOENT).file = BOARD_FILE_PPB_OFFSET;
    board_call open = callOf(BOARD_CALL_OPEN, BOARD_TARGET_SI514);
    open.file = BOARD_FILE_NAME;
    EXPECT_EQ(errors(open, 1), std::vector<int>{0});
    open.file = BOARD_FILE_PPB_OFFSET;
    EXPECT_EQ(errors(open, 1), std::vector<int>{ENOENT});
}

TEST_F(Faults, BeginToCountAtTheirInstant) {
    add(BOARD_CALL_READ, 1, 1, EIO).from_ns = 5 * kS;
    EXPECT_EQ(errors(callOf(BOARD_CALL_READ), 3), (std::vector<int>{0, 0, 0}));
    board_advance(on(), 5 * kS);
    EXPECT_EQ(errors(callOf(BOARD_CALL_READ), 2), (std::vector<int>{EIO, 0}));
}

TEST_F(Faults, TheFirstDueDecidesAndAllOfThemCount) {
    add(BOARD_CALL_READ, 2, 1, EIO);
    add(BOARD_CALL_ANY, 1, 3, EPERM);
    EXPECT_EQ(errors(callOf(BOARD_CALL_READ), 4), (std::vector<int>{EPERM, EIO, EPERM, 0}));
}

TEST_F(Faults, AreToldWithTheirOutcome) {
    board_fault_config& fault = add(BOARD_CALL_READ, 1, 1, 0);
    fault.has_short_count = 1;
    fault.short_count = 0;
    fault.delay_ns = 77;
    errors(callOf(BOARD_CALL_READ, BOARD_TARGET_SI514), 1);
    const auto told = of(BOARD_HAPPENING_FAULT);
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0].outcome.short_count, 0);
    EXPECT_EQ(told[0].outcome.delay_ns, 77U);
    EXPECT_EQ(told[0].happening.target, BOARD_TARGET_SI514);
}

TEST_F(Faults, WithoutAShortCountSayMinusOne) {
    add(BOARD_CALL_READ, 1, 1, EIO);
    errors(callOf(BOARD_CALL_READ), 1);
    EXPECT_EQ(of(BOARD_HAPPENING_FAULT).at(0).outcome.short_count, -1);
}

TEST_F(Faults, AddedWhileTheBoardRunsCountFromThen) {
    const board_call read = callOf(BOARD_CALL_READ);
    EXPECT_EQ(errors(read, 2), (std::vector<int>{0, 0}));
    board_fault_config fault{};
    fault.kind = BOARD_CALL_READ;
    fault.nth = 2;
    fault.times = 1;
    fault.error = EIO;
    EXPECT_EQ(board_add_fault(on(), &fault), 0);
    EXPECT_EQ(errors(read, 3), (std::vector<int>{0, EIO, 0}));
}

TEST_F(Faults, AddedBeyondTheirNumberOrWithoutATurnAreRefused) {
    board_fault_config fault{};
    EXPECT_EQ(board_add_fault(on(), &fault), -EINVAL);
    fault.nth = 1;
    fault.times = 1;
    for (int at = 0; at < BOARD_MAX_FAULTS; ++at) EXPECT_EQ(board_add_fault(on(), &fault), 0);
    EXPECT_EQ(board_add_fault(on(), &fault), -ENOSPC);
}

}  // namespace halvexboard::faultsTest
