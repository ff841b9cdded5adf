// The wandering crystal: its Allan deviation, and what moves it in straight lines.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/modelBoard.h"

namespace halvexboard::crystalTest {

class Crystal : public ModelBoardTest {
protected:
    /// What the oscillator gains in the second that begins at each of these seconds; in ns, which is its error in ppb.
    std::vector<std::int64_t> gainsAt(const std::vector<std::uint64_t>& seconds) {
        std::vector<std::int64_t> gains;
        for (const std::uint64_t second : seconds) {
            const std::uint64_t before = board_tick(on(), second * kS);
            gains.push_back(static_cast<std::int64_t>(board_tick(on(), (second + 1) * kS) - before - kS));
        }
        return gains;
    }
};

// In ppb: large beside the whole nanoseconds of a reading.
struct Noise {
    const char* name;
    std::int64_t board_crystal_config::*size;
    double (*deviation)(double seconds);  ///< For 100 ppb.
    std::uint64_t intervalNs;
};

std::ostream& operator<<(std::ostream& out, const Noise& noise) { return out << noise.name; }

class CrystalNoise : public Crystal, public testing::WithParamInterface<Noise> {
protected:
    void run(std::size_t seconds) {
        for (std::size_t second = 0; second <= seconds; ++second)
            gainedNs_.push_back(static_cast<double>(board_tick(on(), second * kS)) - static_cast<double>(second * kS));
    }
    /// The overlapping estimate, in ppb.
    double allanDeviation(std::size_t seconds) const {
        double squares = 0;
        const std::size_t count = gainedNs_.size() - 2 * seconds;
        for (std::size_t at = 0; at < count; ++at) {
            const double bend = gainedNs_[at + 2 * seconds] - 2 * gainedNs_[at + seconds] + gainedNs_[at];
            squares += bend * bend;
        }
        return std::sqrt(squares / 2 / static_cast<double>(count)) / static_cast<double>(seconds);
    }

private:
    std::vector<double> gainedNs_;
};

TEST_P(CrystalNoise, HasTheAllanDeviationItIsAskedForWithin10PercentFrom1To1000Seconds) {
    config.crystal.*GetParam().size = 100'000;
    config.crystal.interval_ns = GetParam().intervalNs;
    run(500'000);  // 500 of the longest averages
    for (const std::size_t seconds : {1, 3, 10, 30, 100, 300, 1000}) {
        const double model = GetParam().deviation(static_cast<double>(seconds));
        EXPECT_NEAR(allanDeviation(seconds), model, model / 10) << seconds << " s";
    }
}

double white(double seconds) { return 100 / std::sqrt(seconds); }
double flicker(double) { return 100; }
double randomWalk(double seconds) { return 100 * std::sqrt(seconds); }

INSTANTIATE_TEST_SUITE_P(
    Of, CrystalNoise,
    testing::Values(Noise{"White", &board_crystal_config::white_ppt, white, 100 * kMs},
                    Noise{"WhiteAtLongIntervals", &board_crystal_config::white_ppt, white, kS},
                    Noise{"Flicker", &board_crystal_config::flicker_ppt, flicker, 100 * kMs},
                    Noise{"FlickerAtLongIntervals", &board_crystal_config::flicker_ppt, flicker, kS},
                    Noise{"RandomWalk", &board_crystal_config::walk_ppt, randomWalk, 100 * kMs},
                    Noise{"RandomWalkAtLongIntervals", &board_crystal_config::walk_ppt, randomWalk, 250 * kMs}),
    [](const auto& noise) { return noise.param.name; });

TEST_F(Crystal, AgesInAStraightLine) {
    config.crystal_error_ppt = 5'000;
    config.crystal.ageing_ppt_per_day = 864'000;
    EXPECT_THAT(gainsAt({0, 1'000, 100'000}), testing::ElementsAre(5, 15, 1'005));
}

TEST_F(Crystal, FollowsARampOnceAndStaysAtItsEnd) {
    config.crystal.interval_ns = kS;
    config.crystal.ramp_ppt = -1'000'000;
    config.crystal.ramp_at_ns = 5 * kS;
    config.crystal.ramp_takes_ns = 10 * kS;
    EXPECT_THAT(gainsAt({0, 5, 6, 14, 15, 1'000}), testing::ElementsAre(0, 0, -100, -900, -1'000, -1'000));
    config.crystal.ramp_takes_ns = 0;
    ModelBoard atOnce(config);
    EXPECT_EQ(board_tick(atOnce.on(), 6 * kS), 6 * kS - 1'000);
}

TEST_F(Crystal, FollowsMeasuredFrequenciesInStraightLinesAndStaysAtTheLast) {
    config.crystal.interval_ns = kS;
    config.crystal.frequency_count = 3;
    for (std::uint32_t at = 0; at < 3; ++at) config.crystal.frequencies_ppt[at] = std::array{10, 30, -50}[at] * 1'000;
    config.crystal.frequencies_every_ns = 2 * kS;
    EXPECT_THAT(gainsAt({0, 1, 2, 3, 4, 5, 100}), testing::ElementsAre(10, 20, 30, -10, -50, -50, -50));
}

TEST_F(Crystal, WandersBesideItsErrorAndItsSteering) {
    config.crystal.ramp_ppt = 100'000;
    config.si514_initial_ppt = 20'000;
    EXPECT_THAT(gainsAt({0}), testing::ElementsAre(120));
    EXPECT_EQ(event(2 * kS, BOARD_EVENT_CRYSTAL, BOARD_TARGET_ANY, 3'000), 0);
    EXPECT_THAT(gainsAt({2, 3}), testing::ElementsAre(123, 123));
}

TEST_F(Crystal, HasNothingOnTheAgendaUnlessItIsToWander) {
    EXPECT_EQ(board_next_change(on()), BOARD_NEVER);
    config.crystal.walk_ppt = 1;
    ModelBoard wandering(config);
    board_advance(wandering.on(), 0);
    EXPECT_EQ(board_next_change(wandering.on()), 100 * kMs);
}

TEST_F(Crystal, DrawsFromAStreamOfItsOwn) {
    addInterface("enp1s0", 0);
    config.interfaces[0].clock.step_jitter_ns = 1'000;
    ModelBoard quiet(config);
    config.crystal.white_ppt = config.crystal.flicker_ppt = config.crystal.walk_ppt = 1'000;
    ModelBoard again(config), other(config);
    other.config.seed = 2;
    ASSERT_EQ(step(kS, 0, 0, 0) + quiet.step(kS, 0, 0, 0), 0);
    EXPECT_EQ(of(BOARD_HAPPENING_STEP).at(0).step.real_ns, quiet.of(BOARD_HAPPENING_STEP).at(0).step.real_ns);
    EXPECT_EQ(board_tick(on(), 1'000 * kS), board_tick(again.on(), 1'000 * kS));
    EXPECT_NE(board_tick(on(), 1'000 * kS), board_tick(other.on(), 1'000 * kS));
}

TEST_F(Crystal, RefusesWhatItCannotCompute) {
    const auto isRefused = [](auto change) {
        ModelBoard board;
        change(board.config.crystal);
        return board.on() == nullptr;
    };
    EXPECT_TRUE(isRefused([](auto& crystal) { crystal.white_ppt = -1; }));
    EXPECT_TRUE(isRefused([](auto& crystal) { crystal.flicker_ppt = 100'001; }));
    EXPECT_TRUE(isRefused([](auto& crystal) { crystal.walk_ppt = 100'001; }));
    EXPECT_TRUE(isRefused([](auto& crystal) { crystal.ageing_ppt_per_day = 1'000'001; }));
    EXPECT_TRUE(isRefused([](auto& crystal) { crystal.ramp_ppt = 1'000'000'001; }));
    EXPECT_TRUE(isRefused([](auto& crystal) { crystal.ramp_takes_ns = 101ULL * 86'400 * kS; }));
    EXPECT_TRUE(isRefused([](auto& crystal) { crystal.interval_ns = kMs - 1; }));
    EXPECT_TRUE(isRefused([](auto& crystal) { crystal.frequencies_every_ns = 0; }));
    EXPECT_TRUE(isRefused([](auto& crystal) { crystal.frequency_count = BOARD_MAX_FREQUENCIES + 1; }));
    EXPECT_TRUE(isRefused([](auto& crystal) { crystal.frequencies_ppt[crystal.frequency_count++] = 1'000'000'001; }));
    EXPECT_FALSE(
        isRefused([](auto& crystal) { crystal.white_ppt = crystal.flicker_ppt = crystal.walk_ppt = 100'000; }));
}

}  // namespace halvexboard::crystalTest
