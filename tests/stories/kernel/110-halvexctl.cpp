// Story 110: halvexctl on a real kernel: checks, map, samples, explanations.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <linux/capability.h>
#include <sys/prctl.h>

#include <nlohmann/json.hpp>

#include "tests/stories/controller.h"
#include "tests/system/machine.h"

namespace halvexctl {

using nlohmann::json;
using systemtest::writeFile;

class Halvexctl : public stories::Controller {
protected:
    /// Reaps children left by the hosts of earlier stories.
    void SetUp() override {
        while (waitpid(-1, nullptr, 0) > 0) {
        }
    }

    /// The output of the verbs, with the exit status in exitCode_.
    json ask(const std::string& verbs) {
        const std::string command = "halvexctl --json --library /lib/libzuHalvexTimekeeper.so " + verbs;
        FILE* const pipe = popen(command.c_str(), "r");
        std::string text;
        char buffer[4096];
        for (std::size_t size = 0; (size = fread(buffer, 1, sizeof buffer, pipe)) > 0;) text.append(buffer, size);
        exitCode_ = WEXITSTATUS(pclose(pipe));
        json answer = json::parse(text, nullptr, false);
        EXPECT_FALSE(answer.is_discarded()) << text;
        return answer.at(0).at("values");
    }

    /// The doctor's finding of this name: health and text.
    std::string finding(const std::string& check) {
        const json answer = ask("doctor");
        for (const json& found : answer.at("checks"))
            if (found.at("check") == check)
                return found.at("health").get<std::string>() + ": " + found.at("text").get<std::string>();
        return "no such check";
    }

    int exitCode_ = -1;
};

TEST_F(Halvexctl, TheDoctorFindsAHealthyControllerHealthy) {
    switchOn();
    const json answer = ask("doctor");
    EXPECT_EQ(exitCode_, 0) << answer.dump(2);
    ASSERT_GE(answer.at("checks").size(), 18U);
    for (const json& check : answer.at("checks")) EXPECT_EQ(check.at("health"), "OK") << check.dump();
    EXPECT_EQ(finding("interfaces"), "OK: enp1s0, enp2s0 will be synchronised");
    EXPECT_EQ(finding("clock-pins"), "OK: pin 0 is free for the epoch");
    EXPECT_EQ(finding("si514-driver"), "OK: si514 at 0-0055");
    EXPECT_EQ(finding("ferrox-node").substr(0, 12), "OK: /dev/zu/");
    EXPECT_EQ(finding("cap-sys-time"), "OK: CAP_SYS_TIME is there");
}

TEST_F(Halvexctl, TheDoctorSeesAProcessThatHasAClockOpen) {
    switchOn();
    const std::string node = ask("map").at("interfaces").at(0).at("node");
    const pid_t other = fork();
    if (other == 0) {
        execl("/bin/busybox", "busybox", "sh", "-c", ("exec 3<>" + node + "; sleep 100").c_str(), nullptr);
        _exit(127);
    }
    waitS(0.5);
    const std::string found = finding("clock-users");
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
    EXPECT_EQ(found.substr(0, 6 + node.size()), "WARN: " + node) << found;
    EXPECT_NE(found.find("(" + std::to_string(other) + ")"), std::string::npos) << found;
    EXPECT_EQ(exitCode_, 1);
    EXPECT_EQ(finding("clock-users"), "OK: no other process seen on a clock");
}

TEST_F(Halvexctl, TheDoctorMissesTheCapabilityToSetTheTime) {
    switchOn();
    std::string found;
    std::thread([&] {  // dropped in a thread, so that only its children lack it
        prctl(PR_CAPBSET_DROP, CAP_SYS_TIME);
        found = finding("cap-sys-time");
    })
        .join();
    EXPECT_EQ(found, "FAIL: CAP_SYS_TIME is missing: clocks cannot be stepped");
    EXPECT_EQ(exitCode_, 3);
}

TEST_F(Halvexctl, TheDoctorSeesAnOscillatorThatItsDriverHasLost) {
    switchOn();
    ASSERT_TRUE(writeFile("/sys/bus/i2c/drivers/si514/unbind", "0-0055"));
    EXPECT_EQ(finding("si514-driver"), "FAIL: the driver has no oscillator");
    EXPECT_EQ(exitCode_, 3);
    ASSERT_TRUE(writeFile("/sys/bus/i2c/drivers/si514/bind", "0-0055"));
    EXPECT_EQ(finding("si514-driver"), "OK: si514 at 0-0055");
}

TEST_F(Halvexctl, TheDoctorSeesWhatIsMissingDownOrUnusable) {
    std::string board = usualBoardWith("[fpga]", "present = false");
    board.insert(board.find("name = \"enp1s0\""), "up = false\n");
    board.insert(board.find("name = \"enp2s0\""), "n_per_out = 0\n");
    switchOn("", board);
    EXPECT_EQ(finding("fpga-driver").substr(0, 4), "FAIL");
    EXPECT_EQ(finding("links"), "WARN: enp1s0 down: not aligned until up");
    EXPECT_EQ(finding("interfaces"), "OK: enp1s0 will be synchronised");
    EXPECT_EQ(finding("interfaces-left-out").substr(0, 12), "WARN: enp2s0");
}

TEST_F(Halvexctl, TheDoctorSeesPhc2sysAndTheHostThatStartedIt) {
    start();
    waitS(5);
    EXPECT_EQ(finding("phc2sys-process").substr(0, 12), "OK: phc2sys ");
    EXPECT_NE(finding("clock-users").find("systemTests"), std::string::npos) << "the host has the clocks open";
    EXPECT_EQ(finding("kernel-clock").substr(0, 3), "OK:");
}

TEST_F(Halvexctl, TheMapShowsEveryInterfaceAndWhyOneIsLeftOut) {
    switchOn("", "[[interface]]\nname = \"enp3s0\"\nn_pins = 3\n[[interface]]\nname = \"enp1s0\"\n");
    const json interfaces = ask("map").at("interfaces");
    std::map<std::string, json> named;
    for (const json& interface : interfaces) named[interface.at("name")] = interface;
    ASSERT_TRUE(named.contains("enp1s0") && named.contains("enp3s0")) << interfaces.dump(2);
    EXPECT_EQ(named["enp1s0"].at("chosen"), true);
    EXPECT_EQ(named["enp1s0"].at("vendor"), "0x8086");
    EXPECT_EQ(named["enp1s0"].at("device"), "0x1533");
    EXPECT_EQ(named["enp3s0"].at("chosen"), false);
    EXPECT_FALSE(named["enp3s0"].at("reason").get<std::string>().empty());
}

TEST_F(Halvexctl, ASampleTellsTheTrueDifferencesWithinItsBound) {
    start();
    waitS(20);
    const json sample = ask("monitor --once");
    const auto truth = this->truth();
    int compared = 0;
    for (const json& clock : sample.at("last").at("clocks")) {
        const std::string name = clock.at("name") == "CLOCK_REALTIME" ? "system" : clock.at("name").get<std::string>();
        if (!truth.clocks.contains(name)) continue;
        const std::int64_t trueNs = truth[name].differenceNs - truth["enp1s0"].differenceNs;
        const std::int64_t shownNs = clock.at("differenceNs").get<std::int64_t>();
        EXPECT_LE(std::abs(shownNs - trueNs), clock.at("boundNs").get<std::int64_t>() + 1'000) << clock.dump();
        ++compared;
    }
    EXPECT_GE(compared, 3) << sample.dump(2);
}

TEST_F(Halvexctl, ExplainsWhatTheLibraryReports) {
    switchOn("", usualBoardWith("[fpga]", "present = false"));
    const std::int32_t code = initializeAndCatch();
    const json answer = ask("explain " + std::to_string(code));
    EXPECT_EQ(exitCode_, 0);
    EXPECT_NE(answer.dump().find("zuplaterr_"), std::string::npos) << answer.dump(2);
}

TEST_F(Halvexctl, AChildThatIsDeadAndNotReapedIsNoRival) {
    start();
    zuqxmtk_finalize();
    waitS(0.1);
    EXPECT_NE(finding("phc2sys-process").find("has ended"), std::string::npos);
    initialize();
    waitS(5);
    EXPECT_EQ(finding("phc2sys-process").find("fight"), std::string::npos);
    EXPECT_EQ(finding("phc2sys-process").substr(0, 3), "OK:");
}

}  // namespace halvexctl
