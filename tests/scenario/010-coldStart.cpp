// Story 010: a controller is switched on, with clocks from nanoseconds to seconds apart.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <gmock/gmock.h>

#include "tests/support/controller.h"

namespace {

using testing::ElementsAre;
using ColdStart = testsupport::Controller;

TEST_F(ColdStart, BringsEveryClockWithin100NsOfTheMaster) {
    switchOn();
    initialize();
    expectAligned();
}

TEST_F(ColdStart, BringsTheMasterToTheSystemTimeWithinAStepOfTheMaster) {
    switchOn();
    const std::int64_t beforeNs = board_->differenceNs(BOARD_CLOCK_SYSTEM);
    ASSERT_LT(beforeNs, -9'000'000'000) << "the master is seconds ahead";
    initialize();
    EXPECT_LT(std::abs(board_->differenceNs(BOARD_CLOCK_SYSTEM)), 50'000) << "what two readings and a drift allow";
}

TEST_F(ColdStart, SaysInSyslogWhatItFound) {
    switchOn();
    initialize();
    EXPECT_THAT(
        syslogLines(),
        ElementsAre("Interface enp1s0 will be synchronized.", "Interface enp2s0 will be synchronized.",
                    "System time will be synchronized to enp1s0.", "smbusPath: /sys/bus/i2c/drivers/si514/0-0055/",
                    testing::ContainsRegex("^Successfully aligned all timekeeping elements after [2-9]")));
    EXPECT_EQ(happenings("syslog")[3].at("priority"), 3) << "the path is logged at error priority";
}

TEST_F(ColdStart, StartsPhc2sysOnTheFirstInterface) {
    switchOn();
    initialize();
    const auto children = happenings("phc2sys");
    ASSERT_EQ(children.size(), 1U);
    EXPECT_EQ(children[0].at("state"), "running");
    EXPECT_EQ(children[0].at("source"), "enp1s0");
}

TEST_F(ColdStart, LetsPhc2sysBringTheSystemClockToTheMaster) {
    switchOn();
    initialize();
    waitS(60);
    EXPECT_LE(std::abs(board_->differenceNs(BOARD_CLOCK_SYSTEM)), 1000);
}

TEST_F(ColdStart, ResetsTheFpgaAndAsksItToAlign) {
    switchOn();
    initialize();
    const auto records = happenings("status_record");
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records[0].at("record"), "13000000000000000000000000000000000000");
    const auto requests = happenings("alignment_request");
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests[0].at("value"), 4'000'000'000);
}

TEST_F(ColdStart, AnswersWithTheMastersTime) {
    switchOn();
    initialize();
    const std::uint64_t time = getTime();
    std::uint64_t truth = 0;
    board_->withModel(
        [&](board& model, std::uint64_t rawNs) { truth = board_clock_time(&model, rawNs, BOARD_CLOCK_FERROX); });
    EXPECT_LT(truth - time, 10'000U) << "not older than one driver call";
}

TEST_F(ColdStart, WorksWithOneInterfaceAlone) {
    switchOn("", "[fpga]\noffset = \"2 s\"\n[[interface]]\nname = \"eth7\"\noffset = \"1 ms\"\n");
    initialize();
    expectAligned();
    EXPECT_EQ(countSyslog("System time will be synchronized to eth7."), 1);
}

TEST_F(ColdStart, ConvergesInEveryOfAThousandSeeds) {
    switchOn();
    for (std::uint64_t seed = 1; seed <= 1000; ++seed) {
        board_->reset(seed);
        initialize();
        expectAligned();
        zuqxmtk_finalize();
        ASSERT_FALSE(HasFailure()) << "seed " << seed;
    }
}

}  // namespace
