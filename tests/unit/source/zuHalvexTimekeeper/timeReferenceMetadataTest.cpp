// The selected time reference in the host's metadata document.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/timeReferenceMetadata.h"

#include <cjson/cJSON.h>

#include <boost/numeric/conversion/cast.hpp>

#include "tests/support/numericLocale.h"
#include "tests/support/raisedError.h"

namespace halvexTimekeeper::timeReferenceMetadataTest {

using namespace testsupport;

const RaisedError kNoString{-52004, R"({"file":"cJSONUtils","line":305,"component":"halvexTimekeeper"})"};
const RaisedError kNoNumber{-52004, R"({"file":"cJSONUtils","line":281,"component":"halvexTimekeeper"})"};

struct TimeReferenceMetadata : testing::Test {
    void read(const std::string& document) { readTimeReferenceSelection(kept, document, selection); }
    RaisedError raised(const std::string& document) {
        return raisedBy([&] { read(document); });
    }
    /// Reads a document that selects a PTP reference with this UTC offset.
    void readUtcOffset(const std::string& utcOffset) {
        read(R"({"selectedTRInstID":"a","TRs":{"a":{"type":"IEEE 1588-2008","protocolData":{"utcOffset":)" + utcOffset +
             "}}}}");
    }
    std::int32_t offsetOf(const std::string& text) {
        read(R"({"selectedTRInstID":"a","selectedTROffset":")" + text + "\"}");
        EXPECT_TRUE(selection.selectedOffsetPresent);
        EXPECT_EQ(kept.selectedTimeReferenceOffset, selection.selectedOffset);
        return selection.selectedOffset;
    }
    void expectKept(const std::string& id, std::int32_t offset) const {
        EXPECT_EQ(kept.selectedTimeReferenceId, id);
        EXPECT_EQ(kept.selectedTimeReferenceOffset, offset);
    }
    void expectDefaults() {
        EXPECT_EQ(selection.selectedOffset, 0);
        EXPECT_FALSE(selection.selectedOffsetPresent);
        EXPECT_EQ(selection.name, "");
        EXPECT_EQ(selection.type, "");
        EXPECT_EQ(selection.utcOffset, 0);
        EXPECT_FALSE(selection.utcOffsetPresent);
    }
    void expectOffsetAlone() {
        EXPECT_TRUE(selection.selectedOffsetPresent);
        EXPECT_EQ(selection.name, "");
        EXPECT_EQ(selection.type, "");
        EXPECT_FALSE(selection.utcOffsetPresent);
    }

    SelectedTimeReference kept{"before", 99};
    TimeReferenceSelection selection{5, true, "old", "old", 6, true};
};

TEST_F(TimeReferenceMetadata, HasAllThatAWholeDocumentTells) {
    read(R"({"version":3,"selectedTRInstID":"ptp-1","selectedTROffset":"-1250","TRs":{"ntp-0":{"type":"NTP"},"ptp-1":
         {"name":"grandmaster","type":"IEEE 1588-2008","protocolData":{"domain":0,"utcOffset":37}}}})");
    EXPECT_EQ(selection.selectedOffset, -1250);
    EXPECT_TRUE(selection.selectedOffsetPresent);
    EXPECT_EQ(selection.name, "grandmaster");
    EXPECT_EQ(selection.type, "IEEE 1588-2008");
    EXPECT_EQ(selection.utcOffset, 37);
    EXPECT_TRUE(selection.utcOffsetPresent);
    expectKept("ptp-1", -1250);
}

TEST_F(TimeReferenceMetadata, WithoutASelectionClearsWhatWasKept) {
    for (const char* document : {"{}", R"({"selectedTRInstID":null,"selectedTROffset":"7"})",
                                 R"({"selectedtrinstid":"a"})", R"({"TRs":{"selectedTRInstID":"a"}})"}) {
        kept = {"before", 99};
        selection = {5, true, "old", "old", 6, true};
        SCOPED_TRACE(document);
        read(document);
        expectDefaults();
        expectKept("", 0);
    }
}

TEST_F(TimeReferenceMetadata, HasTheOffsetThatItsTextBeginsWith) {
    EXPECT_EQ(offsetOf("12abc"), 12);
    EXPECT_EQ(offsetOf(""), 0);
    EXPECT_EQ(offsetOf("abc"), 0);
    EXPECT_EQ(offsetOf(" \\t\\n -17"), -17);
    EXPECT_EQ(offsetOf("+8"), 8);
    EXPECT_EQ(offsetOf("0x10"), 0);
    EXPECT_EQ(offsetOf("010"), 10);
    EXPECT_EQ(offsetOf("1e3"), 1);
    EXPECT_EQ(offsetOf("37.9"), 37);
}

TEST_F(TimeReferenceMetadata, ClampsTheOffsetTo32Bits) {
    EXPECT_EQ(offsetOf("2147483647"), INT32_MAX);
    EXPECT_EQ(offsetOf("2147483648"), INT32_MAX);
    EXPECT_EQ(offsetOf("99999999999"), INT32_MAX);
    EXPECT_EQ(offsetOf("99999999999999999999999"), INT32_MAX);
    EXPECT_EQ(offsetOf("-2147483648"), INT32_MIN);
    EXPECT_EQ(offsetOf("-99999999999"), INT32_MIN);
    EXPECT_EQ(offsetOf("-99999999999999999999999"), INT32_MIN);
}

TEST_F(TimeReferenceMetadata, KeepsTheOffsetWhileTheSameReferenceIsSelectedWithoutOne) {
    EXPECT_EQ(offsetOf("7"), 7);
    read(R"({"selectedTRInstID":"a"})");
    EXPECT_EQ(selection.selectedOffset, 7);
    EXPECT_TRUE(selection.selectedOffsetPresent);
    read(R"({"selectedTRInstID":"a","selectedTROffset":null})");
    EXPECT_EQ(selection.selectedOffset, 7);
}

TEST_F(TimeReferenceMetadata, ForgetsTheOffsetWhenAnotherReferenceIsSelectedWithoutOne) {
    for (const char* other : {"b", "A", "aa", ""}) {
        EXPECT_EQ(offsetOf("7"), 7);
        read(std::string(R"({"selectedTRInstID":")") + other + "\"}");
        EXPECT_EQ(selection.selectedOffset, 0) << other;
        EXPECT_TRUE(selection.selectedOffsetPresent);
        EXPECT_EQ(kept.selectedTimeReferenceId, other);
    }
}

TEST_F(TimeReferenceMetadata, KeepsAnOffsetAcrossADocumentThatSelectsNothingOnlyUntilThen) {
    EXPECT_EQ(offsetOf("7"), 7);
    read("{}");
    read(R"({"selectedTRInstID":"a"})");
    EXPECT_EQ(selection.selectedOffset, 0);
}

TEST_F(TimeReferenceMetadata, HasNoUtcOffsetUnlessTheTypeIsThatOfPtpToTheLetter) {
    for (const char* type : {"ieee 1588-2008", "IEEE 1588-2019", "IEEE 1588-2008 ", "IEEE 1588", ""}) {
        read(std::string(R"({"selectedTRInstID":"a","TRs":{"a":{"type":")") + type +
             R"(","protocolData":{"utcOffset":37}}}})");
        EXPECT_EQ(selection.type, type);
        EXPECT_FALSE(selection.utcOffsetPresent) << type;
        EXPECT_EQ(selection.utcOffset, 0);
    }
}

TEST_F(TimeReferenceMetadata, CutsTheUtcOffsetTowardsZero) {
    const std::pair<const char*, std::int32_t> offsets[] = {
        {"37", 37},
        {"37.9", 37},
        {"-37.9", -37},
        {"0", 0},
        {"-0.5", 0},
        {"2147483647", INT32_MAX},
        {"2147483647.5", INT32_MAX},
        {"2147483647.9999995", INT32_MAX},
        {"-2147483648", INT32_MIN},
        {"-2147483648.9", INT32_MIN},
        {"3.7e1", 37},
    };
    for (const auto& [text, value] : offsets) {
        readUtcOffset(text);
        EXPECT_TRUE(selection.utcOffsetPresent);
        EXPECT_EQ(selection.utcOffset, value) << text;
    }
}

TEST_F(TimeReferenceMetadata, ThrowsWhatBoostThrowsForAUtcOffsetBeyond32Bits) {
    const auto whatIsThrown = [&](const char* text) -> std::string {
        try {
            readUtcOffset(text);
        } catch (const boost::numeric::bad_numeric_cast& error) {
            return error.what();
        }
        return "nothing";
    };
    for (const char* text : {"2147483648", "2147483648.0", "1e10", "1e300", "1e999"}) {
        EXPECT_EQ(whatIsThrown(text), "bad numeric conversion: positive overflow") << text;
    }
    for (const char* text : {"-2147483649", "-2147483649.0", "-1e300", "-1e999"}) {
        EXPECT_EQ(whatIsThrown(text), "bad numeric conversion: negative overflow") << text;
    }
    EXPECT_THROW(readUtcOffset("2147483648"), boost::numeric::positive_overflow);
    EXPECT_THROW(readUtcOffset("-2147483649"), boost::numeric::negative_overflow);
    EXPECT_EQ(kept.selectedTimeReferenceId, "a");
}

TEST_F(TimeReferenceMetadata, HasNoUtcOffsetWhereItIsMissingOrNull) {
    for (const char* protocolData :
         {R"("protocolData":{})", R"("protocolData":null)", R"("protocolData":{"utcOffset":null})",
          R"("protocolData":{"UTCOffset":37})", R"("protocolData":{"utcOffset ":37})", R"("other":{"utcOffset":37})"}) {
        read(std::string(R"({"selectedTRInstID":"a","TRs":{"a":{"type":"IEEE 1588-2008",)") + protocolData + "}}}");
        EXPECT_EQ(selection.type, "IEEE 1588-2008");
        EXPECT_FALSE(selection.utcOffsetPresent) << protocolData;
    }
}

TEST_F(TimeReferenceMetadata, HasTheOffsetAloneWhereTheReferenceIsNotThere) {
    for (const char* references :
         {"", R"(,"TRs":null)", R"(,"TRs":{})", R"(,"TRs":{"a":null})", R"(,"TRs":{"A":{"type":"x"}})",
          R"(,"trs":{"a":{"type":"x"}})", R"(,"TRs":{"a":{}})", R"(,"TRs":{"a":{"name":null,"type":null}})"}) {
        read(std::string(R"({"selectedTRInstID":"a","selectedTROffset":"7")") + references + "}");
        expectOffsetAlone();
        EXPECT_EQ(selection.selectedOffset, 7) << references;
    }
}

TEST_F(TimeReferenceMetadata, TakesWhatAValueOfAnUnexpectedShapeDoesNotHoldForAbsent) {
    for (const char* shape : {"[]", "[1,2]", R"([{"a":{"type":"x"}}])", "7", "true", "\"a\""}) {
        read(std::string(R"({"selectedTRInstID":"a","TRs":)") + shape + "}");
        expectOffsetAlone();
        read(std::string(R"({"selectedTRInstID":"a","TRs":{"a":)") + shape + "}}");
        expectOffsetAlone();
        read(std::string(R"({"selectedTRInstID":"a","TRs":{"a":{"type":"IEEE 1588-2008","protocolData":)") + shape +
             "}}}");
        EXPECT_FALSE(selection.utcOffsetPresent) << shape;
    }
    for (const char* document : {"[]", R"([{"selectedTRInstID":"a"}])", "7", "null", "true", "\"selectedTRInstID\""}) {
        read(document);
        expectDefaults();
    }
}

TEST_F(TimeReferenceMetadata, RefusesAnIdentifierOrAnOffsetThatIsNoTextAndKeepsEverything) {
    for (const std::string value : {"7", "true", "{}", "[]"}) {
        EXPECT_EQ(raised(R"({"selectedTRInstID":)" + value + R"(,"selectedTROffset":"7"})"), kNoString) << value;
        expectKept("before", 99);
        EXPECT_EQ(raised(R"({"selectedTRInstID":"a","selectedTROffset":)" + value + "}"), kNoString) << value;
        expectKept("before", 99);
    }
}

TEST_F(TimeReferenceMetadata, RefusesANameOrTypeThatIsNoTextAndKeepsIdentifierAndOffset) {
    for (const char* member : {R"("name":7)", R"("type":7)", R"("type":{})", R"("name":["a"])"}) {
        kept = {"before", 99};
        EXPECT_EQ(
            raised(std::string(R"({"selectedTRInstID":"a","selectedTROffset":"7","TRs":{"a":{)") + member + "}}}"),
            kNoString);
        expectKept("a", 7);
    }
}

TEST_F(TimeReferenceMetadata, RefusesAUtcOffsetThatIsNoNumber) {
    for (const char* offset : {"\"37\"", "true", "{}", "[37]"}) {
        EXPECT_EQ(raisedBy([&] { readUtcOffset(offset); }), kNoNumber) << offset;
        EXPECT_EQ(kept.selectedTimeReferenceId, "a");
    }
}

TEST_F(TimeReferenceMetadata, RefusesATextThatIsNoJsonAndKeepsEverything) {
    for (const char* text : {"", " ", "{", "no JSON"}) {
        EXPECT_EQ(raised(text).code, -52005) << text;
        expectKept("before", 99);
    }
}

TEST_F(TimeReferenceMetadata, ReadsADocumentNestedToTheLimitOfTheParser) {
    const auto nested = [](int levels) { return std::string(levels, '[') + std::string(levels, ']'); };
    read(R"({"deep":)" + nested(CJSON_NESTING_LIMIT - 1) +
         R"(,"selectedTRInstID":"a","TRs":{"a":{"type":"IEEE 1588-2008","protocolData":)" +
         nested(CJSON_NESTING_LIMIT - 3) + "}}}");
    EXPECT_EQ(selection.type, "IEEE 1588-2008");
    EXPECT_FALSE(selection.utcOffsetPresent);
    EXPECT_EQ(raised(R"({"deep":)" + nested(CJSON_NESTING_LIMIT) + "}").code, -52005);
}

TEST_F(TimeReferenceMetadata, TakesTheFirstOfSeveralMembersWithOneKey) {
    read(R"({"selectedTRInstID":"a","selectedTRInstID":"b","TRs":{"a":{"type":"first"},"a":{"type":"second"}}})");
    EXPECT_EQ(selection.type, "first");
}

TEST_F(TimeReferenceMetadata, ReadsKeysAndTextsWithEscapesAndAnIdentifierThatIsEmpty) {
    read(R"({"selectedTRInstID":"\u00e4\"b","TRs":{"\u00e4\"b":{"name":"x\\y"}}})");
    EXPECT_EQ(selection.name, "x\\y");
    read(R"({"selectedTRInstID":"","TRs":{"":{"name":"z"}}})");
    EXPECT_EQ(selection.name, "z");
}

TEST_F(TimeReferenceMetadata, ReadsTheUtcOffsetUnderALocaleThatWritesAComma) {
    const NumericLocale locale(NumericLocale::kComma);
    if (!locale.isSet()) GTEST_SKIP() << NumericLocale::kWhyNotSet;
    readUtcOffset("37.9");
    EXPECT_EQ(selection.utcOffset, 37);
    readUtcOffset("2147483647.5");
    EXPECT_EQ(selection.utcOffset, INT32_MAX);
}

}  // namespace halvexTimekeeper::timeReferenceMetadataTest
