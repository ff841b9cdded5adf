// The texts of error numbers and integers.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <limits>

#include "source/tools/decimalText.h"
#include "source/tools/errnoText.h"
#include "tests/support/allocationCount.h"

namespace {

using halvexTimekeeper::DecimalText;
using halvexTimekeeper::ErrnoText;

std::string_view viewOf(std::string_view text) { return text; }

TEST(ErrnoTextTest, IsTheSystemsText) {
    EXPECT_EQ(viewOf(ErrnoText(ENOENT)), "No such file or directory");
    EXPECT_EQ(viewOf(ErrnoText(0)), "Success");
    for (int error = 0; error < 140; ++error) EXPECT_EQ(viewOf(ErrnoText(error)), strerror(error));
}

TEST(ErrnoTextTest, KeepsTheTextOfANumberThatTheSystemDoesNotKnow) {
    const ErrnoText text(123456);
    const ErrnoText another(-1);
    EXPECT_EQ(viewOf(text), "Unknown error 123456");
    EXPECT_EQ(viewOf(another), "Unknown error -1");
}

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

}  // namespace
