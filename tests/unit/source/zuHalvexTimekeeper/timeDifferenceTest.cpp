// The signed difference of two times.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/timeDifference.h"

#include "tests/support/test.h"
#include "zuerr/exception.h"

namespace timeDifferenceTest {

using halvexTimekeeper::QxmTimestamp;
using halvexTimekeeper::timeDifferenceNs;

constexpr auto kLatest = std::numeric_limits<QxmTimestamp>::max();
constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
constexpr auto kHalf = static_cast<QxmTimestamp>(kMost);

TEST(TimeDifference, IsPositiveWhenTheTimeIsAheadOfItsReference) {
    EXPECT_EQ(timeDifferenceNs(5, 3), 2);
    EXPECT_EQ(timeDifferenceNs(3, 5), -2);
    EXPECT_EQ(timeDifferenceNs(kLatest, kLatest), 0);
}

TEST(TimeDifference, ReachesBothEndsOf64SignedBitsAndFailsBeyond) {
    EXPECT_EQ(timeDifferenceNs(kHalf, 0), kMost);
    EXPECT_EQ(timeDifferenceNs(0, kHalf + 1), std::numeric_limits<std::int64_t>::min());
    EXPECT_THROW(timeDifferenceNs(kHalf + 1, 0), zuerr::Exception);
    EXPECT_THROW(timeDifferenceNs(0, kHalf + 2), zuerr::Exception);
    EXPECT_THROW(timeDifferenceNs(kLatest, 0), zuerr::Exception);
}

}  // namespace timeDifferenceTest
