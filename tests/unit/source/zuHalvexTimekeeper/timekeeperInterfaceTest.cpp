// The slot order of timekeepers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/timekeeperInterface.h"

#include "source/zuHalvexTimekeeper/halvexTimekeeper.h"
#include "tests/support/vtableSlot.h"

namespace halvexTimekeeper::timekeeperInterfaceTest {

// The two destructors come first.

template <typename Timekeeper>
class TimekeeperSlots : public testing::Test {};
using Timekeepers = testing::Types<TimekeeperInterface, HalvexTimekeeper>;
TYPED_TEST_SUITE(TimekeeperSlots, Timekeepers);

TYPED_TEST(TimekeeperSlots, HaveTheMaximumBeforeTheMinimum) {
    EXPECT_TRUE(testsupport::takeSlotsFrom(
        2, &TypeParam::getName, &TypeParam::getTime, &TypeParam::snapTime, &TypeParam::getMaxCorrectionPerSecond,
        &TypeParam::getMinCorrectionPerSecond, &TypeParam::getCorrectionPerSecond, &TypeParam::setCorrectionPerSecond,
        &TypeParam::isSeeded, &TypeParam::applyMetaData, &TypeParam::serviceEpochDevices));
}

}  // namespace halvexTimekeeper::timekeeperInterfaceTest
