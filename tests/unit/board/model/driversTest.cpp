// The Ferrox and FPGA drivers: methods, layouts, records, status codes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/modelBoard.h"

namespace halvexboard::driversTest {

class Drivers : public ModelBoardTest {
protected:
    board_driver_call withRecord(std::uint32_t request, const void* record, std::size_t size) {
        board_driver_call call{};
        call.request = request;
        std::memcpy(call.record, record, size);
        EXPECT_EQ(board_driver_do(on(), kS, BOARD_TARGET_FPGA, &call), 0);
        return call;
    }
};

TEST_F(Drivers, KnowTheShapesOfTheirMethods) {
    const board_driver_method* const getTime = board_driver_find(BOARD_TARGET_FERROX, 0x80207500);
    ASSERT_NE(getTime, nullptr);
    EXPECT_STREQ(getTime->name, "getTime");
    EXPECT_EQ(getTime->in_size, 4U);
    EXPECT_EQ(getTime->out_size, 16U);
    const board_driver_method* const setStatus = board_driver_find(BOARD_TARGET_FPGA, 0xC0207502);
    ASSERT_NE(setStatus, nullptr);
    EXPECT_EQ(setStatus->record_size, 19U);
    EXPECT_EQ(setStatus->in_size, 16U);
    EXPECT_EQ(setStatus->out_size, 4U);
    EXPECT_EQ(board_driver_find(BOARD_TARGET_FPGA, 0xC0207503)->record, BOARD_RECORD_IN_OUT);
    EXPECT_EQ(board_driver_find(BOARD_TARGET_FPGA, 0x80207500), nullptr) << "the directions differ between the two";
    EXPECT_EQ(board_driver_find(BOARD_TARGET_SYSTEM, 0x80207500), nullptr);
}

TEST_F(Drivers, ReadTheClocksTheyOwn) {
    config.fpga.clock.offset_ns = 12;
    const std::uint64_t ferrox = driverCall(kS, BOARD_TARGET_FERROX, BOARD_WIRE_FERROX_GET_TIME).result;
    const board_driver_call fpga = driverCall(kS, BOARD_TARGET_FPGA, BOARD_WIRE_FPGA_GET_TIME);
    EXPECT_EQ(ferrox, config.start_time_ns + kS);
    EXPECT_EQ(fpga.result, ferrox + 12);
    EXPECT_EQ(fpga.bytes_returned, 16U);
    EXPECT_EQ(fpga.driver_status, 0);
}

TEST_F(Drivers, FerroxAddsUpItsSteps) {
    driverCall(kS, BOARD_TARGET_FERROX, BOARD_WIRE_FERROX_ADJUST_TIME, 1'000);
    driverCall(kS, BOARD_TARGET_FERROX, BOARD_WIRE_FERROX_ADJUST_TIME, static_cast<std::uint64_t>(-400));
    EXPECT_EQ(driverCall(kS, BOARD_TARGET_FERROX, BOARD_WIRE_FERROX_GET_TIME_OFFSET).result, 600U);
}

TEST_F(Drivers, AnUnknownRequestIsENOTTY) { driverCall(0, BOARD_TARGET_FPGA, 0xC0207509, 0, -ENOTTY); }

TEST_F(Drivers, ADriverThatIsGoneIsENODEVUntilItIsBack) {
    ASSERT_EQ(event(0, BOARD_EVENT_DRIVER_GONE, BOARD_TARGET_FERROX), 0);
    EXPECT_FALSE(board_present(on(), BOARD_TARGET_FERROX));
    driverCall(0, BOARD_TARGET_FERROX, BOARD_WIRE_FERROX_GET_TIME, 0, -ENODEV);
    ASSERT_EQ(event(0, BOARD_EVENT_DRIVER_BACK, BOARD_TARGET_FERROX), 0);
    driverCall(0, BOARD_TARGET_FERROX, BOARD_WIRE_FERROX_GET_TIME);
}

TEST_F(Drivers, TheStatusRecordIsToldAsItCame) {
    const board_wire_fpga_status record{19, 1, 2, -5, 1, 37, 1};
    EXPECT_EQ(withRecord(BOARD_WIRE_FPGA_SET_STATUS_INFO, &record, sizeof record).driver_status, 0);
    const auto told = of(BOARD_HAPPENING_STATUS_RECORD);
    ASSERT_EQ(told.size(), 1U);
    ASSERT_EQ(told[0].record.size(), 19U);
    EXPECT_EQ(std::memcmp(told[0].record.data(), &record, 19), 0);
}

TEST_F(Drivers, ARecordOfTheWrongSizeIsADriverStatus) {
    const board_wire_fpga_status record{20, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(withRecord(BOARD_WIRE_FPGA_SET_STATUS_INFO, &record, sizeof record).driver_status, -52005);
    EXPECT_TRUE(of(BOARD_HAPPENING_STATUS_RECORD).empty());
    const board_wire_fpga_run_state state{4, 0, {}};
    EXPECT_EQ(withRecord(BOARD_WIRE_FPGA_GET_STATUS_INFO, &state, sizeof state).driver_status, -52005);
}

TEST_F(Drivers, TheRunningBitFollowsTheTimeBase) {
    const board_wire_fpga_run_state state{8, 0, {}};
    EXPECT_EQ(withRecord(BOARD_WIRE_FPGA_GET_STATUS_INFO, &state, sizeof state).record[4], 1);
    event(kS, BOARD_EVENT_FPGA_STOP, BOARD_TARGET_ANY);
    EXPECT_EQ(withRecord(BOARD_WIRE_FPGA_GET_STATUS_INFO, &state, sizeof state).record[4], 0);
    driverCall(kS, BOARD_TARGET_FPGA, BOARD_WIRE_FPGA_REQUEST_EPOCH_ALIGNMENT, 4'000'000'000);
    EXPECT_EQ(withRecord(BOARD_WIRE_FPGA_GET_STATUS_INFO, &state, sizeof state).record[4], 1);
    EXPECT_EQ(of(BOARD_HAPPENING_ALIGNMENT_REQUEST).at(0).happening.value, 4'000'000'000);
}

TEST_F(Drivers, AStoppedTimeBaseStaysStoppedIfTheScenarioSaysSo) {
    config.fpga_starts_on_request = 0;
    config.fpga_running = 0;
    driverCall(kS, BOARD_TARGET_FPGA, BOARD_WIRE_FPGA_REQUEST_EPOCH_ALIGNMENT, 1);
    const board_wire_fpga_run_state state{8, 0, {}};
    EXPECT_EQ(withRecord(BOARD_WIRE_FPGA_GET_STATUS_INFO, &state, sizeof state).record[4], 0);
}

TEST_F(Drivers, AnFpgaCanReadZeroAndComeBack) {
    config.fpga_reads_zero = 1;
    EXPECT_EQ(driverCall(kS, BOARD_TARGET_FPGA, BOARD_WIRE_FPGA_GET_TIME).result, 0U);
    event(kS, BOARD_EVENT_FPGA_RUN, BOARD_TARGET_ANY);
    EXPECT_EQ(driverCall(kS, BOARD_TARGET_FPGA, BOARD_WIRE_FPGA_GET_TIME).result, config.start_time_ns + kS);
}

TEST_F(Drivers, AnErrorOfTheCallerOrAForcedOneDoesNothingAndAForcedWarningDoesItsWork) {
    static constexpr struct {
        std::int32_t caller, forced, status, movedNs;
    } kCases[] = {{-1, 0, -1, 0}, {0, -52024, -52024, 0}, {0, 52100, 52100, 500}};
    for (const auto& [caller, forced, status, movedNs] : kCases) {
        board_driver_call call{};
        call.request = BOARD_WIRE_FPGA_ADJUST_TIME;
        call.argument = 500;
        call.caller_status = caller;
        call.forced_status = forced;
        ASSERT_EQ(board_driver_do(on(), kS, BOARD_TARGET_FPGA, &call), 0);
        EXPECT_EQ(call.driver_status, status);
        EXPECT_EQ(difference(kS, BOARD_CLOCK_FPGA), movedNs) << status;
    }
}

}  // namespace halvexboard::driversTest
