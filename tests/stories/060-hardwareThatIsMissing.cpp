// Story 060: initialisation on controllers with missing or failing hardware.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"
#include "tests/support/processCensus.h"

namespace hardwareThatIsMissing {

using testing::HasSubstr;

const std::string kGenerateEpochFails =
    stories::requestFault("ferrox", "generateEpochSignal", "driver_status = -52024");

class HardwareThatIsMissing : public stories::Controller {
protected:
    /// Whatever failed: nothing is published, no child is left, and finalising is harmless.
    void expectNothingIsLeft() {
        time_ = 42;
        EXPECT_EQ(readTime(), -52010);
        EXPECT_EQ(time_, 42U);
        EXPECT_EQ(lastMessage(),
                  "zuqxmtk_initialize was not called or did not successfully initialize the timekeeper.");
        EXPECT_TRUE(phc2sysSources().empty());
        zuqxmtk_finalize();
        zuqxmtk_finalize();
    }
};

TEST_F(HardwareThatIsMissing, NoInterfaceAtAllIsReported) {
    switchOn("", "");
    EXPECT_EQ(initializeAndCatch(), -52010);
    EXPECT_EQ(lastMessage(), "Can not synchronize system time without at least one usable PHC interface.");
    expectNothingIsLeft();
}

TEST_F(HardwareThatIsMissing, NoUsableInterfaceIsReportedAndNothingElseIsTouched) {
    switchOn("", "[[interface]]\nname = \"eth0\"\nn_pins = 3\n");
    EXPECT_EQ(initializeAndCatch(), -52010);
    EXPECT_EQ(lastMessage(), "Can not synchronize system time without at least one usable PHC interface.");
    EXPECT_THAT(lastText_, HasSubstr("\"line\":75"));
    EXPECT_EQ(countSyslog("*** warning: Interface eth0 is not usable and will not be synchronized."), 1);
    EXPECT_TRUE(seen().steps.empty());
    EXPECT_EQ(seen().epochs, 0);
    expectNothingIsLeft();
}

TEST_F(HardwareThatIsMissing, UnusableInterfacesAreLeftOutAndTheRestIsSynchronised) {
    start("", R"(
[[interface]]
name = "enp5s0"
phc_index = 2
n_pins = 3
[[interface]]
name = "enp4s0"
phc_index = -1
[[interface]]
name = "enp3s0"
phc_index = 1
n_per_out = 0
[[interface]]
name = "enp1s0"
phc_index = 0
offset = "1 ms"
)");
    EXPECT_EQ(countSyslog("is not usable and will not be synchronized."), 3);
    EXPECT_EQ(countSyslog("Interface enp1s0 will be synchronized."), 1);
    EXPECT_LE(std::abs(differenceNs("enp1s0")), kToleranceNs);
}

TEST_F(HardwareThatIsMissing, AnotherMakersOrAnotherChipsInterfaceIsNotTouched) {
    start("",
          "[[interface]]\nname = \"eth0\"\ndevice = \"0x1521\"\n[[interface]]\nname = \"eth1\"\nvendor = \"0x8087\"\n"
          "[[interface]]\nname = \"eth2\"\n");
    EXPECT_EQ(countSyslog("will be synchronized."), 1);
    EXPECT_EQ(countSyslog("Interface eth2 will be synchronized."), 1);
}

TEST_F(HardwareThatIsMissing, NoFerroxChip) {
    switchOn("", usualBoardWith("[ferrox]", "present = false"));
    EXPECT_EQ(initializeAndCatch(), -52006);
    EXPECT_EQ(lastMessage(), "No matching Ferrox time sync interface was found.");
    expectNothingIsLeft();
}

TEST_F(HardwareThatIsMissing, NoFpga) {
    switchOn("", usualBoardWith("[fpga]", "present = false"));
    EXPECT_EQ(initializeAndCatch(), -52006);
    EXPECT_EQ(lastMessage(), "fpgaEpochDevice: no matching time sync FPGA interface was found.");
    expectNothingIsLeft();
}

TEST_F(HardwareThatIsMissing, NoOscillator) {
    switchOn("[si514]\npresent = false\n");
    EXPECT_EQ(initializeAndCatch(), -52006);
    EXPECT_THAT(lastMessage(), HasSubstr("si514: unable to open handle to directory: /sys/bus/i2c/drivers/si514"));
    expectNothingIsLeft();
}

TEST_F(HardwareThatIsMissing, AnAlignmentThatFailsFailsTheInitialisation) {
    switchOn(kGenerateEpochFails);
    EXPECT_EQ(initializeAndCatch(), -52024);
    EXPECT_EQ(lastMessage(), "Unable to generate epoch from FerroxEpochDevice");
    EXPECT_EQ(countSyslog("trying to sync FerroxEpochDevice, retry count 0: FAIL(-52024,"), 1);
    expectNothingIsLeft();
}

TEST_F(HardwareThatIsMissing, AFailureLeavesNoDescriptorOpenAndASecondTrySucceeds) {
    switchOn(kGenerateEpochFails);
    const int before = testsupport::countOpenDescriptors();
    EXPECT_EQ(initializeAndCatch(), -52024);
    zuqxmtk_finalize();
    EXPECT_EQ(testsupport::countOpenDescriptors(), before);
    initialize();
    expectAligned();
    zuqxmtk_finalize();
    EXPECT_EQ(testsupport::countOpenDescriptors(), before);
}

TEST_F(HardwareThatIsMissing, AnErrorInTheStatusKeepsInitialisationFromDoingAnything) {
    switchOn();
    testsupport::StatusHolder status(-1);
    zuqxmtk_initialize(status.get());
    EXPECT_EQ(status->code, -1);
    EXPECT_TRUE(seen().statusRecords.empty());
    EXPECT_TRUE(syslogLines().empty());
}

}  // namespace hardwareThatIsMissing
