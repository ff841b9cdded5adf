// Story 040: the host describes its time reference, and the FPGA receives it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"

namespace metadata {

class Metadata : public stories::Controller {
protected:
    void SetUp() override {
        start();
        waitS(0.1);
        clear();
    }

    stories::StatusRecord recordAfter(const char* metadata) {
        clear();
        EXPECT_EQ(applyMetaData(metadata), 0) << lastText_;
        waitS(0.1);
        const auto records = statusRecords();
        EXPECT_EQ(records.size(), 1U);
        return records.empty() ? stories::StatusRecord{} : records.back();
    }
};

TEST_F(Metadata, ReachesTheFpgaAtOnceAndNotWithTheNextPeriod) {
    const auto record = recordAfter(R"({"selectedTRInstID":"ptp0","selectedTROffset":"-25","TRs":{"ptp0":
        {"name":"GNSS","type":"IEEE 1588-2008","protocolData":{"utcOffset":37}}}})");
    EXPECT_EQ(record.referenceKind, 2U);
    EXPECT_EQ(record.referenceOffset, -25);
    EXPECT_EQ(record.utcOffset, 37);
    // size 19, flag not cleared by the alignment, kind, offset and UTC offset each present; little endian
    EXPECT_EQ(seen().statusRecords.back(), "130000000102000000e7ffffff012500000001");
}

TEST_F(Metadata, WithoutASelectionClearsWhatWasKnown) {
    recordAfter(R"({"selectedTRInstID":"a","selectedTROffset":"12"})");
    const auto record = recordAfter("{}");
    EXPECT_EQ(record.referenceKind, 1U);
    EXPECT_FALSE(record.referenceOffset);
    EXPECT_FALSE(record.utcOffset);
    EXPECT_EQ(seen().statusRecords.back(), "13000000010100000000000000000000000000");
}

TEST_F(Metadata, KeepsTheOffsetOfTheSameReference) {
    recordAfter(R"({"selectedTRInstID":"a","selectedTROffset":"12"})");
    EXPECT_EQ(recordAfter(R"({"selectedTRInstID":"a"})").referenceOffset, 12);
    EXPECT_EQ(recordAfter(R"({"selectedTRInstID":"b"})").referenceOffset, 0);
}

TEST_F(Metadata, IsGivenToTheFpgaOnEveryPass) {
    waitS(20);
    EXPECT_EQ(statusRecords().size(), 10U);
}

TEST_F(Metadata, IsClearedByFinalizeWhichAsksForAlignment) {
    recordAfter(R"({"selectedTRInstID":"a","selectedTROffset":"12"})");
    clear();
    zuqxmtk_finalize();
    const stories::Seen seen = this->seen();
    ASSERT_FALSE(seen.statusRecords.empty());
    EXPECT_EQ(seen.statusRecords.back(), "13000000" + std::string(30, '0'));
    EXPECT_EQ(seen.alignmentRequests.size(), 1U);
}

TEST_F(Metadata, ThatIsBrokenFailsOneLaterCallForEachCollection) {
    ASSERT_EQ(applyMetaData("{"), 0);
    waitS(0.1);
    EXPECT_EQ(countSyslog("Monitoring thread encountered an error: FAIL(-52005,"), 1);
    EXPECT_EQ(snapTime(0), -52005);
    EXPECT_TRUE(statusRecords().empty()) << "nothing is sent";
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

}  // namespace metadata
