// Tests of evaluating readings of the timekeeper against the raw clock.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/crossReading.h"

#include "tests/support/test.h"

namespace halvexctl::crossReadingTest {

TEST(DriftBetween, IsTheRateWithABoundFromBothReadings) {
    const CrossReading from{1'000'000'000, 0, 500};
    const CrossReading to{3'000'024'000, 2'000'000'000, 700};
    EXPECT_DOUBLE_EQ(driftBetween(from, to).ratePpb, 12'000.0);
    EXPECT_DOUBLE_EQ(driftBetween(from, to).boundPpb, 600.0);
    EXPECT_DOUBLE_EQ(driftBetween(from, from).ratePpb, 0.0);
}

TEST(MovedAgainstRaw, IsSignedAndWraps) {
    EXPECT_EQ(movedAgainstRawNs({1'000, 0, 0}, {900, 300, 0}), -400);
    EXPECT_EQ(movedAgainstRawNs({~std::uint64_t{0}, 0, 0}, {9, 3, 0}), 7);
}

}  // namespace halvexctl::crossReadingTest
