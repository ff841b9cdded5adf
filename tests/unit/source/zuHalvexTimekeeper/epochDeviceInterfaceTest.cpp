// The slot order of epoch devices.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/epochDeviceInterface.h"

#include "source/zuHalvexTimekeeper/ferroxEpochDevice.h"
#include "source/zuHalvexTimekeeper/fpgaEpochDevice.h"
#include "source/zuHalvexTimekeeper/i210EpochDevice.h"
#include "tests/support/test.h"
#include "tests/support/vtableSlot.h"

namespace halvexTimekeeper::epochDeviceInterfaceTest {

using testsupport::vtableSlot;

// The two destructors come first.

template <typename Device>
class EpochDeviceSlots : public testing::Test {};
using EpochDeviceTypes = testing::Types<EpochDeviceInterface, I210EpochDevice, FpgaEpochDevice, FerroxEpochDevice>;
TYPED_TEST_SUITE(EpochDeviceSlots, EpochDeviceTypes);

TYPED_TEST(EpochDeviceSlots, FollowThoseOfTheClock) {
    EXPECT_EQ(vtableSlot(&TypeParam::generateEpoch), 6U);
    EXPECT_EQ(vtableSlot(&TypeParam::armEpochCapture), 7U);
    EXPECT_EQ(vtableSlot(&TypeParam::getEpochTimestamp), 8U);
    EXPECT_EQ(vtableSlot(&TypeParam::reinitialize), 9U);
    EXPECT_EQ(vtableSlot(&TypeParam::applyQxmMetadata), 10U);
    EXPECT_EQ(vtableSlot(&TypeParam::hasBeenEpochAligned), 11U);
    EXPECT_EQ(vtableSlot(&TypeParam::setHasBeenEpochAligned), 12U);
}

}  // namespace halvexTimekeeper::epochDeviceInterfaceTest
