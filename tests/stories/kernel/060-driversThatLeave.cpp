// Story 060: the oscillator's driver is unbound, at the start and later.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"
#include "tests/system/machine.h"

namespace driversThatLeave {

using systemtest::writeFile;
using DriversThatLeave = stories::Controller;

TEST_F(DriversThatLeave, AnOscillatorThatNoDriverHasTaken) {
    switchOn();
    ASSERT_TRUE(writeFile("/sys/bus/i2c/drivers/si514/unbind", "0-0055"));
    EXPECT_EQ(initializeAndCatch(), -52006);
    EXPECT_THAT(lastMessage(), testing::HasSubstr("si514: unable to find si514 module on the system."));
    EXPECT_EQ(readTime(), -52010);
    EXPECT_TRUE(phc2sysSources().empty());
}

TEST_F(DriversThatLeave, AnOscillatorThatIsTakenAwayFailsUntilTheNextStart) {
    start();
    ASSERT_TRUE(writeFile("/sys/bus/i2c/drivers/si514/unbind", "0-0055"));
    EXPECT_LT(setCorrection(100), 0);
    ASSERT_TRUE(writeFile("/sys/bus/i2c/drivers/si514/bind", "0-0055"));
    EXPECT_LT(setCorrection(100), 0) << "the open file belongs to the driver that left";
    zuqxmtk_finalize();
    initialize();
    EXPECT_EQ(setCorrection(100), 0) << lastText_;
}

}  // namespace driversThatLeave
