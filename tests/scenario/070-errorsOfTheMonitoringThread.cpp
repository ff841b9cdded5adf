// Story 070: something fails between two calls of the host.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <gmock/gmock.h>

#include "tests/support/controller.h"

namespace {

using testing::HasSubstr;
using ErrorsOfTheMonitoringThread = testsupport::Controller;

constexpr const char* kSetStatusFailsTwice = R"(
[[fault]]
call = "ioctl"
target = "fpga"
request = "setStatusInfo"
from = "20 s"
times = 2
error = "EIO"
)";

TEST_F(ErrorsOfTheMonitoringThread, AreLoggedEachAndHandedToOneCall) {
    switchOn(kSetStatusFailsTwice);
    initialize();
    waitS(30);
    EXPECT_EQ(countSyslog("Monitoring thread encountered an error: FAIL(-52024,"), 2);
    std::uint64_t time = 42;
    EXPECT_EQ(codeOf([&](zuerr_Status* status) { zuqxmtk_getTime(&time, status); }), -52024);
    EXPECT_EQ(lastMessage(), "Unable to set status on fpgaEpochDevice");
    EXPECT_THAT(lastText_, HasSubstr("\"error_constant\":\"status.getCode()\""));
    EXPECT_EQ(time, 42U);
    EXPECT_EQ(countSyslog("Encountered error in zuqxmtk_getTime: FAIL(-52024,"), 1);
    getTime();
}

TEST_F(ErrorsOfTheMonitoringThread, SurviveAFinaliseAndMeetTheFirstCallAfterwards) {
    switchOn(kSetStatusFailsTwice);
    initialize();
    waitS(30);
    zuqxmtk_finalize();
    initialize();
    EXPECT_EQ(snapTime(0), -52024);
    EXPECT_EQ(snapTime(0), 0);
}

TEST_F(ErrorsOfTheMonitoringThread, DoNotEndTheThread) {
    switchOn(kSetStatusFailsTwice);
    initialize();
    waitS(30);
    board_->clearTrace();
    waitS(10);
    EXPECT_EQ(happenings("status_record").size(), 5U);
}

TEST_F(ErrorsOfTheMonitoringThread, IncludeThoseOfAnAlignmentThatAStepStarted) {
    switchOn(R"(
[[fault]]
call = "ioctl"
target = "ferrox"
request = "generateEpochSignal"
from = "20 s"
driver_status = -52024
)");
    initialize();
    waitS(20.5);
    ASSERT_EQ(snapTime(0), 0);
    waitS(3);
    EXPECT_EQ(countSyslog("Monitoring thread encountered an error: FAIL(-52024,"), 1);
    EXPECT_EQ(snapTime(0), -52024);
}

TEST_F(ErrorsOfTheMonitoringThread, ComeFromAnInterfaceThatIsGoneAndStopWhenItIsBack) {
    switchOn();
    initialize();
    board_->doEvent(BOARD_EVENT_DRIVER_GONE, BOARD_TARGET_FPGA);
    waitS(5);
    board_->doEvent(BOARD_EVENT_DRIVER_BACK, BOARD_TARGET_FPGA);
    waitS(5);
    board_->clearTrace();
    waitS(10);
    EXPECT_EQ(countSyslog("Monitoring thread encountered"), 0);
}

}  // namespace
