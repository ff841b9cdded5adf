// The slot order of oscillators.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/freqSteeringDeviceInterface.h"

#include "source/zuHalvexTimekeeper/si514FreqSteeringDevice.h"
#include "tests/support/test.h"
#include "tests/support/vtableSlot.h"

namespace halvexTimekeeper::freqSteeringDeviceInterfaceTest {

using testsupport::vtableSlot;

// The two destructors come first.

template <typename Device>
class FreqSteeringDeviceSlots : public testing::Test {};
using FreqSteeringDevices = testing::Types<FreqSteeringDeviceInterface, Si514FreqSteeringDevice>;
TYPED_TEST_SUITE(FreqSteeringDeviceSlots, FreqSteeringDevices);

TYPED_TEST(FreqSteeringDeviceSlots, HaveTheMaximumBeforeTheMinimum) {
    EXPECT_EQ(vtableSlot(&TypeParam::getName), 2U);
    EXPECT_EQ(vtableSlot(&TypeParam::getMaxCorrectionPerSecond), 3U);
    EXPECT_EQ(vtableSlot(&TypeParam::getMinCorrectionPerSecond), 4U);
    EXPECT_EQ(vtableSlot(&TypeParam::getCorrectionPerSecond), 5U);
    EXPECT_EQ(vtableSlot(&TypeParam::setCorrectionPerSecond), 6U);
}

}  // namespace halvexTimekeeper::freqSteeringDeviceInterfaceTest
