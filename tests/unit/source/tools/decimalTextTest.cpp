// Integers as decimal text.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/decimalText.h"

#include "source/tools/errnoText.h"
#include "tests/support/allocationCount.h"
#include "tests/support/test.h"

namespace decimalTextTest {

using halvexTimekeeper::DecimalText;
using halvexTimekeeper::ErrnoText;

std::string_view viewOf(std::string_view text) { return text; }

TEST(DecimalTextTest, PrintsEveryWidthInFull) {
    EXPECT_EQ(viewOf(DecimalText(0)), "0");
    EXPECT_EQ(viewOf(DecimalText(-11)), "-11");
    EXPECT_EQ(viewOf(DecimalText(std::numeric_limits<std::int64_t>::min())), "-9223372036854775808");
    EXPECT_EQ(viewOf(DecimalText(std::numeric_limits<std::uint64_t>::max())), "18446744073709551615");
}

TEST(DecimalTextTest, AllocatesNothingAndNeitherDoesAnErrorText) {
    const long before = testsupport::countAllocations();
    EXPECT_FALSE(viewOf(DecimalText(std::numeric_limits<std::uint64_t>::max())).empty());
    EXPECT_FALSE(viewOf(ErrnoText(123456)).empty());
    EXPECT_EQ(testsupport::countAllocations(), before);
}

}  // namespace decimalTextTest
