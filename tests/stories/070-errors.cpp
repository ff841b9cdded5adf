// Story 070: a driver fails during a call of the host, or between two of them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"

namespace errors {

using testing::HasSubstr;
using ErrorsOfTheMonitoringThread = stories::Controller;

const std::string kSetStatusFailsTwice =
    stories::requestFault("fpga", "setStatusInfo", "from = \"20 s\"\ntimes = 2\nerror = \"EIO\"");

TEST_F(ErrorsOfTheMonitoringThread, AreLoggedEachAndHandedToOneCall) {
    start(kSetStatusFailsTwice);
    waitS(30);
    EXPECT_EQ(countSyslog("Monitoring thread encountered an error: FAIL(-52024,"), 2);
    time_ = 42;
    EXPECT_EQ(readTime(), -52024);
    EXPECT_EQ(lastMessage(), "Unable to set status on fpgaEpochDevice");
    EXPECT_THAT(lastText_, HasSubstr("\"error_constant\":\"status.getCode()\""));
    EXPECT_EQ(time_, 42U);
    EXPECT_EQ(countSyslog("Encountered error in zuqxmtk_getTime: FAIL(-52024,"), 1);
    getTime();
}

TEST_F(ErrorsOfTheMonitoringThread, ThatMetadataMeetReachTheNextCall) {
    start();
    waitS(0.1);
    addFault(stories::requestFault("fpga", "setStatusInfo", "error = \"EIO\""));
    EXPECT_EQ(applyMetaData("{}"), 0);
    waitS(1);
    EXPECT_EQ(countSyslog("Monitoring thread encountered an error: FAIL(-52024,"), 1);
    EXPECT_EQ(readTime(), -52024);
    EXPECT_EQ(lastMessage(), "Unable to set status on fpgaEpochDevice");
    getTime();
}

TEST_F(ErrorsOfTheMonitoringThread, SurviveAFinaliseAndMeetTheFirstCallAfterwards) {
    start(kSetStatusFailsTwice);
    waitS(30);
    zuqxmtk_finalize();
    initialize();
    EXPECT_EQ(snapTime(0), -52024);
    EXPECT_EQ(snapTime(0), 0);
}

TEST_F(ErrorsOfTheMonitoringThread, DoNotEndTheThread) {
    start(kSetStatusFailsTwice);
    waitS(30.5);
    clear();
    waitS(10);
    EXPECT_EQ(statusRecords().size(), 5U);
}

TEST_F(ErrorsOfTheMonitoringThread, IncludeThoseOfAnAlignmentThatAStepStarted) {
    start(stories::requestFault("ferrox", "generateEpochSignal", "from = \"20 s\"\ndriver_status = -52024"));
    waitS(20.5);
    ASSERT_EQ(snapTime(0), 0);
    waitS(3);
    EXPECT_EQ(countSyslog("Monitoring thread encountered an error: FAIL(-52024,"), 1);
    EXPECT_EQ(snapTime(0), -52024);
}

using ErrorsOfADriver = stories::Controller;

TEST_F(ErrorsOfADriver, ReachTheHostOnce) {
    start();
    addFault(stories::requestFault("ferrox", "getTime", "error = \"EIO\""));
    EXPECT_EQ(readTime(), -52024);
    EXPECT_EQ(lastMessage(), "Unable to get time from FerroxEpochDevice");
    EXPECT_EQ(readTime(), 0) << lastText_;
}

TEST_F(ErrorsOfADriver, ReachTheHostWithTheDriversOwnCode) {
    start();
    addFault(stories::requestFault("ferrox", "getTime", "driver_status = -61234"));
    EXPECT_EQ(readTime(), -61234);
}

TEST_F(ErrorsOfADriver, AreReportedWhenAClockRefusesAStep) {
    start();
    waitS(0.1);
    addFault("[[fault]]\ncall = \"clock_adjtime\"\ntarget = \"enp1s0\"\nerror = \"EBUSY\"\n");
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(3);
    EXPECT_EQ(snapTime(0), -52024) << lastText_;
    EXPECT_EQ(lastMessage(), "Could not adjust time on enp1s0.Got error Device or resource busy");
    ASSERT_EQ(snapTime(0), 0);
    waitS(3);
    expectAligned();
}

}  // namespace errors
