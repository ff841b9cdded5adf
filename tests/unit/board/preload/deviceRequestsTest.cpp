// Tests of the two driver nodes: every method by raw request, with buffers byte for byte.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <sys/mman.h>

#include "tests/unit/board/preload/boardOn.h"

using namespace boardtest;

namespace deviceRequestsTest {

class DriverNodes : public BoardOn {
protected:
    DriverNodes() {
        switchOn();
        ferrox_ = open(BOARD_WIRE_FERROX_NODE, O_RDWR | O_CLOEXEC);
        fpga_ = open(BOARD_WIRE_FPGA_NODE, O_RDWR | O_CLOEXEC);
    }
    ~DriverNodes() override {
        close(ferrox_);
        close(fpga_);
    }

    int ferrox_ = -1;
    int fpga_ = -1;
    DriverCall call_;
};

TEST_F(DriverNodes, TellTheirTimes) {
    ASSERT_EQ(call_.get(ferrox_, BOARD_WIRE_FERROX_GET_TIME), 0);
    const std::uint64_t master = call_.result;
    EXPECT_EQ(call_.status, 0);
    EXPECT_EQ(call_.bytesReturned, 16U);
    ASSERT_EQ(call_.get(fpga_, BOARD_WIRE_FPGA_GET_TIME), 0);
    EXPECT_GT(call_.result, master + 40'000) << "40 us ahead, and the first call took its time";
    EXPECT_LT(call_.result, master + 60'000);
    EXPECT_EQ(call_.get(ferrox_, BOARD_WIRE_FERROX_GET_TIME_OFFSET), 0);
}

TEST_F(DriverNodes, StepTheirClocks) {
    ASSERT_EQ(call_.give(ferrox_, BOARD_WIRE_FERROX_ADJUST_TIME, 1'000'000), 0);
    EXPECT_EQ(board_->differenceNs(BOARD_CLOCK_FPGA), 40'000 - 1'000'000);
    ASSERT_EQ(call_.give(fpga_, BOARD_WIRE_FPGA_ADJUST_TIME, static_cast<std::uint64_t>(-40'001)), 0);
    EXPECT_EQ(board_->differenceNs(BOARD_CLOCK_FPGA), -1'000'001);
}

TEST_F(DriverNodes, SeeTheSameEpoch) {
    ASSERT_EQ(call_.get(fpga_, BOARD_WIRE_FPGA_GET_EPOCH_TIMESTAMP), 0);
    const std::uint64_t before = call_.result;
    ASSERT_EQ(call_.act(ferrox_, BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL), 0);
    ASSERT_EQ(call_.get(ferrox_, BOARD_WIRE_FERROX_GET_EPOCH_TIMESTAMP), 0);
    const std::uint64_t master = call_.result;
    ASSERT_EQ(call_.get(fpga_, BOARD_WIRE_FPGA_GET_EPOCH_TIMESTAMP), 0);
    EXPECT_NE(call_.result, before);
    EXPECT_EQ(call_.result - master, 40'000U);
}

TEST_F(DriverNodes, TakeAndFillRecordsByAddress) {
    board_wire_fpga_status status{};
    status.size = sizeof status;
    status.reference_kind = 2;
    status.utc_offset = 37;
    status.has_utc_offset = 1;
    ASSERT_EQ(call_.give(fpga_, BOARD_WIRE_FPGA_SET_STATUS_INFO, reinterpret_cast<std::uint64_t>(&status)), 0);
    EXPECT_EQ(call_.status, 0);
    EXPECT_THAT(traced("\"utc_offset\":37"), testing::HasSubstr("status_record"));
    board_wire_fpga_run_state state{};
    state.size = sizeof state;
    ASSERT_EQ(call_.give(fpga_, BOARD_WIRE_FPGA_GET_STATUS_INFO, reinterpret_cast<std::uint64_t>(&state)), 0);
    EXPECT_NE(state.running, 0);
    ASSERT_EQ(call_.give(fpga_, BOARD_WIRE_FPGA_REQUEST_EPOCH_ALIGNMENT, 4'000'000'000), 0);
    EXPECT_THAT(traced("\"alignment_request\""), testing::HasSubstr("4000000000"));
}

TEST_F(DriverNodes, ReportARecordOfTheWrongSizeAsADriverStatus) {
    board_wire_fpga_status status{};
    status.size = 18;
    ASSERT_EQ(call_.give(fpga_, BOARD_WIRE_FPGA_SET_STATUS_INFO, reinterpret_cast<std::uint64_t>(&status)), 0);
    EXPECT_EQ(call_.status, BOARD_WIRE_STATUS_INVALID_PARAMETER);
}

TEST_F(DriverNodes, RefuseRequestsAndBuffersThatAreNotTheirs) {
    EXPECT_EQ(call_.get(fpga_, BOARD_WIRE_FERROX_GET_TIME), ENOTTY) << "the two differ in their direction bits";
    EXPECT_EQ(call_.make(ferrox_, BOARD_WIRE_FERROX_GET_TIME, nullptr, false), EINVAL) << "no room for the result";
    EXPECT_THAT(ioctl(ferrox_, BOARD_WIRE_FERROX_GET_TIME, nullptr), FailsWith(EFAULT));
    EXPECT_EQ(call_.give(fpga_, BOARD_WIRE_FPGA_SET_STATUS_INFO, 0), EFAULT) << "the address of the record";
}

TEST_F(DriverNodes, AreGoneWithTheirDriver) {
    ASSERT_TRUE(board_->doEvent(BOARD_EVENT_DRIVER_GONE, BOARD_TARGET_FERROX));
    EXPECT_EQ(call_.get(ferrox_, BOARD_WIRE_FERROX_GET_TIME), ENODEV);
    EXPECT_THAT(open(BOARD_WIRE_FERROX_NODE, O_RDWR), FailsWith(ENOENT));
}

TEST_F(DriverNodes, CanBeMapped) {
    void* const mapped = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, fpga_, 4096);
    ASSERT_NE(mapped, MAP_FAILED);
    static_cast<char*>(mapped)[0] = 'x';
    EXPECT_EQ(munmap(mapped, 4096), 0);
}

}  // namespace deviceRequestsTest
