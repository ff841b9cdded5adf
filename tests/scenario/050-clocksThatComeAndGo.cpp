// Story 050: interfaces go down, an FPGA stops, a clock is reset behind the library's back.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <gmock/gmock.h>

#include "tests/support/controller.h"

namespace {

class ClocksThatComeAndGo : public testsupport::Controller {
protected:
    void run(std::string_view further = "") {
        switchOn(further);
        initialize();
        waitS(1);
        board_->clearTrace();
    }
    static constexpr int kSecond = BOARD_TARGET_INTERFACE(0);
};

TEST_F(ClocksThatComeAndGo, AlignsAnInterfaceAgainWhenItComesBackUp) {
    run();
    ASSERT_TRUE(board_->doEvent(BOARD_EVENT_INTERFACE_DOWN, kSecond));
    ASSERT_TRUE(board_->doEvent(BOARD_EVENT_JUMP, kSecond, 250'000));
    waitS(5);
    EXPECT_GT(board_->differenceNs(kSecondInterface), 240'000);
    ASSERT_TRUE(board_->doEvent(BOARD_EVENT_INTERFACE_UP, kSecond));
    waitS(5);
    EXPECT_EQ(countSyslog("i210EpochDevice_enp2s0 is enabled."), 1);
    EXPECT_EQ(countSyslog("Encountered"), 0);
    expectAligned();
}

TEST_F(ClocksThatComeAndGo, LeavesTheOthersAloneWhenOneComesBack) {
    run();
    board_->doEvent(BOARD_EVENT_INTERFACE_DOWN, kSecond);
    waitS(5);
    board_->doEvent(BOARD_EVENT_INTERFACE_UP, kSecond);
    board_->doEvent(BOARD_EVENT_JUMP, kSecond, 1000);
    board_->clearTrace();
    waitS(5);
    for (const auto& step : happenings("step")) {
        if (step.at("by") == "program") {
            EXPECT_EQ(step.at("clock"), "enp2s0");
        }
    }
}

TEST_F(ClocksThatComeAndGo, StartsWithAnInterfaceDownAndAlignsItOnceItIsUp) {
    switchOn();
    board_->doEvent(BOARD_EVENT_INTERFACE_DOWN, kSecond);
    initialize();
    EXPECT_GT(board_->differenceNs(kSecondInterface), 1'000'000'000) << "left as it was";
    board_->doEvent(BOARD_EVENT_INTERFACE_UP, kSecond);
    waitS(5);
    expectAligned();
}

TEST_F(ClocksThatComeAndGo, AlignsAClockThatWasResetSilentlyWithTheNextStep) {
    run();
    ASSERT_TRUE(board_->doEvent(BOARD_EVENT_PHC_RESET, kSecond));
    board_->doEvent(BOARD_EVENT_JUMP, kSecond, 90'000);
    waitS(5);
    EXPECT_GT(std::abs(board_->differenceNs(kSecondInterface)), 1000) << "nothing notifies the library";
    ASSERT_EQ(snapTime(0), 0);
    waitS(3);
    expectAligned();
}

TEST_F(ClocksThatComeAndGo, AsksAnFpgaThatStoppedToAlignAndAlignsIt) {
    run();
    ASSERT_TRUE(board_->doEvent(BOARD_EVENT_FPGA_STOP, BOARD_TARGET_FPGA));
    waitS(5);
    const auto requests = happenings("alignment_request");
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests.front().at("value"), 4'000'000'000);
    EXPECT_GE(countSyslog("fpgaEpochDevice is enabled."), 1);
}

TEST_F(ClocksThatComeAndGo, TakesAnFpgaThatReadsZeroForDisabledUntilItIsBack) {
    run();
    board_->doEvent(BOARD_EVENT_FPGA_ZERO, BOARD_TARGET_FPGA);
    waitS(5);
    board_->clearTrace();
    waitS(5);
    EXPECT_TRUE(happenings("status_record").empty()) << "a disabled FPGA is sent nothing";
    board_->doEvent(BOARD_EVENT_FPGA_RUN, BOARD_TARGET_FPGA);
    waitS(6);
    expectAligned();
    EXPECT_EQ(countSyslog("fpgaEpochDevice is enabled."), 1);
}

TEST_F(ClocksThatComeAndGo, DoesNotNoticeThatPhc2sysWasKilled) {
    run();
    board_->doEvent(BOARD_EVENT_KILL_CHILD, BOARD_TARGET_PHC2SYS, 9);
    waitS(10);
    EXPECT_EQ(happenings("phc2sys").size(), 1U) << "nothing starts it again";
    EXPECT_EQ(snapTime(0), 0);
}

}  // namespace
