// Story 100: hours with everything moving; and the same hours twice.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <gmock/gmock.h>

#include <random>

#include "tests/support/controller.h"
#include "tests/support/processCensus.h"

namespace {

class ALongLife : public testsupport::Controller {
protected:
    /// Twenty minutes of steps, steering, metadata, flapping interfaces and a disturbed clock, by the seed.
    void live() {
        std::mt19937_64 random(seed_);
        for (int minute = 0; minute < 20; ++minute) {
            board_->doEvent(BOARD_EVENT_INTERFACE_DOWN, BOARD_TARGET_INTERFACE(minute % 2));
            waitS(10);
            ASSERT_EQ(snapTime(static_cast<std::int64_t>(random() % 2'000'000'000) - 1'000'000'000), 0) << lastText_;
            board_->doEvent(BOARD_EVENT_JUMP, BOARD_TARGET_INTERFACE(minute % 2),
                            static_cast<std::int64_t>(random() % 100'000));
            waitS(10);
            board_->doEvent(BOARD_EVENT_INTERFACE_UP, BOARD_TARGET_INTERFACE(minute % 2));
            ASSERT_EQ(setCorrection(static_cast<std::int32_t>(random() % 124'001) - 62'000), 0) << lastText_;
            waitS(20);
            ASSERT_EQ(applyMetaData(R"({"selectedTRInstID":"a","TRs":{"a":{"type":"x"}}})"), 0) << lastText_;
            waitS(20);
            expectAligned();
        }
    }
};

TEST_F(ALongLife, EndsEveryMinuteWithEveryClockAligned) {
    switchOn();
    initialize();
    live();
    EXPECT_EQ(countSyslog("Encountered"), 0);
}

TEST_F(ALongLife, IsTheSameTwiceForOneSeedAndAnotherForTwo) {
    std::vector<std::string> traces;
    for (const std::uint64_t seed : {seed_, seed_, seed_ + 1}) {
        seed_ = seed;
        switchOn();
        initialize();
        waitS(5);
        ASSERT_EQ(snapTime(1'000'000), 0);
        waitS(5);
        zuqxmtk_finalize();
        traces.push_back(board_->traceText());
        board_.reset();
    }
    EXPECT_EQ(traces[0], traces[1]);
    EXPECT_NE(traces[1], traces[2]);
}

TEST_F(ALongLife, LeavesNoDescriptorAndNoChildAfterAHundredLives) {
    switchOn();
    const int before = testsupport::countOpenDescriptors();
    for (int life = 0; life < 100; ++life) {
        initialize();
        zuqxmtk_finalize();
    }
    EXPECT_EQ(testsupport::countOpenDescriptors(), before);
    int running = 0;
    for (const auto& child : happenings("phc2sys")) running += child.at("state") == "running" ? 1 : -1;
    EXPECT_EQ(running, 0);
}

}  // namespace
