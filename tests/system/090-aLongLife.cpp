// Stories 090: many epochs, many starts, twenty minutes of everything.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <cstdio>
#include <map>

#include "tests/support/processCensus.h"
#include "tests/system/controller.h"

namespace {

using systemtest::control;
using systemtest::Happening;
using systemtest::readTruth;
using systemtest::setInterfaceUp;
using systemtest::takeJournal;
using systemtest::waitS;

class S090_ALongLife : public systemtest::Controller {
protected:
    std::map<std::string, std::int64_t> differencesNs_;
    int epochs_ = 0;
    int steps_ = 0;

    /// Each step of a slave is minus its true difference at the epoch before, or twice that: a time stamp of another
    /// edge, of the falling one or of another clock would show.
    void followJournal() {
        for (const Happening& happening : takeJournal()) {
            if (happening.kind == "lost") FAIL() << "the journal has overflowed";
            if (happening.kind == "epoch") {
                ++epochs_;
                for (const auto& [name, difference] : happening.details) differencesNs_[name] = std::stoll(difference);
            }
            if (happening.kind != "step" || happening.target == "ferrox") continue;
            ++steps_;
            const std::int64_t differenceNs = differencesNs_.at(happening.target);
            const std::int64_t askedNs = happening.number("asked");
            EXPECT_TRUE(askedNs == -differenceNs || askedNs == -2 * differenceNs)
                << happening.target << " asked " << askedNs << " difference " << differenceNs;
        }
    }
};

TEST_F(S090_ALongLife, T090_TenThousandEpochsWithoutOneWrongTimeStamp) {
    switchOn();
    initialize();
    for (int step = 0; epochs_ < 10'000; ++step) {
        ASSERT_LT(step, 20'000);
        ASSERT_EQ(snapTime((step % 11 - 5) * 1'000'000LL), 0) << lastText_;
        if (step % 100 == 0) followJournal();
        if (step % 500 == 0) control("event stale_events enp1s0 3");
        ASSERT_FALSE(HasFailure());
    }
    waitS(2);
    followJournal();
    EXPECT_GT(steps_, 10'000);
    expectAligned();
    std::printf("%d epochs, %d steps\n", epochs_, steps_);
}

TEST_F(S090_ALongLife, T091_InitialisedAndFinalisedTwoHundredTimes) {
    switchOn();
    initialize();
    zuqxmtk_finalize();
    const int before = testsupport::countOpenDescriptors();
    for (int round = 0; round < 200; ++round) {
        initialize();
        expectAligned();
        zuqxmtk_finalize();
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
    EXPECT_EQ(testsupport::countOpenDescriptors(), before);
    EXPECT_TRUE(systemtest::livingPhc2sys().empty());
}

TEST_F(S090_ALongLife, T092_TwentyMinutesWithEverythingMoving) {
    switchOn({"set enp1s0 lost_edges_per_million 20000", "set enp2s0 lost_edges_per_million 20000"});
    initialize();
    for (int minute = 0; minute < 20; ++minute) {
        ASSERT_TRUE(control("event crystal board " + std::to_string((minute % 5 - 2) * 8'000'000LL)));
        ASSERT_EQ(setCorrection((minute % 3 - 1) * 20'000), 0) << lastText_;
        ASSERT_EQ(snapTime((minute % 4 - 2) * 400'000'000LL), 0) << lastText_;
        waitS(12);
        if (minute % 2 == 0) setInterfaceUp("enp2s0", false);
        waitS(12);
        if (minute % 2 == 0) setInterfaceUp("enp2s0", true);
        ASSERT_EQ(applyMetaData("{}"), 0) << lastText_;
        waitS(12);
        if (minute % 3 == 0) control("event fpga_stop fpga 0");
        waitS(24);
        expectAligned();
        takeJournal();
        ASSERT_FALSE(HasFailure()) << "minute " << minute;
    }
    EXPECT_EQ(countSyslog("Encountered error in"), 0);
}

}  // namespace
