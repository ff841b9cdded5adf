// Story 080: pulses are missed, old time stamps turn up, both edges are stamped.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <gmock/gmock.h>

#include "tests/support/controller.h"

namespace {

class EdgesThatGetLost : public testsupport::Controller {
protected:
    void run() {
        switchOn();
        initialize();
        waitS(1);
        board_->clearTrace();
    }
    static constexpr int kFirst = BOARD_TARGET_INTERFACE(1);
    static constexpr int kSecond = BOARD_TARGET_INTERFACE(0);
};

TEST_F(EdgesThatGetLost, FiveAreForgiven) {
    run();
    board_->doEvent(BOARD_EVENT_LOSE_EDGES, kSecond, 5);
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(15);
    EXPECT_EQ(snapTime(0), 0) << lastText_;
    EXPECT_EQ(countSyslog("Encountered err while trying to sync i210EpochDevice_enp2s0, retry count"), 5);
    waitS(3);
    expectAligned();
}

TEST_F(EdgesThatGetLost, TheSixthIsReported) {
    run();
    board_->doEvent(BOARD_EVENT_LOSE_EDGES, kSecond, 6);
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(15);
    EXPECT_EQ(snapTime(0), -52007);
    EXPECT_EQ(lastMessage(), "Timed out while getting time from enp2s0");
}

TEST_F(EdgesThatGetLost, TheFpgaIsForgivenToo) {
    run();
    board_->doEvent(BOARD_EVENT_LOSE_EDGES, BOARD_TARGET_FPGA, 2);
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(10);
    EXPECT_EQ(snapTime(0), 0) << lastText_;
    EXPECT_EQ(countSyslog("Did not see the epoch signal on fpgaEpochDevice"), 2);
    waitS(3);
    expectAligned();
}

TEST_F(EdgesThatGetLost, StaleTimeStampsAreNeverTakenForTheEpoch) {
    run();
    for (int round = 0; round < 50; ++round) {
        board_->doEvent(BOARD_EVENT_STALE_EVENTS, kFirst, 1 + round % 130);
        board_->doEvent(BOARD_EVENT_STALE_EVENTS, kSecond, 3);
        ASSERT_EQ(snapTime(1000 * round), 0) << lastText_;
        waitS(2);
        expectAligned();
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
    EXPECT_EQ(countSyslog("Encountered"), 0);
}

TEST_F(EdgesThatGetLost, TwoThousandEpochsLeaveEveryClockAligned) {
    run();
    for (int round = 0; round < 700; ++round) {
        ASSERT_EQ(snapTime(round % 2 == 0 ? 123'400 : -123'400), 0) << lastText_;
        waitS(0.05);
    }
    ASSERT_EQ(snapTime(0), 0);
    waitS(1);
    EXPECT_GE(happenings("epoch").size(), 2000U);
    EXPECT_EQ(countSyslog("Encountered"), 0);
    expectAligned();
}

}  // namespace
