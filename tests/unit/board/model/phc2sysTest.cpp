// The phc2sys child: command line, life cycle, and its effect on the system clock.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/modelBoard.h"

namespace halvexboard::phc2sysTest {

class Phc2sys : public ModelBoardTest {
protected:
    Phc2sys() {
        addInterface("enp2s0", 1);
        addInterface("enp1s0", 0);
        config.system_crystal_error_ppt = 25'000'000;
        config.crystal_error_ppt = -4'000'000;
        config.system.offset_ns = 120'000;
    }

    static board_phc2sys_options optionsFor(const char* source) {
        const char* const arguments[] = {"phc2sys",        "-O", "0",        "-l", "4",   "-c",
                                         "CLOCK_REALTIME", "-F", "0.000001", "-s", source};
        board_phc2sys_options options;
        board_phc2sys_parse(11, arguments, &options);
        return options;
    }
    std::int32_t start(std::uint64_t rawNs, const char* source = "enp1s0") {
        const board_phc2sys_options options = optionsFor(source);
        return board_phc2sys_start(on(), rawNs, &options);
    }
    std::int64_t toSource(std::uint64_t rawNs) {
        const board_truth truth = this->truth(rawNs);
        return static_cast<std::int64_t>(truth.time_ns[BOARD_CLOCK_SYSTEM] - truth.time_ns[BOARD_CLOCK_PHC(1)]);
    }
    std::size_t stepsOfPhc2sys() const {
        std::size_t count = 0;
        for (const Recorded& step : of(BOARD_HAPPENING_STEP)) count += step.step.by_phc2sys;
        return count;
    }
};

TEST_F(Phc2sys, ReadsItsCommandLine) {
    const board_phc2sys_options options = optionsFor("enp1s0");
    EXPECT_TRUE(options.valid);
    EXPECT_STREQ(options.source, "enp1s0");
    EXPECT_EQ(options.utc_offset_ns, 0);
    EXPECT_EQ(options.first_step_threshold_ns, 1000);
}

TEST_F(Phc2sys, RefusesCommandLinesThatMakeNoSense) {
    for (const std::vector<const char*>& words : {std::vector<const char*>{"phc2sys", "-s", "enp1s0"},
                                                  {"phc2sys", "-O", "0"},
                                                  {"phc2sys", "-O", "0", "-s", "enp1s0", "-F"},
                                                  {"phc2sys", "-O", "0", "-s", "enp1s0", "-x", "1"}}) {
        board_phc2sys_options options;
        board_phc2sys_parse(static_cast<std::uint32_t>(words.size()), words.data(), &options);
        EXPECT_FALSE(options.valid) << words.back();
    }
}

TEST_F(Phc2sys, TakesItsFirstSampleAfterASecondAndStepsOnceAtTheSecond) {
    start(0);
    board_advance(on(), kS);
    EXPECT_EQ(stepsOfPhc2sys(), 0U);
    EXPECT_GT(toSource(2 * kS - 1), 100'000);
    EXPECT_EQ(stepsOfPhc2sys(), 0U);
    EXPECT_LT(std::abs(toSource(2 * kS)), 100);
    EXPECT_EQ(stepsOfPhc2sys(), 1U);
}

TEST_F(Phc2sys, DoesNotStepWhenTheOffsetIsWithinTheThreshold) {
    config.system.offset_ns = 0;
    config.system_crystal_error_ppt = config.crystal_error_ppt;
    start(0);
    board_advance(on(), 20 * kS);
    EXPECT_EQ(stepsOfPhc2sys(), 0U);
    EXPECT_LT(std::abs(toSource(20 * kS)), 60);
}

TEST_F(Phc2sys, HoldsTheSystemClockWithin60NsOnceItHasSettled) {
    start(0);
    for (std::uint64_t second = 30; second < 600; ++second) ASSERT_LT(std::abs(toSource(second * kS)), 60) << second;
}

TEST_F(Phc2sys, KnowsTheRateFromItsFirstTwoSamples) {
    start(0);
    EXPECT_LT(std::abs(toSource(3 * kS)), 100) << "the crystals drift apart by 29 us a second";
}

TEST_F(Phc2sys, AbsorbsAChangeOfTheCrystals) {
    start(0);
    event(30 * kS, BOARD_EVENT_CRYSTAL, BOARD_TARGET_SYSTEM, -30'000'000);
    EXPECT_GT(std::abs(toSource(31 * kS)), 10'000);
    EXPECT_LT(std::abs(toSource(60 * kS)), 60);
}

TEST_F(Phc2sys, NeverStepsAgainButSlewsAtItsLimit) {
    start(0);
    board_advance(on(), 30 * kS);
    ASSERT_EQ(event(30 * kS + 1, BOARD_EVENT_JUMP, BOARD_TARGET_INTERFACE(1), 1'000'000'000), 0);
    const std::int64_t before = toSource(32 * kS);
    const std::int64_t after = toSource(33 * kS);
    EXPECT_NEAR(static_cast<double>(after - before), 92e6, 1e6);
    EXPECT_EQ(stepsOfPhc2sys(), 1U);
}

TEST_F(Phc2sys, ComesBackAfterASmallStepOfBothClocks) {
    start(0);
    board_advance(on(), 30 * kS);
    event(30 * kS, BOARD_EVENT_JUMP, BOARD_TARGET_INTERFACE(1), 1'500'000);
    event(30 * kS, BOARD_EVENT_JUMP, BOARD_TARGET_SYSTEM, 1'499'000);
    EXPECT_LT(std::abs(toSource(50 * kS)), 100);
}

TEST_F(Phc2sys, ZeroesMaxerrorAtEachUpdate) {
    const std::int32_t pid = start(0);
    board_wire_timex timex{};
    EXPECT_EQ(board_system_adjtime(on(), 10 * kS + 1, &timex), BOARD_WIRE_TIME_OK);
    EXPECT_EQ(timex.maxerror, 0);
    board_child child;
    ASSERT_EQ(board_child_signal(on(), 10 * kS + 1, pid, 9), 0);
    ASSERT_EQ(board_child_reap(on(), 10 * kS + 1, pid, &child), pid);
    timex = {};
    board_system_adjtime(on(), 20 * kS + 1, &timex);
    EXPECT_EQ(timex.maxerror, 5000);
}

TEST_F(Phc2sys, KeepsTheLastFrequencyAfterItsDeath) {
    start(0);
    board_advance(on(), 60 * kS);
    ASSERT_EQ(board_child_signal(on(), 60 * kS, 5'000'001, 9), 0);
    EXPECT_LT(std::abs(toSource(160 * kS)), 20'000) << "the crystals alone would be 2.9 ms apart";
}

TEST_F(Phc2sys, IsAZombieUntilItIsReaped) {
    const std::int32_t pid = start(0);
    board_child child;
    EXPECT_EQ(board_child_reap(on(), kS, pid, &child), 0);
    ASSERT_EQ(board_child_signal(on(), kS, pid, 9), 0);
    EXPECT_EQ(board_child_signal(on(), kS, pid, 0), 0) << "a zombie still answers";
    EXPECT_EQ(board_child_signal(on(), kS, pid, 65), -EINVAL);
    ASSERT_EQ(board_child_reap(on(), kS, pid, &child), pid);
    EXPECT_EQ(child.state, BOARD_CHILD_KILLED);
    EXPECT_EQ(child.status, 9);
    EXPECT_EQ(board_child_signal(on(), kS, pid, 0), -ESRCH);
    EXPECT_EQ(board_child_reap(on(), kS, pid, &child), -ECHILD);
}

TEST_F(Phc2sys, ExitsWith255WithoutAPhc) {
    addInterface("enp3s0", -1);
    board_child child;
    for (const char* source : {"enp3s0", "eth9", "i210EpochDevice"}) {
        const std::int32_t pid = start(0, source);
        ASSERT_EQ(board_child_reap(on(), 0, pid, &child), pid) << source;
        EXPECT_EQ(child.state, BOARD_CHILD_EXITED);
        EXPECT_EQ(child.status, 255);
    }
}

TEST_F(Phc2sys, FollowsADeviceToo) {
    const std::int32_t pid = start(0, "/dev/ptp0");
    board_child child;
    ASSERT_EQ(board_child_get(on(), pid, &child), 1);
    EXPECT_EQ(child.state, BOARD_CHILD_RUNNING);
    EXPECT_EQ(child.source, 1);
    EXPECT_EQ(board_child_get(on(), 1, &child), 0);
}

TEST_F(Phc2sys, WorksWithTheInterfaceDown) {
    config.interfaces[1].is_up = 0;
    start(0);
    EXPECT_LT(std::abs(toSource(30 * kS)), 60);
}

TEST_F(Phc2sys, MakesTheSystemClockCountFromItsSecondSampleUntilItsDeath) {
    start(0);
    EXPECT_FALSE(truth(2 * kS - 1).enabled[BOARD_CLOCK_SYSTEM]);
    EXPECT_TRUE(truth(2 * kS).enabled[BOARD_CLOCK_SYSTEM]);
    board_child_signal(on(), 30 * kS, 5'000'001, 9);
    EXPECT_FALSE(truth(30 * kS).enabled[BOARD_CLOCK_SYSTEM]);
    EXPECT_TRUE(of(BOARD_HAPPENING_TRUTH).back().truth.enabled[BOARD_CLOCK_SYSTEM]) << "its last moment is reported";
}

TEST_F(Phc2sys, RefusesANewChildOnlyWhileAllOfThemLive) {
    for (int child = 0; child < BOARD_MAX_CHILDREN; ++child) EXPECT_EQ(start(0), 5'000'001 + child);
    EXPECT_EQ(start(0), -EAGAIN);
    ASSERT_EQ(board_child_signal(on(), 0, 5'000'007, 9), 0);
    ASSERT_EQ(board_child_signal(on(), 0, 5'000'003, 9), 0);
    EXPECT_GT(start(0), 5'000'000);
    EXPECT_EQ(board_child_signal(on(), 0, 5'000'003, 0), -ESRCH) << "the oldest dead one is forgotten";
    EXPECT_EQ(board_child_signal(on(), 0, 5'000'007, 0), 0);
}

TEST_F(Phc2sys, AThousandUnreapedLivesAreNoHindrance) {
    for (std::uint64_t life = 1; life <= 1000; ++life) {
        const std::int32_t pid = start(life * kS);
        ASSERT_EQ(pid, 5'000'000 + static_cast<std::int32_t>(life));
        ASSERT_EQ(board_child_signal(on(), life * kS + kS / 2, pid, 9), 0);
    }
}

TEST_F(Phc2sys, ASuccessorIsNotDrivenByItsPredecessorsTimer) {
    board_child child;
    const std::int32_t first = start(0);
    board_child_signal(on(), kS / 2, first, 9);
    ASSERT_EQ(board_child_reap(on(), kS / 2, first, &child), first);
    start(kS / 2);
    board_advance(on(), 2 * kS);  // the first child would step here; its successor has only one sample
    EXPECT_EQ(stepsOfPhc2sys(), 0U);
    board_advance(on(), 2 * kS + kS / 2);
    EXPECT_EQ(stepsOfPhc2sys(), 1U);
}

}  // namespace halvexboard::phc2sysTest
