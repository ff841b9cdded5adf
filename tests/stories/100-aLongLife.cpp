// Story 100: twenty minutes with everything in motion, and many short sessions.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <random>

#include "tests/stories/controller.h"
#include "tests/support/processCensus.h"

namespace aLongLife {

using ALongLife = stories::Controller;

/// Random steps, steering, metadata, flapping interfaces and a disturbed clock.
TEST_F(ALongLife, EndsEveryMinuteWithEveryClockAligned) {
    start();
    std::mt19937_64 random(seed_);
    for (int minute = 0; minute < 20; ++minute) {
        const std::string interface = minute % 2 == 0 ? "enp2s0" : "enp1s0";
        doEvent("interface_down", interface);
        waitS(10);
        ASSERT_EQ(snapTime(static_cast<std::int64_t>(random() % 2'000'000'000) - 1'000'000'000), 0) << lastText_;
        doEvent("jump", interface, static_cast<std::int64_t>(random() % 100'000));
        waitS(10);
        doEvent("interface_up", interface);
        ASSERT_EQ(setCorrection(static_cast<std::int32_t>(random() % 124'001) - 62'000), 0) << lastText_;
        waitS(20);
        ASSERT_EQ(applyMetaData(R"({"selectedTRInstID":"a","TRs":{"a":{"type":"x"}}})"), 0) << lastText_;
        waitS(20);
        expectAligned();
        ASSERT_FALSE(HasFailure()) << "minute " << minute;
    }
    EXPECT_EQ(countSyslog("Encountered"), 0);
}

TEST_F(ALongLife, EndsEveryMinuteAlignedWhenPulsesGetLostAndTheCrystalJumps) {
    std::string lossy(testsupport::kUsualBoard);
    for (std::size_t at = 0; (at = lossy.find("[[interface]]\n", at)) != std::string::npos; at += 14)
        lossy.insert(at + 14, "lost_edges_per_million = 20000\n");
    start("", lossy);
    for (int minute = 0; minute < 20; ++minute) {
        doEvent("crystal", "board", (minute % 5 - 2) * 8'000'000LL);
        ASSERT_EQ(setCorrection((minute % 3 - 1) * 20'000), 0) << lastText_;
        ASSERT_EQ(snapTime((minute % 4 - 2) * 400'000'000LL), 0) << lastText_;
        waitS(12);
        if (minute % 2 == 0) doEvent("interface_down", "enp2s0");
        waitS(12);
        if (minute % 2 == 0) doEvent("interface_up", "enp2s0");
        ASSERT_EQ(applyMetaData("{}"), 0) << lastText_;
        waitS(12);
        if (minute % 3 == 0) doEvent("fpga_stop", "fpga");
        waitS(24);
        expectAligned();
        ASSERT_FALSE(HasFailure()) << "minute " << minute;
    }
    EXPECT_EQ(countSyslog("Encountered error in"), 0);
}

TEST_F(ALongLife, LeavesNoDescriptorAndNoChildAfterTwoHundredLives) {
    start();
    zuqxmtk_finalize();
    const int before = testsupport::countOpenDescriptors();
    for (int life = 0; life < 200; ++life) {
        initialize();
        expectAligned();
        zuqxmtk_finalize();
        ASSERT_FALSE(HasFailure()) << "life " << life;
    }
    EXPECT_EQ(testsupport::countOpenDescriptors(), before);
    EXPECT_TRUE(phc2sysSources().empty());
}

}  // namespace aLongLife
