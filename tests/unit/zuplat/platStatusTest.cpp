// The platform layer's status record.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuplat/platStatus.h"

#include "tests/support/test.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::platStatusTest {

/// A record constructed over memory with other contents.
struct PlatStatusTest : testing::Test {
    PlatStatusTest() {
        std::memset(memory, 0xA5, sizeof memory);
        status = new (memory) PlatStatus;
    }
    /// As from a program that knows only the first two fields.
    void declareSmaller() { status->structureSize = sizeof(PlatStatus) - 1; }

    alignas(PlatStatus) unsigned char memory[sizeof(PlatStatus)];
    PlatStatus* status;
};

TEST_F(PlatStatusTest, IsMadeCleanAndOfFullSize) {
    EXPECT_EQ(status->structureSize, 216U);
    EXPECT_EQ(status->code, 0);
    EXPECT_STREQ(status->component, "");
    EXPECT_STREQ(status->file, "");
    EXPECT_EQ(status->line, 0U);
    EXPECT_EQ(status->extra[0], 0U);
    EXPECT_FALSE(status->hasError());
    EXPECT_TRUE(status->isFullSize());
}

TEST_F(PlatStatusTest, TakesAnErrorWithItsLocationAndClearsTheFirstExtraWord) {
    status->extra[0] = 7;
    status->extra[1] = 8;
    EXPECT_TRUE(setCode(status, -52008, "part", "unit", 12));
    EXPECT_EQ(status->code, -52008);
    EXPECT_STREQ(status->component, "part");
    EXPECT_STREQ(status->file, "unit");
    EXPECT_EQ(status->line, 12U);
    EXPECT_EQ(status->extra[0], 0U);
    EXPECT_EQ(status->extra[1], 8U);
    EXPECT_TRUE(status->hasError());
}

TEST_F(PlatStatusTest, NeverTakesTheCodeZero) {
    EXPECT_FALSE(setCode(status, 0, "part", "unit", 12));
    EXPECT_STREQ(status->file, "");
    setCode(status, 5, "part", "unit", 12);
    EXPECT_FALSE(setCode(status, 0, "other", "other", 13));
    EXPECT_EQ(status->code, 5);
    EXPECT_STREQ(status->file, "unit");
}

TEST_F(PlatStatusTest, KeepsAWarningAgainstAnotherWarningButNotAgainstAnError) {
    EXPECT_TRUE(setCode(status, 5, "part", "unit", 12));
    EXPECT_FALSE(status->hasError());
    EXPECT_FALSE(setCode(status, 6, "other", "other", 13));
    EXPECT_EQ(status->code, 5);
    EXPECT_EQ(status->line, 12U);
    EXPECT_TRUE(setCode(status, -52024, "other", "other", 13));
    EXPECT_EQ(status->code, -52024);
    EXPECT_STREQ(status->file, "other");
    EXPECT_EQ(status->line, 13U);
}

TEST_F(PlatStatusTest, KeepsTheFirstErrorAndItsLocation) {
    setCode(status, -52008, "part", "unit", 12);
    for (const std::int64_t later : {-52024, -1, 0, 5}) EXPECT_FALSE(setCode(status, later, "other", "other", 13));
    EXPECT_EQ(status->code, -52008);
    EXPECT_STREQ(status->component, "part");
    EXPECT_STREQ(status->file, "unit");
    EXPECT_EQ(status->line, 12U);
}

TEST_F(PlatStatusTest, KeepsNineCharactersOfAComponent) {
    setCode(status, -1, kComponent, "unit", 12);
    EXPECT_STREQ(status->component, "halvexTim");
    EXPECT_STREQ(status->file, "unit");
}

TEST_F(PlatStatusTest, KeepsAFileNameOf100CharactersWhole) {
    const std::string name(100, 'n');
    setCode(status, -1, "part", name.c_str(), 12);
    EXPECT_EQ(status->file, name);
    EXPECT_EQ(status->line, 12U);
}

TEST_F(PlatStatusTest, ShortensAFileNameOf101CharactersTo49TwoDotsAnd49) {
    const std::string name = std::string(49, 'a') + "MMM" + std::string(49, 'z');
    ASSERT_EQ(name.size(), 101U);
    setCode(status, -1, "part", name.c_str(), 12);
    EXPECT_EQ(status->file, std::string(49, 'a') + ".." + std::string(49, 'z'));
}

TEST_F(PlatStatusTest, ShortensAVeryLongFileNameToItsBeginningAndItsEnd) {
    const std::string name = std::string(49, 'a') + std::string(5000, 'M') + std::string(49, 'z');
    setCode(status, -1, "part", name.c_str(), 12);
    EXPECT_EQ(status->file, std::string(49, 'a') + ".." + std::string(49, 'z'));
}

TEST_F(PlatStatusTest, WritesTheCodeAloneIntoARecordThatDeclaresASmallerSize) {
    declareSmaller();
    std::string before(reinterpret_cast<char*>(memory) + 16, sizeof memory - 16);
    EXPECT_TRUE(setCode(status, -52008, "part", "unit", 12));
    EXPECT_EQ(status->code, -52008);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(memory) + 16, sizeof memory - 16), before);
}

TEST_F(PlatStatusTest, WritesEverythingIntoARecordThatDeclaresALargerSize) {
    status->structureSize = sizeof(PlatStatus) + 8;
    setCode(status, -52008, "part", "unit", 12);
    EXPECT_STREQ(status->file, "unit");
}

TEST_F(PlatStatusTest, MergesCodeLocationAndExtraWordsUpToTheFirstZero) {
    PlatStatus from;
    setCode(&from, -52024, "part", "unit", 12);
    from.extra[0] = 1;
    from.extra[1] = 2;
    from.extra[2] = 0;
    from.extra[3] = 4;
    status->extra[3] = 99;
    mergeStatus(status, from);
    EXPECT_EQ(status->code, -52024);
    EXPECT_STREQ(status->component, "part");
    EXPECT_STREQ(status->file, "unit");
    EXPECT_EQ(status->line, 12U);
    EXPECT_EQ(status->extra[0], 1U);
    EXPECT_EQ(status->extra[1], 2U);
    EXPECT_EQ(status->extra[2], 0U);
    EXPECT_EQ(status->extra[3], 99U);
}

TEST_F(PlatStatusTest, MergesTenExtraWordsWhenNoneIsZero) {
    PlatStatus from;
    setCode(&from, -1, "part", "unit", 12);
    for (std::size_t word = 0; word < 10; ++word) from.extra[word] = word + 1;
    mergeStatus(status, from);
    EXPECT_TRUE(std::equal(from.extra, from.extra + 10, status->extra));
}

TEST_F(PlatStatusTest, MergesNothingIntoAnErrorAndNothingFromACleanRecord) {
    mergeStatus(status, PlatStatus());
    EXPECT_EQ(status->code, 0);
    setCode(status, -52008, "part", "unit", 12);
    PlatStatus from;
    setCode(&from, -52024, "other", "other", 13);
    from.extra[0] = 1;
    mergeStatus(status, from);
    EXPECT_EQ(status->code, -52008);
    EXPECT_STREQ(status->file, "unit");
    EXPECT_EQ(status->extra[0], 0U);
}

TEST_F(PlatStatusTest, MergesAnErrorOverAWarningAndNoWarningOverAWarning) {
    setCode(status, 5, "part", "unit", 12);
    PlatStatus warning;
    setCode(&warning, 6, "other", "other", 13);
    mergeStatus(status, warning);
    EXPECT_EQ(status->code, 5);
    PlatStatus error;
    setCode(&error, -1, "other", "other", 13);
    mergeStatus(status, error);
    EXPECT_EQ(status->code, -1);
    EXPECT_STREQ(status->file, "other");
}

TEST_F(PlatStatusTest, MergesWithoutALocationFromASmallerRecord) {
    PlatStatus from;
    setCode(&from, -52024, "part", "unit", 12);
    from.extra[0] = 1;
    from.structureSize = 16;
    status->line = 77;
    mergeStatus(status, from);
    EXPECT_EQ(status->code, -52024);
    EXPECT_STREQ(status->component, "");
    EXPECT_STREQ(status->file, "");
    EXPECT_EQ(status->line, 0U);
    EXPECT_EQ(status->extra[0], 0U);
}

TEST_F(PlatStatusTest, MergesTheCodeAloneIntoASmallerRecord) {
    declareSmaller();
    const std::string before(reinterpret_cast<char*>(memory) + 16, sizeof memory - 16);
    PlatStatus from;
    setCode(&from, -52024, "part", "unit", 12);
    from.extra[0] = 1;
    mergeStatus(status, from);
    EXPECT_EQ(status->code, -52024);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(memory) + 16, sizeof memory - 16), before);
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::platStatusTest
