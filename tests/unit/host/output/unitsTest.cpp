// Tests of times, offsets, durations and frequencies with their units.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/output/units.h"

#include "host/cli/usageError.h"
#include "tests/support/test.h"

namespace halvexctl::unitsTest {

std::string refusal(std::int64_t (*read)(std::string_view), std::string_view text) {
    try {
        const std::int64_t value = read(text);
        return "read as " + std::to_string(value);
    } catch (const UsageError& error) {
        return error.what();
    }
}

TEST(ReadOffset, TakesEveryUnit) {
    EXPECT_EQ(readOffsetNs("-399ns"), -399);
    EXPECT_EQ(readOffsetNs("+7us"), 7'000);
    EXPECT_EQ(readOffsetNs("+7\u00b5s"), 7'000);
    EXPECT_EQ(readOffsetNs("+7\u03bcs"), 7'000);
    EXPECT_EQ(readOffsetNs("12ms"), 12'000'000);
    EXPECT_EQ(readOffsetNs("3s"), 3'000'000'000);
}

TEST(ReadOffset, TakesFractionsExactly) {
    EXPECT_EQ(readOffsetNs("+1.5ms"), 1'500'000);
    EXPECT_EQ(readOffsetNs("-0.000000001s"), -1);
    EXPECT_EQ(readOffsetNs(".2us"), 200);
    EXPECT_EQ(readOffsetNs("1.000000000000s"), 1'000'000'000);
    EXPECT_EQ(readOffsetNs("0.1s"), 100'000'000);
}

TEST(ReadOffset, RefusesWhatIsFinerThanANanosecond) {
    EXPECT_EQ(refusal(readOffsetNs, "1.5ns"), "\"1.5ns\" is finer than 1 ns");
    EXPECT_EQ(refusal(readOffsetNs, "1.0001us"), "\"1.0001us\" is finer than 1 ns");
}

TEST(ReadOffset, RefusesANumberWithoutItsUnit) {
    EXPECT_EQ(refusal(readOffsetNs, "1500"), "\"1500\" lacks its unit: ns, us, ms or s");
}

TEST(ReadOffset, RefusesUnknownUnitsAndOtherText) {
    EXPECT_EQ(refusal(readOffsetNs, "5min"), "\"5min\" has the unknown unit \"min\": ns, us, ms or s");
    EXPECT_EQ(refusal(readOffsetNs, "soon"), "\"soon\" is not an offset: a number was expected, unit ns, us, ms or s");
    EXPECT_NE(refusal(readOffsetNs, "").find("is not an offset"), std::string::npos);
    EXPECT_NE(refusal(readOffsetNs, "+").find("is not an offset"), std::string::npos);
    EXPECT_NE(refusal(readOffsetNs, "1e3s").find("unknown unit"), std::string::npos);
    EXPECT_NE(refusal(readOffsetNs, "--5s").find("is not an offset"), std::string::npos);
}

TEST(ReadOffset, ReachesBothEndsOf64BitsAndNoFurther) {
    EXPECT_EQ(readOffsetNs("9223372036854775807ns"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(readOffsetNs("-9223372036854775808ns"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(refusal(readOffsetNs, "9223372036854775808ns"), "\"9223372036854775808ns\" is too large");
    EXPECT_NE(refusal(readOffsetNs, "9223372037s").find("too large"), std::string::npos);
    EXPECT_NE(refusal(readOffsetNs, "99999999999999999999999ns").find("too large"), std::string::npos);
}

TEST(ReadDuration, CountsABareNumberInSeconds) {
    EXPECT_EQ(readDurationNs("2"), 2'000'000'000);
    EXPECT_EQ(readDurationNs("0.5"), 500'000'000);
    EXPECT_EQ(readDurationNs("250ms"), 250'000'000);
    EXPECT_EQ(readDurationNs("1.5min"), 90'000'000'000);
    EXPECT_EQ(readDurationNs("2h"), 7'200'000'000'000);
    EXPECT_EQ(readDurationNs("1d"), 86'400'000'000'000);
    EXPECT_EQ(refusal(readDurationNs, "1w"), "\"1w\" has the unknown unit \"w\": ns, us, ms, s, min, h or d");
}

TEST(ReadDuration, RefusesANegativeOne) {
    EXPECT_EQ(refusal(readDurationNs, "-1s"), "\"-1s\" is not a duration: it is negative");
}

TEST(ReadCorrection, TakesPpbAndPpm) {
    EXPECT_EQ(readCorrectionPpb("-1250"), -1250);
    EXPECT_EQ(readCorrectionPpb("-1250ppb"), -1250);
    EXPECT_EQ(readCorrectionPpb("+12.5ppm"), 12'500);
}

TEST(ReadCorrection, RefusesFractionsOfAPpbAndMoreThan32Bits) {
    EXPECT_THROW(readCorrectionPpb("0.5"), UsageError);
    EXPECT_THROW(readCorrectionPpb("2147483648"), UsageError);
    EXPECT_THROW(readCorrectionPpb("5Hz"), UsageError);
    EXPECT_EQ(readCorrectionPpb("2147483647"), 2147483647);
}

TEST(ReadErrorCode, TakesOnlyCodesBelowZero) {
    EXPECT_EQ(readErrorCode("-52024"), -52024);
    EXPECT_THROW(readErrorCode("0"), UsageError);
    EXPECT_THROW(readErrorCode("5"), UsageError);
}

TEST(OffsetText, UsesTheLargestUnitThatFitsAndLosesNothing) {
    EXPECT_EQ(offsetText(0), "0 ns");
    EXPECT_EQ(offsetText(-399), "-399 ns");
    EXPECT_EQ(offsetText(1'500'000), "+1.5 ms");
    EXPECT_EQ(offsetText(1'234'567), "+1.234567 ms");
    EXPECT_EQ(offsetText(-2'000), "-2 us");
    EXPECT_EQ(offsetText(3'000'000'001), "+3.000000001 s");
    EXPECT_EQ(offsetText(std::numeric_limits<std::int64_t>::min()), "-9223372036.854775808 s");
    EXPECT_EQ(durationText(2'500'000'000), "2.5 s");
    for (const std::int64_t offsetNs : {0L, -399L, 1'234'567L, 86'400'000'000'001L}) {
        EXPECT_EQ(readOffsetNs(offsetText(offsetNs)), offsetNs) << "as it was printed";
    }
}

TEST(IsoTimeText, ShowsNanosecondsSince1970AsADate) {
    EXPECT_EQ(isoTimeText(0), "1970-01-01T00:00:00.000000000Z");
    EXPECT_EQ(isoTimeText(951'782'400'000'000'001), "2000-02-29T00:00:00.000000001Z");
    EXPECT_EQ(isoTimeText(1'700'000'000'123'456'789), "2023-11-14T22:13:20.123456789Z");
    EXPECT_EQ(isoTimeText(std::numeric_limits<std::uint64_t>::max()), "2554-07-21T23:34:33.709551615Z");
}

}  // namespace halvexctl::unitsTest
