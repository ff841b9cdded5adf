// Time lines: exact at any rate, over any time, through any number of changes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper

extern "C" {
#include "board/model/line.h"

#include "tests/support/test.h"
}

namespace lineTest {

constexpr std::uint64_t kYearNs = 365ULL * 86'400 * 1'000'000'000;
__extension__ using Wide = __int128;

Wide floorDivide(Wide value, Wide by) { return value / by - (value % by < 0 ? 1 : 0); }

std::uint64_t exactly(std::uint64_t distance, std::int64_t ratePpt) {
    return distance + static_cast<std::uint64_t>(floorDivide(static_cast<Wide>(distance) * ratePpt, BOARD_PPT_PER_ONE));
}

class LineAtRate : public ::testing::TestWithParam<std::int64_t> {};

TEST_P(LineAtRate, AgreesWithWideArithmeticOverTwoCenturies) {
    const board_line line{0, 0, 0, GetParam()};
    for (const std::uint64_t distance :
         {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{999'999}, std::uint64_t{1'000'000},
          std::uint64_t{999'999'999'999}, kYearNs - 1, kYearNs, 200 * kYearNs + 12'345})
        EXPECT_EQ(board_line_value(&line, distance), exactly(distance, GetParam())) << distance;
}

INSTANTIATE_TEST_SUITE_P(Rates, LineAtRate,
                         ::testing::Values(0, 1, -1, 12'000'000, -12'000'001, 62'000'000, 1'074'000'123,
                                           -92'000'000'000, 62'499'999'999, -62'500'000'000));

TEST(Line, LosesNothingInAMillionRateChanges) {
    board_line line{0, 0, 0, 0};
    Wide fine = 0;  // 1e-12 ns
    std::uint64_t at = 0;
    std::int64_t rate = 0;
    for (int change = 0; change < 1'000'000; ++change) {
        const std::uint64_t next = at + 31'536'000'007ULL;  // a little over a year in all
        fine += static_cast<Wide>(next - at) * (BOARD_PPT_PER_ONE + rate);
        at = next;
        rate = (change % 2 == 0 ? 62'000'000 : -61'999'999) + change % 1000;
        board_line_set_rate(&line, at, rate);
    }
    EXPECT_EQ(board_line_value(&line, at), static_cast<std::uint64_t>(floorDivide(fine, BOARD_PPT_PER_ONE)));
}

TEST(Line, ShiftsBothWays) {
    board_line line{0, 100, 0, 0};
    board_line_shift(&line, -150);
    EXPECT_EQ(board_line_value(&line, 60), 10U);
    board_line_shift(&line, 5);
    EXPECT_EQ(board_line_value(&line, 60), 15U);
}

}  // namespace lineTest
