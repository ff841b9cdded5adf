// Story 080: pulses are missed, stale time stamps appear, both edges are stamped.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"

namespace edgesThatGetLost {

class EdgesThatGetLost : public stories::Controller {
protected:
    void SetUp() override {
        start();
        waitS(1);
        clear();
    }
};

TEST_F(EdgesThatGetLost, FiveAreForgiven) {
    doEvent("lose_edges", "enp2s0", 5);
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(15);
    EXPECT_EQ(snapTime(0), 0) << lastText_;
    EXPECT_EQ(countSyslog("Encountered err while trying to sync i210EpochDevice_enp2s0, retry count"), 5);
    waitS(3);
    expectAligned();
}

TEST_F(EdgesThatGetLost, TheSixthIsReported) {
    doEvent("lose_edges", "enp2s0", 6);
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(15);
    EXPECT_EQ(snapTime(0), -52007);
    EXPECT_EQ(lastMessage(), "Timed out while getting time from enp2s0");
}

TEST_F(EdgesThatGetLost, TheFpgaIsForgivenToo) {
    doEvent("lose_edges", "fpga", 2);
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(10);
    EXPECT_EQ(snapTime(0), 0) << lastText_;
    EXPECT_EQ(countSyslog("Did not see the epoch signal on fpgaEpochDevice"), 2);
    waitS(3);
    expectAligned();
}

TEST_F(EdgesThatGetLost, StaleTimeStampsAreNeverTakenForTheEpoch) {
    for (int round = 0; round < 50; ++round) {
        doEvent("stale_events", "enp1s0", 1 + round % 130);
        doEvent("stale_events", "enp2s0", 3);
        ASSERT_EQ(snapTime(1000 * round), 0) << lastText_;
        waitS(2);
        expectAligned();
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
    EXPECT_EQ(countSyslog("Encountered"), 0);
}

TEST_F(EdgesThatGetLost, TwoThousandEpochsLeaveEveryClockAligned) {
    for (int round = 0; round < 700; ++round) {
        ASSERT_EQ(snapTime(round % 2 == 0 ? 123'400 : -123'400), 0) << lastText_;
        waitS(0.05);
        if (round % 100 == 0) seen();  // keeps the kernel's journal from filling up
    }
    ASSERT_EQ(snapTime(0), 0);
    waitS(1);
    EXPECT_GE(seen().epochs, 2000);
    EXPECT_EQ(countSyslog("Encountered"), 0);
    expectAligned();
}

}  // namespace edgesThatGetLost
