// Story 040: the host describes its time reference, and the FPGA receives it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <gmock/gmock.h>

#include "tests/support/controller.h"

namespace {

class Metadata : public testsupport::Controller {
protected:
    Metadata() {
        switchOn();
        initialize();
        waitS(0.1);
        board_->clearTrace();
    }

    nlohmann::json recordAfter(const char* metadata) {
        board_->clearTrace();
        EXPECT_EQ(applyMetaData(metadata), 0) << lastText_;
        waitS(0.1);
        const auto records = happenings("status_record");
        EXPECT_EQ(records.size(), 1U);
        return records.empty() ? nlohmann::json() : records.back();
    }
};

TEST_F(Metadata, ReachesTheFpgaAtOnceAndNotWithTheNextPeriod) {
    const auto record = recordAfter(R"({"selectedTRInstID":"ptp0","selectedTROffset":"-25","TRs":{"ptp0":
        {"name":"GNSS","type":"IEEE 1588-2008","protocolData":{"utcOffset":37}}}})");
    EXPECT_EQ(record.at("reference_kind"), 2);
    EXPECT_EQ(record.at("reference_offset"), -25);
    EXPECT_EQ(record.at("utc_offset"), 37);
}

TEST_F(Metadata, WithoutASelectionClearsWhatWasKnown) {
    recordAfter(R"({"selectedTRInstID":"a","selectedTROffset":"12"})");
    const auto record = recordAfter("{}");
    EXPECT_EQ(record.at("reference_kind"), 1);
    EXPECT_TRUE(record.at("reference_offset").is_null());
    EXPECT_TRUE(record.at("utc_offset").is_null());
}

TEST_F(Metadata, KeepsTheOffsetOfTheSameReference) {
    recordAfter(R"({"selectedTRInstID":"a","selectedTROffset":"12"})");
    EXPECT_EQ(recordAfter(R"({"selectedTRInstID":"a"})").at("reference_offset"), 12);
    EXPECT_EQ(recordAfter(R"({"selectedTRInstID":"b"})").at("reference_offset"), 0);
}

TEST_F(Metadata, IsGivenToTheFpgaOnEveryPass) {
    waitS(20);
    EXPECT_EQ(happenings("status_record").size(), 10U);
}

TEST_F(Metadata, ThatIsBrokenFailsOneLaterCallForEachCollection) {
    ASSERT_EQ(applyMetaData("{"), 0);
    waitS(0.1);
    EXPECT_EQ(countSyslog("Monitoring thread encountered an error: FAIL(-52005,"), 1);
    EXPECT_EQ(snapTime(0), -52005);
    EXPECT_TRUE(happenings("status_record").empty()) << "nothing is sent";
    EXPECT_EQ(applyMetaData("{}"), 0) << "the error was collected";
    waitS(2.5);
    EXPECT_EQ(snapTime(0), 0);
}

TEST_F(Metadata, WithAnOffsetOutOfRangeReportsTheConversion) {
    ASSERT_EQ(applyMetaData(R"({"selectedTRInstID":"a","TRs":{"a":{"type":"IEEE 1588-2008",
        "protocolData":{"utcOffset":2147483648}}}})"),
              0);
    waitS(0.1);
    EXPECT_EQ(snapTime(0), -52003);
    EXPECT_THAT(lastText_, testing::HasSubstr("bad numeric conversion: positive overflow"));
}

}  // namespace
