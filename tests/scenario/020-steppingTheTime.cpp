// Story 020: the host steps the time, and every clock follows.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <gmock/gmock.h>

#include "tests/support/controller.h"

namespace {

using SteppingTheTime = testsupport::Controller;

TEST_F(SteppingTheTime, MovesTheMasterAtOnceAndTheSlavesWithinAFewEpochs) {
    switchOn();
    initialize();
    for (const std::int64_t offsetNs : {std::int64_t{1'500'000}, std::int64_t{-399}, std::int64_t{-2'000'000'000},
                                        std::int64_t{3'600'000'000'000}, std::int64_t{0}}) {
        std::int64_t offBefore = 0;
        board_->withModel([&](board& model, std::uint64_t rawNs) {
            offBefore = static_cast<std::int64_t>(board_clock_time(&model, rawNs, BOARD_CLOCK_FERROX) -
                                                  board_tick(&model, rawNs));
        });
        ASSERT_EQ(snapTime(offsetNs), 0) << lastText_;
        std::int64_t offAfter = 0;
        board_->withModel([&](board& model, std::uint64_t rawNs) {
            offAfter = static_cast<std::int64_t>(board_clock_time(&model, rawNs, BOARD_CLOCK_FERROX) -
                                                 board_tick(&model, rawNs));
        });
        EXPECT_EQ(offAfter - offBefore, offsetNs / 200 * 200);
        waitS(3);
        expectAligned();
    }
}

TEST_F(SteppingTheTime, StepsTheSystemClockByTheSame) {
    switchOn();
    initialize();
    waitS(30);
    const std::int64_t before = board_->differenceNs(BOARD_CLOCK_SYSTEM);
    ASSERT_EQ(snapTime(5'000'000'000), 0);
    EXPECT_LT(std::abs(board_->differenceNs(BOARD_CLOCK_SYSTEM) - before), 20'000)
        << "the time between reading and writing";
}

TEST_F(SteppingTheTime, ReturnsBeforeTheAlignmentAndWaitsForItTheNextTime) {
    switchOn();
    initialize();
    ASSERT_EQ(snapTime(1'000'000), 0);
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(3);
    EXPECT_EQ(countSyslog("Successfully aligned"), 3);
    expectAligned();
}

TEST_F(SteppingTheTime, ReportsAFailedAlignmentToALaterCallAndOnlyOnce) {
    switchOn(R"(
[[fault]]
call = "ioctl"
target = "enp2s0"
request = "PTP_EXTTS_REQUEST"
from = "10 s"
error = "EIO"
)");
    initialize();
    waitS(10.5);
    ASSERT_EQ(snapTime(1'000'000), 0) << "the alignment comes later";
    EXPECT_EQ(snapTime(1'000'000), -52024);
    EXPECT_EQ(lastMessage(), "Unable to submit PTP_EXTTS_REQUEST on enp2s0.Got error Input/output error");
    EXPECT_EQ(countSyslog("Encountered err while trying to sync i210EpochDevice_enp2s0, retry count 0: FAIL(-52024,"),
              1);
}

TEST_F(SteppingTheTime, MakesTheCallsItMustAndNoOthers) {
    switchOn();
    initialize();
    waitS(1);
    board_->clearTrace();
    ASSERT_EQ(snapTime(0), 0);
    std::vector<std::string> calls = this->calls();
    ASSERT_GE(calls.size(), 3U);
    calls.resize(3);
    EXPECT_THAT(calls,
                testing::ElementsAre("ioctl ferrox node adjustTime", "clock_gettime system", "clock_settime system"));
}

}  // namespace
