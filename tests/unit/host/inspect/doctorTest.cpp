// Tests of the doctor's checks on made-up facts, and of the choice of interfaces.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/inspect/doctor.h"

#include "tests/support/test.h"

namespace halvexctl::doctorTest {

using testing::HasSubstr;

InterfaceFacts healthyInterface() {
    InterfaceFacts facts;
    facts.name = "enp1s0";
    facts.vendor = "0x8086";
    facts.device = "0x1533";
    facts.isUp = true;
    facts.ptpIndex = 0;
    facts.node = "/dev/ptp0";
    facts.nodeIsThere = facts.nodeIsAllowed = true;
    facts.capabilities = PtpCapabilities{2, 2, 4, 62'499'999};
    facts.pins = {{"SDP0", 0, 0}, {"SDP1", 0, 0}, {"SDP2", 0, 0}, {"SDP3", 0, 0}};
    facts.virtualClocks = 0;
    return facts;
}

ControllerFacts healthyController() {
    ControllerFacts facts;
    facts.interfaces = {healthyInterface()};
    facts.ferrox = {"/proc/driver/zu/ferrox", "/dev/zu/ferrox0", true, true};
    facts.fpga = {"/proc/driver/zu/fpga", "/dev/zu/fpga0", true, true};
    facts.si514 = {true, "0-0055", "si514", "-1250", true, true};
    facts.phc2sysIsThere = facts.phc2sysIsExecutable = true;
    facts.processes = {{1, "init"}, {812, "phc2sys"}};
    facts.allProcessesAreVisible = facts.allDescriptorsAreVisible = true;
    facts.maySetTime = true;
    facts.kernelClock = {true, true, 500'000, 0, 0.0};
    return facts;
}

Finding found(const ControllerFacts& facts, const std::string& check) {
    for (const Finding& finding : examine(facts)) {
        if (finding.check == check) {
            return finding;
        }
    }
    ADD_FAILURE() << "no check " << check;
    return {};
}

class Doctor : public testing::Test {
protected:
    /// Expects this result of `check`, and no other check worse than a warning unless it is in `also`.
    void expect(const std::string& check, Health health, const std::string& text, std::set<std::string> also = {}) {
        const Finding finding = found(facts_, check);
        EXPECT_EQ(finding.health, health) << finding.text;
        EXPECT_THAT(finding.text, HasSubstr(text));
        EXPECT_FALSE(finding.remedy.empty());
        also.insert(check);
        for (const Finding& other : examine(facts_)) {
            EXPECT_TRUE(other.health == Health::ok || also.contains(other.check)) << other.check << ": " << other.text;
        }
    }

    const std::set<std::string> kChecksOfClocks{"interfaces-left-out", "links",          "clock-nodes", "clock-rights",
                                                "clock-pins",          "virtual-clocks", "clock-users"};
    ControllerFacts facts_ = healthyController();
    InterfaceFacts& interface_ = facts_.interfaces[0];
};

TEST_F(Doctor, FindsNothingOnAHealthyController) {
    std::set<std::string> names;
    for (const Finding& finding : examine(facts_)) {
        EXPECT_EQ(finding.health, Health::ok) << finding.check << ": " << finding.text;
        EXPECT_EQ(finding.remedy, "");
        EXPECT_TRUE(names.insert(finding.check).second) << finding.check;
    }
    EXPECT_EQ(names.size(), 21u);
}

TEST_F(Doctor, FailsWithoutAnyUsableInterface) {
    interface_.device = "0x1521";
    expect("interfaces", Health::fail, "no usable I210", kChecksOfClocks);
}

TEST_F(Doctor, WarnsOfAnI210ThatIsLeftOut) {
    facts_.interfaces.push_back(healthyInterface());
    facts_.interfaces[1].name = "enp2s0";
    facts_.interfaces[1].capabilities->pins = 3;
    expect("interfaces-left-out", Health::warn, "enp2s0 has 2 time-stamp channels, 2 outputs and 3 pins");
}

TEST_F(Doctor, WarnsOfAnInterfaceThatIsDown) {
    interface_.isUp = false;
    expect("links", Health::warn, "enp1s0");
}

TEST_F(Doctor, FailsWhenAClocksNodeIsMissing) {
    interface_.nodeIsThere = interface_.nodeIsAllowed = false;
    expect("clock-nodes", Health::fail, "/dev/ptp0", {"interfaces", "interfaces-left-out", "links", "clock-rights"});
}

TEST_F(Doctor, FailsWhenAClockMayNotBeUsed) {
    interface_.nodeIsAllowed = false;
    expect("clock-rights", Health::fail, "/dev/ptp0", {"interfaces", "interfaces-left-out", "links"});
}

TEST_F(Doctor, WarnsWhenTheEpochPinIsTaken) {
    interface_.pins[0].function = 2;
    expect("clock-pins", Health::warn, "enp1s0 SDP0 is used for periodic output");
}

TEST_F(Doctor, WarnsWhenAnotherPinHasTheEpochsChannel) {
    interface_.pins[2] = {"SDP2", 1, 0};
    expect("clock-pins", Health::warn, "SDP2 has time-stamp channel 0");
}

TEST_F(Doctor, AcceptsTheEpochPinAsARunningHostHasIt) {
    interface_.pins[0] = {"SDP0", 1, 0};
    EXPECT_EQ(found(facts_, "clock-pins").health, Health::ok);
}

TEST_F(Doctor, FailsWhenVirtualClocksKeepAClockBusy) {
    interface_.virtualClocks = 2;
    expect("virtual-clocks", Health::fail, "/dev/ptp0 has 2");
}

TEST_F(Doctor, WarnsOfOthersOnAClock) {
    interface_.users = {"ts2phc (99)"};
    expect("clock-users", Health::warn, "ts2phc (99)");
}

TEST_F(Doctor, FailsWithoutTheDriversOfTheController) {
    facts_.ferrox = {};
    expect("ferrox-driver", Health::fail, "no Ferrox", {"ferrox-node"});
    facts_ = healthyController();
    facts_.fpga = {};
    expect("fpga-driver", Health::fail, "no FPGA", {"fpga-node"});
}

TEST_F(Doctor, FailsWhenADriversNodeIsMissingOrRefused) {
    facts_.ferrox.nodeIsThere = false;
    expect("ferrox-node", Health::fail, "/dev/zu/ferrox0 is missing");
    facts_ = healthyController();
    facts_.fpga.nodeIsAllowed = false;
    expect("fpga-node", Health::fail, "may not be read and written");
    facts_ = healthyController();
    facts_.fpga.node.clear();
    expect("fpga-node", Health::fail, "interfacePath");
}

TEST_F(Doctor, FailsWithoutTheOscillator) {
    facts_.si514 = {};
    expect("si514-driver", Health::fail, "is missing", {"si514-attribute", "si514-rights"});
    facts_.si514.driverIsThere = true;
    expect("si514-driver", Health::fail, "no oscillator", {"si514-attribute", "si514-rights"});
}

TEST_F(Doctor, TellsTheWrongDriverOfTheOscillatorFromTheRightOne) {
    facts_.si514.offsetText.reset();
    facts_.si514.offsetIsThere = false;
    expect("si514-attribute", Health::fail, "driver of the same name", {"si514-rights"});
}

TEST_F(Doctor, FailsWhenTheOscillatorAnswersNoNumberOrRefusesOne) {
    facts_.si514.offsetText = "busy";
    expect("si514-attribute", Health::fail, "\"busy\"");
    facts_ = healthyController();
    facts_.si514.offsetIsAllowed = false;
    expect("si514-rights", Health::fail, "may not be written");
}

TEST_F(Doctor, FailsWithoutAnExecutablePhc2sys) {
    facts_.phc2sysIsThere = facts_.phc2sysIsExecutable = false;
    expect("phc2sys-file", Health::fail, "is missing");
    facts_.phc2sysIsThere = true;
    expect("phc2sys-file", Health::fail, "not executable");
}

TEST_F(Doctor, WarnsOfMoreThanOnePhc2sys) {
    facts_.processes.push_back({813, "phc2sys"});
    expect("phc2sys-process", Health::warn, "phc2sys (812), phc2sys (813)");
}

TEST_F(Doctor, WarnsOfAPhc2sysThatHasEnded) {
    facts_.processes.back().hasEnded = true;
    expect("phc2sys-process", Health::warn, "phc2sys (812) has ended");
    facts_.processes.push_back({813, "phc2sys"});
    EXPECT_EQ(found(facts_, "phc2sys-process").text, "phc2sys (813)");
}

TEST_F(Doctor, WarnsOfAPhc2sysThatDoesNotUpdateTheSystemClock) {
    facts_.kernelClock.maxErrorNs = 5'000'000;
    EXPECT_EQ(found(facts_, "phc2sys-process").health, Health::ok);
    facts_.kernelClock.maxErrorNs = 16'000'000;
    expect("phc2sys-process", Health::warn, "not been updated for some 32 s");
    facts_.kernelClock.isSynchronised = false;
    expect("phc2sys-process", Health::warn, "has not disciplined the system clock yet");
    facts_.kernelClock.isKnown = false;
    EXPECT_EQ(found(facts_, "phc2sys-process").health, Health::unknown);
}

TEST_F(Doctor, WarnsOfOtherTimeDaemons) {
    facts_.processes.push_back({77, "chronyd"});
    expect("time-daemons", Health::warn, "chronyd (77)");
}

TEST_F(Doctor, FailsWithoutTheRightToSetTheTime) {
    facts_.maySetTime = false;
    expect("cap-sys-time", Health::fail, "CAP_SYS_TIME is missing");
    facts_.maySetTime.reset();
    expect("cap-sys-time", Health::unknown, "cannot be read");
}

TEST_F(Doctor, WarnsWhenTheKernelsClockCannotBeAskedOrHasATaiOffset) {
    facts_.kernelClock.isKnown = false;
    expect("kernel-clock", Health::unknown, "adjtimex", {"tai-offset", "phc2sys-process"});
    facts_ = healthyController();
    facts_.kernelClock.taiOffsetS = 37;
    expect("tai-offset", Health::warn, "37 s");
}

TEST_F(Doctor, DoesNotCallWellWhatIsNotThere) {
    facts_.interfaces.clear();
    for (const std::string& check : kChecksOfClocks) {
        EXPECT_EQ(found(facts_, check).health, Health::unknown) << check;
        EXPECT_THAT(found(facts_, check).text, HasSubstr("I210")) << check;
    }
}

TEST_F(Doctor, DoesNotCallWellWhatItCannotSee) {
    facts_.allDescriptorsAreVisible = false;
    expect("clock-users", Health::unknown, "cannot be seen");
    facts_ = healthyController();
    facts_.allProcessesAreVisible = false;
    facts_.processes.clear();
    expect("phc2sys-process", Health::unknown, "cannot be seen", {"time-daemons"});
    expect("time-daemons", Health::unknown, "cannot be seen", {"phc2sys-process"});
    facts_ = healthyController();
    facts_.interfaces[0].isUp.reset();
    expect("links", Health::unknown, "enp1s0 cannot be asked");
    facts_ = healthyController();
    facts_.interfaces[0].pins.clear();
    expect("clock-pins", Health::unknown, "pins of /dev/ptp0 cannot be read");
    facts_ = healthyController();
    facts_.interfaces[0].virtualClocks.reset();
    expect("virtual-clocks", Health::unknown, "ptp0/n_vclocks cannot be read");
    facts_ = healthyController();
    facts_.si514.offsetText.reset();
    expect("si514-attribute", Health::unknown, "ppb_offset cannot be read", {"si514-rights"});
}

TEST(ChoiceOf, ChoosesAnI210ThatIsDownAsWell) {
    InterfaceFacts facts = healthyInterface();
    facts.isUp = false;
    EXPECT_TRUE(choiceOf(facts).isChosen);
    EXPECT_THAT(choiceOf(facts).reason, HasSubstr("once it is up"));
}

TEST(ChoiceOf, LeavesOutWhatIsNoI210OrHasNoClock) {
    InterfaceFacts facts = healthyInterface();
    facts.vendor.clear();
    EXPECT_EQ(choiceOf(facts).reason, "no PCI device");
    facts = healthyInterface();
    facts.ptpIndex = -1;
    EXPECT_FALSE(choiceOf(facts).isChosen);
    EXPECT_FALSE(choiceOf(facts).endsInitialisation);
}

TEST(ChoiceOf, SaysWhenAnInterfaceEndsTheInitialisation) {
    InterfaceFacts facts = healthyInterface();
    facts.ptpIndex.reset();
    EXPECT_TRUE(choiceOf(facts).endsInitialisation);
    facts = healthyInterface();
    facts.capabilities.reset();
    facts.error = "PTP_CLOCK_GETCAPS failed: Input/output error";
    EXPECT_TRUE(choiceOf(facts).endsInitialisation);
    EXPECT_EQ(choiceOf(facts).reason, facts.error);
}

}  // namespace halvexctl::doctorTest
