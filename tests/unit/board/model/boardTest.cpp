// A board's life cycle: switching on, determinism by seed.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "boardFixture.h"

namespace halvexboard::boardTest {

class Life : public BoardFixture {
protected:
    /// Some minutes of a board using every source of randomness; returns all observable values.
    static std::vector<std::int64_t> live(std::uint64_t seed) {
        struct Run : BoardFixture {
            void TestBody() override {}
            std::vector<std::int64_t> play(std::uint64_t seed) {
                addInterface("enp1s0", 0);
                config.seed = seed;
                config.interfaces[0].clock = {5'000, 1500, 50, 0};
                config.interfaces[0].lost_edges_per_million = 300'000;
                config.interfaces[0].interrupt_jitter_ns = 10'000;
                config.system.offset_ns = 77'000;
                board_phc2sys_options options{};
                std::strcpy(options.source, "enp1s0");
                options.valid = 1;
                board_phc2sys_start(on(), 0, &options);
                for (std::uint64_t second = 1; second < 100; ++second) playSecond(second);
                return seen();
            }
            void playSecond(std::uint64_t second) {
                arm(second * kS, 0);
                generateEpoch(second * kS + 5);
                board_wire_timex timex{};
                timex.modes = BOARD_WIRE_ADJ_SETOFFSET | BOARD_WIRE_ADJ_NANO;
                timex.time_usec = 100;
                board_phc_adjtime(on(), second * kS + kMs, 0, &timex);
            }
            std::vector<std::int64_t> seen() const {
                std::vector<std::int64_t> numbers;
                for (const Recorded& recorded : happenings) {
                    numbers.push_back(recorded.happening.kind);
                    numbers.push_back(static_cast<std::int64_t>(recorded.happening.raw_ns));
                    numbers.push_back(recorded.step.real_ns);
                    numbers.push_back(static_cast<std::int64_t>(recorded.stamp.time_ns));
                    numbers.push_back(recorded.stamp.lost);
                    numbers.push_back(recorded.truth.difference_ns[BOARD_CLOCK_SYSTEM]);
                }
                return numbers;
            }
        };
        return Run().play(seed);
    }
};

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
    board_call call{};
    call.kind = BOARD_CALL_READ;
    call.target = BOARD_TARGET_SI514;
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
    const board_config good = config;
    auto storage = std::make_unique<std::uint64_t[]>(board_size() / 8 + 1);
    const auto accepts = [&storage](const board_config& tried) {
        return board_init(storage.get(), &tried, nullptr, nullptr) != nullptr;
    };
    EXPECT_TRUE(accepts(good));
    board_config bad = good;
    bad.interface_count = BOARD_MAX_INTERFACES + 1;
    EXPECT_FALSE(accepts(bad));
    bad = good;
    bad.crystal_error_ppt = 1'000'000'001;
    EXPECT_FALSE(accepts(bad));
    bad = good;
    bad.interface_count = 1;  // without a name
    EXPECT_FALSE(accepts(bad));
    bad = good;
    bad.ferrox.clock.step_granularity_ns = -1;
    EXPECT_FALSE(accepts(bad));
    bad = good;
    bad.fault_count = 1;  // nth and times are 0
    EXPECT_FALSE(accepts(bad));
    bad = good;
    bad.event_count = 1;
    bad.events[0] = {0, BOARD_EVENT_INTERFACE_DOWN, BOARD_TARGET_FPGA, 0};
    EXPECT_FALSE(accepts(bad));
    bad = good;
    bad.phc2sys.interval_ns = 0;
    EXPECT_FALSE(accepts(bad));
    EXPECT_EQ(board_init(nullptr, &good, nullptr, nullptr), nullptr);
}

}  // namespace halvexboard::boardTest
