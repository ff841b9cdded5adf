// Building one JSON object in the caller's buffer.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/trace/jsonLine.h"

#include <cjson/cJSON.h>

#include "tests/support/test.h"

namespace halvexboard::jsonLineTest {

TEST(JsonLine, WritesEveryKindOfMember) {
    char buffer[512];
    const std::uint8_t bytes[] = {0x00, 0xAB, 0x7F};
    JsonLine line(buffer, sizeof buffer);
    line.number("a", std::numeric_limits<std::int64_t>::min());
    line.count("b", std::numeric_limits<std::uint64_t>::max());
    line.flag("c", true);
    line.nothing("d");
    line.text("e", "x");
    line.hex("f", bytes, sizeof bytes);
    line.openObject("g");
    line.number("h", 1);
    line.closeObject();
    line.openArray("i");
    line.element(1);
    line.element("two");
    line.closeArray();
    line.flag("j", false);
    EXPECT_EQ(
        std::string(buffer, line.finish()),
        "{\"a\":-9223372036854775808,\"b\":18446744073709551615,\"c\":true,\"d\":null,\"e\":\"x\",\"f\":\"00ab7f\","
        "\"g\":{\"h\":1},\"i\":[1,\"two\"],\"j\":false}\n");
}

TEST(JsonLine, EscapesWhatJsonCannotHold) {
    char buffer[256];
    JsonLine line(buffer, sizeof buffer);
    line.text("t", std::string_view("a\"b\\c\n\0\x1f\xC3\xA9", 10));
    EXPECT_EQ(std::string(buffer, line.finish()), "{\"t\":\"a\\\"b\\\\c\\u000a\\u0000\\u001f\xC3\xA9\"}\n");
}

TEST(JsonLine, CutsALongTextAndStaysWhole) {
    for (const char character : {'x', '"', '\n'}) {
        char buffer[300];
        JsonLine line(buffer, sizeof buffer);
        line.text("t", std::string(5000, character));
        const std::size_t length = line.finish();
        ASSERT_GT(length, 200U);
        ASSERT_LE(length, sizeof buffer);
        cJSON* const parsed = cJSON_ParseWithLength(buffer, length);
        EXPECT_NE(parsed, nullptr);
        cJSON_Delete(parsed);
    }
}

TEST(JsonLine, SaysNothingWhenItDoesNotFit) {
    char buffer[16];
    JsonLine line(buffer, sizeof buffer);
    line.number("a long key", 12345678);
    EXPECT_EQ(line.finish(), 0U);
}

}  // namespace halvexboard::jsonLineTest
