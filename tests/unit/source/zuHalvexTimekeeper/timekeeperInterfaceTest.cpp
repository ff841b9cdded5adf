// The slot order of timekeepers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/timekeeperInterface.h"

#include "source/zuHalvexTimekeeper/halvexTimekeeper.h"
#include "tests/support/test.h"
#include "tests/support/vtableSlot.h"

namespace halvexTimekeeper::timekeeperInterfaceTest {

using testsupport::vtableSlot;

// The two destructors come first.

template <typename Timekeeper>
class TimekeeperSlots : public testing::Test {};
using Timekeepers = testing::Types<TimekeeperInterface, HalvexTimekeeper>;
TYPED_TEST_SUITE(TimekeeperSlots, Timekeepers);

TYPED_TEST(TimekeeperSlots, HaveTheMaximumBeforeTheMinimum) {
    EXPECT_EQ(vtableSlot(&TypeParam::getName), 2U);
    EXPECT_EQ(vtableSlot(&TypeParam::getTime), 3U);
    EXPECT_EQ(vtableSlot(&TypeParam::snapTime), 4U);
    EXPECT_EQ(vtableSlot(&TypeParam::getMaxCorrectionPerSecond), 5U);
    EXPECT_EQ(vtableSlot(&TypeParam::getMinCorrectionPerSecond), 6U);
    EXPECT_EQ(vtableSlot(&TypeParam::getCorrectionPerSecond), 7U);
    EXPECT_EQ(vtableSlot(&TypeParam::setCorrectionPerSecond), 8U);
    EXPECT_EQ(vtableSlot(&TypeParam::isSeeded), 9U);
    EXPECT_EQ(vtableSlot(&TypeParam::applyMetaData), 10U);
    EXPECT_EQ(vtableSlot(&TypeParam::serviceEpochDevices), 11U);
}

}  // namespace halvexTimekeeper::timekeeperInterfaceTest
