// Stories 020: the host steps the time.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/system/controller.h"

namespace {

using systemtest::readTruth;
using systemtest::waitS;

class S020_SteppingTheTime : public systemtest::Controller {
protected:
    void SetUp() override {
        switchOn();
        initialize();
        waitS(20);  // phc2sys has settled
    }

    /// By how much the master and the system clock moved against the raw clock over a step of `offsetNs`.
    void expectMoved(std::int64_t offsetNs, std::int64_t expectedNs) {
        const auto before = readTruth();
        ASSERT_EQ(snapTime(offsetNs), 0) << lastText_;
        const auto after = readTruth();
        const std::int64_t passedNs = after.rawNs - before.rawNs;
        EXPECT_NEAR(static_cast<double>(after["ferrox"].timeNs - before["ferrox"].timeNs - passedNs),
                    static_cast<double>(expectedNs), 100.0);
        // The step of the system clock is a read, an addition and a write: some microseconds are lost in between.
        EXPECT_NEAR(static_cast<double>(after["realtime"].timeNs - before["realtime"].timeNs - passedNs),
                    static_cast<double>(expectedNs), 100'000.0);
        waitS(1);
        expectAligned();
    }
};

TEST_F(S020_SteppingTheTime, T020_ForwardByAMillisecondAndAHalf) { expectMoved(1'500'000, 1'500'000); }
TEST_F(S020_SteppingTheTime, T021_BackwardIsCutTowardZeroTo200Ns) { expectMoved(-399, -200); }
TEST_F(S020_SteppingTheTime, T022_ForwardByAnHour) { expectMoved(3'600'000'000'000, 3'600'000'000'000); }
TEST_F(S020_SteppingTheTime, T023_BackwardByAnHour) { expectMoved(-3'600'000'000'000, -3'600'000'000'000); }
TEST_F(S020_SteppingTheTime, T024_Below200NsMovesNothing) { expectMoved(199, 0); }

TEST_F(S020_SteppingTheTime, T025_FiftyStepsInARowEndAligned) {
    for (int step = 0; step < 50; ++step) ASSERT_EQ(snapTime((step % 7 - 3) * 1'234'600LL), 0) << lastText_;
    waitS(3);
    expectAligned();
    EXPECT_EQ(countSyslog("Encountered"), 0);
}

TEST_F(S020_SteppingTheTime, T026_Phc2sysRunsOnAndNeverStepsBack) {
    ASSERT_EQ(snapTime(2'000'000'000), 0);
    waitS(30);
    const auto truth = readTruth();
    EXPECT_EQ(systemtest::livingPhc2sys().size(), 1U);
    EXPECT_LT(std::abs(truth["realtime"].timeNs - truth["enp1s0"].timeNs), 2'000);
}

}  // namespace
