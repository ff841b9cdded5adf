// Story 030: the host steers the oscillator, and every clock of the board changes its rate.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"

namespace steering {

constexpr const char* kAttribute = "/sys/bus/i2c/drivers/si514/0-0055/ppb_offset";

class Steering : public stories::Controller {
protected:
    void SetUp() override { start(); }

    /// Expects every clock of the board to gain this on true time over ten seconds.
    void expectDrift(double expectedPpb) {
        const auto before = truth();
        waitS(10);
        const auto after = truth();
        const auto passedNs = static_cast<double>(after.rawNs - before.rawNs);
        for (const char* const name : {"ferrox", "fpga", "enp1s0", "enp2s0"}) {
            const auto movedNs = static_cast<double>(after[name].timeNs - before[name].timeNs);
            // The crystal is 3000 ppb fast, and the factors multiply: 62000 ppb of 3000 ppb is below 1 ppb.
            EXPECT_NEAR((movedNs - passedNs) / passedNs * 1e9, expectedPpb, 1.0) << name;
        }
    }

    std::int32_t correctionPpb() {
        std::int32_t ppb = 0;
        EXPECT_EQ(codeOf([&](zuerr_Status* status) { zuqxmtk_getCorrectionPerSecond(&ppb, status); }), 0) << lastText_;
        return ppb;
    }
};

TEST_F(Steering, ChangesTheRateOfEveryClockByWhatWasAsked) {
    expectDrift(3000);
    for (const std::int32_t ppb : {0, -3000, -1, 1, 12'000, 62000, -62000}) {
        ASSERT_EQ(setCorrection(ppb), 0) << lastText_;
        expectDrift(3000 + ppb);
    }
}

TEST_F(Steering, IsReadBackFromTheDriver) {
    ASSERT_EQ(setCorrection(-1250), 0);
    EXPECT_EQ(correctionPpb(), -1250);
    const int fd = open(kAttribute, O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(write(fd, "12.5", 4), 4) << "another program steers";
    close(fd);
    EXPECT_EQ(correctionPpb(), 13);
}

TEST_F(Steering, RefusesAValueOutOfRangeAndKeepsTheOldOne) {
    ASSERT_EQ(setCorrection(100), 0);
    EXPECT_EQ(setCorrection(70000), -52005);
    EXPECT_EQ(lastMessage(), "si514: requested ppb value 70000 is beyond the supported range: [62000, -62000]");
    EXPECT_EQ(setCorrection(62001), -52005);
    expectDrift(3100);
}

TEST_F(Steering, SurvivesFourFailedWritesInARow) {
    addFault("[[fault]]\ncall = \"write\"\ntarget = \"si514\"\ntimes = 4\nerror = \"EIO\"\n");
    EXPECT_EQ(setCorrection(500), 0) << lastText_;
    EXPECT_EQ(correctionPpb(), 500);
}

TEST_F(Steering, ReportsTheFifth) {
    addFault("[[fault]]\ncall = \"write\"\ntarget = \"si514\"\ntimes = 5\nerror = \"EIO\"\n");
    EXPECT_EQ(setCorrection(500), -52024);
    EXPECT_EQ(lastMessage(),
              "Error writing file: /sys/bus/i2c/drivers/si514/0-0055/ppb_offset. Error: Input/output error");
}

TEST_F(Steering, IsFollowedByTheSystemTime) {
    ASSERT_EQ(setCorrection(30'000), 0);
    waitS(60);
    expectSystemTimeWithin(2'000);
}

}  // namespace steering
