// The law of alignment, 1 + 2 K iterations with a geometric K, beside alignments of the library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <random>

#include "source/zuHalvexTimekeeper/epochAlignment.h"
#include "tests/support/fakeDevices.h"
#include "tests/support/test.h"

namespace alignmentLawTest {

using namespace testsupport;

/// What a step loses: Gaussian around `constantNs`, a share of the steps around `otherNs` instead.
struct StepLosses {
    double constantNs, jitterNs;
    double otherNs = 0, otherShare = 0;
};

/// Iterations are 1 + 2 K: K is geometric with the probability that the losses of two steps agree within the tolerance,
/// and with several slaves the greatest of theirs (docs/performance.md).
class AlignmentLaw {
public:
    AlignmentLaw(const StepLosses& losses, int slaves) : slaves_(slaves) {
        // Whole nanoseconds: 100 ends at 100.5.
        const auto agreeing = [&](double apartNs) {
            return (std::erf((100.5 - apartNs) / (2 * losses.jitterNs)) +
                    std::erf((100.5 + apartNs) / (2 * losses.jitterNs))) /
                   2;
        };
        const double unlike = 2 * losses.otherShare * (1 - losses.otherShare);
        agreement_ = (1 - unlike) * agreeing(0) + unlike * agreeing(losses.otherNs - losses.constantNs);
    }

    double agreement() const { return agreement_; }
    double atMost(int pairs) const { return std::pow(1 - std::pow(1 - agreement_, pairs), slaves_); }
    double mean() const {
        double pairs = 0;
        for (int n = 0; n < 1000; ++n) pairs += 1 - atMost(n);
        return 1 + 2 * pairs;
    }

private:
    double agreement_;
    int slaves_;
};

/// Measured alignments by their number of iterations.
struct Alignments {
    std::map<int, long> byIterations;
    long worlds = 0;

    double mean() const {
        double sum = 0;
        for (const auto& [iterations, count] : byIterations)
            sum += static_cast<double>(iterations) * static_cast<double>(count);
        return sum / static_cast<double>(worlds);
    }
    long outside() const {  ///< Not 3, 5, 7 ...
        long count = 0;
        for (const auto& [iterations, seen] : byIterations) count += iterations < 3 || iterations % 2 == 0 ? seen : 0;
        return count;
    }
    /// Of a chi-square at least as large as these have against the law; the tail of the law is one class.
    double probabilityUnder(const AlignmentLaw& law) const {
        constexpr double kLeastExpected = 10;
        const auto total = static_cast<double>(worlds);
        double squares = 0, seenBefore = 0, before = 0;
        int classes = 0;
        for (int pairs = 1; before < 1; ++pairs) {
            const bool isTail = total * (1 - law.atMost(pairs)) < kLeastExpected;
            const double upTo = isTail ? 1 : law.atMost(pairs), expected = total * (upTo - before);
            const auto end = isTail ? byIterations.end() : byIterations.upper_bound(1 + 2 * pairs);
            double seen = -seenBefore;
            for (auto at = byIterations.begin(); at != end; ++at) seen += static_cast<double>(at->second);
            if (expected < kLeastExpected) continue;
            squares += (seen - expected) * (seen - expected) / expected;
            seenBefore += seen;
            before = upTo;
            ++classes;
        }
        // Wilson and Hilferty: the cube root of a chi-square is nearly Gaussian.
        const double freedom = classes - 1, spread = 2 / (9 * freedom);
        return std::erfc((std::cbrt(squares / freedom) - 1 + spread) / std::sqrt(2 * spread)) / 2;
    }
};

/// Aligns that many worlds with the library: slaves up to 2 s off, on the streams of one seed.
Alignments alignWorlds(const StepLosses& losses, int slaves, long worlds, std::uint64_t seed) {
    struct LosingDevice : FakeEpochDevice {
        using FakeEpochDevice::FakeEpochDevice;
        void adjustTime(std::int64_t offsetNs) override {
            stepLossNs = drawLossNs();
            FakeEpochDevice::adjustTime(offsetNs);
        }
        std::function<std::int64_t()> drawLossNs;
    };
    std::mt19937_64 random(seed);
    std::normal_distribution<double> jitter(0, losses.jitterNs);
    std::uniform_real_distribution<double> share(0, 1);
    std::uniform_int_distribution<std::uint64_t> offset(1'000, 2'000'000'000);
    Alignments found;
    int iterations = 0;
    Journal journal;
    FakeEpochDevice master("master", journal);
    master.isJournaled = false;
    master.onEpoch = [&] { ++iterations; };
    halvexTimekeeper::EpochDevices devices;
    for (int slave = 0; slave < slaves; ++slave) {
        const auto device = std::make_shared<LosingDevice>("slave", journal);
        device->isJournaled = false;
        device->drawLossNs = [&] {
            return std::llround((share(random) < losses.otherShare ? losses.otherNs : losses.constantNs) +
                                jitter(random));
        };
        devices.push_back(device);
    }
    for (; found.worlds < worlds; ++found.worlds) {
        iterations = 0;
        for (const auto& device : devices) static_cast<LosingDevice&>(*device).timeNs = master.timeNs + offset(random);
        halvexTimekeeper::EpochAlignment(master, devices).run();
        ++found.byIterations[iterations];
    }
    return found;
}

constexpr long kWorlds = 20'000;

struct Point {
    const char* loss;
    StepLosses losses;
    int slaves;
};

std::string nameOf(const testing::TestParamInfo<Point>& point) {
    std::string name = std::to_string(point.param.slaves) + " of " + point.param.loss;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char character) { return std::isalnum(character) == 0; }, '_');
    return name;
}

class Law : public testing::TestWithParam<Point> {};

// Prints a row of the table in docs/performance.md; HALVEX_LAW_WORLDS sets the number of worlds.
TEST_P(Law, HoldsForTheLibrary) {
    const auto& [loss, losses, slaves] = GetParam();
    const char* const wanted = std::getenv("HALVEX_LAW_WORLDS");
    const AlignmentLaw law(losses, slaves);
    const Alignments found = alignWorlds(losses, slaves, wanted != nullptr ? std::atol(wanted) : kWorlds, 1);
    std::printf("| %s | %d | %.4f | %.3f | %.3f | %ld | %.3f |\n", loss, slaves, law.agreement(), law.mean(),
                found.mean(), found.outside(), found.probabilityUnder(law));
    EXPECT_EQ(found.outside(), 0);
    EXPECT_GT(found.probabilityUnder(law), 0.01);
}

INSTANTIATE_TEST_SUITE_P(
    Losses, Law,
    testing::Values(Point{"1.5 us ± 30 ns", {1'500, 30}, 1}, Point{"1.5 us ± 50 ns", {1'500, 50}, 1},
                    Point{"1.5 us ± 100 ns", {1'500, 100}, 1}, Point{"1.5 us ± 200 ns", {1'500, 200}, 1},
                    Point{"1.5 us ± 50 ns", {1'500, 50}, 3}, Point{"1.5 us ± 50 ns", {1'500, 50}, 8},
                    Point{"2.5 us ± 50 ns", {2'500, 50}, 2}, Point{"5 us ± 200 ns", {5'000, 200}, 3},
                    Point{"20 us ± 1 us", {20'000, 1'000}, 1},
                    Point{"1.5 us ± 50 ns, a quarter 5 us", {1'500, 50, 5'000, 0.25}, 1},
                    Point{"1.5 us ± 50 ns, one in 1,000 20 us", {1'500, 50, 20'000, 0.001}, 3}),
    nameOf);

TEST(LawLimits, StepsWithoutLossNeedTwoIterationsAndWithAConstantLossThree) {
    EXPECT_EQ(alignWorlds({0, 1}, 5, 1'000, 1).byIterations.at(2), 1'000);
    EXPECT_EQ(alignWorlds({1500, 1}, 5, 1'000, 1).byIterations.at(3), 1'000);
}

TEST(LawLimits, ALossNearTheToleranceEndsEarlierThanTheLawSays) {
    const Alignments found = alignWorlds({300, 100}, 1, kWorlds, 1);
    EXPECT_GT(found.outside(), kWorlds / 100) << "single steps succeed by chance";
    EXPECT_LT(found.probabilityUnder(AlignmentLaw({300, 100}, 1)), 1e-6);
}

TEST(LawLimits, ALawThatIsOffByThreePercentIsNoticed) {
    const Alignments found = alignWorlds({1500, 50}, 1, kWorlds, 1);
    for (const double jitterNs : {47, 53})
        EXPECT_LT(found.probabilityUnder(AlignmentLaw({1500, jitterNs}, 1)), 1e-3) << jitterNs;
    EXPECT_LT(found.probabilityUnder(AlignmentLaw({1500, 50}, 2)), 1e-6);
}

}  // namespace alignmentLawTest
