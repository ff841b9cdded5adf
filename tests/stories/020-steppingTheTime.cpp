// Story 020: the host steps the time, and every clock follows.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"

namespace steppingTheTime {

class SteppingTheTime : public stories::Controller {
protected:
    /// Expects that the master moved by `expectedNs` relative to its own rate, the system clock by about the same, and
    /// that the slaves followed.
    void expectMoved(std::int64_t offsetNs, std::int64_t expectedNs) {
        constexpr double kCrystalError = 3e-6;
        const auto before = truth();
        ASSERT_EQ(snapTime(offsetNs), 0) << lastText_;
        const auto after = truth();
        const std::int64_t passedNs = after.rawNs - before.rawNs;
        EXPECT_NEAR(static_cast<double>(after["ferrox"].timeNs - before["ferrox"].timeNs - passedNs - expectedNs),
                    static_cast<double>(passedNs) * kCrystalError, 2.0);
        // A step of the system clock is a read, an addition and a write: some microseconds are lost in between.
        EXPECT_NEAR(static_cast<double>(after["system"].timeNs - before["system"].timeNs - passedNs - expectedNs), 0.0,
                    backend_->isExact() ? 20'000.0 : 100'000.0);
        waitS(3);
        expectAligned();
    }
};

TEST_F(SteppingTheTime, MovesMasterAndSystemClockAtOnceAndTheSlavesWithinAFewEpochs) {
    start();
    waitS(20);  // until phc2sys settles
    constexpr std::int64_t kHourNs = 3'600'000'000'000;
    expectMoved(1'500'000, 1'500'000);
    expectMoved(-399, -200);  // truncated toward zero
    expectMoved(-2'000'000'000, -2'000'000'000);
    expectMoved(kHourNs, kHourNs);
    expectMoved(-kHourNs, -kHourNs);
    expectMoved(199, 0);
    expectMoved(0, 0);
}

TEST_F(SteppingTheTime, ReturnsBeforeTheAlignmentAndWaitsForItTheNextTime) {
    start();
    ASSERT_EQ(snapTime(1'000'000), 0);
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(3);
    EXPECT_EQ(countSyslog("Successfully aligned"), 3);
    expectAligned();
}

TEST_F(SteppingTheTime, FiftyTimesInARowEndsAligned) {
    start();
    for (int step = 0; step < 50; ++step) ASSERT_EQ(snapTime((step % 7 - 3) * 1'234'600LL), 0) << lastText_;
    waitS(3);
    expectAligned();
    EXPECT_EQ(countSyslog("Encountered"), 0);
}

TEST_F(SteppingTheTime, LeavesPhc2sysRunningWhichNeverStepsBack) {
    start();
    waitS(20);
    ASSERT_EQ(snapTime(2'000'000'000), 0);
    waitS(30);
    EXPECT_EQ(phc2sysSources().size(), 1U);
    expectSystemTimeWithin(2'000);
}

}  // namespace steppingTheTime
