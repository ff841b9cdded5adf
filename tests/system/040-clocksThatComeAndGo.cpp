// Stories 040: interfaces go down and up, clocks are reset behind the library's back, the FPGA stops.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/system/controller.h"

namespace {

using systemtest::control;
using systemtest::readTruth;
using systemtest::setInterfaceUp;
using systemtest::takeJournal;
using systemtest::waitS;

class S040_ClocksThatComeAndGo : public systemtest::Controller {
protected:
    void run() {
        switchOn();
        initialize();
        waitS(1);
        takeJournal();
    }
};

TEST_F(S040_ClocksThatComeAndGo, T040_AnInterfaceThatComesBackUpIsAlignedAgain) {
    run();
    setInterfaceUp("enp2s0", false);
    waitS(5);
    EXPECT_FALSE(readTruth()["enp2s0"].isEnabled);
    setInterfaceUp("enp2s0", true);  // which sets its clock to the system time
    ASSERT_TRUE(control("event jump enp2s0 90000"));
    EXPECT_GT(std::abs(readTruth()["enp2s0"].differenceNs), 80'000);
    waitS(5);
    EXPECT_EQ(countSyslog("i210EpochDevice_enp2s0 is enabled."), 1);
    expectAligned();
}

TEST_F(S040_ClocksThatComeAndGo, T041_TheOthersAreLeftAloneThen) {
    run();
    setInterfaceUp("enp2s0", false);
    waitS(5);
    takeJournal();
    setInterfaceUp("enp2s0", true);
    ASSERT_TRUE(control("event jump enp2s0 90000"));
    waitS(5);
    const auto steps = ofKind(takeJournal(), "step");
    EXPECT_FALSE(steps.empty());
    for (const auto& step : steps) EXPECT_EQ(step.target, "enp2s0");
}

TEST_F(S040_ClocksThatComeAndGo, T042_BothInterfacesDownAndUp) {
    run();
    for (const char* const name : {"enp1s0", "enp2s0"}) setInterfaceUp(name, false);
    waitS(5);
    for (const char* const name : {"enp2s0", "enp1s0"}) setInterfaceUp(name, true);
    waitS(6);
    expectAligned();
}

TEST_F(S040_ClocksThatComeAndGo, T043_AnInterfaceThatIsDownAtTheStartIsAlignedOnceItIsUp) {
    switchOn({"set enp2s0 is_up 0", "set enp2s0 reset_on_up 0"});
    initialize();
    EXPECT_GT(std::abs(readTruth()["enp2s0"].differenceNs), 1'000'000'000) << "left as it was";
    setInterfaceUp("enp2s0", true);
    waitS(5);
    EXPECT_TRUE(readTruth()["enp2s0"].isEnabled);
    expectAligned();
}

TEST_F(S040_ClocksThatComeAndGo, T044_AResetBehindTheLibrarysBackIsHealedByTheNextStep) {
    run();
    ASSERT_TRUE(control("event phc_reset enp2s0 0"));
    ASSERT_TRUE(control("event jump enp2s0 90000"));
    waitS(5);
    EXPECT_GT(std::abs(readTruth()["enp2s0"].differenceNs), 1'000) << "nothing notifies the library";
    ASSERT_EQ(snapTime(0), 0);
    waitS(3);
    expectAligned();
}

TEST_F(S040_ClocksThatComeAndGo, T045_AnFpgaThatStoppedIsAskedToAlignAndIsAligned) {
    run();
    ASSERT_TRUE(control("event fpga_stop fpga 0"));
    ASSERT_TRUE(control("event jump fpga 5000"));
    waitS(6);
    const auto requests = ofKind(takeJournal(), "alignment_request");
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests.front().number("value"), 4'000'000'000);
    EXPECT_TRUE(readTruth()["fpga"].isEnabled);
}

TEST_F(S040_ClocksThatComeAndGo, T046_AnFpgaThatReadsZeroIsLeftOutUntilItReadsAgain) {
    run();
    ASSERT_TRUE(control("event fpga_zero fpga 0"));
    waitS(5);
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(3);
    EXPECT_EQ(snapTime(0), 0) << lastText_;
    ASSERT_TRUE(control("event fpga_run fpga 0"));
    waitS(5);
    EXPECT_TRUE(readTruth()["fpga"].isEnabled);
    expectAligned();
}

TEST_F(S040_ClocksThatComeAndGo, T047_AClockThatJumpedIsHealedByTheNextStep) {
    run();
    ASSERT_TRUE(control("event jump enp1s0 123456789"));
    ASSERT_EQ(snapTime(200), 0);
    waitS(2);
    expectAligned();
}

}  // namespace
