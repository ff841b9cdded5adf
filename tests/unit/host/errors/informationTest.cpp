// Tests of formatting error information for people.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/errors/information.h"

#include "tests/support/test.h"

namespace halvexctl::informationTest {

TEST(DescribeError, SaysCodeNameMessageAndPlace) {
    EXPECT_EQ(describeError(-52024, R"({"error_constant":"zuplaterr_communicationsFault","file":"f","line":7,)"
                                    R"("component":"c","zuhalvexTimekeeper_debug":{"errorInfo":"Failed to read"}})"),
              "-52024 zuplaterr_communicationsFault: Failed to read (f:7)");
}

TEST(DescribeError, FallsBackToTheTextOfAStandardException) {
    EXPECT_EQ(describeError(-52003, R"({"error_constant":"x","std_exception_what":"stod"})"),
              "-52003 zuplaterr_softwareFaultPLATInternalUseOnly: stod");
}

TEST(DescribeError, PrefersTheNameOfTheCodeToAnExpression) {
    EXPECT_EQ(describeError(-52024, R"json({"error_constant":"status.getCode()"})json"),
              "-52024 zuplaterr_communicationsFault");
    EXPECT_EQ(describeError(-1, R"json({"error_constant":"status.getCode()"})json"), "-1 status.getCode()");
}

TEST(DescribeError, KnowsTheNamesOfCodesWithoutInformation) {
    EXPECT_EQ(describeError(-52005, ""), "-52005 zuplaterr_invalidParameter");
    EXPECT_EQ(describeError(-1, ""), "-1");
}

TEST(DescribeError, SaysWhatThePlaceOrTheCodeStandsForWithoutAMessage) {
    EXPECT_EQ(describeError(-52004, R"({"file":"cJSONUtils","line":305})"),
              "-52004: metadata: not a string (cJSONUtils:305)");
    EXPECT_EQ(describeError(-52004, R"({"file":"elsewhere","line":1})"),
              "-52004: a metadata document holds a value of another type than expected (elsewhere:1)");
}

TEST(DescribeError, ShowsWhatIsNoObjectAsItIs) {
    EXPECT_EQ(describeError(-1, "oops"), "-1: oops");
    EXPECT_EQ(describeError(-1, R"({"error_constant":5,"line":"x","file":[]})"), "-1");
}

TEST(CodeInInformation, IsFoundByItsName) {
    EXPECT_EQ(codeInInformation(R"({"error_constant":"zuplaterr_resourceNotInitialized"})"), -52010);
    EXPECT_EQ(codeInInformation("no json"), std::nullopt);
    EXPECT_EQ(codeInInformation("{}"), std::nullopt);
}

}  // namespace halvexctl::informationTest
