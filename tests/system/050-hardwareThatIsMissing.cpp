// Stories 050: what the library says when hardware is missing, foreign or unusable, at the start and later.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <unistd.h>

#include "tests/system/controller.h"

namespace {

using systemtest::control;
using systemtest::waitS;
using systemtest::writeFile;

class S050_HardwareThatIsMissing : public systemtest::Controller {
protected:
    void expectNothingIsLeft() {
        EXPECT_EQ(readTime(), -52010);
        EXPECT_TRUE(systemtest::livingPhc2sys().empty());
        zuqxmtk_finalize();
        zuqxmtk_finalize();
    }
};

TEST_F(S050_HardwareThatIsMissing, T050_NoI210) {
    switchOnBare({});
    EXPECT_EQ(initializeAndCatch(), -52010);
    EXPECT_TRUE(lastErrorSays("Can not synchronize system time without at least one usable PHC interface."));
    expectNothingIsLeft();
}

TEST_F(S050_HardwareThatIsMissing, T051_OneI210IsEnough) {
    switchOnBare({"interface eth7", "set eth7 offset_ns 5000000", "set eth7 step_loss_ns 1500"});
    initialize();
    expectAligned();
    EXPECT_EQ(countSyslog("System time will be synchronized to eth7."), 1);
}

TEST_F(S050_HardwareThatIsMissing, T052_UnusableInterfacesAreLeftOut) {
    switchOnBare({"interface enp5s0", "set enp5s0 n_pins 3", "interface enp4s0", "set enp4s0 phc_index -1",
                  "interface enp3s0", "set enp3s0 n_per_out 0", "interface enp1s0", "set enp1s0 offset_ns 1000000"});
    initialize();
    EXPECT_EQ(countSyslog("is not usable and will not be synchronized."), 3);
    EXPECT_EQ(countSyslog("Interface enp1s0 will be synchronized."), 1);
    EXPECT_LE(std::abs(systemtest::readTruth()["enp1s0"].differenceNs), systemtest::kToleranceNs);
}

TEST_F(S050_HardwareThatIsMissing, T053_OnlyUnusableInterfaces) {
    switchOnBare({"interface eth0", "set eth0 n_pins 3"});
    EXPECT_EQ(initializeAndCatch(), -52010);
    EXPECT_EQ(countSyslog("*** warning: Interface eth0 is not usable and will not be synchronized."), 1);
    expectNothingIsLeft();
}

TEST_F(S050_HardwareThatIsMissing, T054_AnotherMakersOrAnotherChipsInterfaceIsNotTouched) {
    switchOnBare(
        {"interface eth0", "text eth0 device 0x1521", "interface eth1", "text eth1 vendor 0x8087", "interface eth2"});
    initialize();
    EXPECT_EQ(countSyslog("will be synchronized."), 1);
    EXPECT_EQ(countSyslog("Interface eth2 will be synchronized."), 1);
}

TEST_F(S050_HardwareThatIsMissing, T055_NoFerroxChip) {
    switchOn({"set ferrox_present 0"});
    EXPECT_EQ(initializeAndCatch(), -52006);
    EXPECT_TRUE(lastErrorSays("No matching Ferrox time sync interface was found."));
    expectNothingIsLeft();
}

TEST_F(S050_HardwareThatIsMissing, T056_NoFpga) {
    switchOn({"set fpga_present 0"});
    EXPECT_EQ(initializeAndCatch(), -52006);
    EXPECT_TRUE(lastErrorSays("fpgaEpochDevice: no matching time sync FPGA interface was found."));
    expectNothingIsLeft();
}

TEST_F(S050_HardwareThatIsMissing, T057_NoOscillator) {
    switchOn({"set si514_present 0"});
    EXPECT_EQ(initializeAndCatch(), -52006);
    EXPECT_TRUE(lastErrorSays("si514: unable to open handle to directory: /sys/bus/i2c/drivers/si514"));
    expectNothingIsLeft();
}

TEST_F(S050_HardwareThatIsMissing, T058_AnOscillatorThatNoDriverHasTaken) {
    switchOn();
    ASSERT_TRUE(writeFile("/sys/bus/i2c/drivers/si514/unbind", "0-0055"));
    EXPECT_EQ(initializeAndCatch(), -52006);
    EXPECT_TRUE(lastErrorSays("si514: unable to find si514 module on the system."));
    expectNothingIsLeft();
}

TEST_F(S050_HardwareThatIsMissing, T059_AnOscillatorThatIsTakenAwayFailsUntilTheNextStart) {
    switchOn();
    initialize();
    ASSERT_TRUE(writeFile("/sys/bus/i2c/drivers/si514/unbind", "0-0055"));
    EXPECT_LT(setCorrection(100), 0);
    ASSERT_TRUE(writeFile("/sys/bus/i2c/drivers/si514/bind", "0-0055"));
    EXPECT_LT(setCorrection(100), 0) << "the open file belongs to the driver that left";
    zuqxmtk_finalize();
    initialize();
    EXPECT_EQ(setCorrection(100), 0) << lastText_;
}

TEST_F(S050_HardwareThatIsMissing, T060_AnFpgaDriverThatIsUnloadedIsTakenForADisabledFpga) {
    switchOn();
    initialize();
    ASSERT_TRUE(control("event driver_gone fpga 0"));
    waitS(5);
    EXPECT_EQ(readTime(), 0) << lastText_;
    ASSERT_TRUE(control("event driver_back fpga 0"));
    waitS(5);
    ASSERT_EQ(snapTime(1'000'000), 0) << lastText_;
    waitS(3);
    expectAligned();
}

TEST_F(S050_HardwareThatIsMissing, T061_AFerroxDriverThatIsUnloadedFailsTheTimeUntilItIsBack) {
    switchOn();
    initialize();
    ASSERT_TRUE(control("event driver_gone ferrox 0"));
    EXPECT_EQ(readTime(), -52006);
    ASSERT_TRUE(control("event driver_back ferrox 0"));
    EXPECT_EQ(readTime(), 0) << lastText_;
}

}  // namespace
