// Decimal numbers, read and written without floating point.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper

extern "C" {
#include "board/model/decimal.h"

#include "tests/support/test.h"
}

namespace decimalTest {

struct Reading {
    std::uint32_t used;
    std::int64_t value;
};

Reading readThousandths(const std::string& text) {
    Reading reading{0, -1};
    reading.used = board_decimal_read(text.data(), static_cast<std::uint32_t>(text.size()), 3, &reading.value);
    return reading;
}

std::string writeThousandths(std::int64_t value) {
    char text[40];
    return std::string(text, board_decimal_write(text, sizeof text, 3, value));
}

TEST(Decimal, ReadsWhatPrintfWrites) {
    EXPECT_EQ(readThousandths("-1250.000000").value, -1'250'000);
    EXPECT_EQ(readThousandths("62000.000000").value, 62'000'000);
    EXPECT_EQ(readThousandths("  12.5\n").value, 12'500);
    EXPECT_EQ(readThousandths("  12.5\n").used, 6U);
    EXPECT_EQ(readThousandths("+7").value, 7'000);
}

TEST(Decimal, RoundsWhatIsTooFineAwayFromZero) {
    EXPECT_EQ(readThousandths("0.0005").value, 1);
    EXPECT_EQ(readThousandths("-0.00049").value, 0);
    EXPECT_EQ(readThousandths("-0.0005").value, -1);
}

TEST(Decimal, FindsNoNumberInOtherTexts) {
    for (const char* text : {"", "abc", "-", ".", "  ", "99999999999999999999"})
        EXPECT_EQ(readThousandths(text).used, 0U) << text;
    EXPECT_EQ(readThousandths("1,5").used, 1U);
}

TEST(Decimal, WritesDecimalsOnlyWhenThereAreAny) {
    EXPECT_EQ(writeThousandths(0), "0");
    EXPECT_EQ(writeThousandths(-1'250'000), "-1250");
    EXPECT_EQ(writeThousandths(12'500), "12.5");
    EXPECT_EQ(writeThousandths(-5), "-0.005");
    EXPECT_EQ(writeThousandths(100'010), "100.01");
}

TEST(Decimal, WritesNothingWhenThereIsNoRoom) {
    char text[4] = "xyz";
    EXPECT_EQ(board_decimal_write(text, 3, 0, 1234), 0U);
    EXPECT_STREQ(text, "xyz");
}

TEST(Decimal, ComparesNamesUpToTheirSize) {
    EXPECT_TRUE(board_text_equal("enp1s0", "enp1s0", 15));
    EXPECT_FALSE(board_text_equal("enp1s0", "enp1s0f1", 15));
    EXPECT_TRUE(board_text_equal("abcdefghijklmnoX", "abcdefghijklmnoY", 15));
}

TEST(Decimal, CopiesNamesCutAndEnded) {
    char name[4];
    board_text_copy(name, "abcdef", sizeof name);
    EXPECT_STREQ(name, "abc");
}

}  // namespace decimalTest
