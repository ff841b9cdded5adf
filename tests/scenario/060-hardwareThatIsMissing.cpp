// Story 060: initialisation on controllers that lack something, or fail.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <gmock/gmock.h>

#include "tests/support/controller.h"
#include "tests/support/processCensus.h"

namespace {

using testing::HasSubstr;

class HardwareThatIsMissing : public testsupport::Controller {
protected:
    std::int32_t initializeAndCatch() {
        return codeOf([](zuerr_Status* status) { zuqxmtk_initialize(status); });
    }

    /// Whatever failed: nothing is published, no child is left, and a finalise is harmless.
    void expectNothingIsLeft() {
        std::uint64_t time = 42;
        EXPECT_EQ(codeOf([&](zuerr_Status* status) { zuqxmtk_getTime(&time, status); }), -52010);
        EXPECT_EQ(time, 42U);
        EXPECT_EQ(lastMessage(),
                  "zuqxmtk_initialize was not called or did not successfully initialize the timekeeper.");
        int running = 0;
        for (const auto& child : happenings("phc2sys")) running += child.at("state") == "running" ? 1 : -1;
        EXPECT_EQ(running, 0);
        zuqxmtk_finalize();
        zuqxmtk_finalize();
    }
};

TEST_F(HardwareThatIsMissing, NoUsableInterfaceIsReportedAndNothingElseIsTouched) {
    switchOn("", "[[interface]]\nname = \"eth0\"\nn_pins = 3\n");
    EXPECT_EQ(initializeAndCatch(), -52010);
    EXPECT_EQ(lastMessage(), "Can not synchronize system time without at least one usable PHC interface.");
    EXPECT_THAT(lastText_, HasSubstr("\"line\":75"));
    EXPECT_EQ(countSyslog("*** warning: Interface eth0 is not usable and will not be synchronized."), 1);
    expectNothingIsLeft();
    for (const std::string& call : calls()) EXPECT_THAT(call, testing::Not(HasSubstr("ferrox")));
}

TEST_F(HardwareThatIsMissing, UnusableInterfacesAreLeftOutAndTheRestIsSynchronised) {
    switchOn("", R"(
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
    initialize();
    EXPECT_EQ(countSyslog("is not usable and will not be synchronized."), 3);
    EXPECT_EQ(countSyslog("Interface enp1s0 will be synchronized."), 1);
}

TEST_F(HardwareThatIsMissing, NoFerroxChip) {
    switchOn();
    board_->doEvent(BOARD_EVENT_DRIVER_GONE, BOARD_TARGET_FERROX);
    EXPECT_EQ(initializeAndCatch(), -52006);
    EXPECT_EQ(lastMessage(), "No matching Ferrox time sync interface was found.");
    expectNothingIsLeft();
}

TEST_F(HardwareThatIsMissing, NoFpga) {
    switchOn();
    board_->doEvent(BOARD_EVENT_DRIVER_GONE, BOARD_TARGET_FPGA);
    EXPECT_EQ(initializeAndCatch(), -52006);
    EXPECT_EQ(lastMessage(), "fpgaEpochDevice: no matching time sync FPGA interface was found.");
    expectNothingIsLeft();
}

TEST_F(HardwareThatIsMissing, NoOscillator) {
    switchOn();
    board_->doEvent(BOARD_EVENT_DRIVER_GONE, BOARD_TARGET_SI514);
    EXPECT_EQ(initializeAndCatch(), -52006);
    EXPECT_THAT(lastMessage(), HasSubstr("si514: unable to "));
    expectNothingIsLeft();
}

TEST_F(HardwareThatIsMissing, APhc2sysThatCannotBeStarted) {
    switchOn("[[fault]]\ncall = \"posix_spawn\"\nerror = \"ENOENT\"\n");
    EXPECT_EQ(initializeAndCatch(), -52008);
    EXPECT_THAT(lastMessage(), HasSubstr("[ SpawnPhc2Sys ] When spawning phc2sys got error: "));
    expectNothingIsLeft();
}

TEST_F(HardwareThatIsMissing, AnInterfaceWhoseClockCannotBeOpenedAbortsTheDiscovery) {
    switchOn("[[fault]]\ncall = \"open\"\ntarget = \"enp2s0\"\nfile = \"ptp\"\nerror = \"EACCES\"\n");
    EXPECT_EQ(initializeAndCatch(), -52024);
    EXPECT_EQ(lastMessage(), "Couldn't open session to device /dev/ptp1. Got error Permission denied");
    expectNothingIsLeft();
}

TEST_F(HardwareThatIsMissing, AnAlignmentThatFailsFailsTheInitialisation) {
    switchOn(
        "[[fault]]\ncall = \"ioctl\"\ntarget = \"ferrox\"\nrequest = \"generateEpochSignal\"\ndriver_status = "
        "-52024\n");
    EXPECT_EQ(initializeAndCatch(), -52024);
    EXPECT_EQ(lastMessage(), "Unable to generate epoch from FerroxEpochDevice");
    EXPECT_EQ(countSyslog("trying to sync FerroxEpochDevice, retry count 0: FAIL(-52024,"), 1);
    expectNothingIsLeft();
}

TEST_F(HardwareThatIsMissing, AFailureLeavesNoDescriptorOpenAndASecondTrySucceeds) {
    switchOn(
        "[[fault]]\ncall = \"ioctl\"\ntarget = \"ferrox\"\nrequest = \"generateEpochSignal\"\ndriver_status = "
        "-52024\n");
    const int before = testsupport::countOpenDescriptors();
    EXPECT_EQ(initializeAndCatch(), -52024);
    zuqxmtk_finalize();
    EXPECT_EQ(testsupport::countOpenDescriptors(), before);
    initialize();
    expectAligned();
    zuqxmtk_finalize();
    EXPECT_EQ(testsupport::countOpenDescriptors(), before);
}

TEST_F(HardwareThatIsMissing, ASecondInitialisationThatFailsLeavesAThreadThatWakesAtOnce) {
    switchOn();
    initialize();
    waitS(5);
    board_->doEvent(BOARD_EVENT_DRIVER_GONE, BOARD_TARGET_SI514);
    EXPECT_EQ(initializeAndCatch(), -52006);
    board_->clearTrace();
    while (happenings("status_record").empty()) waitS(0.1);  // from here the thread waits for 1.9 s or more
    board_->clearTrace();
    EXPECT_EQ(applyMetaData("{}"), 0);
    waitS(0.01);
    EXPECT_EQ(happenings("status_record").size(), 1U) << "the metadata, at once";
    const std::uint64_t beforeNs = board_->rawNs();
    zuqxmtk_finalize();
    EXPECT_LT(board_->rawNs() - beforeNs, 500'000'000U);
}

TEST_F(HardwareThatIsMissing, AnErrorInTheStatusKeepsInitialisationFromDoingAnything) {
    switchOn();
    testsupport::StatusHolder status(-1);
    zuqxmtk_initialize(status.get());
    EXPECT_EQ(status->code, -1);
    EXPECT_TRUE(calls().empty());
    EXPECT_TRUE(syslogLines().empty());
}

}  // namespace
