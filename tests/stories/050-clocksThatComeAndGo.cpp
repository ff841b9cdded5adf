// Story 050: interfaces go down, an FPGA stops, a clock is reset behind the library's back, phc2sys dies.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"

namespace clocksThatComeAndGo {

class ClocksThatComeAndGo : public stories::Controller {
protected:
    void run() {
        start();
        waitS(1);
        clear();
    }
};

TEST_F(ClocksThatComeAndGo, AlignsAnInterfaceAgainWhenItComesBackUp) {
    run();
    doEvent("interface_down", "enp2s0");
    waitS(4);  // up again midway between two service passes: none must come before the jump
    EXPECT_FALSE(truth()["enp2s0"].isEnabled);
    doEvent("interface_up", "enp2s0");  // which sets its clock to the system time
    doEvent("jump", "enp2s0", 250'000);
    EXPECT_GT(std::abs(differenceNs("enp2s0")), 240'000);
    waitS(5);
    EXPECT_EQ(countSyslog("i210EpochDevice_enp2s0 is enabled."), 1);
    EXPECT_EQ(countSyslog("Encountered"), 0);
    expectAligned();
}

TEST_F(ClocksThatComeAndGo, LeavesTheOthersAloneWhenOneComesBack) {
    run();
    doEvent("interface_down", "enp2s0");
    waitS(4);
    clear();
    doEvent("interface_up", "enp2s0");
    doEvent("jump", "enp2s0", 90'000);
    waitS(5);
    const auto steps = seen().steps;
    EXPECT_FALSE(steps.empty());
    for (const stories::Step& step : steps) EXPECT_EQ(step.clock, "enp2s0");
}

TEST_F(ClocksThatComeAndGo, AlignsBothInterfacesWhenBothWereDown) {
    run();
    for (const char* const name : {"enp1s0", "enp2s0"}) doEvent("interface_down", name);
    waitS(5);
    for (const char* const name : {"enp2s0", "enp1s0"}) doEvent("interface_up", name);
    waitS(6);
    expectAligned();
}

TEST_F(ClocksThatComeAndGo, StartsWithAnInterfaceDownAndAlignsItOnceItIsUp) {
    start("", usualBoardWith("name = \"enp2s0\"", "up = false\nreset_on_up = false"));
    EXPECT_GT(std::abs(differenceNs("enp2s0")), 1'000'000'000) << "left as it was";
    doEvent("interface_up", "enp2s0");
    waitS(5);
    EXPECT_TRUE(truth()["enp2s0"].isEnabled);
    expectAligned();
}

TEST_F(ClocksThatComeAndGo, AlignsAClockThatWasResetSilentlyWithTheNextStep) {
    run();
    doEvent("phc_reset", "enp2s0");
    doEvent("jump", "enp2s0", 90'000);
    waitS(5);
    EXPECT_GT(std::abs(differenceNs("enp2s0")), 1000) << "nothing notifies the library";
    ASSERT_EQ(snapTime(0), 0);
    waitS(3);
    expectAligned();
}

TEST_F(ClocksThatComeAndGo, AlignsAClockThatJumpedWithTheNextStep) {
    run();
    doEvent("jump", "enp1s0", 123'456'789);
    ASSERT_EQ(snapTime(200), 0);
    waitS(2);
    expectAligned();
}

TEST_F(ClocksThatComeAndGo, AsksAnFpgaThatStoppedToAlignAndAlignsIt) {
    run();
    doEvent("fpga_stop", "fpga");
    doEvent("jump", "fpga", 5000);
    waitS(6);
    const auto requests = seen().alignmentRequests;
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests.front(), 4'000'000'000);
    EXPECT_GE(countSyslog("fpgaEpochDevice is enabled."), 1);
    EXPECT_TRUE(truth()["fpga"].isEnabled);
}

TEST_F(ClocksThatComeAndGo, TakesAnFpgaThatReadsZeroForDisabledUntilItIsBack) {
    run();
    doEvent("fpga_zero", "fpga");
    waitS(5);
    clear();
    waitS(5);
    EXPECT_TRUE(statusRecords().empty()) << "a disabled FPGA is sent nothing";
    doEvent("fpga_run", "fpga");
    waitS(6);
    EXPECT_TRUE(truth()["fpga"].isEnabled);
    expectAligned();
    EXPECT_EQ(countSyslog("fpgaEpochDevice is enabled."), 1);
}

TEST_F(ClocksThatComeAndGo, StepsWithoutAnFpgaThatReadsZeroAndAlignsItOnceItReadsAgain) {
    run();
    doEvent("fpga_zero", "fpga");
    waitS(5);
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(3);
    EXPECT_EQ(snapTime(0), 0) << lastText_;
    doEvent("fpga_run", "fpga");
    waitS(5);
    EXPECT_TRUE(truth()["fpga"].isEnabled);
    expectAligned();
}

TEST_F(ClocksThatComeAndGo, DoesNotNoticeThatPhc2sysWasKilled) {
    run();
    waitS(4);
    ASSERT_EQ(phc2sysSources().size(), 1U);
    doEvent("kill_phc2sys", "phc2sys", 9);
    waitS(10);
    EXPECT_TRUE(phc2sysSources().empty()) << "nothing starts it again";
    EXPECT_EQ(snapTime(1'000'000), 0) << lastText_;
    waitS(2);
    expectAligned();
}

TEST_F(ClocksThatComeAndGo, KillsPhc2sysInFinalize) {
    run();
    EXPECT_EQ(phc2sysSources().size(), 1U);
    zuqxmtk_finalize();
    EXPECT_TRUE(phc2sysSources().empty());
}

TEST_F(ClocksThatComeAndGo, TakesAnFpgaWhoseDriverLeftForDisabledUntilItIsBack) {
    run();
    doEvent("driver_gone", "fpga");
    waitS(5);
    EXPECT_EQ(readTime(), 0) << lastText_;
    doEvent("driver_back", "fpga");
    waitS(5);
    clear();
    ASSERT_EQ(snapTime(1'000'000), 0) << lastText_;
    waitS(10);
    EXPECT_EQ(countSyslog("Monitoring thread encountered"), 0);
    expectAligned();
}

TEST_F(ClocksThatComeAndGo, FailsTheTimeWhileTheFerroxDriverIsAway) {
    run();
    doEvent("driver_gone", "ferrox");
    EXPECT_EQ(readTime(), -52006);
    doEvent("driver_back", "ferrox");
    EXPECT_EQ(readTime(), 0) << lastText_;
}

}  // namespace clocksThatComeAndGo
