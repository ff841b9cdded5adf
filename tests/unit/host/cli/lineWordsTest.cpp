// Tests of splitting a line of input into words.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/lineWords.h"

#include "host/cli/usageError.h"
#include "tests/support/test.h"

namespace halvexctl::lineWordsTest {

using Words = std::vector<std::string>;

TEST(CutWords, PartsAtBlanks) { EXPECT_EQ(cutWords("  get  step\t+1ms \r"), (Words{"get", "step", "+1ms"})); }

TEST(CutWords, KeepsQuotedTextTogether) {
    EXPECT_EQ(cutWords(R"(apply-metadata --text '{"a": "b c"}')"),
              (Words{"apply-metadata", "--text", R"({"a": "b c"})"}));
    EXPECT_EQ(cutWords(R"(remark "it's time")"), (Words{"remark", "it's time"}));
    EXPECT_EQ(cutWords("remark ''"), (Words{"remark", ""}));
}

TEST(CutWords, TakesTheCharacterAfterABackslashAsItIs) {
    EXPECT_EQ(cutWords(R"(remark two\ words \"q\" '\n')"), (Words{"remark", "two words", "\"q\"", "\\n"}));
}

TEST(CutWords, LeavesCommentsOut) {
    EXPECT_EQ(cutWords("get # what time is it"), (Words{"get"}));
    EXPECT_EQ(cutWords("# nothing"), Words{});
    EXPECT_EQ(cutWords("remark a#b"), (Words{"remark", "a#b"}));
}

TEST(CutWords, RefusesAnOpenQuote) { EXPECT_THROW(cutWords("remark 'oh"), UsageError); }

}  // namespace halvexctl::lineWordsTest
