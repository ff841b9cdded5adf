// Stories 070: the child that keeps the system clock: killed, missing, exiting at once.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/system/controller.h"

namespace {

using systemtest::livingPhc2sys;
using systemtest::readTruth;
using systemtest::waitS;

constexpr const char* kProgram = "/usr/local/tarnesk/share/Horlix/TimeKeepers/phc2sys";
constexpr const char* kAside = "/usr/local/tarnesk/share/Horlix/TimeKeepers/phc2sys.aside";

class S070_Phc2sys : public systemtest::Controller {
protected:
    void TearDown() override {
        if (access(kAside, F_OK) == 0) rename(kAside, kProgram);
    }
};

TEST_F(S070_Phc2sys, T070_ItsDeathIsNotNoticedAndTheClocksOfTheBoardStayAligned) {
    switchOn();
    initialize();
    waitS(5);
    ASSERT_EQ(livingPhc2sys().size(), 1U);
    ASSERT_EQ(kill(livingPhc2sys()[0], SIGKILL), 0);
    waitS(5);
    EXPECT_TRUE(livingPhc2sys().empty()) << "nobody starts it again";
    EXPECT_EQ(snapTime(1'000'000), 0) << lastText_;
    waitS(2);
    expectAligned();
}

TEST_F(S070_Phc2sys, T071_MissingItFailsTheStart) {
    switchOn();
    ASSERT_EQ(rename(kProgram, kAside), 0);
    EXPECT_EQ(initializeAndCatch(), -52008);
    EXPECT_TRUE(lastErrorSays("[ SpawnPhc2Sys ] When spawning phc2sys got error: "));
}

TEST_F(S070_Phc2sys, T072_ExitingAtOnceIsNotNoticed) {
    switchOn();
    ASSERT_EQ(rename(kProgram, kAside), 0);
    std::ofstream(kProgram) << "#!/bin/sh\nexit 255\n";
    chmod(kProgram, 0755);
    initialize();
    waitS(3);
    EXPECT_TRUE(livingPhc2sys().empty());
    expectAligned();
}

TEST_F(S070_Phc2sys, T073_IsKilledByFinalize) {
    switchOn();
    initialize();
    EXPECT_EQ(livingPhc2sys().size(), 1U);
    zuqxmtk_finalize();
    EXPECT_TRUE(livingPhc2sys().empty());
}

TEST_F(S070_Phc2sys, T074_StartsBesideADisturbedSystemClockAndStepsItOnce) {
    switchOn();
    initialize();
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    now.tv_sec += 5;
    ASSERT_EQ(clock_settime(CLOCK_REALTIME, &now), 0);
    waitS(10);
    const auto truth = readTruth();
    EXPECT_LT(std::abs(truth["realtime"].timeNs - truth["enp1s0"].timeNs), 10'000);
}

}  // namespace
