// Story 030: the host steers the oscillator, and every clock of the board changes its rate.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <gmock/gmock.h>

#include "tests/support/controller.h"

namespace {

class Steering : public testsupport::Controller {
protected:
    /// By how much the clock gains on true time, in ppb, over ten seconds.
    double driftPpb(int clock) {
        const auto read = [&](std::uint64_t& time, std::uint64_t& raw) {
            board_->withModel([&](board& model, std::uint64_t rawNs) {
                raw = rawNs;
                time = board_clock_time(&model, rawNs, clock);
            });
        };
        std::uint64_t time0, raw0, time1, raw1;
        read(time0, raw0);
        waitS(10);
        read(time1, raw1);
        const double passedNs = static_cast<double>(raw1 - raw0);
        return (static_cast<double>(time1 - time0) - passedNs) / passedNs * 1e9;
    }
};

TEST_F(Steering, ChangesTheRateOfEveryClockByWhatWasAsked) {
    switchOn();
    initialize();
    for (const std::int32_t ppb : {0, -3000, 62000, -62000}) {
        ASSERT_EQ(setCorrection(ppb), 0) << lastText_;
        for (const int clock : {int{BOARD_CLOCK_FERROX}, int{BOARD_CLOCK_FPGA}, kFirstInterface, kSecondInterface}) {
            // The crystal is 3000 ppb fast, and the factors multiply: 62000 ppb of 3000 ppb is below 1 ppb.
            EXPECT_NEAR(driftPpb(clock), 3000 + ppb, 1.0) << "clock " << clock;
        }
    }
}

TEST_F(Steering, IsReadBackFromTheDriver) {
    switchOn();
    initialize();
    ASSERT_EQ(setCorrection(-1250), 0);
    std::int32_t correctionPpb = 0;
    EXPECT_EQ(codeOf([&](zuerr_Status* status) { zuqxmtk_getCorrectionPerSecond(&correctionPpb, status); }), 0);
    EXPECT_EQ(correctionPpb, -1250);
}

TEST_F(Steering, RefusesAValueOutOfRangeAndKeepsTheOldOne) {
    switchOn();
    initialize();
    ASSERT_EQ(setCorrection(100), 0);
    EXPECT_EQ(setCorrection(70000), -52005);
    EXPECT_EQ(lastMessage(), "si514: requested ppb value 70000 is beyond the supported range: [62000, -62000]");
    EXPECT_NEAR(driftPpb(BOARD_CLOCK_FERROX), 3100, 1.0);
}

TEST_F(Steering, SurvivesFourFailedWritesInARow) {
    switchOn(R"(
[[fault]]
call = "write"
target = "si514"
times = 4
error = "EIO"
)");
    initialize();
    EXPECT_EQ(setCorrection(500), 0) << lastText_;
}

TEST_F(Steering, ReportsTheFifth) {
    switchOn(R"(
[[fault]]
call = "write"
target = "si514"
times = 5
error = "EIO"
)");
    initialize();
    EXPECT_EQ(setCorrection(500), -52024);
    EXPECT_EQ(lastMessage(),
              "Error writing file: /sys/bus/i2c/drivers/si514/0-0055/ppb_offset. Error: Input/output error");
}

TEST_F(Steering, TakesTwoCallsEachWay) {
    switchOn();
    initialize();
    board_->clearTrace();
    ASSERT_EQ(setCorrection(500), 0);
    std::int32_t correctionPpb = 0;
    codeOf([&](zuerr_Status* status) { zuqxmtk_getCorrectionPerSecond(&correctionPpb, status); });
    EXPECT_THAT(calls(), testing::ElementsAre("lseek si514 ppb_offset", "write si514 ppb_offset",
                                              "lseek si514 ppb_offset", "read si514 ppb_offset"));
}

}  // namespace
