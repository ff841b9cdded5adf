// Reproducible random numbers: independent streams, Gaussian width.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper

extern "C" {
#include "board/model/random.h"

#include "tests/support/test.h"
}

namespace randomTest {

board_random seeded(std::uint64_t seed, std::uint64_t stream) {
    board_random random;
    board_random_seed(&random, seed, stream);
    return random;
}

TEST(Random, RepeatsForTheSameSeedAndStreamOnly) {
    board_random first = seeded(7, 1), same = seeded(7, 1), otherStream = seeded(7, 2), otherSeed = seeded(8, 1);
    const std::uint64_t value = board_random_next(&first);
    EXPECT_EQ(board_random_next(&same), value);
    EXPECT_NE(board_random_next(&otherStream), value);
    EXPECT_NE(board_random_next(&otherSeed), value);
}

TEST(Random, GaussianHasTheWidthItIsAskedFor) {
    board_random random = seeded(3, 3);
    double sum = 0, squares = 0;
    constexpr int kDraws = 200'000;
    for (int draw = 0; draw < kDraws; ++draw) {
        const auto value = static_cast<double>(board_random_gaussian(&random, 1'000'000));
        EXPECT_LE(std::abs(value), 6'000'000);
        sum += value;
        squares += value * value;
    }
    EXPECT_NEAR(sum / kDraws, 0, 10'000);
    EXPECT_NEAR(std::sqrt(squares / kDraws), 1'000'000, 10'000);
}

TEST(Random, GaussianWithoutWidthIsNothing) {
    board_random random = seeded(3, 3);
    EXPECT_EQ(board_random_gaussian(&random, 0), 0);
}

TEST(Random, TailHasTheWeightItIsAskedFor) {
    board_random random = seeded(3, 3);
    constexpr int kDraws = 200'000;
    std::map<int, int> beyond;
    for (int draw = 0; draw < kDraws; ++draw) {
        const std::int64_t value = board_random_tail(&random, 1'000'000);
        ASSERT_GE(value, 0);
        for (const int scales : {1, 9, 99}) beyond[scales] += value > scales * 1'000'000;
    }
    EXPECT_NEAR(beyond[1], kDraws / 4, 600);
    EXPECT_NEAR(beyond[9], kDraws / 100, 130);
    EXPECT_NEAR(beyond[99], kDraws / 10'000, 14);
    const std::uint64_t drawn = random.state;
    EXPECT_EQ(board_random_tail(&random, 0), 0);
    EXPECT_EQ(random.state, drawn) << "nothing is drawn without a tail";
}

TEST(Random, SquareRootIsRoundedDown) {
    for (const std::uint64_t root : {1ULL, 2ULL, 3ULL, 65'535ULL, 1'000'000'007ULL, 0xFFFFFFFFULL}) {
        EXPECT_EQ(board_square_root(root * root), root);
        EXPECT_EQ(board_square_root(root * root - 1), root - 1);
    }
    EXPECT_EQ(board_square_root(~0ULL), 0xFFFFFFFFULL);
}

TEST(Random, StaysBelowTheLimit) {
    board_random random = seeded(1, 1);
    bool seen[5] = {};
    for (int draw = 0; draw < 200; ++draw) seen[board_random_below(&random, 5)] = true;
    for (const bool one : seen) EXPECT_TRUE(one);
    EXPECT_EQ(board_random_below(&random, 0), 0U);
}

}  // namespace randomTest
