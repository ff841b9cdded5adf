// The law of alignment: 1 + 2 K iterations, K geometric.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/alignmentLaw.h"

#include "tests/support/test.h"

namespace alignmentLawTest {

using namespace testsupport;

constexpr long kWorlds = 20'000;

struct Point {
    StepLosses losses;
    int slaves;
};

std::string nameOf(const testing::TestParamInfo<Point>& point) {
    const StepLosses& losses = point.param.losses;
    return "Lose" + std::to_string(std::lround(std::abs(losses.constantNs))) + (losses.constantNs < 0 ? "Ahead" : "") +
           "Jitter" + std::to_string(std::lround(losses.jitterNs)) + (losses.otherShare > 0 ? "TwoPeaked" : "") +
           "Slaves" + std::to_string(point.param.slaves);
}

class Law : public testing::TestWithParam<Point> {};

TEST_P(Law, HoldsForTheLibrary) {
    const auto& [losses, slaves] = GetParam();
    const Alignments found = alignWorlds(losses, slaves, kWorlds, 1);
    const AlignmentLaw law(losses, slaves);
    EXPECT_EQ(found.outside(), 0);
    EXPECT_GT(found.probabilityUnder(law), 0.01);
    EXPECT_NEAR(found.mean(), law.mean(), law.mean() / 50);
}

INSTANTIATE_TEST_SUITE_P(Losses, Law,
                         testing::Values(Point{{1500, 50}, 1}, Point{{2500, 50}, 1}, Point{{5000, 50}, 1},
                                         Point{{20'000, 50}, 1}, Point{{-1500, 50}, 1}, Point{{1500, 200}, 1},
                                         Point{{1500, 50}, 3}, Point{{2500, 200}, 8}, Point{{1500, 50, 5000, 0.25}, 1},
                                         Point{{1500, 50, 20'000, 0.001}, 3}),
                         nameOf);

TEST(LawLimits, TwoLossesThatAgreeNeedThreeIterationsAlways) {
    const Alignments found = alignWorlds({1500, 1}, 5, 1'000, 1);
    EXPECT_EQ(found.byIterations.at(3), 1'000);
}

TEST(LawLimits, ALossNearTheToleranceEndsEarlierThanTheLawSays) {
    const Alignments found = alignWorlds({300, 100}, 1, kWorlds, 1);
    EXPECT_GT(found.outside(), kWorlds / 100) << "single steps succeed by chance";
    EXPECT_LT(found.probabilityUnder(AlignmentLaw({300, 100}, 1)), 1e-6);
}

TEST(LawLimits, ALawThatIsOffByThreePercentIsNoticed) {
    const Alignments found = alignWorlds({1500, 50}, 1, kWorlds, 1);
    EXPECT_LT(found.probabilityUnder(AlignmentLaw({1500, 53}, 1)), 1e-3);
    EXPECT_LT(found.probabilityUnder(AlignmentLaw({1500, 47}, 1)), 1e-3);
    EXPECT_LT(found.probabilityUnder(AlignmentLaw({1500, 50}, 2)), 1e-6);
}

}  // namespace alignmentLawTest
