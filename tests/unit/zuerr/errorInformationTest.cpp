// Error information written in place, with well- and ill-behaved buffers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuerr/errorInformation.h"

#include "tests/support/statusHolder.h"
#include "tests/support/test.h"
#include "zuerr/status.h"

namespace errorInformationTest {

using namespace testsupport;
using zuerr::ErrorInformation;

int g_growthsAllowed = 0;

/// Grows as often as the test allows.
bool limitedReallocJson(zuerr_Status* status, std::uint32_t size) {
    if (size > 0 && size > status->capacity && g_growthsAllowed-- <= 0) return false;
    return exactReallocJson(status, size);
}

/// Grows without clearing the memory behind the text, old end mark included.
bool carelessReallocJson(zuerr_Status* status, std::uint32_t size) {
    if (size == 0) return exactReallocJson(status, 0);
    if (size <= status->capacity) return true;
    auto* const buffer = static_cast<char*>(std::malloc(size));
    std::memset(buffer, '#', size);
    std::strcpy(buffer, status->json != nullptr ? status->json : "{}");
    std::free(status->json);
    status->json = buffer;
    status->capacity = size;
    return true;
}

/// Grows and loses the text.
bool forgetfulReallocJson(zuerr_Status* status, std::uint32_t size) {
    const bool grown = exactReallocJson(status, size);
    if (grown && size > 4) {
        std::memset(status->json, 0, status->capacity - 1);
        std::memcpy(status->json, "gone", std::min<std::size_t>(4, status->capacity - 2));
    }
    return grown;
}

TEST(ErrorInformation, AppendsMembersInTheOrderOfTheCalls) {
    StatusHolder status;
    ErrorInformation information(*status.get());
    information.addString("text", "value");
    information.addSigned("signed", -7);
    information.addUnsigned("unsigned", 4294967295U);
    information.openObject("nested");
    information.addString("inner", {"one ", "two"});
    information.closeObject();
    information.addString("after", "");
    EXPECT_EQ(status.getText(),
              R"({"text":"value","signed":-7,"unsigned":4294967295,"nested":{"inner":"one two"},"after":""})");
    EXPECT_TRUE(isBufferLaidOut(*status.get()));
}

TEST(ErrorInformation, EscapesKeysAndValues) {
    StatusHolder status;
    ErrorInformation information(*status.get());
    information.addString("k\"\\", "\b\t\n\f\r\"\\\x01\x1f\x7f/");
    EXPECT_EQ(status.getText(), "{\"k\\\"\\\\\":\"\\b\\t\\n\\f\\r\\\"\\\\\\u0001\\u001f\x7f/\"}");
    EXPECT_EQ(status.getJson().at("k\"\\"), "\b\t\n\f\r\"\\\x01\x1f\x7f/");
}

TEST(ErrorInformation, AsksForFourBytesToBeginWithAndGrowsToTwiceTheCapacityMinusTwo) {
    StatusHolder status;
    ErrorInformation information(*status.get());
    EXPECT_EQ(status->capacity, 4U);
    EXPECT_EQ(status.getText(), "{}");
    information.addSigned("a", 1);  // {"a":1} needs 9 bytes: 4 -> 6 -> 10
    EXPECT_EQ(status->capacity, 10U);
}

TEST(ErrorInformation, MovesIntoABufferOf1024BytesWhenItPasses512) {
    StatusHolder status{0, zuerr_defaultReallocJson};
    ErrorInformation information(*status.get());
    information.addString("a", std::string(300, 'x'));
    EXPECT_EQ(status->capacity, 512U);
    information.addString("b", std::string(300, 'y'));
    EXPECT_EQ(status->capacity, 1024U);
    EXPECT_EQ(status.getJson().size(), 2U);
    EXPECT_TRUE(isBufferLaidOut(*status.get()));
}

TEST(ErrorInformation, FillsTheBufferToTheLastByte) {
    StatusHolder status{0, zuerr_defaultReallocJson};
    ErrorInformation information(*status.get());
    information.addString("a", std::string(512 - 2 - std::string_view(R"({"a":""})").size(), 'x'));
    EXPECT_EQ(status->capacity, 512U);
    EXPECT_EQ(status.getText().size(), 510U);
    EXPECT_TRUE(isBufferLaidOut(*status.get()));
}

TEST(ErrorInformation, DropsAMemberWholeWhenTheBufferCannotGrow) {
    StatusHolder status{0, limitedReallocJson};
    g_growthsAllowed = 3;  // 4 -> 6 -> 10
    ErrorInformation information(*status.get());
    information.addSigned("a", 1);
    information.addString("b", "does not fit");
    information.addString("c", "nor this");
    EXPECT_EQ(status.getText(), R"({"a":1})");
    EXPECT_TRUE(isBufferLaidOut(*status.get()));
}

TEST(ErrorInformation, DropsTheMembersOfANestedObjectThatFoundNoRoomHoweverDeep) {
    for (const int deeper : {0, 1, 3}) {
        StatusHolder status{0, limitedReallocJson};
        g_growthsAllowed = 3;
        ErrorInformation information(*status.get());
        information.addSigned("a", 1);
        information.openObject("nested object");
        for (int level = 0; level < deeper; ++level) information.openObject("deeper");
        for (int level = 0; level < deeper; ++level) information.closeObject();
        g_growthsAllowed = 9;
        information.addString("inner", "lost");
        information.closeObject();
        information.addSigned("b", 2);
        EXPECT_EQ(status.getText(), R"({"a":1,"b":2})") << deeper;
    }
}

TEST(ErrorInformation, WritesNothingWithoutAGrowthFunction) {
    zuerr_Status status{0, 0, nullptr, nullptr};
    ErrorInformation information(status);
    information.addSigned("a", 1);
    information.openObject("b");
    information.closeObject();
    EXPECT_EQ(status.json, nullptr);
}

TEST(ErrorInformation, LaysTheBufferOutItselfBehindACarelessGrowthFunction) {
    StatusHolder status{0, carelessReallocJson};
    ErrorInformation information(*status.get());
    EXPECT_EQ(status.getText(), "{}");
    EXPECT_TRUE(isBufferLaidOut(*status.get()));
    for (int number = 0; number < 40; ++number) information.addSigned("number " + std::to_string(number), number);
    EXPECT_EQ(status.getJson().size(), 40U);
    EXPECT_TRUE(isBufferLaidOut(*status.get()));
}

TEST(ErrorInformation, LeavesAnEmptyObjectWhenTheGrowthFunctionLosesTheText) {
    StatusHolder status{0, forgetfulReallocJson};
    ErrorInformation information(*status.get());
    for (int number = 0; number < 40; ++number) information.addSigned("number " + std::to_string(number), number);
    EXPECT_EQ(status.getText(), "{}");
    EXPECT_TRUE(isBufferLaidOut(*status.get()));
}

TEST(ErrorInformation, LeavesAnEmptyObjectInPlaceOfATextThatIsNoObject) {
    for (const std::string_view text : {"", "{", "[]", "{]", "no}"}) {
        char buffer[16] = {};
        text.copy(buffer, text.size());
        buffer[sizeof buffer - 1] = 'J';
        zuerr_Status status{0, sizeof buffer, [](zuerr_Status*, std::uint32_t) { return true; }, buffer};
        ErrorInformation information(status);
        information.addSigned("a", 1);
        EXPECT_STREQ(buffer, "{}") << text;
        EXPECT_TRUE(isBufferLaidOut(status)) << text;
    }
}

TEST(ErrorInformation, GivesUpATextThatLeavesNoByteForTheEndMark) {
    char buffer[4] = {'{', '}', '}', 0};
    zuerr_Status status{0, sizeof buffer, [](zuerr_Status*, std::uint32_t) { return true; }, buffer};
    const ErrorInformation information(status);
    EXPECT_STREQ(buffer, "{}");
    EXPECT_TRUE(isBufferLaidOut(status));
}

TEST(ErrorInformation, KeepsATextThatLeavesOneByteForTheEndMark) {
    char buffer[4] = {'{', '}', 0, 'J'};
    zuerr_Status status{0, sizeof buffer, [](zuerr_Status*, std::uint32_t size) { return size <= 4; }, buffer};
    ErrorInformation information(status);
    information.addSigned("a", 1);
    EXPECT_STREQ(buffer, "{}");
    EXPECT_EQ(buffer[3], 'J');
}

TEST(ErrorInformation, AsksForNoMoreThan32BitsCanTell) {
    static std::vector<std::uint32_t> asked;
    asked.clear();
    const auto refuse = [](zuerr_Status*, std::uint32_t size) {
        asked.push_back(size);
        return size <= 4;
    };
    char buffer[8] = {'{', '}', 0, 0, 'J'};
    for (const std::uint32_t capacity : {0x80000000U, 0x80000001U}) {  // of a host that overstates its buffer
        zuerr_Status status{0, capacity, refuse, buffer};
        ErrorInformation information(status);
        information.addSigned("a", 1);
        EXPECT_STREQ(buffer, "{}");
    }
    EXPECT_EQ(asked, (std::vector<std::uint32_t>{4, 0xFFFFFFFE, 4})) << "twice 0x80000001 minus two is 2^32";
}

TEST(ErrorInformation, DropsAMemberWhenTheBufferGrowsLessThanAsked) {
    const auto growByOne = [](zuerr_Status* status, std::uint32_t size) {
        return exactReallocJson(status, size <= 4 ? size : status->capacity + 1);
    };
    StatusHolder status{0, growByOne};
    ErrorInformation information(*status.get());
    information.addSigned("a", 1);
    EXPECT_EQ(status.getText(), "{}");
    EXPECT_EQ(status->capacity, 5U);
    EXPECT_TRUE(isBufferLaidOut(*status.get()));
}

TEST(ErrorInformation, FindsFreeSpaceUpToTheEndMarkOnly) {
    char buffer[32] = {'{', '}', 0, 0, 0, 'J'};  // the mark is at byte 5 of 32
    zuerr_Status status{0, sizeof buffer, [](zuerr_Status*, std::uint32_t) { return true; }, buffer};
    ErrorInformation information(status);
    information.addSigned("a", 1);
    EXPECT_STREQ(buffer, "{}");
    EXPECT_EQ(buffer[5], 'J');
}

}  // namespace errorInformationTest
