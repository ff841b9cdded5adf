// Story 070: phc2sys is killed, missing, or exits at once.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"
#include "tests/system/machine.h"

namespace phc2sys {

using systemtest::livingPhc2sys;

constexpr const char* kProgram = "/usr/local/tarnesk/share/Horlix/TimeKeepers/phc2sys";
constexpr const char* kAside = "/usr/local/tarnesk/share/Horlix/TimeKeepers/phc2sys.aside";

class Phc2sys : public stories::Controller {
protected:
    void TearDown() override {
        if (access(kAside, F_OK) == 0) rename(kAside, kProgram);
    }
};

TEST_F(Phc2sys, IsStartedWithTheseArguments) {
    start();
    waitS(0.1);
    const auto children = systemtest::livingPhc2sys();
    ASSERT_EQ(children.size(), 1U);
    std::string arguments = testsupport::fileContents("/proc/" + std::to_string(children[0]) + "/cmdline");
    for (char& character : arguments)
        if (character == '\0') character = ' ';
    EXPECT_EQ(arguments, "phc2sys -O 0 -l 4 -c CLOCK_REALTIME -F 0.000001 -s enp1s0 ");
}

TEST_F(Phc2sys, MissingItFailsTheStart) {
    switchOn();
    ASSERT_EQ(rename(kProgram, kAside), 0);
    EXPECT_EQ(initializeAndCatch(), -52008);
    EXPECT_THAT(lastMessage(), testing::HasSubstr("[ SpawnPhc2Sys ] When spawning phc2sys got error: "));
}

TEST_F(Phc2sys, ExitingAtOnceIsNotNoticed) {
    switchOn();
    ASSERT_EQ(rename(kProgram, kAside), 0);
    std::ofstream(kProgram) << "#!/bin/sh\nexit 255\n";
    chmod(kProgram, 0755);
    initialize();
    waitS(3);
    EXPECT_TRUE(livingPhc2sys().empty());
    expectAligned();
}

TEST_F(Phc2sys, StartsBesideADisturbedSystemClockAndStepsItOnce) {
    start();
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    now.tv_sec += 5;
    ASSERT_EQ(clock_settime(CLOCK_REALTIME, &now), 0);
    waitS(10);
    expectSystemTimeWithin(10'000);
}

}  // namespace phc2sys
