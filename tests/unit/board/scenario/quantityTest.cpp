// Quantities in human notation.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/quantity.h"

#include "tests/support/test.h"

namespace halvexboard::quantityTest {

TEST(Duration, ReadsEveryUnit) {
    for (const std::int64_t ns : {0L, 7L, -1500L, 2'000'000L, 90'000'000'000L})
        EXPECT_EQ(parseDuration(durationText(ns)), ns) << durationText(ns);
    EXPECT_EQ(durationText(-1500), "-1500 ns");
    EXPECT_EQ(durationText(90'000'000'000), "90 s");
    EXPECT_EQ(parseDuration("7 ns"), 7);
    EXPECT_EQ(parseDuration("7 us"), 7'000);
    EXPECT_EQ(parseDuration("7 ms"), 7'000'000);
    EXPECT_EQ(parseDuration("7 s"), 7'000'000'000);
    EXPECT_EQ(parseDuration("7 min"), 420'000'000'000);
    EXPECT_EQ(parseDuration("7 h"), 25'200'000'000'000);
    EXPECT_EQ(parseDuration("365 d"), 31'536'000'000'000'000);
}

TEST(Duration, ReadsSignsBlanksAndDecimalsExactly) {
    EXPECT_EQ(parseDuration("-399ns"), -399);
    EXPECT_EQ(parseDuration("  +1.5  ms "), 1'500'000);
    EXPECT_EQ(parseDuration("-1.250000412 s"), -1'250'000'412);
    EXPECT_EQ(parseDuration("0.000000001 s"), 1);
    EXPECT_EQ(parseDuration("1. s"), 1'000'000'000);
    EXPECT_EQ(parseDuration("0.50000000000 us"), 500);
    EXPECT_EQ(parseDuration("0.1 min"), 6'000'000'000);
}

TEST(Duration, RefusesWhatIsFinerThanANanosecond) {
    EXPECT_EQ(parseDuration("1.5 ns"), std::nullopt);
    EXPECT_EQ(parseDuration("0.0000000001 s"), std::nullopt);
    EXPECT_EQ(parseDuration("0.000000000001 min"), std::nullopt);
}

TEST(Duration, RefusesWhatIsNone) {
    for (const char* text :
         {"", "5", "s", "5 parsecs", "5 s 3 ms", "--5 s", "1,5 s", ".5 s", "0x5 s", "5 S", "- 5 s", "200000 d"})
        EXPECT_EQ(parseDuration(text), std::nullopt) << text;
}

TEST(Ppb, BecomesPptRounded) {
    EXPECT_EQ(ppbToPpt(12'000), 12'000'000);
    EXPECT_EQ(ppbToPpt(-0.0265), -27);
    EXPECT_EQ(ppbToPpt(1e9), 1'000'000'000'000);
}

TEST(Ppb, RefusesWhatIsNoRate) {
    EXPECT_EQ(ppbToPpt(1.1e9), std::nullopt);
    EXPECT_EQ(ppbToPpt(std::nan("")), std::nullopt);
    EXPECT_EQ(ppbToPpt(-std::numeric_limits<double>::infinity()), std::nullopt);
}

}  // namespace halvexboard::quantityTest
