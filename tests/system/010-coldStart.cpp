// Stories 010: from power-on to all clocks aligned.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fstream>

#include "tests/system/controller.h"

namespace {

using systemtest::control;
using systemtest::readTruth;
using systemtest::waitS;

class S010_ColdStart : public systemtest::Controller {};

TEST_F(S010_ColdStart, T010_AlignsClocksThatAreSecondsApart) {
    switchOn();
    EXPECT_GT(std::abs(readTruth()["enp2s0"].differenceNs), 6'000'000'000);
    initialize();
    expectAligned();
    EXPECT_EQ(countSyslog("Successfully aligned all timekeeping elements after "), 1);
    EXPECT_EQ(countSyslog("Encountered"), 0);
}

TEST_F(S010_ColdStart, T011_AlignsWithTwentySeedsOfStepLossAndJitter) {
    for (int seed = 100; seed < 120; ++seed) {
        switchOn({"set seed " + std::to_string(seed)});
        initialize();
        expectAligned();
        zuqxmtk_finalize();
        ASSERT_FALSE(HasFailure()) << "seed " << seed;
    }
}

TEST_F(S010_ColdStart, T012_SeedsTheMasterFromTheSystemClock) {
    switchOn();
    initialize();
    EXPECT_LT(std::abs(readTruth()["realtime"].differenceNs), 1'000'000);
}

TEST_F(S010_ColdStart, T013_OrdersInterfacesByNameWhateverTheKernelLists) {
    switchOn();
    initialize();
    EXPECT_EQ(countSyslog("System time will be synchronized to enp1s0."), 1);
    EXPECT_EQ(countSyslog("Interface enp1s0 will be synchronized."), 1);
    EXPECT_EQ(countSyslog("Interface enp2s0 will be synchronized."), 1);
}

TEST_F(S010_ColdStart, T014_StartsTheRealPhc2sysAgainstTheFirstInterface) {
    switchOn();
    initialize();
    waitS(0.1);
    const auto children = systemtest::livingPhc2sys();
    ASSERT_EQ(children.size(), 1U);
    std::string arguments = systemtest::readFile("/proc/" + std::to_string(children[0]) + "/cmdline");
    for (char& character : arguments)
        if (character == '\0') character = ' ';
    EXPECT_EQ(arguments, "phc2sys -O 0 -l 4 -c CLOCK_REALTIME -F 0.000001 -s enp1s0 ");
}

TEST_F(S010_ColdStart, T015_TakesLessThanASecond) {
    switchOn();
    const std::int64_t beforeNs = readTruth().rawNs;
    initialize();
    EXPECT_LT(readTruth().rawNs - beforeNs, 1'000'000'000);
}

TEST_F(S010_ColdStart, T016_TellsTheMastersTime) {
    switchOn();
    initialize();
    const std::int64_t beforeNs = readTruth()["ferrox"].timeNs;
    ASSERT_EQ(readTime(), 0) << lastText_;
    const std::int64_t afterNs = readTruth()["ferrox"].timeNs;
    EXPECT_GE(static_cast<std::int64_t>(time_), beforeNs);
    EXPECT_LE(static_cast<std::int64_t>(time_), afterNs);
}

TEST_F(S010_ColdStart, T017_LosesNothingWithoutStepLoss) {
    switchOnBare({"interface enp1s0", "set enp1s0 offset_ns 77000"});
    initialize();
    expectAligned();
    EXPECT_EQ(countSyslog("after 2 iterations."), 1);
}

TEST_F(S010_ColdStart, T018_SystemTimeSettlesOnTheFirstInterface) {
    switchOn();
    initialize();
    waitS(20);
    const auto truth = readTruth();
    EXPECT_LT(std::abs(truth["realtime"].timeNs - truth["enp1s0"].timeNs), 1'000);
}

}  // namespace
