// The slot order of oscillators.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/freqSteeringDeviceInterface.h"

#include "source/zuHalvexTimekeeper/si514FreqSteeringDevice.h"
#include "tests/support/vtableSlot.h"

namespace halvexTimekeeper::freqSteeringDeviceInterfaceTest {

// The two destructors come first.

template <typename Device>
class FreqSteeringDeviceSlots : public testing::Test {};
using FreqSteeringDevices = testing::Types<FreqSteeringDeviceInterface, Si514FreqSteeringDevice>;
TYPED_TEST_SUITE(FreqSteeringDeviceSlots, FreqSteeringDevices);

TYPED_TEST(FreqSteeringDeviceSlots, HaveTheMaximumBeforeTheMinimum) {
    EXPECT_TRUE(testsupport::takeSlotsFrom(2, &TypeParam::getName, &TypeParam::getMaxCorrectionPerSecond,
                                           &TypeParam::getMinCorrectionPerSecond, &TypeParam::getCorrectionPerSecond,
                                           &TypeParam::setCorrectionPerSecond));
}

}  // namespace halvexTimekeeper::freqSteeringDeviceInterfaceTest
