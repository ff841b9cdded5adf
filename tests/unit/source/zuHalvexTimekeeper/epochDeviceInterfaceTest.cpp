// The slot order of epoch devices.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/epochDeviceInterface.h"

#include "source/zuHalvexTimekeeper/ferroxEpochDevice.h"
#include "source/zuHalvexTimekeeper/fpgaEpochDevice.h"
#include "source/zuHalvexTimekeeper/i210EpochDevice.h"
#include "tests/support/vtableSlot.h"

namespace halvexTimekeeper::epochDeviceInterfaceTest {

// The two destructors come first.

template <typename Device>
class EpochDeviceSlots : public testing::Test {};
using EpochDeviceTypes = testing::Types<EpochDeviceInterface, I210EpochDevice, FpgaEpochDevice, FerroxEpochDevice>;
TYPED_TEST_SUITE(EpochDeviceSlots, EpochDeviceTypes);

TYPED_TEST(EpochDeviceSlots, FollowThoseOfTheClock) {
    EXPECT_TRUE(testsupport::takeSlotsFrom(6, &TypeParam::generateEpoch, &TypeParam::armEpochCapture,
                                           &TypeParam::getEpochTimestamp, &TypeParam::reinitialize,
                                           &TypeParam::applyQxmMetadata, &TypeParam::hasBeenEpochAligned,
                                           &TypeParam::setHasBeenEpochAligned));
}

}  // namespace halvexTimekeeper::epochDeviceInterfaceTest
