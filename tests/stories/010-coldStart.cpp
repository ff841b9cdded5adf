// Story 010: a controller is switched on with clocks from nanoseconds to seconds apart.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"

namespace coldStart {

using testing::ElementsAre;
using ColdStart = stories::Controller;

TEST_F(ColdStart, BringsEveryClockWithin100NsOfTheMaster) {
    switchOn();
    EXPECT_GT(std::abs(differenceNs("enp2s0")), 6'000'000'000);
    initialize();
    expectAligned();
    EXPECT_EQ(countSyslog("Successfully aligned all timekeeping elements after "), 1);
    EXPECT_EQ(countSyslog("Encountered"), 0);
}

TEST_F(ColdStart, BringsTheMasterToTheSystemTimeWithinAStepOfTheMaster) {
    switchOn();
    ASSERT_LT(differenceNs("system"), -9'000'000'000) << "the master is seconds ahead";
    initialize();
    EXPECT_LT(std::abs(differenceNs("system")), backend_->isExact() ? 50'000 : 1'000'000)
        << "what two readings and a drift allow";
}

TEST_F(ColdStart, SaysInSyslogWhatItFound) {
    start();
    EXPECT_THAT(
        syslogLines(),
        ElementsAre("Interface enp1s0 will be synchronized.", "Interface enp2s0 will be synchronized.",
                    "System time will be synchronized to enp1s0.", "smbusPath: /sys/bus/i2c/drivers/si514/0-0055/",
                    testing::ContainsRegex("^Successfully aligned all timekeeping elements after [2-9]")));
    EXPECT_EQ(backend_->log()[3].priority, 3) << "the path is logged at error priority";
}

TEST_F(ColdStart, StartsPhc2sysOnTheFirstInterface) {
    start();
    waitS(0.1);
    EXPECT_THAT(phc2sysSources(), ElementsAre("enp1s0"));
}

TEST_F(ColdStart, LetsPhc2sysBringTheSystemClockToTheMaster) {
    start();
    waitS(60);
    expectSystemTimeWithin(1000);
}

TEST_F(ColdStart, ResetsTheFpgaAndAsksItToAlign) {
    start();
    const stories::Seen seen = this->seen();
    ASSERT_FALSE(seen.statusRecords.empty());
    EXPECT_EQ(seen.statusRecords[0], "13000000000000000000000000000000000000");
    ASSERT_FALSE(seen.alignmentRequests.empty());
    EXPECT_EQ(seen.alignmentRequests[0], 4'000'000'000);
}

TEST_F(ColdStart, AnswersWithTheMastersTime) {
    start();
    const std::int64_t beforeNs = truth()["ferrox"].timeNs;
    const auto timeNs = static_cast<std::int64_t>(getTime());
    const std::int64_t afterNs = truth()["ferrox"].timeNs;
    EXPECT_GE(timeNs, beforeNs);
    EXPECT_LE(timeNs, afterNs);
    if (backend_->isExact()) {
        EXPECT_LT(afterNs - timeNs, 10'000) << "not older than one driver call";
    }
}

TEST_F(ColdStart, WorksWithOneInterfaceAlone) {
    start("", "[fpga]\noffset = \"2 s\"\n[[interface]]\nname = \"eth7\"\noffset = \"1 ms\"\nstep_loss = \"1500 ns\"\n");
    expectAligned();
    EXPECT_EQ(countSyslog("System time will be synchronized to eth7."), 1);
}

TEST_F(ColdStart, NeedsTwoIterationsWhenNoStepFallsShort) {
    start("", "[[interface]]\nname = \"enp1s0\"\noffset = \"77 us\"\n");
    expectAligned();
    EXPECT_EQ(countSyslog("after 2 iterations."), 1);
}

TEST_F(ColdStart, TakesLessThanASecond) {
    switchOn();
    const std::int64_t beforeNs = truth().rawNs;
    initialize();
    EXPECT_LT(truth().rawNs - beforeNs, 1'000'000'000);
}

TEST_F(ColdStart, ConvergesInEverySeed) {
    switchOn();
    for (int seed = 1; seed <= backend_->seedsOfAStory(); ++seed) {
        restart(static_cast<std::uint64_t>(seed));
        initialize();
        expectAligned();
        zuqxmtk_finalize();
        ASSERT_FALSE(HasFailure()) << "seed " << seed;
    }
}

}  // namespace coldStart
