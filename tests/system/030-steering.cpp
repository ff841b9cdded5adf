// Stories 030: the host steers the oscillator; the drift is measured on every clock.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/system/controller.h"

namespace {

using systemtest::readTruth;
using systemtest::waitS;

class S030_Steering : public systemtest::Controller {
protected:
    void SetUp() override {
        switchOn({"set crystal_error_ppt 12000000"});
        initialize();
    }

    /// Drift of every clock of the board against the raw clock over ten seconds, in ppb.
    void expectDrift(double expectedPpb) {
        const auto before = readTruth();
        waitS(10);
        const auto after = readTruth();
        const auto passedNs = static_cast<double>(after.rawNs - before.rawNs);
        for (const char* const name : {"ferrox", "fpga", "enp1s0", "enp2s0"}) {
            const auto movedNs = static_cast<double>(after[name].timeNs - before[name].timeNs);
            EXPECT_NEAR((movedNs - passedNs) / passedNs * 1e9, expectedPpb, 0.5) << name;
        }
    }
};

TEST_F(S030_Steering, T030_WithoutCorrectionTheCrystalsErrorShows) { expectDrift(12'000); }

TEST_F(S030_Steering, T031_AddsToTheCrystalsErrorAcrossTheRange) {
    for (const std::int32_t ppb : {-62'000, -12'000, -1, 0, 1, 12'000, 62'000}) {
        ASSERT_EQ(setCorrection(ppb), 0) << lastText_;
        expectDrift(12'000 + ppb);
    }
}

TEST_F(S030_Steering, T032_BeyondTheRangeIsRefusedAndTheOldCorrectionStays) {
    ASSERT_EQ(setCorrection(-12'000), 0);
    EXPECT_EQ(setCorrection(62'001), -52005);
    EXPECT_TRUE(lastErrorSays("si514: requested ppb value 62001 is beyond the supported range: [62000, -62000]"));
    expectDrift(0);
}

TEST_F(S030_Steering, T033_ReadsBackWhatTheDriverHolds) {
    ASSERT_TRUE(systemtest::writeFile("/sys/bus/i2c/drivers/si514/0-0055/ppb_offset", "12.5"));
    std::int32_t ppb = 0;
    EXPECT_EQ(codeOf([&](zuerr_Status* status) { zuqxmtk_getCorrectionPerSecond(&ppb, status); }), 0);
    EXPECT_EQ(ppb, 13);
}

TEST_F(S030_Steering, T034_SystemTimeFollowsTheSteering) {
    ASSERT_EQ(setCorrection(30'000), 0);
    waitS(60);
    const auto truth = readTruth();
    EXPECT_LT(std::abs(truth["realtime"].timeNs - truth["enp1s0"].timeNs), 2'000);
}

}  // namespace
