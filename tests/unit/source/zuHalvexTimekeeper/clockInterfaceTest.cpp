// The slot order of clocks.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/clockInterface.h"

#include "source/zuHalvexTimekeeper/ferroxEpochDevice.h"
#include "source/zuHalvexTimekeeper/fpgaEpochDevice.h"
#include "source/zuHalvexTimekeeper/i210EpochDevice.h"
#include "source/zuHalvexTimekeeper/systemTimeClock.h"
#include "tests/support/vtableSlot.h"

namespace halvexTimekeeper::clockInterfaceTest {

// The two destructors come first.

template <typename Clock>
class ClockSlots : public testing::Test {};
using Clocks = testing::Types<ClockInterface, SystemTimeClock, EpochDeviceInterface, I210EpochDevice, FpgaEpochDevice,
                              FerroxEpochDevice>;
TYPED_TEST_SUITE(ClockSlots, Clocks);

TYPED_TEST(ClockSlots, AreNameTimeStepAndState) {
    EXPECT_TRUE(testsupport::takeSlotsFrom(2, &TypeParam::getName, &TypeParam::getTime, &TypeParam::adjustTime,
                                           &TypeParam::isEnabled));
}

}  // namespace halvexTimekeeper::clockInterfaceTest
