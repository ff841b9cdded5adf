// The slot order of clocks.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/clockInterface.h"

#include "source/zuHalvexTimekeeper/ferroxEpochDevice.h"
#include "source/zuHalvexTimekeeper/fpgaEpochDevice.h"
#include "source/zuHalvexTimekeeper/i210EpochDevice.h"
#include "source/zuHalvexTimekeeper/systemTimeClock.h"
#include "tests/support/test.h"
#include "tests/support/vtableSlot.h"

namespace halvexTimekeeper::clockInterfaceTest {

using testsupport::vtableSlot;

// The two destructors come first.

template <typename Clock>
class ClockSlots : public testing::Test {};
using Clocks = testing::Types<ClockInterface, SystemTimeClock, EpochDeviceInterface, I210EpochDevice, FpgaEpochDevice,
                              FerroxEpochDevice>;
TYPED_TEST_SUITE(ClockSlots, Clocks);

TYPED_TEST(ClockSlots, AreNameTimeStepAndState) {
    EXPECT_EQ(vtableSlot(&TypeParam::getName), 2U);
    EXPECT_EQ(vtableSlot(&TypeParam::getTime), 3U);
    EXPECT_EQ(vtableSlot(&TypeParam::adjustTime), 4U);
    EXPECT_EQ(vtableSlot(&TypeParam::isEnabled), 5U);
}

}  // namespace halvexTimekeeper::clockInterfaceTest
