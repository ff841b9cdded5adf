// A board's life cycle: switching on, determinism by seed.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/support/modelBoard.h"

namespace halvexboard::boardTest {

using Life = ModelBoardTest;

/// Some minutes of a board using every source of randomness; returns all observable values.
std::vector<std::int64_t> live(std::uint64_t seed) {
    ModelBoard run;
    run.addInterface("enp1s0", 0);
    run.config.seed = seed;
    run.config.interfaces[0].clock = {5'000, 1500, 50, 0, 0, 0, 0};
    run.config.interfaces[0].lost_edges_per_million = 300'000;
    run.config.interfaces[0].interrupt_jitter_ns = 10'000;
    run.config.system.offset_ns = 77'000;
    run.startPhc2sys(0, "enp1s0");
    for (std::uint64_t second = 1; second < 100; ++second) {
        run.arm(second * kS, 0);
        run.generateEpoch(second * kS + 5);
        run.step(second * kS + kMs, 0, 0, 100);
    }
    std::vector<std::int64_t> numbers;
    for (const Recorded& recorded : run.happenings) {
        numbers.push_back(recorded.happening.kind);
        numbers.push_back(static_cast<std::int64_t>(recorded.happening.raw_ns));
        numbers.push_back(recorded.step.real_ns);
        numbers.push_back(static_cast<std::int64_t>(recorded.stamp.time_ns));
        numbers.push_back(recorded.stamp.lost);
        numbers.push_back(recorded.truth.difference_ns[BOARD_CLOCK_SYSTEM]);
    }
    return numbers;
}

TEST_F(Life, TheSameSeedLivesTheSameLife) {
    EXPECT_EQ(live(1), live(1));
    EXPECT_GT(live(1).size(), 2000U);
}

TEST_F(Life, AnotherSeedLivesAnother) { EXPECT_NE(live(1), live(2)); }

TEST_F(Life, BeginsWithAStartAndTheTruth) {
    config.seed = 99;
    on();
    ASSERT_EQ(happenings.size(), 2U);
    EXPECT_EQ(happenings[0].happening.kind, BOARD_HAPPENING_START);
    EXPECT_EQ(happenings[0].happening.value, 99);
    EXPECT_EQ(happenings[1].happening.kind, BOARD_HAPPENING_TRUTH);
}

TEST_F(Life, SequenceNumbersHaveNoGaps) {
    addInterface("enp1s0", 0);
    arm(0, 0);
    generateEpoch(kS);
    board_advance(on(), 2 * kS);
    for (std::size_t at = 0; at < happenings.size(); ++at) EXPECT_EQ(happenings[at].happening.sequence, at);
}

TEST_F(Life, TextsAndCallsReachTheObserver) {
    board_tell_syslog(on(), kS, 6, "hello, world", 5);
    const board_call call = callOf(BOARD_CALL_READ, BOARD_TARGET_SI514);
    board_tell_call(on(), kS, &call);
    EXPECT_EQ(of(BOARD_HAPPENING_SYSLOG).at(0).text, "hello");
    EXPECT_EQ(of(BOARD_HAPPENING_SYSLOG).at(0).happening.value, 6);
    EXPECT_EQ(of(BOARD_HAPPENING_CALL).at(0).happening.target, BOARD_TARGET_SI514);
}

TEST_F(Life, RunsWithoutAnObserver) {
    auto storage = std::make_unique<std::uint64_t[]>(board_size() / 8 + 1);
    board* const quiet = board_init(storage.get(), &config, nullptr, nullptr);
    ASSERT_NE(quiet, nullptr);
    board_tell_syslog(quiet, kS, 6, "x", 1);
    EXPECT_EQ(board_raw(quiet), kS);
}

TEST_F(Life, RefusesConfigurationsBeyondItsMaxima) {
    const auto isAccepted = [](void (*change)(board_config & config)) {
        ModelBoard tried;
        change(tried.config);
        return tried.on() != nullptr;
    };
    EXPECT_TRUE(isAccepted([](board_config&) {}));
    EXPECT_FALSE(isAccepted([](board_config& tried) { tried.interface_count = BOARD_MAX_INTERFACES + 1; }));
    EXPECT_FALSE(isAccepted([](board_config& tried) { tried.crystal_error_ppt = 1'000'000'001; }));
    EXPECT_FALSE(isAccepted([](board_config& tried) { tried.interface_count = 1; })) << "without a name";
    EXPECT_FALSE(isAccepted([](board_config& tried) { tried.ferrox.clock.step_granularity_ns = -1; }));
    EXPECT_FALSE(isAccepted([](board_config& tried) { tried.ferrox.clock.step_tail_ns = -1; }));
    EXPECT_FALSE(isAccepted([](board_config& tried) { tried.ferrox.clock.step_other_per_million = 1'000'001; }));
    EXPECT_FALSE(isAccepted([](board_config& tried) { tried.ferrox.clock.step_other_loss_ns = 1LL << 60; }));
    EXPECT_FALSE(isAccepted([](board_config& tried) { tried.fault_count = 1; })) << "nth and times are 0";
    EXPECT_FALSE(isAccepted([](board_config& tried) {
        tried.event_count = 1;
        tried.events[0] = {0, BOARD_EVENT_INTERFACE_DOWN, BOARD_TARGET_FPGA, 0};
    }));
    EXPECT_FALSE(isAccepted([](board_config& tried) { tried.phc2sys.interval_ns = 0; }));
    EXPECT_EQ(board_init(nullptr, &config, nullptr, nullptr), nullptr);
}

}  // namespace halvexboard::boardTest
