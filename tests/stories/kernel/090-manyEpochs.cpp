// Story 090: many epochs, checking each stamp and step.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"
#include "tests/system/machine.h"

namespace manyEpochs {

using systemtest::Happening;
using systemtest::takeJournal;

class ManyEpochs : public stories::Controller {
protected:
    std::map<std::string, std::int64_t> differencesNs_;
    int epochs_ = 0;
    int steps_ = 0;

    /// Each step of a slave must be minus its true difference at the previous epoch, or twice that: a time stamp of
    /// another edge (the falling one, or another clock's) would show.
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

TEST_F(ManyEpochs, TenThousandEpochsWithoutOneWrongTimeStamp) {
    start();
    for (int step = 0; epochs_ < 10'000; ++step) {
        ASSERT_LT(step, 20'000);
        ASSERT_EQ(snapTime((step % 11 - 5) * 1'000'000LL), 0) << lastText_;
        if (step % 100 == 0) followJournal();
        if (step % 500 == 0) doEvent("stale_events", "enp1s0", 3);
        ASSERT_FALSE(HasFailure());
    }
    waitS(2);
    followJournal();
    EXPECT_GT(steps_, 10'000);
    expectAligned();
    std::printf("%d epochs, %d steps\n", epochs_, steps_);
}

}  // namespace manyEpochs
