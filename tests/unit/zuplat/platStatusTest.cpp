// The platform layer's status record.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuplat/platStatus.h"

#include "tests/support/platStatuses.h"
#include "tests/support/test.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::platStatusTest {

using namespace testsupport;

/// A record constructed over memory with other contents.
struct PlatStatusTest : testing::Test {
    PlatStatusTest() {
        std::memset(memory, 0xA5, sizeof memory);
        status = new (memory) PlatStatus;
    }
    bool set(std::int64_t code) { return setCode(status, code, "part", "unit", 12); }
    bool setLater(std::int64_t code) { return setCode(status, code, "other", "other", 13); }
    /// What lies behind size and code.
    std::string getLocation() const { return {reinterpret_cast<const char*>(memory) + 16, sizeof memory - 16}; }
    /// As from a program that knows only the first two fields.
    void declareSmaller() { status->structureSize = sizeof(PlatStatus) - 1; }

    alignas(PlatStatus) unsigned char memory[sizeof(PlatStatus)];
    PlatStatus* status;
};

TEST_F(PlatStatusTest, IsMadeCleanAndOfFullSize) {
    EXPECT_EQ(status->structureSize, 216U);
    EXPECT_EQ(textOf(*status), "0   0");
    EXPECT_EQ(status->extra[0], 0U);
    EXPECT_FALSE(status->hasError());
    EXPECT_TRUE(status->isFullSize());
}

TEST_F(PlatStatusTest, TakesAnErrorWithItsLocationAndClearsTheFirstExtraWord) {
    status->extra[0] = 7;
    status->extra[1] = 8;
    EXPECT_TRUE(set(-52008));
    EXPECT_EQ(textOf(*status), "-52008 part unit 12");
    EXPECT_EQ(status->extra[0], 0U);
    EXPECT_EQ(status->extra[1], 8U);
    EXPECT_TRUE(status->hasError());
}

TEST_F(PlatStatusTest, NeverTakesTheCodeZero) {
    EXPECT_FALSE(set(0));
    EXPECT_EQ(textOf(*status), "0   0");
    set(5);
    EXPECT_FALSE(setLater(0));
    EXPECT_EQ(textOf(*status), "5 part unit 12");
}

TEST_F(PlatStatusTest, KeepsAWarningAgainstAnotherWarningButNotAgainstAnError) {
    EXPECT_TRUE(set(5));
    EXPECT_FALSE(status->hasError());
    EXPECT_FALSE(setLater(6));
    EXPECT_EQ(textOf(*status), "5 part unit 12");
    EXPECT_TRUE(setLater(-52024));
    EXPECT_EQ(textOf(*status), "-52024 other other 13");
}

TEST_F(PlatStatusTest, KeepsTheFirstErrorAndItsLocation) {
    set(-52008);
    for (const std::int64_t later : {-52024, -1, 0, 5}) EXPECT_FALSE(setLater(later));
    EXPECT_EQ(textOf(*status), "-52008 part unit 12");
}

TEST_F(PlatStatusTest, KeepsNineCharactersOfAComponent) {
    setCode(status, -1, kComponent, "unit", 12);
    EXPECT_EQ(textOf(*status), "-1 halvexTim unit 12");
}

TEST_F(PlatStatusTest, KeepsAFileNameOf100CharactersAndOfALongerOneTheFirst49TwoDotsAndTheLast49) {
    const std::string first(49, 'a');
    const std::string last(49, 'z');
    for (const auto& [middle, kept] :
         {std::pair{std::string("MM"), "MM"}, {"MMM", ".."}, {std::string(5000, 'M'), ".."}}) {
        EXPECT_EQ(textOf(statusOf(-1, (first + middle + last).c_str(), 12)), "-1 part " + first + kept + last + " 12");
    }
}

TEST_F(PlatStatusTest, WritesTheCodeAloneIntoARecordThatDeclaresASmallerSize) {
    declareSmaller();
    const std::string before = getLocation();
    EXPECT_TRUE(set(-52008));
    EXPECT_EQ(status->code, -52008);
    EXPECT_EQ(getLocation(), before);
}

TEST_F(PlatStatusTest, WritesEverythingIntoARecordThatDeclaresALargerSize) {
    status->structureSize = sizeof(PlatStatus) + 8;
    set(-52008);
    EXPECT_EQ(textOf(*status), "-52008 part unit 12");
}

TEST_F(PlatStatusTest, MergesCodeLocationAndExtraWordsUpToTheFirstZero) {
    PlatStatus from = statusOf(-52024, "unit", 12);
    for (const std::size_t word : {0, 1, 3}) from.extra[word] = word + 1;
    from.extra[2] = 0;
    status->extra[3] = 99;
    mergeStatus(status, from);
    EXPECT_EQ(textOf(*status), "-52024 part unit 12");
    EXPECT_EQ(std::vector(status->extra, status->extra + 4), (std::vector<std::uint64_t>{1, 2, 0, 99}));
}

TEST_F(PlatStatusTest, MergesTenExtraWordsWhenNoneIsZero) {
    PlatStatus from = statusOf(-1);
    for (std::size_t word = 0; word < 10; ++word) from.extra[word] = word + 1;
    mergeStatus(status, from);
    EXPECT_TRUE(std::equal(from.extra, from.extra + 10, status->extra));
}

TEST_F(PlatStatusTest, MergesNothingIntoAnErrorAndNothingFromACleanRecord) {
    mergeStatus(status, PlatStatus());
    EXPECT_EQ(status->code, 0);
    set(-52008);
    PlatStatus from = statusOf(-52024, "other", 13);
    from.extra[0] = 1;
    mergeStatus(status, from);
    EXPECT_EQ(textOf(*status), "-52008 part unit 12");
    EXPECT_EQ(status->extra[0], 0U);
}

TEST_F(PlatStatusTest, MergesAnErrorOverAWarningAndNoWarningOverAWarning) {
    set(5);
    mergeStatus(status, statusOf(6, "other", 13));
    EXPECT_EQ(textOf(*status), "5 part unit 12");
    mergeStatus(status, statusOf(-1, "other", 13));
    EXPECT_EQ(textOf(*status), "-1 part other 13");
}

TEST_F(PlatStatusTest, MergesWithoutALocationFromASmallerRecord) {
    PlatStatus from = statusOf(-52024);
    from.extra[0] = 1;
    from.structureSize = 16;
    status->line = 77;
    mergeStatus(status, from);
    EXPECT_EQ(textOf(*status), "-52024   0");
    EXPECT_EQ(status->extra[0], 0U);
}

TEST_F(PlatStatusTest, MergesTheCodeAloneIntoASmallerRecord) {
    declareSmaller();
    const std::string before = getLocation();
    PlatStatus from = statusOf(-52024);
    from.extra[0] = 1;
    mergeStatus(status, from);
    EXPECT_EQ(status->code, -52024);
    EXPECT_EQ(getLocation(), before);
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::platStatusTest
