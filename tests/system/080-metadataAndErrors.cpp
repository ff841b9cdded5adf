// Stories 080: metadata as the FPGA receives it, and errors of the kernel on their way to the host.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/system/controller.h"

namespace {

using systemtest::control;
using systemtest::takeJournal;
using systemtest::waitS;

// Numbers of the board's calls, for the control file.
constexpr const char* kIoctl = "6";
constexpr const char* kWrite = "4";
constexpr const char* kClockAdjtime = "13";
constexpr int kEio = 5;

class S080_MetadataAndErrors : public systemtest::Controller {
protected:
    void SetUp() override {
        switchOn();
        initialize();
        waitS(0.1);
        takeJournal();
    }

    std::string recordAfter(const char* metadata) {
        EXPECT_EQ(applyMetaData(metadata), 0) << lastText_;
        waitS(0.1);
        const auto records = ofKind(takeJournal(), "status_record");
        EXPECT_EQ(records.size(), 1U);
        return records.empty() ? "" : records.back().details.at("record");
    }

    /// Fails the next call of this kind on `target` once.
    static void failNext(const char* call, const char* target, const std::string& detail, int error, int driverStatus) {
        ASSERT_TRUE(control(std::string("fault ") + call + " " + target + " 0 " + detail + " " + std::to_string(error) +
                            " 1 1 " + std::to_string(driverStatus)));
    }
};

TEST_F(S080_MetadataAndErrors, T080_UtcOffset37OfAnIeee1588Reference) {
    // size 19, flag not cleared by the alignment, kind 2, offset -25 present, UTC offset 37 present; little endian
    EXPECT_EQ(recordAfter(R"({"selectedTRInstID":"ptp0","selectedTROffset":"-25","TRs":{"ptp0":
        {"name":"x","type":"IEEE 1588-2008","protocolData":{"utcOffset":37}}}})"),
              "13000000"
              "01"
              "02000000"
              "e7ffffff"
              "01"
              "25000000"
              "01");
}

TEST_F(S080_MetadataAndErrors, T081_AnEmptyDocumentIsOfKindOne) {
    EXPECT_EQ(recordAfter("{}"),
              "13000000"
              "01"
              "01000000"
              "00000000"
              "00"
              "00000000"
              "00");
}

TEST_F(S080_MetadataAndErrors, T082_FinalizeClearsTheRecordAndAsksForAlignment) {
    recordAfter(R"({"selectedTRInstID":"a","selectedTROffset":"12"})");
    zuqxmtk_finalize();
    const auto journal = takeJournal();
    ASSERT_FALSE(ofKind(journal, "status_record").empty());
    EXPECT_EQ(ofKind(journal, "status_record").back().details.at("record"), "13000000" + std::string(30, '0'));
    EXPECT_EQ(ofKind(journal, "alignment_request").size(), 1U);
}

TEST_F(S080_MetadataAndErrors, T083_AnErrnoOfTheFerroxDriverReachesTheHostOnce) {
    failNext(kIoctl, "ferrox", "0x80207500", kEio, 0);
    EXPECT_EQ(readTime(), -52024);
    EXPECT_TRUE(lastErrorSays("Unable to get time from FerroxEpochDevice"));
    EXPECT_EQ(readTime(), 0) << lastText_;
}

TEST_F(S080_MetadataAndErrors, T084_ADriversOwnCodeReachesTheHostAsItIs) {
    failNext(kIoctl, "ferrox", "0x80207500", 0, -61234);
    EXPECT_EQ(readTime(), -61234);
}

TEST_F(S080_MetadataAndErrors, T085_AnErrorOfTheMonitoringThreadIsHandedToTheNextCall) {
    failNext(kIoctl, "fpga", "0xC0207502", kEio, 0);
    EXPECT_EQ(applyMetaData("{}"), 0);
    waitS(1);
    EXPECT_EQ(countSyslog("Monitoring thread encountered an error: FAIL(-52024,"), 1);
    EXPECT_EQ(readTime(), -52024);
    EXPECT_TRUE(lastErrorSays("Unable to set status on fpgaEpochDevice"));
    EXPECT_EQ(readTime(), 0);
}

TEST_F(S080_MetadataAndErrors, T086_AnOscillatorThatCannotBeWrittenIsTriedAgain) {
    failNext(kWrite, "si514", "0", kEio, 0);
    EXPECT_EQ(setCorrection(500), 0) << "five attempts";
    EXPECT_EQ(systemtest::readFile("/sys/bus/i2c/drivers/si514/0-0055/ppb_offset"), "500\n");
}

TEST_F(S080_MetadataAndErrors, T087_AStepThatAClockRefusesIsReported) {
    failNext(kClockAdjtime, "enp1s0", "0", 16, 0);
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(3);
    EXPECT_EQ(snapTime(0), -52024) << lastText_;
    EXPECT_TRUE(lastErrorSays("Could not adjust time on enp1s0.Got error Device or resource busy"));
    ASSERT_EQ(snapTime(0), 0);
    waitS(3);
    expectAligned();
}

TEST_F(S080_MetadataAndErrors, T088_FivePulsesLostAreForgiven) {
    ASSERT_TRUE(control("event lose_edges enp2s0 5"));
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(15);
    EXPECT_EQ(snapTime(0), 0) << lastText_;
    EXPECT_EQ(countSyslog("Encountered err while trying to sync i210EpochDevice_enp2s0, retry count"), 5);
    waitS(3);
    expectAligned();
}

TEST_F(S080_MetadataAndErrors, T089_TheSixthPulseLostIsReported) {
    ASSERT_TRUE(control("event lose_edges enp2s0 6"));
    ASSERT_EQ(snapTime(1'000'000), 0);
    waitS(15);
    EXPECT_EQ(snapTime(0), -52007);
    EXPECT_TRUE(lastErrorSays("Timed out while getting time from enp2s0"));
}

}  // namespace
