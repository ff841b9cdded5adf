// Texts of errno values.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/tools/errnoText.h"

#include "tests/support/test.h"

namespace errnoTextTest {

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

}  // namespace errnoTextTest
