// Tests of the suggestion for a mistyped word.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/suggestion.h"

#include "tests/support/test.h"

namespace halvexctl::suggestionTest {

constexpr std::array<std::string_view, 4> kWords{"step", "get", "limits", "apply-metadata"};

TEST(EditDistance, CountsInsertionsRemovalsReplacementsAndSwaps) {
    EXPECT_EQ(editDistance("step", "step"), 0u);
    EXPECT_EQ(editDistance("stp", "step"), 1u);
    EXPECT_EQ(editDistance("sstep", "step"), 1u);
    EXPECT_EQ(editDistance("stap", "step"), 1u);
    EXPECT_EQ(editDistance("setp", "step"), 1u);
    EXPECT_EQ(editDistance("", "step"), 4u);
}

TEST(Suggestion, NamesTheNearestWord) {
    EXPECT_EQ(suggestion("setp", kWords), "; did you mean \"step\"?");
    EXPECT_EQ(suggestion("limit", kWords), "; did you mean \"limits\"?");
    EXPECT_EQ(suggestion("gte", kWords), "; did you mean \"get\"?");
}

TEST(Suggestion, CompletesTheBeginningOfAWord) {
    EXPECT_EQ(suggestion("apply", kWords), "; did you mean \"apply-metadata\"?");
}

TEST(Suggestion, KeepsSilentWhenNothingIsNear) { EXPECT_EQ(suggestion("frobnicate", kWords), ""); }

}  // namespace halvexctl::suggestionTest
